#include "platform/x11/key_code_table.h"

#include <array>

namespace brindlemar::platform::x11 {
namespace {

// The key table's virtual key codes beside the evdev code of the PC key in the same place.
// "NumLock" sits where the keypad Clear key is, "Insert" where Help is, "ContextMenu" is the
// Menu key (evdev KEY_COMPOSE), the Command keys are the Super keys.
constexpr std::array<KeyPosition, 106> kPositions = {{
    {0x00, 30},  {0x01, 31},  {0x02, 32},  {0x03, 33},  {0x04, 35},  {0x05, 34},  {0x06, 44},
    {0x07, 45},  {0x08, 46},  {0x09, 47},  {0x0B, 48},  {0x0C, 16},  {0x0D, 17},  {0x0E, 18},
    {0x0F, 19},  {0x10, 21},  {0x11, 20},  {0x12, 2},   {0x13, 3},   {0x14, 4},   {0x15, 5},
    {0x16, 7},   {0x17, 6},   {0x18, 13},  {0x19, 10},  {0x1A, 8},   {0x1B, 12},  {0x1C, 9},
    {0x1D, 11},  {0x1E, 27},  {0x1F, 24},  {0x20, 22},  {0x21, 26},  {0x22, 23},  {0x23, 25},
    {0x24, 28},  {0x25, 38},  {0x26, 36},  {0x27, 40},  {0x28, 37},  {0x29, 39},  {0x2A, 43},
    {0x2B, 51},  {0x2C, 53},  {0x2D, 49},  {0x2E, 50},  {0x2F, 52},  {0x30, 15},  {0x31, 57},
    {0x32, 41},  {0x33, 14},  {0x35, 1},   {0x36, 126}, {0x37, 125}, {0x38, 42},  {0x39, 58},
    {0x3A, 56},  {0x3B, 29},  {0x3C, 54},  {0x3D, 100}, {0x3E, 97},  {0x41, 83},  {0x43, 55},
    {0x45, 78},  {0x47, 69},  {0x4B, 98},  {0x4C, 96},  {0x4E, 74},  {0x51, 117}, {0x52, 82},
    {0x53, 79},  {0x54, 80},  {0x55, 81},  {0x56, 75},  {0x57, 76},  {0x58, 77},  {0x59, 71},
    {0x5B, 72},  {0x5C, 73},  {0x60, 63},  {0x61, 64},  {0x62, 65},  {0x63, 61},  {0x64, 66},
    {0x65, 67},  {0x67, 87},  {0x69, 183}, {0x6A, 186}, {0x6B, 184}, {0x6D, 68},  {0x6E, 127},
    {0x6F, 88},  {0x71, 185}, {0x72, 110}, {0x73, 102}, {0x74, 104}, {0x75, 111}, {0x76, 62},
    {0x77, 107}, {0x78, 60},  {0x79, 109}, {0x7A, 59},  {0x7B, 105}, {0x7C, 106}, {0x7D, 108},
    {0x7E, 103},
}};

// Keys whose symbol is the same under every layout: where the server puts one of these symbols
// tells whether it numbers its keys the evdev way. Letters and punctuation are deliberately not
// here: their symbols follow the layout, while the key pressed must follow the position.
constexpr std::array<Anchor, 40> kAnchors = {{
    {0x24, 0xff0d},  // Return
    {0x30, 0xff09},  // Tab
    {0x31, 0x0020},  // space
    {0x33, 0xff08},  // BackSpace
    {0x35, 0xff1b},  // Escape
    {0x37, 0xffeb},  // Super_L
    {0x36, 0xffec},  // Super_R
    {0x38, 0xffe1},  // Shift_L
    {0x3C, 0xffe2},  // Shift_R
    {0x3B, 0xffe3},  // Control_L
    {0x3E, 0xffe4},  // Control_R
    {0x39, 0xffe5},  // Caps_Lock
    {0x3A, 0xffe9},  // Alt_L
    {0x73, 0xff50},  // Home
    {0x7B, 0xff51},  // Left
    {0x7E, 0xff52},  // Up
    {0x7C, 0xff53},  // Right
    {0x7D, 0xff54},  // Down
    {0x74, 0xff55},  // Prior
    {0x79, 0xff56},  // Next
    {0x77, 0xff57},  // End
    {0x72, 0xff63},  // Insert
    {0x75, 0xffff},  // Delete
    {0x6E, 0xff67},  // Menu
    {0x47, 0xff7f},  // Num_Lock
    {0x4C, 0xff8d},  // KP_Enter
    {0x43, 0xffaa},  // KP_Multiply
    {0x45, 0xffab},  // KP_Add
    {0x4E, 0xffad},  // KP_Subtract
    {0x4B, 0xffaf},  // KP_Divide
    {0x7A, 0xffbe},  // F1
    {0x78, 0xffbf},  // F2
    {0x63, 0xffc0},  // F3
    {0x76, 0xffc1},  // F4
    {0x60, 0xffc2},  // F5
    {0x61, 0xffc3},  // F6
    {0x62, 0xffc4},  // F7
    {0x64, 0xffc5},  // F8
    {0x65, 0xffc6},  // F9
    {0x6D, 0xffc7},  // F10
}};

}  // namespace

std::span<const KeyPosition> keyPositions() {
    return kPositions;
}

std::optional<std::uint16_t> evdevCodeFor(std::uint16_t virtualKey) {
    for (const auto& position : kPositions)
        if (position.virtualKey == virtualKey) return position.evdev;
    return std::nullopt;
}

std::span<const Anchor> layoutIndependentKeys() {
    return kAnchors;
}

}  // namespace brindlemar::platform::x11

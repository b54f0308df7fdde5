#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <span>

// The one table file of the X11 backend for key codes. The protocol names keys by macOS virtual
// key codes (the seam speaks that vocabulary); this is the only place where they are turned into
// X: by physical position, as the Linux evdev code of the PC key in the same place (X servers with
// the evdev keycodes use evdev + 8), and, for keys whose symbol no layout changes, by that symbol.
namespace brindlemar::platform::x11 {

// One physical key: the virtual key code and the evdev code of the key at the same position.
struct KeyPosition {
    std::uint16_t virtualKey;
    std::uint16_t evdev;
};

inline constexpr std::uint16_t kEvdevToX11Offset = 8;

// Every key of the protocol's key table, by position.
std::span<const KeyPosition> keyPositions();

// The evdev code at the position of a virtual key code; absent for a code with no key.
std::optional<std::uint16_t> evdevCodeFor(std::uint16_t virtualKey);

// A key whose symbol is the same under every layout (Return, Shift_L, the arrows...).
struct Anchor {
    std::uint16_t virtualKey;
    xcb_keysym_t keysym;
};

// Where the server puts these symbols tells whether it numbers its keys the evdev way.
std::span<const Anchor> layoutIndependentKeys();

// Virtual key codes the backend itself presses: Shift for typing capitals, the modifier keys
// for flags (see event_flag_table.h).
inline constexpr std::uint16_t kVirtualShiftLeft = 0x38;
inline constexpr std::uint16_t kVirtualCapsLock = 0x39;

}  // namespace brindlemar::platform::x11

#pragma once

#include <cstdint>

#include "platform/synthetic_events.h"

// The one table file of the X11 backend for event types and buttons. The protocol's events carry
// macOS event type numbers and mouse button numbers (the seam speaks that vocabulary); this is
// the only place where they are turned into what XTest fakes: a key, a button press or release,
// a motion, wheel buttons.
namespace brindlemar::platform::x11 {

// Key down, key up and flags changed: events of the keyboard.
bool isKeyType(EventType type);

enum class ButtonAction { None, Press, Release };

// Whether the event type presses a button, releases one, or neither (moves, drags, scrolls).
ButtonAction buttonActionOf(EventType type);

// The X button of a pointer event: 1 left, 2 middle, 3 right. Without a button field the event
// type tells.
std::uint8_t xButtonOf(const SyntheticEvent& event);

// Wheel buttons: 4 up, 5 down, 6 left, 7 right. Positive wheel values scroll up or left.
inline constexpr std::uint8_t kWheelUp = 4;
inline constexpr std::uint8_t kWheelDown = 5;
inline constexpr std::uint8_t kWheelLeft = 6;
inline constexpr std::uint8_t kWheelRight = 7;

}  // namespace brindlemar::platform::x11

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "base/error.h"
#include "platform/geometry.h"

namespace brindlemar::platform {

// Event type numbers of the system's event stream.
enum class EventType : std::int32_t {
    LeftMouseDown = 1,
    LeftMouseUp = 2,
    RightMouseDown = 3,
    RightMouseUp = 4,
    MouseMoved = 5,
    LeftMouseDragged = 6,
    RightMouseDragged = 7,
    KeyDown = 10,
    KeyUp = 11,
    FlagsChanged = 12,
    ScrollWheel = 22,
    OtherMouseDown = 25,
    OtherMouseUp = 26,
    OtherMouseDragged = 27,
};

// Mouse button numbers of the system's mouse events.
enum class MouseButton : std::int32_t { Left = 0, Right = 1, Center = 2 };

// Modifier flag masks carried by events.
namespace event_flags {
inline constexpr std::uint64_t kAlphaShift = 0x10000;
inline constexpr std::uint64_t kShift = 0x20000;
inline constexpr std::uint64_t kControl = 0x40000;
inline constexpr std::uint64_t kAlternate = 0x80000;
inline constexpr std::uint64_t kCommand = 0x100000;
}  // namespace event_flags

// One synthetic event, with every field it does not carry left absent.
struct SyntheticEvent {
    EventType type = EventType::MouseMoved;
    std::optional<Point> location;
    std::optional<MouseButton> button;
    std::optional<std::int64_t> clickState;
    std::uint64_t flags = 0;
    std::optional<std::uint16_t> keyCode;
    std::optional<bool> keyDown;
    std::optional<std::string> unicode;                // UTF-8 text attached to a key event
    std::optional<std::array<std::int32_t, 2>> wheel;  // [vertical, horizontal], pixels
    std::optional<std::uint32_t> windowUnderPointer;
    // The frame of the window or display whose normalised position gave `location`. A desktop
    // whose locations are whole pixels keeps the event on a pixel inside it, so that the far
    // edge (a fraction of 1) is the last pixel of the target rather than the first one beyond.
    std::optional<Rect> within;
};

// Where an event is posted: the system-wide stream at the HID level, or one process.
struct EventTarget {
    enum class Kind { Hid, Process } kind = Kind::Hid;
    std::int32_t pid = 0;

    static EventTarget hid() { return {}; }
    static EventTarget process(std::int32_t p) { return {Kind::Process, p}; }
};

class EventPoster {
  public:
    virtual ~EventPoster() = default;
    // Creates the event and posts it. Fails with the desktop's own error when the event cannot be
    // created or posted (on X11: the server is gone, XTest is missing, the keyboard has no key at
    // that position, some of the text has no key in the layout).
    virtual Status post(const SyntheticEvent& event, EventTarget target) = 0;

    // Whether `event`, posted now, would reach the application that owns `window` (whose owner
    // is the process `owner`): a pointer event by the window under its location, a key event by
    // the keyboard focus. A desktop on which input addressed to a window cannot go astray, or
    // that cannot tell, answers true. Fails when the desktop cannot be asked.
    virtual Expected<bool> wouldReach(const SyntheticEvent& event, std::uint32_t window,
                                      std::int32_t owner) = 0;

    // A release (key up, button up) that the protocol refused or held back, so nothing is
    // posted for it. A desktop on which a synthetic press is a real key or button held down
    // until released lets go of that key or button if the helper's own events hold it; nothing
    // else happens, nothing is recorded. Never fails.
    virtual void releaseIfHeld(const SyntheticEvent& release) = 0;

    // Lets go of every key and button that the helper's own events hold (at the end of input
    // and at exit). Never fails; a desktop on which nothing stays held does nothing.
    virtual void releaseAllHeld() = 0;
};

}  // namespace brindlemar::platform

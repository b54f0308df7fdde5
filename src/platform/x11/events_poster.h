#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <mutex>
#include <set>

#include "platform/synthetic_events.h"
#include "platform/x11/events_scroll.h"
#include "platform/x11/keymap.h"
#include "platform/x11/keymap_text.h"

namespace brindlemar::platform::x11 {

class X11Connection;

// Posts synthetic events through XTest as if they came from the server's own keyboard and
// pointer. Keys are pressed by position (the virtual key code's place on a PC keyboard) and the
// focused application reads them under its own layout. A modifier pressed through a key event is
// a real key held on the server, so later key and pointer events carry it; a modifier flag that
// an event asks for without its key held is pressed around that one event. Pointer events move
// the pointer to their location first; scroll events become presses of wheel buttons 4 to 7
// there. A key event that carries text types that text on its key-down with the keys of the
// current layout (see TextTyper) and does nothing on its key-up; its key code is not pressed.
//
// X delivers input to the window under the pointer or with the focus, never to a process, so an
// event addressed to one process is posted like any other.
//
// Requests are queued and flushed, never waited for. `lock_` guards the wheel remainders and the
// held modifiers; the xcb connection is safe to share.
class XTestEventPoster final : public EventPoster {
  public:
    explicit XTestEventPoster(X11Connection& connection);

    Status post(const SyntheticEvent& event, EventTarget target) override;

    const ServerKeymap& keymap() const { return keymap_; }

  private:
    Status postKey(const SyntheticEvent& event);
    Status postText(const SyntheticEvent& event);
    void postPointer(const SyntheticEvent& event);
    void postScroll(const SyntheticEvent& event);
    void moveTo(const Point& location);
    void fake(std::uint8_t type, std::uint8_t detail);
    std::uint64_t heldModifierFlags() const;

    X11Connection& connection_;
    ServerKeymap keymap_;
    TextTyper textTyper_;
    std::mutex lock_;
    WheelAxis vertical_;                        // guarded by lock_
    WheelAxis horizontal_;                      // guarded by lock_
    std::set<std::uint16_t> heldModifierKeys_;  // virtual key codes; guarded by lock_
};

}  // namespace brindlemar::platform::x11

#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <map>
#include <memory>
#include <set>

#include "base/mutex.h"
#include "platform/synthetic_events.h"
#include "platform/x11/events_scroll.h"
#include "platform/x11/keymap.h"
#include "platform/x11/keymap_text.h"
#include "platform/x11/keymap_watch.h"

namespace brindlemar::platform::x11 {

class X11Connection;

// Posts synthetic events through XTest as if they came from the server's own keyboard and
// pointer. Keys are pressed by position (the virtual key code's place on a PC keyboard) and the
// focused application reads them under its own layout. A modifier pressed through a key event is
// a real key held on the server, so later key and pointer events carry it; a modifier flag that
// an event asks for without its key held is pressed around that one event. Pointer events move
// the pointer to their location first, on the pixel that holds it (kept inside the event's
// target, so that the far edge is its last pixel); scroll events become presses of wheel buttons
// 4 to 7 there. A key event that carries text types that text on its key-down with the keys of
// the current layout (see TextTyper) and does nothing on its key-up; its key code is not pressed.
//
// A synthetic press on X is a real key or button held on the server until someone releases it,
// even after this client is gone. So the poster remembers every key and button its events hold,
// releases one when a release the helper refused names it (`releaseIfHeld`), and releases all of
// them when it goes away, when asked (`releaseAllHeld`) and when the connection comes back after
// a loss. The keyboard mapping is read again whenever the server announces a change.
//
// X delivers input to the window under the pointer or with the focus, never to a process, so an
// event addressed to one process is posted like any other.
//
// Requests are queued and flushed, never waited for. `lock_` guards all of the poster's state;
// the xcb connection is safe to share.
class XTestEventPoster final : public EventPoster {
  public:
    explicit XTestEventPoster(X11Connection& connection);
    ~XTestEventPoster() override;

    Status post(const SyntheticEvent& event, EventTarget target) override;
    Expected<bool> wouldReach(const SyntheticEvent& event, std::uint32_t window,
                              std::int32_t owner) override;
    void releaseIfHeld(const SyntheticEvent& release) override;
    void releaseAllHeld() override;

    // The key positions as the server maps them now (read again after a change).
    ServerKeymap keymap();

  private:
    void followServer() REQUIRES(lock_);
    void readKeymap() REQUIRES(lock_);
    void releaseHeld() REQUIRES(lock_);
    Status postKey(const SyntheticEvent& event) REQUIRES(lock_);
    Status postText(const SyntheticEvent& event) REQUIRES(lock_);
    void postPointer(const SyntheticEvent& event) REQUIRES(lock_);
    void postScroll(const SyntheticEvent& event) REQUIRES(lock_);
    void moveTo(const SyntheticEvent& event);
    void fake(std::uint8_t type, std::uint8_t detail);
    std::uint64_t heldModifierFlags() const REQUIRES(lock_);

    X11Connection& connection_;
    Mutex lock_;
    std::uint64_t generation_ GUARDED_BY(lock_) = 0;
    std::unique_ptr<KeymapWatch> keymapWatch_ GUARDED_BY(lock_);
    std::unique_ptr<ServerKeymap> keymap_ GUARDED_BY(lock_);
    std::unique_ptr<TextTyper> textTyper_ GUARDED_BY(lock_);
    WheelAxis vertical_ GUARDED_BY(lock_);
    WheelAxis horizontal_ GUARDED_BY(lock_);
    // Keys held by key events: virtual key code to the X keycode that was pressed, so that the
    // release lets go of that key even if the mapping has changed since.
    std::map<std::uint16_t, xcb_keycode_t> heldKeys_ GUARDED_BY(lock_);
    // X buttons (1 left, 2 middle, 3 right) held by pointer events.
    std::set<std::uint8_t> heldButtons_ GUARDED_BY(lock_);
};

}  // namespace brindlemar::platform::x11

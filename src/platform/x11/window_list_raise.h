#pragma once

#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>

#include "base/mutex.h"

namespace brindlemar::platform::x11 {

class X11Connection;

// Whether a window manager that follows the EWMH conventions runs on the screen.
bool windowManagerRunning(X11Connection& connection);

// Whether the window is in front as far as the window manager can promise: it is the active
// window (or its own transient dialog is), and no normal window of the current desktop stands
// above it. Docks, panels, desktops, notifications and kept-above windows stay above every
// application by design, so they do not count.
bool inFront(X11Connection& connection, xcb_window_t window);

// Brings client windows to the front: through the window manager's _NET_ACTIVE_WINDOW request
// when one runs (after switching to the window's desktop), else by restacking its top-level
// window and focusing it. A window that is in front already is left alone at once. Otherwise the
// raise waits, up to `kRaiseWait`, until the window is in front, so that input sent next reaches
// it. A window that did not come forward is remembered for a moment, so that raising it again
// right after (activating its application after raising the window itself) does not wait twice.
//
// Safe from any thread: `lock_` guards the remembered window.
class WindowRaiser {
  public:
    enum class Outcome { Gone, InFront, NotInFront };

    static constexpr std::chrono::milliseconds kRaiseWait{300};

    explicit WindowRaiser(X11Connection& connection) : connection_(connection) {}

    Outcome raise(xcb_window_t window);

  private:
    bool recentlyRefused(xcb_window_t window);
    void noteRefused(xcb_window_t window);

    X11Connection& connection_;
    Mutex lock_;
    xcb_window_t refused_ GUARDED_BY(lock_) = XCB_WINDOW_NONE;
    std::chrono::steady_clock::time_point refusedAt_ GUARDED_BY(lock_);
};

}  // namespace brindlemar::platform::x11

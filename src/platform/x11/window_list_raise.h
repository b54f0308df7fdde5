#pragma once

#include <xcb/xcb.h>

namespace brindlemar::platform::x11 {

class X11Connection;

// Whether a window manager that follows the EWMH conventions runs on the screen.
bool windowManagerRunning(X11Connection& connection);

// Brings a client window to the front and gives it the focus: through the window manager's
// _NET_ACTIVE_WINDOW request when one runs (which also switches to its desktop and restores it
// when minimised), else by restacking its top-level window above its siblings. Waits, up to a
// fraction of a second, until the window is in front, so that input sent next reaches it. False
// when the window does not exist.
bool raiseClientWindow(X11Connection& connection, xcb_window_t window);

}  // namespace brindlemar::platform::x11

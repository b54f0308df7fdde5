#pragma once

#include <xcb/xcb.h>

#include <cstdint>

namespace brindlemar::platform::x11 {

class X11Connection;

// Where X delivers input, asked of the server as it is now. An application counts as reached
// when the input goes to the addressed window or to any window its process owns (its dialogs,
// its menus and popups, which are windows of their own).

// Whether pointer input at the pixel (x, y) of the root reaches `window` or its owner `pid`:
// the top-level window under the pixel is the window's own frame, or belongs to that process.
bool pointerReaches(X11Connection& connection, std::int16_t x, std::int16_t y, xcb_window_t window,
                    std::int32_t pid);

// Whether keyboard input reaches `window` or its owner `pid`: the input focus is in the
// window's top-level, or in a window of that process. With the focus following the pointer,
// the window under the pointer decides; with no focus, nothing is reached.
bool keyboardReaches(X11Connection& connection, xcb_window_t window, std::int32_t pid);

}  // namespace brindlemar::platform::x11

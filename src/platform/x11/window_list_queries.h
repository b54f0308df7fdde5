#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace brindlemar::platform::x11 {

class X11Connection;

// The pid of the process that owns each window, in the order asked, with one round trip for
// all: the server's own record of the creating client (X-Resource) where the server keeps one,
// else the window's _NET_WM_PID. Absent where neither is known.
std::vector<std::optional<std::int32_t>> ownerPids(X11Connection& connection,
                                                   std::span<const xcb_window_t> windows);
std::optional<std::int32_t> ownerPid(X11Connection& connection, xcb_window_t window);

// The top-level client windows, the front-most first: the window manager's stacking list when
// one runs, else the mapped children of the root that ask for no override.
std::vector<xcb_window_t> clientWindowsFrontFirst(X11Connection& connection);

// The client windows of one process, the front-most first.
std::vector<xcb_window_t> clientWindowsOfPid(X11Connection& connection, std::int32_t pid);

}  // namespace brindlemar::platform::x11

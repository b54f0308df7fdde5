#pragma once

#include <xcb/xcb.h>

#include <optional>
#include <vector>

#include "base/error.h"
#include "platform/capture_catalogue.h"

namespace brindlemar::platform::x11 {

class X11Connection;

// The on-screen client windows, the front-most first, as the capture catalogue lists them:
// the frame in root coordinates with the window manager's decorations, the title, the owner and
// a layer that is 0 for normal and dialog windows only.
Expected<std::vector<CatalogueWindow>> listOnScreenWindows(X11Connection& connection);

// The outer frame of one client window as the listing gives it; none when the window is gone.
std::optional<Rect> clientFrame(X11Connection& connection, xcb_window_t window);

}  // namespace brindlemar::platform::x11

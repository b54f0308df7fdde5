#pragma once

#include <cstdint>

namespace brindlemar::platform::x11 {

class X11Connection;

// Draws the current cursor (XFixes) over a B, G, R, X image of the root area whose top left
// corner is at (originX, originY) in root coordinates. Does nothing when the server has no
// XFixes or the cursor lies outside the area.
void overlayCursor(X11Connection& connection, std::uint8_t* pixels, std::size_t stride, int width,
                   int height, int originX, int originY);

}  // namespace brindlemar::platform::x11

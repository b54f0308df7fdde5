#include "platform/x11/cursor_overlay.h"

#include <xcb/xfixes.h>

#include <algorithm>
#include <cstddef>

#include "platform/x11/connection.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {

namespace {

// `over` composited over `under`, both premultiplied.
std::uint8_t blend(std::uint32_t over, std::uint32_t under, std::uint32_t alpha) {
    return static_cast<std::uint8_t>(
        std::min<std::uint32_t>(255, over + under * (255 - alpha) / 255));
}

}  // namespace

void overlayCursor(X11Connection& connection, std::uint8_t* pixels, std::size_t stride, int width,
                   int height, int originX, int originY) {
    if (!connection.extensions().xfixes) return;
    xcb_connection_t* c = connection.raw();
    XcbReply<xcb_xfixes_get_cursor_image_reply_t> cursor(
        xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), nullptr));
    if (!cursor) return;
    // Premultiplied A, R, G, B in one 32-bit value: in memory B, G, R, A like the image.
    const std::uint32_t* image = xcb_xfixes_get_cursor_image_cursor_image(cursor.get());
    const int left = cursor->x - cursor->xhot - originX;
    const int top = cursor->y - cursor->yhot - originY;
    for (int row = 0; row < cursor->height; ++row) {
        const int y = top + row;
        if (y < 0 || y >= height) continue;
        for (int column = 0; column < cursor->width; ++column) {
            const int x = left + column;
            if (x < 0 || x >= width) continue;
            const std::uint32_t argb = image[row * cursor->width + column];
            const std::uint32_t alpha = argb >> 24;
            if (alpha == 0) continue;
            std::uint8_t* pixel =
                pixels + static_cast<std::size_t>(y) * stride + static_cast<std::size_t>(x) * 4;
            pixel[0] = blend(argb & 0xFF, pixel[0], alpha);
            pixel[1] = blend((argb >> 8) & 0xFF, pixel[1], alpha);
            pixel[2] = blend((argb >> 16) & 0xFF, pixel[2], alpha);
        }
    }
}

}  // namespace brindlemar::platform::x11

#include "platform/x11/screenshots.h"

#include <xcb/composite.h>

#include <algorithm>
#include <string>

#include "platform/x11/connection.h"
#include "platform/x11/cursor_overlay.h"
#include "platform/x11/display_catalogue.h"
#include "platform/x11/pixel_convert.h"
#include "platform/x11/window_catalogue.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {

namespace {

struct TopLevel {
    xcb_window_t window;
    int x, y, outerWidth, outerHeight;  // outer edge of the border, root coordinates
    std::uint8_t depth;
};

// The child of the root that holds `window` (the window manager's frame, or the window).
std::optional<TopLevel> topLevelOf(xcb_connection_t* c, xcb_window_t window) {
    xcb_window_t current = window;
    // Window managers nest a client a few levels deep; the bound only guards against a loop.
    for (int depth = 0; depth < 16; ++depth) {
        XcbReply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(c, xcb_query_tree(c, current), nullptr));
        if (!tree || current == tree->root) return std::nullopt;
        if (tree->parent != tree->root) {
            current = tree->parent;
            continue;
        }
        XcbReply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(c, xcb_get_geometry(c, current), nullptr));
        if (!geometry) return std::nullopt;
        return TopLevel{current,
                        geometry->x,
                        geometry->y,
                        geometry->width + 2 * geometry->border_width,
                        geometry->height + 2 * geometry->border_width,
                        geometry->depth};
    }
    return std::nullopt;
}

bool viewable(xcb_connection_t* c, xcb_window_t window) {
    XcbReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

// Clips the rectangle (x, y, width, height) to (0, 0, limitWidth, limitHeight).
bool clip(int& x, int& y, int& width, int& height, int limitWidth, int limitHeight) {
    const int right = std::min(x + width, limitWidth);
    const int bottom = std::min(y + height, limitHeight);
    x = std::max(x, 0);
    y = std::max(y, 0);
    width = right - x;
    height = bottom - y;
    return width > 0 && height > 0;
}

// A pixmap naming a window's off-screen storage, freed when it goes away.
class WindowPixmap {
  public:
    WindowPixmap(X11Connection& connection, xcb_window_t window)
        : connection_(connection), pixmap_(xcb_generate_id(connection.raw())) {
        XcbReply<xcb_generic_error_t> error(xcb_request_check(
            connection.raw(),
            xcb_composite_name_window_pixmap_checked(connection.raw(), window, pixmap_)));
        named_ = !error;
    }
    ~WindowPixmap() {
        if (named_ && !connection_.lost()) xcb_free_pixmap(connection_.raw(), pixmap_);
    }
    WindowPixmap(const WindowPixmap&) = delete;
    WindowPixmap& operator=(const WindowPixmap&) = delete;
    bool named() const { return named_; }
    xcb_pixmap_t id() const { return pixmap_; }

  private:
    X11Connection& connection_;
    xcb_pixmap_t pixmap_;
    bool named_ = false;
};

Error windowNotFound(std::uint32_t id) {
    return Error{kX11Domain, 1, "window " + std::to_string(id) + " not found"};
}

}  // namespace

X11ScreenshotService::X11ScreenshotService(X11Connection& connection)
    : connection_(connection), pool_(connection) {
    if (connection.extensions().composite) {
        // Automatic redirection keeps the screen as it is and gives every top-level window its
        // own storage; the server copies what is visible into it, and clients redraw the rest.
        XcbReply<xcb_generic_error_t> error(xcb_request_check(
            connection.raw(),
            xcb_composite_redirect_subwindows_checked(connection.raw(), connection.root(),
                                                      XCB_COMPOSITE_REDIRECT_AUTOMATIC)));
        composited_ = !error;
    }
}

Expected<PixelBuffer> X11ScreenshotService::captureImage(
    const CaptureFilter& filter, const ScreenshotConfiguration& configuration) {
    if (auto status = connection_.check(); !status) return status.error();
    if (configuration.width < 1 || configuration.height < 1) {
        return Error{kX11Domain, 2, "the screenshot size must be at least 1 x 1 pixels"};
    }
    if (filter.kind == CaptureFilterKind::Display) return captureDisplay(filter.id, configuration);
    return captureWindow(filter.id, configuration);
}

Expected<PixelBuffer> X11ScreenshotService::captureDisplay(
    std::uint32_t id, const ScreenshotConfiguration& configuration) {
    auto displays = listDisplays(connection_);
    if (!displays) return std::move(displays).takeError();
    auto found = std::find_if(displays->begin(), displays->end(),
                              [id](const X11Display& d) { return d.display.id == id; });
    if (found == displays->end()) {
        return Error{kX11Domain, 3, "no display " + std::to_string(id)};
    }
    const Rect& frame = found->display.frame;
    Area area{connection_.root(),
              static_cast<int>(frame.x),
              static_cast<int>(frame.y),
              static_cast<int>(frame.width),
              static_cast<int>(frame.height),
              0,
              0};
    const auto* screen = connection_.screen();
    if (!clip(area.x, area.y, area.width, area.height, screen->width_in_pixels,
              screen->height_in_pixels)) {
        return Error{kX11Domain, 3, "display " + std::to_string(id) + " lies outside the screen"};
    }
    area.rootX = area.x;
    area.rootY = area.y;
    return readArea(area, configuration, configuration.showsCursor);
}

Expected<PixelBuffer> X11ScreenshotService::captureWindow(
    std::uint32_t id, const ScreenshotConfiguration& configuration) {
    xcb_connection_t* c = connection_.raw();
    auto frame = clientFrame(connection_, id);
    auto topLevel = topLevelOf(c, id);
    if (!frame || !topLevel || !viewable(c, id)) {
        if (connection_.lost()) return X11Connection::lostError();
        return windowNotFound(id);
    }
    // The frame relative to the top-level window, whose storage starts at its outer border.
    Area area{topLevel->window,
              static_cast<int>(frame->x) - topLevel->x,
              static_cast<int>(frame->y) - topLevel->y,
              static_cast<int>(frame->width),
              static_cast<int>(frame->height),
              0,
              0};
    if (composited_) {
        WindowPixmap pixmap(connection_, topLevel->window);
        if (pixmap.named()) {
            area.drawable = pixmap.id();
            if (!clip(area.x, area.y, area.width, area.height, topLevel->outerWidth,
                      topLevel->outerHeight)) {
                return windowNotFound(id);
            }
            area.rootX = topLevel->x + area.x;
            area.rootY = topLevel->y + area.y;
            return readArea(area, configuration, configuration.showsCursor);
        }
    }
    // Without Composite: what the screen shows where the window is.
    const auto* screen = connection_.screen();
    area = Area{connection_.root(),
                static_cast<int>(frame->x),
                static_cast<int>(frame->y),
                static_cast<int>(frame->width),
                static_cast<int>(frame->height),
                0,
                0};
    if (!clip(area.x, area.y, area.width, area.height, screen->width_in_pixels,
              screen->height_in_pixels)) {
        return windowNotFound(id);
    }
    area.rootX = area.x;
    area.rootY = area.y;
    return readArea(area, configuration, configuration.showsCursor);
}

Expected<PixelBuffer> X11ScreenshotService::readArea(const Area& area,
                                                     const ScreenshotConfiguration& configuration,
                                                     bool withCursor) {
    if (connection_.extensions().shm) {
        auto image = readThroughShm(area, configuration, withCursor);
        if (image || connection_.lost()) return image;
    }
    return readThroughGetImage(area, configuration, withCursor);
}

Expected<PixelBuffer> X11ScreenshotService::readThroughShm(
    const Area& area, const ScreenshotConfiguration& configuration, bool withCursor) {
    const std::size_t stride = static_cast<std::size_t>(area.width) * 4;
    auto lease = pool_.acquire(stride * static_cast<std::size_t>(area.height));
    if (!lease) return std::move(lease).takeError();
    ShmSegment& segment = lease->segment();
    xcb_connection_t* c = connection_.raw();
    xcb_generic_error_t* rawError = nullptr;
    XcbReply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
        c,
        xcb_shm_get_image(c, area.drawable, static_cast<std::int16_t>(area.x),
                          static_cast<std::int16_t>(area.y), static_cast<std::uint16_t>(area.width),
                          static_cast<std::uint16_t>(area.height), ~0u, XCB_IMAGE_FORMAT_Z_PIXMAP,
                          segment.id(), 0),
        &rawError));
    XcbReply<xcb_generic_error_t> error(rawError);
    if (!reply) return connection_.requestError("the X server cannot read the image", error.get());
    if (reply->size < stride * static_cast<std::size_t>(area.height)) {
        return Error{kX11Domain, 0, "the X server's pixel format is not 32 bits per pixel"};
    }
    BgrxImage image{segment.data(), stride, area.width, area.height, reply->depth == 32};
    return finish(image, area, configuration, withCursor, segment.data());
}

Expected<PixelBuffer> X11ScreenshotService::readThroughGetImage(
    const Area& area, const ScreenshotConfiguration& configuration, bool withCursor) {
    xcb_connection_t* c = connection_.raw();
    xcb_generic_error_t* rawError = nullptr;
    XcbReply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        c,
        xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, area.drawable,
                      static_cast<std::int16_t>(area.x), static_cast<std::int16_t>(area.y),
                      static_cast<std::uint16_t>(area.width),
                      static_cast<std::uint16_t>(area.height), ~0u),
        &rawError));
    XcbReply<xcb_generic_error_t> error(rawError);
    if (!reply) return connection_.requestError("the X server cannot read the image", error.get());
    const std::size_t stride = static_cast<std::size_t>(area.width) * 4;
    if (static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) <
        stride * static_cast<std::size_t>(area.height)) {
        return Error{kX11Domain, 0, "the X server's pixel format is not 32 bits per pixel"};
    }
    std::uint8_t* data = xcb_get_image_data(reply.get());
    BgrxImage image{data, stride, area.width, area.height, reply->depth == 32};
    return finish(image, area, configuration, withCursor, data);
}

PixelBuffer X11ScreenshotService::finish(BgrxImage image, const Area& area,
                                         const ScreenshotConfiguration& configuration,
                                         bool withCursor, std::uint8_t* writable) {
    if (withCursor) {
        overlayCursor(connection_, writable, image.stride, image.width, image.height, area.rootX,
                      area.rootY);
    }
    PixelBuffer buffer(configuration.width, configuration.height);
    convertToRgba(image, buffer);
    return buffer;
}

}  // namespace brindlemar::platform::x11

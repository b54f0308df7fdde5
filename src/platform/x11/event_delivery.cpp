#include "platform/x11/event_delivery.h"

#include <array>
#include <optional>

#include "platform/x11/connection.h"
#include "platform/x11/window_list_queries.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {
namespace {

// Window trees are shallow: a client, a frame of the window manager, perhaps a wrapper.
constexpr int kMaxDepth = 16;

// The child of the root that holds `window` (itself when it is one); none when it is gone.
std::optional<xcb_window_t> topLevelOf(xcb_connection_t* c, xcb_window_t window) {
    for (int depth = 0; depth < kMaxDepth; ++depth) {
        XcbReply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(c, xcb_query_tree(c, window), nullptr));
        if (!tree) return std::nullopt;
        if (tree->parent == tree->root || tree->parent == XCB_WINDOW_NONE) return window;
        window = tree->parent;
    }
    return window;
}

// The innermost window at the pixel, starting from the top-level window `from` that holds it.
xcb_window_t innermostAt(xcb_connection_t* c, xcb_window_t root, xcb_window_t from, std::int16_t x,
                         std::int16_t y) {
    xcb_window_t current = from;
    for (int depth = 0; depth < kMaxDepth; ++depth) {
        XcbReply<xcb_translate_coordinates_reply_t> inside(xcb_translate_coordinates_reply(
            c, xcb_translate_coordinates(c, root, current, x, y), nullptr));
        if (!inside || inside->child == XCB_WINDOW_NONE) break;
        current = inside->child;
    }
    return current;
}

bool ownedBy(X11Connection& connection, std::span<const xcb_window_t> windows, std::int32_t pid) {
    for (const auto& owner : ownerPids(connection, windows))
        if (owner == pid) return true;
    return false;
}

}  // namespace

bool pointerReaches(X11Connection& connection, std::int16_t x, std::int16_t y, xcb_window_t window,
                    std::int32_t pid) {
    xcb_connection_t* c = connection.raw();
    const xcb_window_t root = connection.root();
    XcbReply<xcb_translate_coordinates_reply_t> under(xcb_translate_coordinates_reply(
        c, xcb_translate_coordinates(c, root, root, x, y), nullptr));
    if (!under || under->child == XCB_WINDOW_NONE) return false;
    const xcb_window_t topLevel = under->child;
    if (topLevelOf(c, window) == topLevel) return true;
    // Another top-level: a window manager's frame holds the owner's client inside, a popup of
    // the application is a top-level of its own.
    const std::array<xcb_window_t, 2> candidates = {topLevel, innermostAt(c, root, topLevel, x, y)};
    return ownedBy(connection, candidates, pid);
}

bool keyboardReaches(X11Connection& connection, xcb_window_t window, std::int32_t pid) {
    xcb_connection_t* c = connection.raw();
    XcbReply<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    if (!focus || focus->focus == XCB_INPUT_FOCUS_NONE) return false;
    xcb_window_t focused = focus->focus;
    if (focused == XCB_INPUT_FOCUS_POINTER_ROOT || focused == connection.root()) {
        XcbReply<xcb_query_pointer_reply_t> pointer(
            xcb_query_pointer_reply(c, xcb_query_pointer(c, connection.root()), nullptr));
        if (!pointer || pointer->child == XCB_WINDOW_NONE) return false;
        focused = pointer->child;
    }
    if (focused == window) return true;
    if (ownedBy(connection, std::span(&focused, 1), pid)) return true;
    const auto focusedTop = topLevelOf(c, focused);
    return focusedTop && focusedTop == topLevelOf(c, window);
}

}  // namespace brindlemar::platform::x11

#include "platform/x11/window_list_raise.h"

#include <chrono>
#include <optional>
#include <thread>

#include "platform/x11/connection.h"
#include "platform/x11/window_list_queries.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {
namespace {

using namespace std::chrono_literals;

// How long a raise waits for the window manager to restack, and how often it looks.
constexpr auto kRaiseWait = 300ms;
constexpr auto kRaisePoll = 2ms;

std::optional<xcb_window_t> windowValue(xcb_connection_t* c, xcb_window_t window,
                                        xcb_atom_t property) {
    XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        c, xcb_get_property(c, 0, window, property, XCB_ATOM_WINDOW, 0, 1), nullptr));
    if (!reply || reply->type != XCB_ATOM_WINDOW || reply->format != 32 ||
        xcb_get_property_value_length(reply.get()) != 4)
        return std::nullopt;
    return *static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
}

bool inFront(X11Connection& connection, xcb_window_t window) {
    const auto active =
        windowValue(connection.raw(), connection.root(), connection.atom("_NET_ACTIVE_WINDOW"));
    if (active != window) return false;
    const auto clients = clientWindowsFrontFirst(connection);
    return !clients.empty() && clients.front() == window;
}

void requestActivation(X11Connection& connection, xcb_window_t window) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = connection.atom("_NET_ACTIVE_WINDOW");
    // Source 2 speaks for the user (a pager or task bar), which window managers obey without
    // applying focus-stealing prevention.
    message.data.data32[0] = 2;
    message.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(connection.raw(), 0, connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(connection.raw());
}

bool waitUntilInFront(X11Connection& connection, xcb_window_t window) {
    const auto deadline = std::chrono::steady_clock::now() + kRaiseWait;
    while (!inFront(connection, window)) {
        if (std::chrono::steady_clock::now() >= deadline || connection.lost()) return false;
        std::this_thread::sleep_for(kRaisePoll);
    }
    return true;
}

void restackWithoutManager(X11Connection& connection, xcb_window_t window) {
    xcb_connection_t* c = connection.raw();
    xcb_window_t topLevel = window;
    for (int depth = 0; depth < 16; ++depth) {
        XcbReply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(c, xcb_query_tree(c, topLevel), nullptr));
        if (!tree || tree->parent == tree->root) break;
        topLevel = tree->parent;
    }
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_discard_reply(
        c,
        xcb_configure_window_checked(c, topLevel, XCB_CONFIG_WINDOW_STACK_MODE, &above).sequence);
    // Focus fails for an unmapped window; the error is dropped, the restack stands.
    xcb_discard_reply(
        c, xcb_set_input_focus_checked(c, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME)
               .sequence);
    connection.sync();
}

bool windowExists(X11Connection& connection, xcb_window_t window) {
    xcb_connection_t* c = connection.raw();
    XcbReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr));
    return attributes != nullptr;
}

}  // namespace

bool windowManagerRunning(X11Connection& connection) {
    xcb_connection_t* c = connection.raw();
    const xcb_atom_t check = connection.atom("_NET_SUPPORTING_WM_CHECK");
    const auto child = windowValue(c, connection.root(), check);
    return child && windowValue(c, *child, check) == child;
}

bool raiseClientWindow(X11Connection& connection, xcb_window_t window) {
    if (!windowExists(connection, window)) return false;
    if (!windowManagerRunning(connection)) {
        restackWithoutManager(connection, window);
        return true;
    }
    if (inFront(connection, window)) return true;
    requestActivation(connection, window);
    waitUntilInFront(connection, window);
    return true;
}

}  // namespace brindlemar::platform::x11

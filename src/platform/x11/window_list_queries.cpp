#include "platform/x11/window_list_queries.h"

#include <xcb/res.h>

#include <algorithm>

#include "platform/x11/connection.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {
namespace {

std::vector<xcb_window_t> windowProperty(xcb_connection_t* c, xcb_window_t window,
                                         xcb_atom_t property) {
    XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        c, xcb_get_property(c, 0, window, property, XCB_ATOM_WINDOW, 0, 1 << 16), nullptr));
    if (!reply || reply->type != XCB_ATOM_WINDOW || reply->format != 32) return {};
    const auto* values = static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
    const int count = xcb_get_property_value_length(reply.get()) / 4;
    return {values, values + count};
}

std::vector<xcb_window_t> rootChildrenFrontFirst(xcb_connection_t* c, xcb_window_t root) {
    XcbReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr));
    if (!tree) return {};
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    std::vector<xcb_window_t> all(children, children + xcb_query_tree_children_length(tree.get()));
    std::vector<xcb_get_window_attributes_cookie_t> cookies;
    cookies.reserve(all.size());
    for (xcb_window_t child : all)
        cookies.push_back(xcb_get_window_attributes(c, child));
    std::vector<xcb_window_t> clients;
    for (std::size_t i = 0; i < all.size(); ++i) {
        XcbReply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, cookies[i], nullptr));
        if (attributes && attributes->map_state != XCB_MAP_STATE_UNMAPPED &&
            attributes->override_redirect == 0)
            clients.push_back(all[i]);
    }
    std::reverse(clients.begin(), clients.end());
    return clients;
}

}  // namespace

std::vector<std::optional<std::int32_t>> ownerPids(X11Connection& connection,
                                                   std::span<const xcb_window_t> windows) {
    xcb_connection_t* c = connection.raw();
    const bool useResource = connection.extensions().resource;
    const xcb_atom_t wmPid = connection.atom("_NET_WM_PID");
    std::vector<xcb_res_query_client_ids_cookie_t> resourceCookies;
    std::vector<xcb_get_property_cookie_t> propertyCookies;
    for (xcb_window_t window : windows) {
        if (useResource) {
            xcb_res_client_id_spec_t spec{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
            resourceCookies.push_back(xcb_res_query_client_ids(c, 1, &spec));
        }
        propertyCookies.push_back(xcb_get_property(c, 0, window, wmPid, XCB_ATOM_CARDINAL, 0, 1));
    }
    std::vector<std::optional<std::int32_t>> pids(windows.size());
    for (std::size_t i = 0; i < windows.size(); ++i) {
        if (useResource) {
            XcbReply<xcb_res_query_client_ids_reply_t> ids(
                xcb_res_query_client_ids_reply(c, resourceCookies[i], nullptr));
            if (ids) {
                auto it = xcb_res_query_client_ids_ids_iterator(ids.get());
                for (; it.rem > 0 && !pids[i]; xcb_res_client_id_value_next(&it)) {
                    if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) != 0 &&
                        it.data->length == 4)
                        pids[i] =
                            static_cast<std::int32_t>(*xcb_res_client_id_value_value(it.data));
                }
            }
        }
        XcbReply<xcb_get_property_reply_t> property(
            xcb_get_property_reply(c, propertyCookies[i], nullptr));
        if (!pids[i] && property && property->type == XCB_ATOM_CARDINAL && property->format == 32 &&
            xcb_get_property_value_length(property.get()) == 4)
            pids[i] = *static_cast<const std::int32_t*>(xcb_get_property_value(property.get()));
    }
    return pids;
}

std::optional<std::int32_t> ownerPid(X11Connection& connection, xcb_window_t window) {
    return ownerPids(connection, std::span(&window, 1)).front();
}

std::vector<xcb_window_t> clientWindowsFrontFirst(X11Connection& connection) {
    xcb_connection_t* c = connection.raw();
    auto stacking =
        windowProperty(c, connection.root(), connection.atom("_NET_CLIENT_LIST_STACKING"));
    if (stacking.empty()) return rootChildrenFrontFirst(c, connection.root());
    std::reverse(stacking.begin(), stacking.end());
    return stacking;
}

std::vector<xcb_window_t> clientWindowsOfPid(X11Connection& connection, std::int32_t pid) {
    const auto clients = clientWindowsFrontFirst(connection);
    const auto pids = ownerPids(connection, clients);
    std::vector<xcb_window_t> owned;
    for (std::size_t i = 0; i < clients.size(); ++i)
        if (pids[i] == pid) owned.push_back(clients[i]);
    return owned;
}

}  // namespace brindlemar::platform::x11

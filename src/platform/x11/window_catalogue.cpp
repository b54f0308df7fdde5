#include "platform/x11/window_catalogue.h"

#include <algorithm>
#include <span>

#include "platform/x11/connection.h"
#include "platform/x11/process_files.h"
#include "platform/x11/window_list_queries.h"
#include "platform/x11/window_properties.h"

namespace brindlemar::platform::x11 {

namespace {

// Layers of windows that are not normal application windows, in the order of the macOS window
// levels they correspond to, so that callers can compare them.
constexpr std::int64_t kDesktopLayer = -2147483623;
constexpr std::int64_t kAboveLayer = 3;
constexpr std::int64_t kDockLayer = 20;
constexpr std::int64_t kNotificationLayer = 23;
constexpr std::int64_t kMenuLayer = 101;
constexpr std::int64_t kTooltipLayer = 200;
constexpr std::uint32_t kAllDesktops = 0xFFFFFFFF;

// The requests for one window, sent together before any reply is awaited.
struct WindowRequests {
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_translate_coordinates_cookie_t origin;
    xcb_get_property_cookie_t netName;
    xcb_get_property_cookie_t wmName;
    xcb_get_property_cookie_t wmClass;
    xcb_get_property_cookie_t frameExtents;
    xcb_get_property_cookie_t type;
    xcb_get_property_cookie_t state;
    xcb_get_property_cookie_t desktop;
};

// Atoms the listing reads, interned once per listing (the connection caches them).
struct ListingAtoms {
    xcb_atom_t netName, compoundText, frameExtents, type, state, desktop;
    xcb_atom_t typeDesktop, typeDock, typeMenu, typeDropdown, typePopup, typeTooltip,
        typeNotification, typeCombo, typeDnd;
    xcb_atom_t stateHidden, stateAbove;

    explicit ListingAtoms(X11Connection& c)
        : netName(c.atom("_NET_WM_NAME")),
          compoundText(c.atom("COMPOUND_TEXT")),
          frameExtents(c.atom("_NET_FRAME_EXTENTS")),
          type(c.atom("_NET_WM_WINDOW_TYPE")),
          state(c.atom("_NET_WM_STATE")),
          desktop(c.atom("_NET_WM_DESKTOP")),
          typeDesktop(c.atom("_NET_WM_WINDOW_TYPE_DESKTOP")),
          typeDock(c.atom("_NET_WM_WINDOW_TYPE_DOCK")),
          typeMenu(c.atom("_NET_WM_WINDOW_TYPE_MENU")),
          typeDropdown(c.atom("_NET_WM_WINDOW_TYPE_DROPDOWN_MENU")),
          typePopup(c.atom("_NET_WM_WINDOW_TYPE_POPUP_MENU")),
          typeTooltip(c.atom("_NET_WM_WINDOW_TYPE_TOOLTIP")),
          typeNotification(c.atom("_NET_WM_WINDOW_TYPE_NOTIFICATION")),
          typeCombo(c.atom("_NET_WM_WINDOW_TYPE_COMBO")),
          typeDnd(c.atom("_NET_WM_WINDOW_TYPE_DND")),
          stateHidden(c.atom("_NET_WM_STATE_HIDDEN")),
          stateAbove(c.atom("_NET_WM_STATE_ABOVE")) {}
};

WindowRequests sendRequests(xcb_connection_t* c, xcb_window_t root, xcb_window_t window,
                            const ListingAtoms& atoms) {
    return {xcb_get_window_attributes(c, window),
            xcb_get_geometry(c, window),
            xcb_translate_coordinates(c, window, root, 0, 0),
            requestProperty(c, window, atoms.netName),
            requestProperty(c, window, XCB_ATOM_WM_NAME),
            requestProperty(c, window, XCB_ATOM_WM_CLASS),
            requestProperty(c, window, atoms.frameExtents, 4),
            requestProperty(c, window, atoms.type, 32),
            requestProperty(c, window, atoms.state, 32),
            requestProperty(c, window, atoms.desktop, 1)};
}

std::int64_t layerOf(const std::vector<std::uint32_t>& types,
                     const std::vector<std::uint32_t>& states, bool overrideRedirect,
                     const ListingAtoms& atoms) {
    auto has = [](const std::vector<std::uint32_t>& list, xcb_atom_t atom) {
        return std::find(list.begin(), list.end(), atom) != list.end();
    };
    // The first type a client names is the one it prefers.
    for (std::uint32_t type : types) {
        if (type == atoms.typeDesktop) return kDesktopLayer;
        if (type == atoms.typeDock) return kDockLayer;
        if (type == atoms.typeNotification) return kNotificationLayer;
        if (type == atoms.typeTooltip) return kTooltipLayer;
        if (type == atoms.typeMenu || type == atoms.typeDropdown || type == atoms.typePopup ||
            type == atoms.typeCombo || type == atoms.typeDnd) {
            return kMenuLayer;
        }
    }
    if (overrideRedirect) return kMenuLayer;
    if (has(states, atoms.stateAbove)) return kAboveLayer;
    return 0;
}

// The outer frame: the client's area in root coordinates, widened by its border and by the
// decorations the window manager announces in _NET_FRAME_EXTENTS (left, right, top, bottom).
Rect frameOf(const xcb_get_geometry_reply_t& geometry,
             const xcb_translate_coordinates_reply_t& origin,
             const std::vector<std::uint32_t>& extents) {
    const double border = geometry.border_width;
    double left = border, right = border, top = border, bottom = border;
    if (extents.size() == 4) {
        left += extents[0];
        right += extents[1];
        top += extents[2];
        bottom += extents[3];
    }
    return Rect{origin.dst_x - left, origin.dst_y - top, geometry.width + left + right,
                geometry.height + top + bottom};
}

std::optional<std::uint32_t> currentDesktop(xcb_connection_t* c, X11Connection& connection) {
    auto values = propertyValues(takeProperty(
        c, requestProperty(c, connection.root(), connection.atom("_NET_CURRENT_DESKTOP"), 1)));
    if (values.empty()) return std::nullopt;
    return values.front();
}

}  // namespace

Expected<std::vector<CatalogueWindow>> listOnScreenWindows(X11Connection& connection) {
    if (auto status = connection.check(); !status) return status.error();
    xcb_connection_t* c = connection.raw();
    const ListingAtoms atoms(connection);
    const auto desktopNow = currentDesktop(c, connection);
    const auto clients = clientWindowsFrontFirst(connection);

    std::vector<WindowRequests> requests;
    requests.reserve(clients.size());
    for (xcb_window_t window : clients) {
        requests.push_back(sendRequests(c, connection.root(), window, atoms));
    }
    const auto pids = ownerPids(connection, clients);

    std::vector<CatalogueWindow> windows;
    for (std::size_t i = 0; i < clients.size(); ++i) {
        const auto& sent = requests[i];
        XcbReply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, sent.attributes, nullptr));
        XcbReply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(c, sent.geometry, nullptr));
        XcbReply<xcb_translate_coordinates_reply_t> origin(
            xcb_translate_coordinates_reply(c, sent.origin, nullptr));
        auto netName = takeProperty(c, sent.netName);
        auto wmName = takeProperty(c, sent.wmName);
        auto wmClass = takeProperty(c, sent.wmClass);
        auto extents = propertyValues(takeProperty(c, sent.frameExtents));
        auto types = propertyValues(takeProperty(c, sent.type));
        auto states = propertyValues(takeProperty(c, sent.state));
        auto desktop = propertyValues(takeProperty(c, sent.desktop));
        // A window destroyed while it was being listed has no attributes: it is not listed.
        if (!attributes || !geometry || !origin) continue;

        const bool hidden =
            std::find(states.begin(), states.end(), atoms.stateHidden) != states.end();
        const bool elsewhere = desktopNow && !desktop.empty() && desktop.front() != kAllDesktops &&
                               desktop.front() != *desktopNow;
        if (attributes->map_state != XCB_MAP_STATE_VIEWABLE || hidden || elsewhere) continue;

        CatalogueWindow window;
        window.id = clients[i];
        window.frame = frameOf(*geometry, *origin, extents);
        window.layer = layerOf(types, states, attributes->override_redirect != 0, atoms);
        window.onScreen = true;
        window.title = propertyText(netName, atoms.compoundText);
        if (!window.title) window.title = propertyText(wmName, atoms.compoundText);
        const std::int32_t pid = pids[i].value_or(0);
        auto name = wmClassName(wmClass);
        if (!name) name = processName(pid);
        if (pid != 0 || name) window.owner = OwningApplication{name.value_or(""), pid};
        windows.push_back(std::move(window));
    }
    if (auto status = connection.check(); !status) return status.error();
    return windows;
}

std::optional<Rect> clientFrame(X11Connection& connection, xcb_window_t window) {
    xcb_connection_t* c = connection.raw();
    auto geometryCookie = xcb_get_geometry(c, window);
    auto originCookie = xcb_translate_coordinates(c, window, connection.root(), 0, 0);
    auto extentsCookie = requestProperty(c, window, connection.atom("_NET_FRAME_EXTENTS"), 4);
    XcbReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, geometryCookie, nullptr));
    XcbReply<xcb_translate_coordinates_reply_t> origin(
        xcb_translate_coordinates_reply(c, originCookie, nullptr));
    auto extents = propertyValues(takeProperty(c, extentsCookie));
    if (!geometry || !origin) return std::nullopt;
    return frameOf(*geometry, *origin, extents);
}

}  // namespace brindlemar::platform::x11

#include "platform/x11/window_list_raise.h"

#include <xcb/xcb_ewmh.h>
#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <optional>
#include <thread>
#include <vector>

#include "platform/x11/connection.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {
namespace {

using namespace std::chrono_literals;

// How often a raise looks whether the window manager has brought the window forward.
constexpr auto kRaisePoll = 1ms;
// How long a window that did not come forward is not waited for again.
constexpr auto kRefusalMemory = 1s;
// The desktop number of a window shown on every desktop.
constexpr std::uint32_t kAllDesktops = 0xFFFFFFFF;

std::optional<xcb_window_t> windowValue(xcb_connection_t* c, xcb_window_t window,
                                        xcb_atom_t property) {
    XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        c, xcb_get_property(c, 0, window, property, XCB_ATOM_WINDOW, 0, 1), nullptr));
    if (!reply || reply->type != XCB_ATOM_WINDOW || reply->format != 32 ||
        xcb_get_property_value_length(reply.get()) != 4)
        return std::nullopt;
    return *static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
}

bool contains(const xcb_ewmh_get_atoms_reply_t& atoms, xcb_atom_t atom) {
    return std::find(atoms.atoms, atoms.atoms + atoms.atoms_len, atom) !=
           atoms.atoms + atoms.atoms_len;
}

// What the window manager says of the desktop as a whole.
struct DesktopState {
    std::optional<xcb_window_t> active;
    std::vector<xcb_window_t> stackingBottomUp;
    std::optional<std::uint32_t> currentDesktop;
};

DesktopState desktopState(X11Connection& connection) {
    xcb_ewmh_connection_t* ewmh = connection.ewmh();
    const int screen = connection.screenNumber();
    auto activeCookie = xcb_ewmh_get_active_window(ewmh, screen);
    auto stackingCookie = xcb_ewmh_get_client_list_stacking(ewmh, screen);
    auto desktopCookie = xcb_ewmh_get_current_desktop(ewmh, screen);
    DesktopState state;
    xcb_window_t active = XCB_WINDOW_NONE;
    if (xcb_ewmh_get_active_window_reply(ewmh, activeCookie, &active, nullptr) != 0)
        state.active = active;
    xcb_ewmh_get_windows_reply_t stacking{};
    if (xcb_ewmh_get_client_list_stacking_reply(ewmh, stackingCookie, &stacking, nullptr) != 0) {
        state.stackingBottomUp.assign(stacking.windows, stacking.windows + stacking.windows_len);
        xcb_ewmh_get_windows_reply_wipe(&stacking);
    }
    std::uint32_t desktop = 0;
    if (xcb_ewmh_get_current_desktop_reply(ewmh, desktopCookie, &desktop, nullptr) != 0)
        state.currentDesktop = desktop;
    return state;
}

// Whether a window that stands above `target` hides it from the user the way another
// application's window does: a normal window on the current desktop that is neither kept above,
// nor hidden, nor a dialog of the target. One round trip for all of `windows`.
std::vector<bool> normalWindowsAbove(X11Connection& connection, xcb_window_t target,
                                     const std::vector<xcb_window_t>& windows,
                                     std::optional<std::uint32_t> currentDesktop) {
    xcb_ewmh_connection_t* ewmh = connection.ewmh();
    xcb_connection_t* c = connection.raw();
    struct Cookies {
        xcb_get_property_cookie_t type, state, desktop, transient;
    };
    std::vector<Cookies> cookies;
    cookies.reserve(windows.size());
    for (xcb_window_t window : windows)
        cookies.push_back(
            {xcb_ewmh_get_wm_window_type(ewmh, window), xcb_ewmh_get_wm_state(ewmh, window),
             xcb_ewmh_get_wm_desktop(ewmh, window), xcb_icccm_get_wm_transient_for(c, window)});
    std::vector<bool> normal;
    normal.reserve(windows.size());
    for (const auto& cookie : cookies) {
        bool isNormal = true;
        xcb_ewmh_get_atoms_reply_t types{};
        if (xcb_ewmh_get_wm_window_type_reply(ewmh, cookie.type, &types, nullptr) != 0) {
            for (xcb_atom_t type :
                 {ewmh->_NET_WM_WINDOW_TYPE_DOCK, ewmh->_NET_WM_WINDOW_TYPE_DESKTOP,
                  ewmh->_NET_WM_WINDOW_TYPE_NOTIFICATION, ewmh->_NET_WM_WINDOW_TYPE_TOOLTIP,
                  ewmh->_NET_WM_WINDOW_TYPE_SPLASH})
                if (contains(types, type)) isNormal = false;
            xcb_ewmh_get_atoms_reply_wipe(&types);
        }
        xcb_ewmh_get_atoms_reply_t states{};
        if (xcb_ewmh_get_wm_state_reply(ewmh, cookie.state, &states, nullptr) != 0) {
            if (contains(states, ewmh->_NET_WM_STATE_ABOVE) ||
                contains(states, ewmh->_NET_WM_STATE_HIDDEN))
                isNormal = false;
            xcb_ewmh_get_atoms_reply_wipe(&states);
        }
        std::uint32_t desktop = 0;
        if (xcb_ewmh_get_wm_desktop_reply(ewmh, cookie.desktop, &desktop, nullptr) != 0 &&
            currentDesktop && desktop != kAllDesktops && desktop != *currentDesktop)
            isNormal = false;
        xcb_window_t owner = XCB_WINDOW_NONE;
        if (xcb_icccm_get_wm_transient_for_reply(c, cookie.transient, &owner, nullptr) != 0 &&
            owner == target)
            isNormal = false;
        normal.push_back(isNormal);
    }
    return normal;
}

bool transientFor(xcb_connection_t* c, xcb_window_t window, xcb_window_t owner) {
    xcb_window_t value = XCB_WINDOW_NONE;
    return xcb_icccm_get_wm_transient_for_reply(c, xcb_icccm_get_wm_transient_for(c, window),
                                                &value, nullptr) != 0 &&
           value == owner;
}

void switchToDesktopOf(X11Connection& connection, xcb_window_t window,
                       std::optional<std::uint32_t> currentDesktop) {
    xcb_ewmh_connection_t* ewmh = connection.ewmh();
    std::uint32_t desktop = 0;
    if (xcb_ewmh_get_wm_desktop_reply(ewmh, xcb_ewmh_get_wm_desktop(ewmh, window), &desktop,
                                      nullptr) == 0)
        return;
    if (desktop == kAllDesktops || (currentDesktop && desktop == *currentDesktop)) return;
    xcb_ewmh_request_change_current_desktop(ewmh, connection.screenNumber(), desktop,
                                            XCB_CURRENT_TIME);
}

void requestActivation(X11Connection& connection, xcb_window_t window,
                       std::optional<xcb_window_t> active) {
    // Source 2 speaks for the user (a pager or task bar), which window managers obey without
    // applying focus-stealing prevention.
    xcb_ewmh_request_change_active_window(connection.ewmh(), connection.screenNumber(), window,
                                          XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, XCB_CURRENT_TIME,
                                          active.value_or(XCB_WINDOW_NONE));
    xcb_flush(connection.raw());
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

bool inFront(X11Connection& connection, xcb_window_t window, const DesktopState& state) {
    // A window manager that does not name an active window can only promise the stacking.
    if (state.active && *state.active != window &&
        !transientFor(connection.raw(), *state.active, window))
        return false;
    const auto& stack = state.stackingBottomUp;
    const auto at = std::find(stack.begin(), stack.end(), window);
    if (at == stack.end()) return !stack.empty() ? false : state.active == window;
    const std::vector<xcb_window_t> above(at + 1, stack.end());
    const auto normal = normalWindowsAbove(connection, window, above, state.currentDesktop);
    return std::none_of(normal.begin(), normal.end(), [](bool n) { return n; });
}

}  // namespace

bool windowManagerRunning(X11Connection& connection) {
    xcb_connection_t* c = connection.raw();
    const xcb_atom_t check = connection.atom("_NET_SUPPORTING_WM_CHECK");
    const auto child = windowValue(c, connection.root(), check);
    return child && windowValue(c, *child, check) == child;
}

bool inFront(X11Connection& connection, xcb_window_t window) {
    return inFront(connection, window, desktopState(connection));
}

WindowRaiser::Outcome WindowRaiser::raise(xcb_window_t window) {
    if (!windowExists(connection_, window)) return Outcome::Gone;
    if (!windowManagerRunning(connection_)) {
        restackWithoutManager(connection_, window);
        return Outcome::InFront;
    }
    const DesktopState state = desktopState(connection_);
    if (inFront(connection_, window, state)) return Outcome::InFront;

    switchToDesktopOf(connection_, window, state.currentDesktop);
    requestActivation(connection_, window, state.active);
    if (recentlyRefused(window)) return Outcome::NotInFront;
    const auto deadline = std::chrono::steady_clock::now() + kRaiseWait;
    while (!inFront(connection_, window)) {
        if (std::chrono::steady_clock::now() >= deadline || connection_.lost()) {
            noteRefused(window);
            return Outcome::NotInFront;
        }
        std::this_thread::sleep_for(kRaisePoll);
    }
    return Outcome::InFront;
}

bool WindowRaiser::recentlyRefused(xcb_window_t window) {
    MutexLock lock(lock_);
    return refused_ == window && std::chrono::steady_clock::now() - refusedAt_ < kRefusalMemory;
}

void WindowRaiser::noteRefused(xcb_window_t window) {
    MutexLock lock(lock_);
    refused_ = window;
    refusedAt_ = std::chrono::steady_clock::now();
}

}  // namespace brindlemar::platform::x11

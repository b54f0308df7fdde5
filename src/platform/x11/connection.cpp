#include "platform/x11/connection.h"

#include <xcb/composite.h>
#include <xcb/randr.h>
#include <xcb/res.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <cstdlib>
#include <utility>

namespace brindlemar::platform::x11 {

namespace {

xcb_screen_t* screenOfNumber(xcb_connection_t* connection, int number) {
    auto iterator = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; iterator.rem > 0; --number, xcb_screen_next(&iterator)) {
        if (number == 0) return iterator.data;
    }
    return nullptr;
}

bool present(xcb_connection_t* connection, xcb_extension_t* extension) {
    const auto* data = xcb_get_extension_data(connection, extension);
    return data != nullptr && data->present != 0;
}

}  // namespace

Expected<std::unique_ptr<X11Connection>> X11Connection::open(const char* displayName) {
    const char* name = displayName != nullptr ? displayName : std::getenv("DISPLAY");
    if (name == nullptr || *name == '\0') {
        return Error{kX11Domain, 1, "DISPLAY is not set: no X server to connect to"};
    }
    auto link = connect(name);
    if (!link) return std::move(link).takeError();
    auto result = std::unique_ptr<X11Connection>(new X11Connection(name));
    result->link_.store(link->get(), std::memory_order_release);
    MutexLock lock(result->reconnectLock_);
    result->links_.push_back(std::move(*link));
    return result;
}

Expected<std::unique_ptr<X11Connection::Link>> X11Connection::connect(
    const std::string& displayName) {
    auto link = std::make_unique<Link>();
    link->connection = xcb_connect(displayName.c_str(), &link->screenNumber);
    if (int failure = xcb_connection_has_error(link->connection); failure != 0) {
        return Error{kX11Domain, failure,
                     "cannot connect to the X server at DISPLAY " + displayName};
    }
    link->screen = screenOfNumber(link->connection, link->screenNumber);
    if (link->screen == nullptr) {
        return Error{kX11Domain, 1,
                     "the X server at " + displayName + " has no screen " +
                         std::to_string(link->screenNumber)};
    }
    queryExtensions(*link);
    XcbReply<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(
        link->connection, xcb_get_input_focus(link->connection), nullptr));
    if (!reply || xcb_connection_has_error(link->connection) != 0) return lostError();
    return link;
}

X11Connection::Link::~Link() {
    if (ewmhReady) xcb_ewmh_connection_wipe(&ewmh);
    xcb_disconnect(connection);
}

X11Connection::~X11Connection() = default;

Status X11Connection::reconnectIfLost() {
    if (!lost()) return Status::success();
    MutexLock lock(reconnectLock_);
    if (!lost()) return Status::success();  // another thread was first
    const auto now = std::chrono::steady_clock::now();
    if (lastAttempt_ != std::chrono::steady_clock::time_point{} &&
        now - lastAttempt_ < kReconnectInterval)
        return lostError();
    lastAttempt_ = now;
    auto fresh = connect(displayName_);
    if (!fresh) return lostError();
    link_.store(fresh->get(), std::memory_order_release);
    links_.push_back(std::move(*fresh));
    {
        // Atoms are the server's: the new one numbers them its own way.
        MutexLock atoms(atomLock_);
        atoms_.clear();
    }
    generation_.fetch_add(1, std::memory_order_acq_rel);
    return Status::success();
}

void X11Connection::queryExtensions(Link& link) {
    xcb_connection_t* c = link.connection;
    X11Extensions& extensions = link.extensions;
    // Send every query first and collect the replies after, so connecting costs one round trip.
    xcb_prefetch_extension_data(c, &xcb_randr_id);
    xcb_prefetch_extension_data(c, &xcb_shm_id);
    xcb_prefetch_extension_data(c, &xcb_composite_id);
    xcb_prefetch_extension_data(c, &xcb_xfixes_id);
    xcb_prefetch_extension_data(c, &xcb_input_id);
    xcb_prefetch_extension_data(c, &xcb_test_id);
    xcb_prefetch_extension_data(c, &xcb_res_id);
    auto ewmhCookies = xcb_ewmh_init_atoms(c, &link.ewmh);

    const bool hasRandr = present(c, &xcb_randr_id);
    const bool hasShm = present(c, &xcb_shm_id);
    const bool hasComposite = present(c, &xcb_composite_id);
    const bool hasXfixes = present(c, &xcb_xfixes_id);
    const bool hasInput = present(c, &xcb_input_id);
    const bool hasTest = present(c, &xcb_test_id);
    const bool hasRes = present(c, &xcb_res_id);

    // Each extension must be told the version the client speaks before it is used.
    xcb_randr_query_version_cookie_t randr{};
    xcb_shm_query_version_cookie_t shm{};
    xcb_composite_query_version_cookie_t composite{};
    xcb_xfixes_query_version_cookie_t xfixes{};
    xcb_input_xi_query_version_cookie_t input{};
    xcb_test_get_version_cookie_t test{};
    xcb_res_query_version_cookie_t res{};
    if (hasRandr) randr = xcb_randr_query_version(c, 1, 5);
    if (hasShm) shm = xcb_shm_query_version(c);
    if (hasComposite) composite = xcb_composite_query_version(c, 0, 4);
    if (hasXfixes) xfixes = xcb_xfixes_query_version(c, 5, 0);
    if (hasInput) input = xcb_input_xi_query_version(c, 2, 2);
    if (hasTest) test = xcb_test_get_version(c, 2, 2);
    if (hasRes) res = xcb_res_query_version(c, 1, 2);

    if (hasRandr) {
        XcbReply<xcb_randr_query_version_reply_t> reply(
            xcb_randr_query_version_reply(c, randr, nullptr));
        extensions.randr15 = reply && (reply->major_version > 1 ||
                                       (reply->major_version == 1 && reply->minor_version >= 5));
    }
    if (hasShm) {
        XcbReply<xcb_shm_query_version_reply_t> reply(xcb_shm_query_version_reply(c, shm, nullptr));
        extensions.shm = reply != nullptr;
    }
    if (hasComposite) {
        XcbReply<xcb_composite_query_version_reply_t> reply(
            xcb_composite_query_version_reply(c, composite, nullptr));
        extensions.composite = reply && (reply->major_version > 0 || reply->minor_version >= 2);
    }
    if (hasXfixes) {
        XcbReply<xcb_xfixes_query_version_reply_t> reply(
            xcb_xfixes_query_version_reply(c, xfixes, nullptr));
        extensions.xfixes = reply && reply->major_version >= 1;
    }
    if (hasInput) {
        XcbReply<xcb_input_xi_query_version_reply_t> reply(
            xcb_input_xi_query_version_reply(c, input, nullptr));
        extensions.xinput2 = reply && reply->major_version >= 2;
    }
    if (hasTest) {
        XcbReply<xcb_test_get_version_reply_t> reply(xcb_test_get_version_reply(c, test, nullptr));
        extensions.xtest = reply != nullptr;
    }
    if (hasRes) {
        XcbReply<xcb_res_query_version_reply_t> reply(xcb_res_query_version_reply(c, res, nullptr));
        extensions.resource = reply && (reply->server_major > 1 ||
                                        (reply->server_major == 1 && reply->server_minor >= 2));
    }
    link.ewmhReady = xcb_ewmh_init_atoms_replies(&link.ewmh, ewmhCookies, nullptr) != 0;
}

xcb_atom_t X11Connection::atom(std::string_view name) {
    {
        MutexLock lock(atomLock_);
        if (auto found = atoms_.find(name); found != atoms_.end()) return found->second;
    }
    // Interned outside the lock: two threads asking for the same new name both get its atom.
    Link& asked = link();
    auto cookie =
        xcb_intern_atom(asked.connection, 0, static_cast<std::uint16_t>(name.size()), name.data());
    XcbReply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(asked.connection, cookie, nullptr));
    if (!reply) return XCB_ATOM_NONE;
    MutexLock lock(atomLock_);
    // An atom of a server that has been replaced meanwhile is not kept for the new one.
    if (&asked == &link()) atoms_.emplace(std::string(name), reply->atom);
    return reply->atom;
}

bool X11Connection::lost() const {
    const Link& current = link();
    if (current.lost.load(std::memory_order_relaxed)) return true;
    if (xcb_connection_has_error(current.connection) != 0) {
        current.lost.store(true, std::memory_order_relaxed);
        return true;
    }
    return false;
}

Status X11Connection::check() const {
    if (lost()) return lostError();
    return Status::success();
}

Error X11Connection::lostError() {
    return Error{kX11Domain, 0, kConnectionLostMessage};
}

Error X11Connection::requestError(std::string_view what, const xcb_generic_error_t* error) const {
    if (lost()) return lostError();
    std::string message(what);
    std::int64_t code = 0;
    if (error != nullptr) {
        code = error->error_code;
        message += " (X error " + std::to_string(error->error_code) + ")";
    }
    return Error{kX11Domain, code, message};
}

bool X11Connection::sync() {
    xcb_connection_t* c = raw();
    XcbReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    return reply != nullptr && !lost();
}

}  // namespace brindlemar::platform::x11

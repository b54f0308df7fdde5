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
    int screenNumber = 0;
    xcb_connection_t* connection = xcb_connect(name, &screenNumber);
    if (int failure = xcb_connection_has_error(connection); failure != 0) {
        xcb_disconnect(connection);
        return Error{kX11Domain, failure,
                     "cannot connect to the X server at DISPLAY " + std::string(name)};
    }
    auto result = std::unique_ptr<X11Connection>(new X11Connection(connection, screenNumber, name));
    if (result->screen_ == nullptr) {
        return Error{kX11Domain, 1,
                     "the X server at " + std::string(name) + " has no screen " +
                         std::to_string(screenNumber)};
    }
    result->queryExtensions();
    if (!result->sync()) return lostError();
    return result;
}

X11Connection::X11Connection(xcb_connection_t* connection, int screenNumber,
                             std::string displayName)
    : connection_(connection),
      screen_(screenOfNumber(connection, screenNumber)),
      screenNumber_(screenNumber),
      displayName_(std::move(displayName)) {}

X11Connection::~X11Connection() {
    if (ewmhReady_) xcb_ewmh_connection_wipe(&ewmh_);
    xcb_disconnect(connection_);
}

void X11Connection::queryExtensions() {
    // Send every query first and collect the replies after, so connecting costs one round trip.
    xcb_prefetch_extension_data(connection_, &xcb_randr_id);
    xcb_prefetch_extension_data(connection_, &xcb_shm_id);
    xcb_prefetch_extension_data(connection_, &xcb_composite_id);
    xcb_prefetch_extension_data(connection_, &xcb_xfixes_id);
    xcb_prefetch_extension_data(connection_, &xcb_input_id);
    xcb_prefetch_extension_data(connection_, &xcb_test_id);
    xcb_prefetch_extension_data(connection_, &xcb_res_id);
    auto ewmhCookies = xcb_ewmh_init_atoms(connection_, &ewmh_);

    const bool hasRandr = present(connection_, &xcb_randr_id);
    const bool hasShm = present(connection_, &xcb_shm_id);
    const bool hasComposite = present(connection_, &xcb_composite_id);
    const bool hasXfixes = present(connection_, &xcb_xfixes_id);
    const bool hasInput = present(connection_, &xcb_input_id);
    const bool hasTest = present(connection_, &xcb_test_id);
    const bool hasRes = present(connection_, &xcb_res_id);

    // Each extension must be told the version the client speaks before it is used.
    xcb_randr_query_version_cookie_t randr{};
    xcb_shm_query_version_cookie_t shm{};
    xcb_composite_query_version_cookie_t composite{};
    xcb_xfixes_query_version_cookie_t xfixes{};
    xcb_input_xi_query_version_cookie_t input{};
    xcb_test_get_version_cookie_t test{};
    xcb_res_query_version_cookie_t res{};
    if (hasRandr) randr = xcb_randr_query_version(connection_, 1, 5);
    if (hasShm) shm = xcb_shm_query_version(connection_);
    if (hasComposite) composite = xcb_composite_query_version(connection_, 0, 4);
    if (hasXfixes) xfixes = xcb_xfixes_query_version(connection_, 5, 0);
    if (hasInput) input = xcb_input_xi_query_version(connection_, 2, 2);
    if (hasTest) test = xcb_test_get_version(connection_, 2, 2);
    if (hasRes) res = xcb_res_query_version(connection_, 1, 2);

    if (hasRandr) {
        XcbReply<xcb_randr_query_version_reply_t> reply(
            xcb_randr_query_version_reply(connection_, randr, nullptr));
        extensions_.randr15 = reply && (reply->major_version > 1 ||
                                        (reply->major_version == 1 && reply->minor_version >= 5));
    }
    if (hasShm) {
        XcbReply<xcb_shm_query_version_reply_t> reply(
            xcb_shm_query_version_reply(connection_, shm, nullptr));
        extensions_.shm = reply != nullptr;
    }
    if (hasComposite) {
        XcbReply<xcb_composite_query_version_reply_t> reply(
            xcb_composite_query_version_reply(connection_, composite, nullptr));
        extensions_.composite = reply && (reply->major_version > 0 || reply->minor_version >= 2);
    }
    if (hasXfixes) {
        XcbReply<xcb_xfixes_query_version_reply_t> reply(
            xcb_xfixes_query_version_reply(connection_, xfixes, nullptr));
        extensions_.xfixes = reply && reply->major_version >= 1;
    }
    if (hasInput) {
        XcbReply<xcb_input_xi_query_version_reply_t> reply(
            xcb_input_xi_query_version_reply(connection_, input, nullptr));
        extensions_.xinput2 = reply && reply->major_version >= 2;
    }
    if (hasTest) {
        XcbReply<xcb_test_get_version_reply_t> reply(
            xcb_test_get_version_reply(connection_, test, nullptr));
        extensions_.xtest = reply != nullptr;
    }
    if (hasRes) {
        XcbReply<xcb_res_query_version_reply_t> reply(
            xcb_res_query_version_reply(connection_, res, nullptr));
        extensions_.resource = reply && (reply->server_major > 1 ||
                                         (reply->server_major == 1 && reply->server_minor >= 2));
    }
    ewmhReady_ = xcb_ewmh_init_atoms_replies(&ewmh_, ewmhCookies, nullptr) != 0;
}

xcb_atom_t X11Connection::atom(std::string_view name) {
    {
        std::lock_guard lock(atomLock_);
        if (auto found = atoms_.find(name); found != atoms_.end()) return found->second;
    }
    // Interned outside the lock: two threads asking for the same new name both get its atom.
    auto cookie =
        xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection_, cookie, nullptr));
    if (!reply) return XCB_ATOM_NONE;
    std::lock_guard lock(atomLock_);
    atoms_.emplace(std::string(name), reply->atom);
    return reply->atom;
}

bool X11Connection::lost() const {
    if (lost_.load(std::memory_order_relaxed)) return true;
    if (xcb_connection_has_error(connection_) != 0) {
        lost_.store(true, std::memory_order_relaxed);
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
    XcbReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    return reply != nullptr && !lost();
}

}  // namespace brindlemar::platform::x11

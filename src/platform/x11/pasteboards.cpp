#include <xcb/xfixes.h>

#include <cstring>
#include <memory>
#include <mutex>
#include <string>

#include "platform/x11/connection.h"
#include "platform/x11/input_services.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {
namespace {

struct XcbDisconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using OwnedConnection = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

constexpr const char* kDragSelection = "XdndSelection";

// The drag pasteboard of X is the XdndSelection: a drag takes its ownership. Its change count is
// the number of owner changes seen since the helper started, reported by XFixes on a connection
// of this service's own, so that no other service's event reading can take the notifications.
// The count is brought up to date when asked: a round trip guarantees that every change the
// server made before the question has arrived. `lock_` guards the connection's event queue and
// the count.
class XdndPasteboards final : public Pasteboards {
  public:
    explicit XdndPasteboards(const std::string& displayName) { watch(displayName); }

    std::int64_t dragPasteboardChangeCount() override {
        std::lock_guard guard(lock_);
        if (!watching_) return changes_;
        xcb_connection_t* c = connection_.get();
        XcbReply<xcb_get_input_focus_reply_t> sync(
            xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        while (XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(c)}) {
            if ((event->response_type & 0x7f) == firstEvent_ + XCB_XFIXES_SELECTION_NOTIFY)
                ++changes_;
        }
        return changes_;
    }

  private:
    void watch(const std::string& displayName) {
        int screenNumber = 0;
        connection_.reset(xcb_connect(displayName.c_str(), &screenNumber));
        xcb_connection_t* c = connection_.get();
        if (xcb_connection_has_error(c) != 0) return;
        const auto* extension = xcb_get_extension_data(c, &xcb_xfixes_id);
        if (extension == nullptr || extension->present == 0) return;
        firstEvent_ = extension->first_event;
        XcbReply<xcb_xfixes_query_version_reply_t> version(
            xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 5, 0), nullptr));
        XcbReply<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(
            c,
            xcb_intern_atom(c, 0, static_cast<std::uint16_t>(std::strlen(kDragSelection)),
                            kDragSelection),
            nullptr));
        if (!version || !atom) return;
        auto screens = xcb_setup_roots_iterator(xcb_get_setup(c));
        for (int i = 0; i < screenNumber && screens.rem > 1; ++i)
            xcb_screen_next(&screens);
        const xcb_window_t root = screens.data->root;
        xcb_xfixes_select_selection_input(
            c, root, atom->atom,
            XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
        xcb_flush(c);
        watching_ = true;
    }

    std::mutex lock_;
    OwnedConnection connection_;
    std::uint8_t firstEvent_ = 0;
    bool watching_ = false;
    std::int64_t changes_ = 0;  // guarded by lock_
};

}  // namespace

std::unique_ptr<Pasteboards> makePasteboards(X11Connection& connection) {
    return std::make_unique<XdndPasteboards>(connection.displayName());
}

}  // namespace brindlemar::platform::x11

#include "platform/x11/keymap_watch.h"

#include <cstdlib>

#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {

KeymapWatch::KeymapWatch(const std::string& displayName)
    : connection_(xcb_connect(displayName.c_str(), nullptr)) {
    // The server sends its notifications only to connections that it has fully set up.
    xcb_flush(connection_);
}

KeymapWatch::~KeymapWatch() {
    xcb_disconnect(connection_);
}

bool KeymapWatch::changed() {
    if (xcb_connection_has_error(connection_) != 0) return true;
    bool changed = false;
    while (XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) {
        if ((event->response_type & 0x7f) == XCB_MAPPING_NOTIFY) changed = true;
    }
    return changed;
}

}  // namespace brindlemar::platform::x11

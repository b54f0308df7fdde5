#include "platform/x11/permissions.h"

#include "platform/x11/connection.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {

bool X11PermissionService::check(Permission permission) {
    if (connection_.lost()) return false;
    switch (permission) {
        case Permission::ScreenRecording:
            return serverAnswersImageRequests();
        case Permission::InputMonitoring:
            return connection_.extensions().xinput2;
        case Permission::Accessibility:
            return connection_.extensions().xtest;
    }
    return false;
}

bool X11PermissionService::serverAnswersImageRequests() {
    // One pixel of the root: a server that restricts image reads (a security policy, an
    // untrusted client) answers with an error instead.
    xcb_connection_t* c = connection_.raw();
    XcbReply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, connection_.root(), 0, 0, 1, 1, ~0u),
        nullptr));
    return reply != nullptr;
}

}  // namespace brindlemar::platform::x11

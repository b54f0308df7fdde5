#include "platform/x11/connection.h"
#include "platform/x11/x11_backend.h"

namespace brindlemar::platform::x11 {

Expected<std::unique_ptr<Desktop>> createX11Desktop() {
    auto connection = X11Connection::open();
    if (!connection)
        return std::move(connection).takeError();
    // The services are assembled here as they land.
    return Error{kX11Domain, 0, "the x11 desktop services are not complete in this build"};
}

}  // namespace brindlemar::platform::x11

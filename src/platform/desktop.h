#pragma once

#include "platform/accessibility.h"
#include "platform/capture_catalogue.h"
#include "platform/clock.h"
#include "platform/code_signing.h"
#include "platform/pasteboards.h"
#include "platform/permissions.h"
#include "platform/screenshots.h"
#include "platform/session.h"
#include "platform/synthetic_events.h"
#include "platform/window_list.h"
#include "platform/workspace.h"

namespace brindlemar::platform {

// The seam between the helper's algorithms and one desktop (simulated, X11 or macOS). A backend
// answers questions and performs effects; every decision of the protocol is made by the caller.
// Services are safe to call from any thread unless a service says otherwise.
class Desktop {
  public:
    virtual ~Desktop() = default;

    virtual Clock& clock() = 0;
    virtual PermissionService& permissions() = 0;
    virtual CaptureCatalogue& captureCatalogue() = 0;
    virtual ScreenshotService& screenshots() = 0;
    virtual CodeSigning& codeSigning() = 0;
    virtual Workspace& workspace() = 0;
    virtual WindowList& windowList() = 0;
    virtual EventPoster& events() = 0;
    virtual Accessibility& accessibility() = 0;
    virtual Pasteboards& pasteboards() = 0;
    virtual UserSession& session() = 0;

    // Success while the desktop's window server can be reached; else the error its operations
    // fail with (on X11, "X server connection lost"). A desktop whose server went away tries to
    // reach it again here, at most once a second, so a server restarted on the same display is
    // picked up by the next request. The command loop asks before every request; a desktop that
    // cannot lose its server keeps this default.
    virtual Status reachable() { return Status::success(); }
};

}  // namespace brindlemar::platform

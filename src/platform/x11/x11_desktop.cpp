#include <memory>
#include <utility>

#include "platform/clock.h"
#include "platform/x11/capture_catalogue.h"
#include "platform/x11/code_signing.h"
#include "platform/x11/connection.h"
#include "platform/x11/input_services.h"
#include "platform/x11/permissions.h"
#include "platform/x11/screenshots.h"
#include "platform/x11/window_list_raise.h"
#include "platform/x11/x11_backend.h"

namespace brindlemar::platform::x11 {

namespace {

// The desktop of one X screen. It owns the connection; every service borrows it, and the
// members are declared so that the services go away before the connection does.
class X11Desktop final : public Desktop {
  public:
    explicit X11Desktop(std::unique_ptr<X11Connection> connection)
        : connection_(std::move(connection)),
          permissions_(*connection_),
          catalogue_(*connection_),
          screenshots_(*connection_),
          raiser_(*connection_),
          events_(makeEventPoster(*connection_)),
          windowList_(makeWindowList(*connection_)),
          accessibility_(makeAccessibility(*connection_, raiser_)),
          workspace_(makeWorkspace(*connection_, raiser_)),
          pasteboards_(makePasteboards(*connection_)),
          session_(makeUserSession(*connection_)) {}

    Clock& clock() override { return clock_; }
    PermissionService& permissions() override { return permissions_; }
    CaptureCatalogue& captureCatalogue() override { return catalogue_; }
    ScreenshotService& screenshots() override { return screenshots_; }
    CodeSigning& codeSigning() override { return codeSigning_; }
    Workspace& workspace() override { return *workspace_; }
    WindowList& windowList() override { return *windowList_; }
    EventPoster& events() override { return *events_; }
    Accessibility& accessibility() override { return *accessibility_; }
    Pasteboards& pasteboards() override { return *pasteboards_; }
    UserSession& session() override { return *session_; }
    Status reachable() override { return connection_->reconnectIfLost(); }

  private:
    std::unique_ptr<X11Connection> connection_;
    SystemClock clock_;
    X11PermissionService permissions_;
    X11CaptureCatalogue catalogue_;
    X11ScreenshotService screenshots_;
    LinuxCodeSigning codeSigning_;
    WindowRaiser raiser_;
    std::unique_ptr<EventPoster> events_;
    std::unique_ptr<WindowList> windowList_;
    std::unique_ptr<Accessibility> accessibility_;
    std::unique_ptr<Workspace> workspace_;
    std::unique_ptr<Pasteboards> pasteboards_;
    std::unique_ptr<UserSession> session_;
};

}  // namespace

Expected<std::unique_ptr<Desktop>> createX11Desktop() {
    auto connection = X11Connection::open();
    if (!connection) return std::move(connection).takeError();
    return std::unique_ptr<Desktop>(std::make_unique<X11Desktop>(std::move(*connection)));
}

}  // namespace brindlemar::platform::x11

// The simulated desktop: a scene held in one store, the seam services answering from it, the
// journal of effects and the control socket through which tests change the scene.

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "base/json_nesting.h"
#include "platform/sim/control_ops.h"
#include "platform/sim/control_server.h"
#include "platform/sim/sim_accessibility.h"
#include "platform/sim/sim_backend.h"
#include "platform/sim/sim_services.h"

namespace brindlemar::platform::sim {
namespace {

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr) return std::nullopt;
    return std::string(value);
}

Expected<Scene> loadScene(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return Error{"sim", 1, "scene " + path + ": cannot be read"};
    std::stringstream content;
    content << file.rdbuf();
    auto document = parseOutsideJson(content.str());
    if (document.is_discarded()) return Error{"sim", 1, "scene " + path + ": not valid JSON"};
    auto scene = parseScene(document);
    if (!scene) return Error{"sim", 1, "scene " + path + ": " + scene.error().message};
    return scene;
}

class SimDesktop final : public Desktop {
  public:
    explicit SimDesktop(Scene scene)
        : clock_(scene.clock),
          store_(std::move(scene), journal_),
          permissions_(store_),
          catalogue_(store_),
          screenshots_(store_),
          codeSigning_(store_),
          workspace_(store_),
          windowList_(store_),
          events_(store_),
          accessibility_(store_),
          pasteboards_(store_),
          session_(store_),
          operations_(store_, clock_) {}

    Status openJournal(const std::string& path) { return journal_.openFile(path); }
    Status listen(const std::string& path) {
        auto server = ControlServer::start(
            path, [this](std::string_view line) { return operations_.handle(line); });
        if (!server) return std::move(server).takeError();
        server_ = std::move(*server);
        return Status::success();
    }

    Clock& clock() override { return clock_; }
    PermissionService& permissions() override { return permissions_; }
    CaptureCatalogue& captureCatalogue() override { return catalogue_; }
    ScreenshotService& screenshots() override { return screenshots_; }
    CodeSigning& codeSigning() override { return codeSigning_; }
    Workspace& workspace() override { return workspace_; }
    WindowList& windowList() override { return windowList_; }
    EventPoster& events() override { return events_; }
    Accessibility& accessibility() override { return accessibility_; }
    Pasteboards& pasteboards() override { return pasteboards_; }
    UserSession& session() override { return session_; }

  private:
    Journal journal_;
    SimClock clock_;
    SceneStore store_;
    SimPermissions permissions_;
    SimCaptureCatalogue catalogue_;
    SimScreenshots screenshots_;
    SimCodeSigning codeSigning_;
    SimWorkspace workspace_;
    SimWindowList windowList_;
    SimEventPoster events_;
    SimAccessibility accessibility_;
    SimPasteboards pasteboards_;
    SimUserSession session_;
    ControlOperations operations_;
    // Declared last: destroyed first, so no control request runs while the rest goes away.
    std::unique_ptr<ControlServer> server_;
};

}  // namespace

SimOptions simOptionsFromEnvironment() {
    return SimOptions{environment("BRINDLEMAR_SIM_SCENE"), environment("BRINDLEMAR_SIM_SOCKET"),
                      environment("BRINDLEMAR_SIM_JOURNAL")};
}

Expected<std::unique_ptr<Desktop>> createSimDesktop(const SimOptions& options) {
    Scene scene;
    if (options.scenePath) {
        auto loaded = loadScene(*options.scenePath);
        if (!loaded) return std::move(loaded).takeError();
        scene = std::move(loaded).value();
    }
    auto desktop = std::make_unique<SimDesktop>(std::move(scene));
    if (options.journalPath) {
        if (auto opened = desktop->openJournal(*options.journalPath); !opened) {
            return opened.error();
        }
    }
    if (options.socketPath) {
        if (auto listening = desktop->listen(*options.socketPath); !listening) {
            return listening.error();
        }
    }
    return std::unique_ptr<Desktop>(std::move(desktop));
}

}  // namespace brindlemar::platform::sim

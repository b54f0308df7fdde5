#include <chrono>
#include <fstream>
#include <mutex>
#include <sstream>

#include "platform/sim/scene.h"
#include "platform/sim/sim_backend.h"

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
    auto document = nlohmann::json::parse(content.str(), nullptr, false);
    if (document.is_discarded()) return Error{"sim", 1, "scene " + path + ": not valid JSON"};
    auto scene = parseScene(document);
    if (!scene) return Error{"sim", 1, "scene " + path + ": " + scene.error().message};
    return scene;
}

// The simulated desktop. Scene guarded by `lock_`.
class SimDesktop final : public Desktop,
                         Clock,
                         PermissionService,
                         CaptureCatalogue,
                         ScreenshotService,
                         CodeSigning,
                         Workspace,
                         WindowList,
                         EventPoster,
                         Accessibility,
                         Pasteboards {
public:
    explicit SimDesktop(Scene scene) : scene_(std::move(scene)) {}

    Clock& clock() override { return *this; }
    PermissionService& permissions() override { return *this; }
    CaptureCatalogue& captureCatalogue() override { return *this; }
    ScreenshotService& screenshots() override { return *this; }
    CodeSigning& codeSigning() override { return *this; }
    Workspace& workspace() override { return *this; }
    WindowList& windowList() override { return *this; }
    EventPoster& events() override { return *this; }
    Accessibility& accessibility() override { return *this; }
    Pasteboards& pasteboards() override { return *this; }

private:
    double now() override {
        std::lock_guard guard(lock_);
        if (scene_.clock) return *scene_.clock;
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    }

    bool* permissionSlot(Permission permission) {
        switch (permission) {
            case Permission::ScreenRecording:
                return &scene_.permissions.screenRecording;
            case Permission::Accessibility:
                return &scene_.permissions.accessibility;
            case Permission::InputMonitoring:
                return &scene_.permissions.inputMonitoring;
        }
        return nullptr;
    }
    bool check(Permission permission) override {
        std::lock_guard guard(lock_);
        return *permissionSlot(permission);
    }
    bool request(Permission permission) override {
        std::lock_guard guard(lock_);
        bool* slot = permissionSlot(permission);
        bool answer = *slot;
        if (!answer && scene_.grantOnRequest) *slot = true;
        return answer;
    }

    // An empty desktop: no displays, no windows, no applications.
    Expected<ShareableContent> shareableContent() override {
        if (!check(Permission::ScreenRecording)) {
            return Error{"sim", 1, "screen recording is not permitted"};
        }
        return ShareableContent{};
    }
    std::optional<std::int64_t> displayModePixelWidth(std::uint32_t) override {
        return std::nullopt;
    }
    std::optional<std::string> displayUuid(std::uint32_t) override { return std::nullopt; }
    WindowFilterGeometry windowFilterGeometry(const CatalogueWindow& window) override {
        return {window.frame, 1.0};
    }
    Expected<PixelBuffer> captureImage(const CaptureFilter&,
                                       const ScreenshotConfiguration&) override {
        return Error{"sim", 2, "nothing to capture"};
    }
    std::string identityNamespace() override { return "macos"; }
    std::unique_ptr<RunningCode> codeForProcess(std::int32_t) override { return nullptr; }
    std::optional<double> launchTime(std::int32_t) override { return std::nullopt; }
    bool activateApplication(std::int32_t) override { return false; }
    std::optional<WindowListEntry> describeWindow(std::uint32_t) override { return std::nullopt; }
    Rect displayBounds(std::uint32_t) override { return {}; }
    std::uint32_t mainDisplayId() override { return 0; }
    bool post(const SyntheticEvent&, EventTarget) override { return true; }
    AXElement applicationElement(std::int32_t) override {
        return std::make_shared<AXElementHandle>();
    }
    Expected<AXAttributeValue> copyAttribute(const AXElement&, std::string_view) override {
        return Error{kAccessibilityErrorDomain, -25205, "no such attribute"};
    }
    Status performAction(const AXElement&, std::string_view) override {
        return Error{kAccessibilityErrorDomain, -25205, "no such action"};
    }
    std::int64_t dragPasteboardChangeCount() override { return 0; }

    std::mutex lock_;  // guards scene_
    Scene scene_;
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
    return std::unique_ptr<Desktop>(std::make_unique<SimDesktop>(std::move(scene)));
}

}  // namespace brindlemar::platform::sim

// The screen-capture catalogue and screenshots of the simulated desktop.

#include <algorithm>

#include "platform/sim/capture_picture.h"
#include "platform/sim/sim_services.h"

namespace brindlemar::platform::sim {
namespace {

// The largest image a screenshot renders: 1 GiB of pixels.
constexpr std::int64_t kMaxScreenshotPixels = std::int64_t{1} << 28;

Error notPermitted() {
    return Error{kCaptureDomain, kCaptureUserDeclined,
                 "The user declined TCCs for application, window, display capture"};
}

std::optional<Error> refusal(const Scene& scene, const std::optional<std::string>& injected) {
    if (injected) return Error{kCaptureDomain, kCaptureFailedToStart, *injected};
    if (!scene.permissions.screenRecording) return notPermitted();
    return std::nullopt;
}

CatalogueWindow catalogueWindow(const Scene& scene, const SceneWindow& w) {
    CatalogueWindow entry{w.id, w.frame, w.title, w.layer, w.onScreen, std::nullopt};
    if (w.pid) {
        const SceneApp* app = scene.findApp(*w.pid);
        entry.owner = OwningApplication{app && app->name ? *app->name : "", *w.pid};
    }
    return entry;
}

}  // namespace

Expected<ShareableContent> SimCaptureCatalogue::shareableContent() {
    return store_.read([](const Scene& scene) -> Expected<ShareableContent> {
        if (auto error = refusal(scene, scene.capture.catalogueError)) return *error;
        ShareableContent content;
        for (const auto& window : scene.windows) {
            if (window.onScreen) content.windows.push_back(catalogueWindow(scene, window));
        }
        for (const auto& d : scene.displays) {
            content.displays.push_back({d.id, d.frame, d.width, d.height});
        }
        return content;
    });
}

std::optional<std::int64_t> SimCaptureCatalogue::displayModePixelWidth(std::uint32_t displayId) {
    return store_.read([&](const Scene& scene) -> std::optional<std::int64_t> {
        const SceneDisplay* display = scene.findDisplay(displayId);
        return display ? display->pixelWidth : std::nullopt;
    });
}

std::optional<std::string> SimCaptureCatalogue::displayUuid(std::uint32_t displayId) {
    return store_.read([&](const Scene& scene) -> std::optional<std::string> {
        const SceneDisplay* display = scene.findDisplay(displayId);
        return display ? display->uuid : std::nullopt;
    });
}

WindowFilterGeometry SimCaptureCatalogue::windowFilterGeometry(const CatalogueWindow& window) {
    return store_.read([&](const Scene& scene) {
        const SceneWindow* found = scene.findWindow(window.id);
        if (found == nullptr) return WindowFilterGeometry{window.frame, 2.0};
        return WindowFilterGeometry{found->frame, found->pointPixelScale};
    });
}

Expected<PixelBuffer> SimScreenshots::captureImage(const CaptureFilter& filter,
                                                   const ScreenshotConfiguration& configuration) {
    const std::int64_t width = configuration.width;
    const std::int64_t height = configuration.height;
    if (width < 1 || height < 1 || width > kMaxScreenshotPixels / height) {
        return Error{
            kCaptureDomain, kCaptureFailedToStart,
            "invalid screenshot size " + std::to_string(width) + " x " + std::to_string(height)};
    }
    auto picture = store_.write([&](Scene& scene, Journal& journal) -> Expected<Picture> {
        if (auto error = refusal(scene, scene.capture.screenshotError)) return *error;
        auto found = capturePicture(scene, filter);
        if (!found) return found;
        bool isWindow = filter.kind == CaptureFilterKind::Window;
        journal.record(effect("screenshot", {{"filter", isWindow ? "window" : "display"},
                                             {"id", filter.id},
                                             {"width", width},
                                             {"height", height},
                                             {"shows_cursor", configuration.showsCursor}}));
        return found;
    });
    if (!picture) return std::move(picture).takeError();
    PixelBuffer image(width, height);
    renderPicture(*picture, image);
    return image;
}

}  // namespace brindlemar::platform::sim

#include "platform/sim/sim_services.h"

namespace brindlemar::platform::sim {
namespace {

WindowListEntry entryOf(const SceneWindow& window) {
    return WindowListEntry{window.id, window.frame, window.pid, window.layer, window.title};
}

}  // namespace

std::optional<WindowListEntry> SimWindowList::describeWindow(std::uint32_t id) {
    return store_.read([&](const Scene& scene) -> std::optional<WindowListEntry> {
        const SceneWindow* window = scene.findWindow(id);
        if (window == nullptr) return std::nullopt;
        return entryOf(*window);
    });
}

std::vector<WindowListEntry> SimWindowList::onScreenWindows() {
    return store_.read([](const Scene& scene) {
        std::vector<WindowListEntry> entries;
        for (const auto& window : scene.windows) {
            if (window.onScreen) entries.push_back(entryOf(window));
        }
        return entries;
    });
}

bool SimWindowList::displayIsActive(std::uint32_t displayId) {
    return store_.read([&](const Scene& scene) {
        const SceneDisplay* display = scene.findDisplay(displayId);
        return display != nullptr && display->active;
    });
}

Rect SimWindowList::displayBounds(std::uint32_t displayId) {
    return store_.read([&](const Scene& scene) {
        const SceneDisplay* display = scene.findDisplay(displayId);
        return display != nullptr && display->active ? display->frame : Rect{};
    });
}

std::uint32_t SimWindowList::mainDisplayId() {
    return store_.read([](const Scene& scene) -> std::uint32_t {
        if (scene.mainDisplay) return *scene.mainDisplay;
        return scene.displays.empty() ? 0 : scene.displays.front().id;
    });
}

}  // namespace brindlemar::platform::sim

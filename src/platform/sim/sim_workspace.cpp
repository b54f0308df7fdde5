#include "platform/sim/sim_services.h"

namespace brindlemar::platform::sim {

std::optional<double> SimWorkspace::launchTime(std::int32_t pid) {
    return store_.read([&](const Scene& scene) -> std::optional<double> {
        const SceneApp* app = scene.findApp(pid);
        return app ? app->launched : std::nullopt;
    });
}

bool SimWorkspace::activateApplication(std::int32_t pid) {
    return store_.write([&](Scene& scene, Journal& journal) {
        const SceneApp* app = scene.findApp(pid);
        if (app == nullptr) return false;
        if (app->activates) scene.frontmost = pid;
        journal.record(effect("activate", {{"pid", pid}}));
        return true;
    });
}

std::optional<std::int32_t> SimWorkspace::frontmostApplication() {
    return store_.read([](const Scene& scene) -> std::optional<std::int32_t> {
        // A pid that no application lists names no running process.
        if (!scene.frontmost || scene.findApp(*scene.frontmost) == nullptr) return std::nullopt;
        return scene.frontmost;
    });
}

}  // namespace brindlemar::platform::sim

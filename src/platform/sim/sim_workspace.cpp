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
        if (scene.findApp(pid) == nullptr) return false;
        scene.frontmost = pid;
        journal.record(effect("activate", {{"pid", pid}}));
        return true;
    });
}

}  // namespace brindlemar::platform::sim

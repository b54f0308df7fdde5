#include "platform/sim/sim_services.h"

namespace brindlemar::platform::sim {
namespace {

bool& slotOf(ScenePermissions& permissions, Permission permission) {
    switch (permission) {
        case Permission::ScreenRecording:
            return permissions.screenRecording;
        case Permission::Accessibility:
            return permissions.accessibility;
        case Permission::InputMonitoring:
            break;
    }
    return permissions.inputMonitoring;
}

const char* nameOf(Permission permission) {
    switch (permission) {
        case Permission::ScreenRecording:
            return "screen_recording";
        case Permission::Accessibility:
            return "accessibility";
        case Permission::InputMonitoring:
            break;
    }
    return "input_monitoring";
}

}  // namespace

bool SimPermissions::check(Permission permission) {
    return store_.read([&](const Scene& scene) {
        auto permissions = scene.permissions;
        return slotOf(permissions, permission);
    });
}

bool SimPermissions::request(Permission permission) {
    return store_.write([&](Scene& scene, Journal& journal) {
        bool& granted = slotOf(scene.permissions, permission);
        bool answer = granted;
        if (!answer) {
            journal.record(effect("permission_prompt", {{"permission", nameOf(permission)}}));
            if (scene.grantOnRequest) granted = true;
        }
        return answer;
    });
}

}  // namespace brindlemar::platform::sim

#include "platform/sim/scene.h"

namespace brindlemar::platform::sim {
namespace {

Error sceneError(const std::string& path, const std::string& fault) {
    return Error{"sim", 1, path + ": " + fault};
}

}  // namespace

Expected<Scene> parseScene(const nlohmann::json& document) {
    Scene scene;
    if (!document.is_object()) return sceneError("$", "the scene must be a JSON object");

    if (auto it = document.find("clock"); it != document.end() && !it->is_null()) {
        if (!it->is_number()) return sceneError("clock", "must be a number or null");
        scene.clock = it->get<double>();
    }
    if (auto it = document.find("permissions"); it != document.end()) {
        if (!it->is_object()) return sceneError("permissions", "must be an object");
        struct Entry {
            const char* key;
            bool* target;
        } entries[] = {{"screen_recording", &scene.permissions.screenRecording},
                       {"accessibility", &scene.permissions.accessibility},
                       {"input_monitoring", &scene.permissions.inputMonitoring}};
        for (auto& entry : entries) {
            auto value = it->find(entry.key);
            if (value == it->end()) continue;
            if (!value->is_boolean()) {
                return sceneError(std::string("permissions.") + entry.key, "must be a boolean");
            }
            *entry.target = value->get<bool>();
        }
    }
    if (auto it = document.find("grant_on_request"); it != document.end()) {
        if (!it->is_boolean()) return sceneError("grant_on_request", "must be a boolean");
        scene.grantOnRequest = it->get<bool>();
    }
    return scene;
}

}  // namespace brindlemar::platform::sim

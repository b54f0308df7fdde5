#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "core/error.h"

namespace brindlemar::platform::sim {

struct ScenePermissions {
    bool screenRecording = true;
    bool accessibility = true;
    bool inputMonitoring = true;
};

// The simulated desktop as a scene file describes it, every key with its default.
struct Scene {
    std::optional<double> clock;  // simulated wall clock at start; absent: real time
    ScenePermissions permissions;
    bool grantOnRequest = false;
};

// Validates and converts a scene; the error message names the JSON path of the bad value.
Expected<Scene> parseScene(const nlohmann::json& document);

}  // namespace brindlemar::platform::sim

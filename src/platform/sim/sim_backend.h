#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/error.h"
#include "platform/desktop.h"

namespace brindlemar::platform::sim {

// Where the simulated desktop finds its scene and where it reports, from the environment.
struct SimOptions {
    std::optional<std::string> scenePath;    // BRINDLEMAR_SIM_SCENE
    std::optional<std::string> socketPath;   // BRINDLEMAR_SIM_SOCKET
    std::optional<std::string> journalPath;  // BRINDLEMAR_SIM_JOURNAL
};

SimOptions simOptionsFromEnvironment();

// Starts the simulated desktop. Fails with one line naming the scene file and the fault when the
// scene cannot be read, parsed or validated.
Expected<std::unique_ptr<Desktop>> createSimDesktop(const SimOptions& options);

}  // namespace brindlemar::platform::sim

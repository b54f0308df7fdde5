#pragma once

#include <string>
#include <vector>

#include "base/error.h"
#include "platform/geometry.h"

namespace brindlemar::platform::sim {

// How a simulated drop ended, as the desktop's "drop" operation answers it.
enum class DropOutcome { Accepted, Refused, NotStarted, Hang };

// Performs a file drop on the simulated desktop of the parent helper through its control socket
// (the file-drop child's way to reach that desktop; the child must not create a desktop of its
// own, which would take over the socket). Fails when the socket cannot be reached or the
// desktop refuses the request.
Expected<DropOutcome> dropThroughControlSocket(const std::string& socketPath, Point at,
                                               const std::vector<std::string>& paths);

}  // namespace brindlemar::platform::sim

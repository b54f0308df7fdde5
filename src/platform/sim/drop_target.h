#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/sim/scene.h"

namespace brindlemar::platform::sim {

// Performs a file drop at a point of the scene: the top-most on-screen window under the point
// decides the outcome by its drop mode; an accepted drop bumps the drag pasteboard's change
// count and puts the files on it. Returns the journal entry of the drop (its "outcome" is the
// control reply's).
nlohmann::json dropOnScene(Scene& scene, Point at, const std::vector<std::string>& paths);

}  // namespace brindlemar::platform::sim

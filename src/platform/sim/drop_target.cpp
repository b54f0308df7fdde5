#include "platform/sim/drop_target.h"

#include "platform/sim/journal.h"

namespace brindlemar::platform::sim {
namespace {

bool contains(const Rect& frame, Point p) {
    return p.x >= frame.minX() && p.x < frame.maxX() && p.y >= frame.minY() && p.y < frame.maxY();
}

SceneWindow* windowAt(Scene& scene, Point at) {
    for (auto& window : scene.windows) {  // front to back
        if (window.onScreen && contains(window.frame, at)) return &window;
    }
    return nullptr;
}

const char* outcomeOf(DropMode mode) {
    switch (mode) {
        case DropMode::Accept:
            return "accepted";
        case DropMode::Refuse:
            return "refused";
        case DropMode::Swallow:
            return "not_started";
        case DropMode::Hang:
            return "hang";
    }
    return "refused";
}

}  // namespace

nlohmann::json dropOnScene(Scene& scene, Point at, const std::vector<std::string>& paths) {
    SceneWindow* window = windowAt(scene, at);
    // Over no window the drag starts and ends on the bare desktop, which takes nothing.
    const char* outcome = window ? outcomeOf(window->drop) : "refused";
    if (window != nullptr && window->drop == DropMode::Accept) {
        scene.dragPasteboard.change += 1;
        scene.dragPasteboard.types = {"public.file-url"};
        scene.dragPasteboard.files = paths;
    }
    return effect("drop", {{"x", at.x},
                           {"y", at.y},
                           {"paths", paths},
                           {"window", window ? nlohmann::json(window->id) : nlohmann::json()},
                           {"outcome", outcome}});
}

}  // namespace brindlemar::platform::sim

#include "platform/sim/scene.h"

#include <algorithm>

namespace brindlemar::platform::sim {
namespace {

template <class Items, class Pred>
auto* findIn(Items& items, Pred pred) {
    auto it = std::find_if(items.begin(), items.end(), pred);
    return it == items.end() ? nullptr : &*it;
}

}  // namespace

const SceneApp* Scene::findApp(std::int32_t pid) const {
    return findIn(apps, [&](const SceneApp& a) { return a.pid == pid; });
}
SceneApp* Scene::findApp(std::int32_t pid) {
    return findIn(apps, [&](const SceneApp& a) { return a.pid == pid; });
}
const SceneWindow* Scene::findWindow(std::uint32_t id) const {
    return findIn(windows, [&](const SceneWindow& w) { return w.id == id; });
}
SceneWindow* Scene::findWindow(std::uint32_t id) {
    return findIn(windows, [&](const SceneWindow& w) { return w.id == id; });
}
const SceneDisplay* Scene::findDisplay(std::uint32_t id) const {
    return findIn(displays, [&](const SceneDisplay& d) { return d.id == id; });
}

const char* dropModeName(DropMode mode) {
    switch (mode) {
        case DropMode::Accept:
            return "accept";
        case DropMode::Refuse:
            return "refuse";
        case DropMode::Swallow:
            return "swallow";
        case DropMode::Hang:
            return "hang";
    }
    return "accept";
}

}  // namespace brindlemar::platform::sim

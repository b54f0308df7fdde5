#include "platform/sim/ax_tree.h"

namespace brindlemar::platform::sim {
namespace {

bool findRef(const AxNode& node, const std::string& ref, std::vector<std::size_t>& path,
             const AxNode*& found) {
    if (node.ref == ref) {
        found = &node;
        return true;
    }
    for (std::size_t i = 0; i < node.children.size(); ++i) {
        path.push_back(i);
        if (findRef(node.children[i], ref, path, found)) return true;
        path.pop_back();
    }
    return false;
}

}  // namespace

std::string NodeIdentity::key() const {
    std::string text = ref ? "ref:" : "node:";
    if (ref) return text.append(*ref);
    text.append(std::to_string(windowId));
    for (std::size_t index : path)
        text.append("/").append(std::to_string(index));
    return text;
}

NodeIdentity NodeLocation::identityAt(const SceneWindow& window,
                                      const std::vector<std::size_t>& path, const AxNode& node) {
    if (node.ref) return NodeIdentity{window.id, node.ref, {}};
    return NodeIdentity{window.id, std::nullopt, path};
}

std::optional<NodeLocation> locateRef(const Scene& scene, const std::string& ref) {
    for (const auto& window : scene.windows) {
        std::vector<std::size_t> path;
        const AxNode* found = nullptr;
        if (findRef(window.ax, ref, path, found)) return NodeLocation{&window, path, found};
    }
    return std::nullopt;
}

std::optional<NodeLocation> locateNode(const Scene& scene, const NodeIdentity& identity) {
    if (identity.ref) return locateRef(scene, *identity.ref);
    const SceneWindow* window = scene.findWindow(identity.windowId);
    if (window == nullptr) return std::nullopt;
    const AxNode* node = &window->ax;
    for (std::size_t index : identity.path) {
        if (index >= node->children.size()) return std::nullopt;
        node = &node->children[index];
    }
    // A node that has since been given a ref is another element.
    if (node->ref) return std::nullopt;
    return NodeLocation{window, identity.path, node};
}

AxNode& changeableNode(Scene& scene, const NodeLocation& at) {
    AxNode* node = &scene.findWindow(at.window->id)->ax;
    for (std::size_t index : at.path)
        node = &node->children[index];
    return *node;
}

std::vector<const SceneWindow*> applicationWindows(const Scene& scene, const SceneApp& app) {
    std::vector<const SceneWindow*> windows;
    if (app.ax.windows) {
        for (std::uint32_t id : *app.ax.windows) {
            if (const SceneWindow* window = scene.findWindow(id)) windows.push_back(window);
        }
        return windows;
    }
    for (const auto& window : scene.windows) {
        if (window.pid == app.pid) windows.push_back(&window);
    }
    return windows;
}

}  // namespace brindlemar::platform::sim

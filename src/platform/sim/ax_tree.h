#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/scene.h"

namespace brindlemar::platform::sim {

// The identity of an accessibility node: its `ref` when it has one (which survives a scene
// change, wherever the node moves), otherwise its window and the child-index path from the
// window's root.
struct NodeIdentity {
    std::uint32_t windowId = 0;
    std::optional<std::string> ref;
    std::vector<std::size_t> path;

    // Text that is equal exactly when two identities name the same element.
    std::string key() const;
};

// Where a node is in the current scene.
struct NodeLocation {
    const SceneWindow* window = nullptr;
    std::vector<std::size_t> path;
    const AxNode* node = nullptr;

    NodeIdentity identity() const { return identityAt(*window, path, *node); }
    static NodeIdentity identityAt(const SceneWindow& window, const std::vector<std::size_t>& path,
                                   const AxNode& node);
};

// Finds the node in the scene; absent when it is gone.
std::optional<NodeLocation> locateNode(const Scene& scene, const NodeIdentity& identity);
// The same node, changeable, in the scene `at` was found in.
AxNode& changeableNode(Scene& scene, const NodeLocation& at);
// Finds the node with that ref in any window.
std::optional<NodeLocation> locateRef(const Scene& scene, const std::string& ref);
// The windows of an application's accessibility window list, in order.
std::vector<const SceneWindow*> applicationWindows(const Scene& scene, const SceneApp& app);

}  // namespace brindlemar::platform::sim

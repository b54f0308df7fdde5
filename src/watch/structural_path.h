#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace brindlemar::watch {

// The most segments below "window" in a structural path.
inline constexpr std::int64_t watchMaxPathSegments = 12;
// The most children of one parent examined when a segment is formed.
inline constexpr std::size_t kMaxPathChildren = 256;

inline constexpr const char* kUnresolvedPath = "unresolved";

// The structural path of `element`, built upward to its window: "window", then one segment
// role[n] per level, n counting from 1 the element's position among its parent's children of
// the same role ("window/group[1]/button[2]"). "unresolved" when the path cannot be formed: no
// role, an application reached before a window, more than 12 levels, a parent or children that
// cannot be read, an element not among the first 256 children of its parent, or an unnamed
// role among the siblings before it.
//
// `roleOf(node)` gives the role string; `parentOf(node)` an optional node; `childrenOf(node)` an
// optional list of nodes (absent when unreadable); `equal(a, b)` whether two nodes are the same.
template <class Node, class RoleOf, class ParentOf, class ChildrenOf, class Equal>
std::string watchStructuralPath(const Node& element, RoleOf roleOf, ParentOf parentOf,
                                ChildrenOf childrenOf, Equal equal) {
    std::vector<std::string> segments;
    Node current = element;
    std::string role = roleOf(current);
    if (role.empty()) return kUnresolvedPath;
    for (std::int64_t depth = 0; role != "window"; ++depth) {
        if (role == "application" || depth == watchMaxPathSegments) return kUnresolvedPath;
        auto parent = parentOf(current);
        if (!parent) return kUnresolvedPath;
        auto children = childrenOf(*parent);
        if (!children || children->empty()) return kUnresolvedPath;

        std::size_t sameRole = 0;
        bool found = false;
        const std::size_t examined = std::min(children->size(), kMaxPathChildren);
        for (std::size_t i = 0; i < examined; ++i) {
            const auto& child = (*children)[i];
            if (equal(child, current)) {
                found = true;
                break;
            }
            std::string childRole = roleOf(child);
            if (childRole.empty()) return kUnresolvedPath;
            if (childRole == role) ++sameRole;
        }
        if (!found) return kUnresolvedPath;
        segments.push_back(role + "[" + std::to_string(sameRole + 1) + "]");

        current = *parent;
        role = roleOf(current);
        if (role.empty()) return kUnresolvedPath;
    }
    std::string path = "window";
    for (auto it = segments.rbegin(); it != segments.rend(); ++it)
        path.append("/").append(*it);
    return path;
}

}  // namespace brindlemar::watch

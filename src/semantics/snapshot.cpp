#include "semantics/snapshot.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/output_channel.h"
#include "platform/desktop.h"
#include "semantics/element_readers.h"
#include "semantics/node_ids.h"
#include "semantics/semantic_errors.h"
#include "semantics/semantic_state.h"
#include "watch/element_naming.h"

namespace brindlemar::semantics {
namespace {

using Json = nlohmann::json;

bool isContextRole(std::string_view role) {
    return role == "axwindow" || role == "axwebarea" || role == "axtab" || role == "axradiobutton";
}

bool isSecure(std::string_view role, std::string_view subrole) {
    return role.find("password") != std::string_view::npos ||
           subrole.find("secure") != std::string_view::npos;
}

// The role without its "ax" prefix, as paths name it.
std::string shortRole(std::string role) {
    if (role.starts_with("ax")) role.erase(0, 2);
    return role;
}

// The value of a node that is neither secure nor a readable editable field: a text cut to 256
// characters, a number, or null for anything else.
Json plainValue(Accessibility& ax, const AXElement& element) {
    auto value = axAttribute(ax, element, "AXValue");
    if (!value) return nullptr;
    if (std::holds_alternative<std::string>(*value)) return semanticText(value);
    if (const double* number = std::get_if<double>(&*value)) return *number;
    if (const bool* flag = std::get_if<bool>(&*value)) return *flag ? 1 : 0;
    return nullptr;
}

// One walk of a window's tree: appends node records in pre-order and records the bindings,
// drafts and context of the snapshot.
class SnapshotWalk {
  public:
    SnapshotWalk(Accessibility& ax, SemanticState& state, NodeIdSource& ids)
        : ax_(ax), state_(state), ids_(ids) {}

    // The node of `element`, or nothing when a limit cut it off. `role` is its role text.
    std::optional<std::string> visit(const AXElement& element, const std::string& role,
                                     const std::optional<std::string>& parent, std::int64_t depth,
                                     const std::string& path);

    Json takeNodes() { return std::move(nodes_); }
    bool truncated() const { return truncated_; }

  private:
    bool full() const {
        return static_cast<std::int64_t>(nodes_.size()) >= state_.semanticMaxNodes;
    }
    std::map<std::string, std::string> offeredActions(const AXElement& element);
    Json states(const AXElement& element, std::optional<bool>& selected);
    Json visitChildren(const AXElement& element, const std::string& id, std::int64_t depth,
                       const std::string& path);

    Accessibility& ax_;
    SemanticState& state_;
    NodeIdSource& ids_;
    Json nodes_ = Json::array();
    bool truncated_ = false;
};

std::map<std::string, std::string> SnapshotWalk::offeredActions(const AXElement& element) {
    std::map<std::string, std::string> actions;
    auto names = ax_.copyActionNames(element);
    if (!names) return actions;
    const std::size_t considered = std::min(names->size(), state_.maxActionsPerElement);
    for (std::size_t i = 0; i < considered; ++i) {
        std::string semantic = semanticActionName((*names)[i]);
        if (!state_.semanticAllowedActions.contains(semantic)) continue;
        actions.emplace(std::move(semantic), (*names)[i]);  // the first one offered wins
    }
    return actions;
}

Json SnapshotWalk::states(const AXElement& element, std::optional<bool>& selected) {
    Json names = Json::array();
    static constexpr std::pair<const char*, const char*> kStates[] = {
        {"AXEnabled", "enabled"},
        {"AXFocused", "focused"},
        {"AXSelected", "selected"},
        {"AXExpanded", "expanded"},
    };
    for (const auto& [attribute, name] : kStates) {
        auto value = semanticBool(ax_, element, attribute);
        if (std::string_view(attribute) == "AXSelected") selected = value;
        if (value == true) names.push_back(name);
    }
    return names;
}

std::optional<std::string> SnapshotWalk::visit(const AXElement& element, const std::string& role,
                                               const std::optional<std::string>& parent,
                                               std::int64_t depth, const std::string& path) {
    if (depth > state_.semanticMaxDepth || full()) {
        truncated_ = true;
        return std::nullopt;
    }
    std::string id = ids_.next();
    const std::string subrole = subroleText(ax_, element);
    const bool secure = isSecure(role, subrole);
    auto actions = offeredActions(element);
    std::optional<bool> selected;
    Json stateNames = states(element, selected);
    std::string name = watch::watchName(ax_, element);

    Json actionNames = Json::array();
    for (const auto& [semantic, accessibility] : actions)
        actionNames.push_back(semantic);
    Json node = {
        {"id", id},
        {"parent", parent ? Json(*parent) : Json(nullptr)},
        {"role", role},
        {"name", name},
        {"path", path},
        {"secure", secure},
        {"description", attributeText(ax_, element, "AXHelp")},
        {"value", secure ? Json("redacted") : plainValue(ax_, element)},
        {"states", std::move(stateNames)},
        {"actions", std::move(actionNames)},
        {"bounds", semanticBounds(ax_, element)},
        {"children", Json::array()},
    };
    const std::size_t index = nodes_.size();
    nodes_.push_back(std::move(node));

    if (isContextRole(role)) state_.semanticContext.push_back({element, name, selected});
    if (auto draft = semanticEditable(ax_, element, role, subrole)) {
        Json& recorded = nodes_[index];
        recorded["value"] = *draft;
        recorded["actions"].push_back(kSetValueAction);
        state_.semanticDrafts.push_back({element, std::move(*draft)});
    } else if (semanticEditableCandidate(ax_, element, role, subrole)) {
        state_.semanticUnreadableDraft = true;
    }
    state_.semanticBindings[id] = SemanticBinding{element, std::move(actions), role, name};

    nodes_[index]["children"] = visitChildren(element, id, depth, path);
    return id;
}

Json SnapshotWalk::visitChildren(const AXElement& element, const std::string& id,
                                 std::int64_t depth, const std::string& path) {
    Json childIds = Json::array();
    auto children = axChildren(ax_, element);
    if (!children || children->empty()) return childIds;
    if (children->size() > state_.maxChildrenPerElement) truncated_ = true;
    // Past the depth or node limit every child would be cut off: none is read.
    if (depth + 1 > state_.semanticMaxDepth || full()) {
        truncated_ = true;
        return childIds;
    }
    std::map<std::string, std::int64_t> ordinals;
    const std::size_t visited = std::min(children->size(), state_.maxChildrenPerElement);
    for (std::size_t i = 0; i < visited; ++i) {
        if (full()) {
            truncated_ = true;
            break;
        }
        const auto& child = (*children)[i];
        std::string role = roleText(ax_, child);
        std::string segment = shortRole(role);
        std::int64_t ordinal = ++ordinals[segment];
        std::string childPath = path + "/" + segment + "[" + std::to_string(ordinal) + "]";
        if (auto childId = visit(child, role, id, depth + 1, childPath))
            childIds.push_back(*childId);
    }
    return childIds;
}

void resetState(SemanticState& state, std::int64_t generation, std::uint32_t window,
                const AXElement& root, double expiresAt) {
    state.semanticGeneration = generation;
    state.semanticWindow = window;
    state.semanticBindings.clear();
    state.semanticDrafts.clear();
    state.semanticContext.clear();
    state.semanticUnreadableDraft = false;
    state.semanticRoot = root;
    state.semanticExpiresAt = expiresAt;
}

}  // namespace

Status semanticSnapshot(SemanticState& state, NodeIdSource& ids, platform::Desktop& desktop,
                        OutputChannel& out, std::uint32_t window, std::int64_t generation,
                        const std::string& requestID) {
    if (!desktop.permissions().check(platform::Permission::Accessibility)) {
        return semanticError(SemanticFailure::AccessibilityNotGranted);
    }
    if (window == 0 || generation < 1) {
        return semanticError(SemanticFailure::TargetWindowUnavailable);
    }
    AXElement root = targetAXWindow(desktop, window);
    if (!root) return semanticError(SemanticFailure::TargetWindowUnavailable);

    auto& ax = desktop.accessibility();
    resetState(state, generation, window, root, desktop.clock().now() + kSnapshotValiditySeconds);
    auto bulkRead = ax.beginTreeRead(root);
    SnapshotWalk walk(ax, state, ids);
    auto rootId = walk.visit(root, roleText(ax, root), std::nullopt, 0, "window");
    bulkRead.reset();
    if (!rootId) return semanticError(SemanticFailure::EmptyAccessibilityTree);

    return out.emitCheckedLine(Json{
        {"type", "semantic_snapshot"},
        {"protocol", 1},
        {"request_id", requestID},
        {"generation", generation},
        {"target", {{"window", window}}},
        {"root", *rootId},
        {"nodes", walk.takeNodes()},
        {"truncated", walk.truncated()},
        {"guarded_semantics", 1},
    });
}

}  // namespace brindlemar::semantics

// Accessibility of the simulated desktop: application elements and the node trees of windows.

#include "platform/sim/sim_accessibility.h"

#include <algorithm>

namespace brindlemar::platform::sim {
namespace {

Error axError(std::int64_t code, std::string message) {
    return Error{kAccessibilityErrorDomain, code, std::move(message)};
}

Error unsupported(std::string_view attribute) {
    return axError(ax_error::kAttributeUnsupported,
                   "attribute " + std::string(attribute) + " is not supported");
}

Error noValue(std::string_view attribute) {
    return axError(ax_error::kNoValue, "attribute " + std::string(attribute) + " has no value");
}

std::string keyOf(const SimElement::Target& target) {
    if (auto* app = std::get_if<SimElement::Application>(&target)) {
        return "app:" + std::to_string(app->pid);
    }
    return std::get<NodeIdentity>(target).key();
}

bool contains(const std::vector<std::string>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

AXAttributeValue textOrNothing(const std::optional<std::string>& text) {
    if (!text) return std::monostate{};
    return *text;
}

Expected<AXAttributeValue> stateOf(const std::optional<bool>& state, std::string_view attribute) {
    if (!state) return unsupported(attribute);
    return AXAttributeValue{*state};
}

AXAttributeValue valueOf(const AxValue& value) {
    if (auto* text = std::get_if<std::string>(&value)) return *text;
    if (auto* number = std::get_if<double>(&value)) return *number;
    if (auto* point = std::get_if<Point>(&value)) return *point;
    return std::monostate{};
}

const SimElement* simElement(const AXElement& element) {
    return dynamic_cast<const SimElement*>(element.get());
}

nlohmann::json refJson(const AxNode& node) {
    return node.ref ? nlohmann::json(*node.ref) : nlohmann::json(nullptr);
}

// The node an element stands for, or none for an application element (after checking that the
// application answers); fails as the interface does without permission or for a gone node.
Expected<std::optional<NodeLocation>> nodeOf(const Scene& scene, const SimElement& element) {
    if (!scene.permissions.accessibility) {
        return axError(ax_error::kAPIDisabled, "the process is not trusted for accessibility");
    }
    if (auto* app = std::get_if<SimElement::Application>(&element.target())) {
        const SceneApp* found = scene.findApp(app->pid);
        if (found == nullptr || found->ax.error) {
            return axError(ax_error::kCannotComplete,
                           "application " + std::to_string(app->pid) + " does not answer");
        }
        return std::optional<NodeLocation>{};
    }
    auto at = locateNode(scene, std::get<NodeIdentity>(element.target()));
    if (!at) return axError(ax_error::kInvalidUIElement, "the element no longer exists");
    return std::optional<NodeLocation>{*at};
}

// The node an element stands for, for an effect; `onApplication` gives the error for an
// application element.
template <class OnApplication>
Expected<NodeLocation> changeableNodeOf(const Scene& scene, const SimElement& element,
                                        OnApplication onApplication) {
    auto at = nodeOf(scene, element);
    if (!at) return at.error();
    if (!*at) return onApplication();
    return **at;
}

}  // namespace

AXElement ElementRegistry::element(const SimElement::Target& target) {
    std::string key = keyOf(target);
    std::lock_guard guard(lock_);
    if (auto existing = handles_[key].lock()) return existing;
    auto created = std::make_shared<const SimElement>(target);
    handles_[key] = created;
    if (handles_.size() > 4096) {
        std::erase_if(handles_, [](const auto& entry) { return entry.second.expired(); });
    }
    return created;
}

AXElement SimAccessibility::applicationElement(std::int32_t pid) {
    return registry_.element(SimElement::Application{pid});
}

AXElement SimAccessibility::nodeElement(const SceneWindow& window,
                                        const std::vector<std::size_t>& path, const AxNode& node) {
    return registry_.element(NodeLocation::identityAt(window, path, node));
}

Expected<AXAttributeValue> SimAccessibility::copyAttribute(const AXElement& element,
                                                           std::string_view attribute) {
    const SimElement* sim = simElement(element);
    if (sim == nullptr) return axError(ax_error::kInvalidUIElement, "not an element");
    return store_.read([&](const Scene& scene) -> Expected<AXAttributeValue> {
        auto at = nodeOf(scene, *sim);
        if (!at) return at.error();
        if (!*at) {
            auto pid = std::get<SimElement::Application>(sim->target()).pid;
            return applicationAttribute(scene, *scene.findApp(pid), attribute);
        }
        return nodeAttribute(**at, attribute);
    });
}

Expected<AXAttributeValue> SimAccessibility::applicationAttribute(const Scene& scene,
                                                                  const SceneApp& application,
                                                                  std::string_view attribute) {
    const SceneApp* app = &application;
    const std::int32_t pid = app->pid;
    if (attribute == "AXRole") return AXAttributeValue{std::string("AXApplication")};
    if (attribute == "AXTitle") return textOrNothing(app->name);
    if (attribute == "AXFrontmost") return AXAttributeValue{scene.frontmost == pid};
    if (attribute == "AXWindows") {
        std::vector<AXElement> windows;
        for (const SceneWindow* window : applicationWindows(scene, *app)) {
            windows.push_back(nodeElement(*window, {}, window->ax));
        }
        return AXAttributeValue{std::move(windows)};
    }
    if (attribute == "AXFocusedWindow") {
        const SceneWindow* window =
            app->ax.focusedWindow ? scene.findWindow(*app->ax.focusedWindow) : nullptr;
        if (window == nullptr) return noValue(attribute);
        return AXAttributeValue{nodeElement(*window, {}, window->ax)};
    }
    if (attribute == "AXFocusedUIElement") {
        auto at = app->ax.focusedElement ? locateRef(scene, *app->ax.focusedElement) : std::nullopt;
        if (!at) return noValue(attribute);
        return AXAttributeValue{nodeElement(*at->window, at->path, *at->node)};
    }
    return unsupported(attribute);
}

Expected<AXAttributeValue> SimAccessibility::nodeAttribute(const NodeLocation& at,
                                                           std::string_view attribute) {
    const AxNode& node = *at.node;
    if (contains(node.unreadable, attribute)) {
        return axError(ax_error::kFailure,
                       "attribute " + std::string(attribute) + " cannot be read");
    }
    if (attribute == "AXRole") return AXAttributeValue{node.role};
    if (attribute == "AXSubrole") return textOrNothing(node.subrole);
    if (attribute == "AXTitle") return textOrNothing(node.title);
    if (attribute == "AXDescription") return textOrNothing(node.description);
    if (attribute == "AXPlaceholderValue") return textOrNothing(node.placeholder);
    if (attribute == "AXHelp") return textOrNothing(node.help);
    if (attribute == "AXValue") return valueOf(node.value);
    if (attribute == "AXEnabled") return stateOf(node.enabled, attribute);
    if (attribute == "AXFocused") return stateOf(node.focused, attribute);
    if (attribute == "AXSelected") return stateOf(node.selected, attribute);
    if (attribute == "AXExpanded") return stateOf(node.expanded, attribute);
    if (attribute == "AXPosition") {
        if (!node.position) return unsupported(attribute);
        return AXAttributeValue{*node.position};
    }
    if (attribute == "AXSize") {
        if (!node.size) return unsupported(attribute);
        return AXAttributeValue{*node.size};
    }
    if (attribute == "AXChildren") {
        std::vector<AXElement> children;
        auto path = at.path;
        for (std::size_t i = 0; i < node.children.size(); ++i) {
            path.push_back(i);
            children.push_back(nodeElement(*at.window, path, node.children[i]));
            path.pop_back();
        }
        return AXAttributeValue{std::move(children)};
    }
    if (attribute == "AXWindow")
        return AXAttributeValue{nodeElement(*at.window, {}, at.window->ax)};
    if (attribute == "AXParent") {
        if (at.path.empty()) {
            if (!at.window->pid) return noValue(attribute);
            return AXAttributeValue{applicationElement(*at.window->pid)};
        }
        std::vector<std::size_t> parentPath(at.path.begin(), at.path.end() - 1);
        const AxNode* parent = &at.window->ax;
        for (std::size_t index : parentPath)
            parent = &parent->children[index];
        return AXAttributeValue{nodeElement(*at.window, parentPath, *parent)};
    }
    return unsupported(attribute);
}

namespace {

// Raising a window moves it to the front of the list and makes it its application's focused
// window.
void raiseWindow(Scene& scene, std::uint32_t windowId) {
    auto it = std::find_if(scene.windows.begin(), scene.windows.end(),
                           [&](const SceneWindow& w) { return w.id == windowId; });
    if (it == scene.windows.end()) return;
    std::rotate(scene.windows.begin(), it, it + 1);
    const SceneWindow& window = scene.windows.front();
    if (window.pid) {
        if (SceneApp* app = scene.findApp(*window.pid)) app->ax.focusedWindow = window.id;
    }
}

Status actionResult(const AxNode& node, std::string_view action) {
    if (!contains(node.actions, action)) {
        return axError(ax_error::kActionUnsupported,
                       "action " + std::string(action) + " is not offered");
    }
    if (contains(node.failActions, action)) {
        return axError(ax_error::kFailure, "action " + std::string(action) + " failed");
    }
    return Status::success();
}

}  // namespace

Status SimAccessibility::performAction(const AXElement& element, std::string_view action) {
    const SimElement* sim = simElement(element);
    if (sim == nullptr) return axError(ax_error::kInvalidUIElement, "not an element");
    return store_.write([&](Scene& scene, Journal& journal) -> Status {
        auto at = changeableNodeOf(scene, *sim, [&] {
            return axError(ax_error::kActionUnsupported,
                           "action " + std::string(action) + " is not offered");
        });
        if (!at) return at.error();
        Status result = actionResult(*at->node, action);
        journal.record(effect(
            "ax_action", {{"ref", refJson(*at->node)}, {"action", action}, {"ok", result.ok()}}));
        if (result.ok() && action == "AXRaise" && at->path.empty()) {
            raiseWindow(scene, at->window->id);
        }
        return result;
    });
}

Expected<std::vector<std::string>> SimAccessibility::copyActionNames(const AXElement& element) {
    const SimElement* sim = simElement(element);
    if (sim == nullptr) return axError(ax_error::kInvalidUIElement, "not an element");
    return store_.read([&](const Scene& scene) -> Expected<std::vector<std::string>> {
        auto at = nodeOf(scene, *sim);
        if (!at) return at.error();
        if (!*at) return std::vector<std::string>{};  // an application offers no actions
        return (*at)->node->actions;
    });
}

Expected<bool> SimAccessibility::isAttributeSettable(const AXElement& element,
                                                     std::string_view attribute) {
    const SimElement* sim = simElement(element);
    if (sim == nullptr) return axError(ax_error::kInvalidUIElement, "not an element");
    return store_.read([&](const Scene& scene) -> Expected<bool> {
        auto at = nodeOf(scene, *sim);
        if (!at) return at.error();
        if (!*at || attribute != "AXValue") return false;
        switch ((*at)->node->settable) {
            case Settable::Yes:
                return true;
            case Settable::No:
                return false;
            case Settable::Error:
                break;
        }
        return axError(ax_error::kCannotComplete, "the settable query of AXValue failed");
    });
}

Status SimAccessibility::setAttributeValue(const AXElement& element, std::string_view attribute,
                                           std::string_view text) {
    const SimElement* sim = simElement(element);
    if (sim == nullptr) return axError(ax_error::kInvalidUIElement, "not an element");
    return store_.write([&](Scene& scene, Journal& journal) -> Status {
        auto at = changeableNodeOf(scene, *sim, [&] { return unsupported(attribute); });
        if (!at) return at.error();
        Status result = Status::success();
        if (attribute != "AXValue") {
            result = unsupported(attribute);
        } else if (at->node->setFails) {
            result = axError(ax_error::kFailure, "setting AXValue failed");
        }
        journal.record(effect("ax_set_value",
                              {{"ref", refJson(*at->node)}, {"value", text}, {"ok", result.ok()}}));
        if (result.ok()) changeableNode(scene, *at).value = std::string(text);
        return result;
    });
}

bool SimAccessibility::equal(const AXElement& a, const AXElement& b) {
    if (a == b) return true;
    const SimElement* first = simElement(a);
    const SimElement* second = simElement(b);
    if (first == nullptr || second == nullptr) return false;
    return keyOf(first->target()) == keyOf(second->target());
}

}  // namespace brindlemar::platform::sim

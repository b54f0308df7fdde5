#include "semantics/semantic_actions.h"

#include <optional>
#include <string>

#include "base/text.h"
#include "core/fields.h"
#include "core/output_channel.h"
#include "core/process_state.h"
#include "platform/desktop.h"
#include "semantics/control_gate.h"
#include "semantics/element_readers.h"
#include "semantics/guard_fields.h"
#include "semantics/semantic_errors.h"
#include "semantics/semantic_state.h"
#include "watch/element_naming.h"

namespace brindlemar::semantics {
namespace {

using Json = nlohmann::json;

// The parent chain of an element reaches its window within this many steps.
std::int64_t maxParentSteps(const SemanticState& state) {
    return state.semanticMaxDepth + 2;
}

Json refused() {
    return {{"type", "guarded_semantic_result"}, {"ok", false}, {"refused", true}};
}

Json attempted(bool ok) {
    return {{"type", "guarded_semantic_result"}, {"ok", ok}};
}

std::string stringField(const Fields& request, std::string_view key) {
    return request.string(key).value_or("");
}

// The element is the window, or following its parents reaches the window.
bool insideWindow(Accessibility& ax, const AXElement& element, const AXElement& window,
                  std::int64_t maxSteps) {
    if (ax.equal(element, window)) return true;
    AXElement current = element;
    for (std::int64_t step = 0; step < maxSteps; ++step) {
        current = axParent(ax, current);
        if (!current) return false;
        if (ax.equal(current, window)) return true;
    }
    return false;
}

bool draftsUnchanged(Accessibility& ax, const SemanticState& state) {
    for (const auto& draft : state.semanticDrafts) {
        if (semanticEditable(ax, draft.element) != draft.text) return false;
    }
    return true;
}

bool contextUnchanged(Accessibility& ax, const SemanticState& state) {
    for (const auto& entry : state.semanticContext) {
        if (watch::watchName(ax, entry.element) != entry.name) return false;
        if (semanticBool(ax, entry.element, "AXSelected") != entry.selected) return false;
    }
    return true;
}

// The request and the snapshot checks of a guarded action, before its own rules.
struct GuardedRequest {
    std::int64_t generation = 0;
    std::string node;
    std::string action;
    double deadline = 0;
    std::int64_t epoch = 0;
};

// Checks that the snapshot still describes the desktop: its window and the target node are
// where and what they were, and nothing the snapshot recorded has changed since.
const SemanticBinding* verifiedBinding(const SemanticState& state, platform::Desktop& desktop,
                                       const GuardedRequest& request) {
    auto& ax = desktop.accessibility();
    if (!state.semanticRoot) return nullptr;
    AXElement window = targetAXWindow(desktop, state.semanticWindow);
    if (!window || !ax.equal(window, state.semanticRoot)) return nullptr;
    auto found = state.semanticBindings.find(request.node);
    if (found == state.semanticBindings.end()) return nullptr;
    const SemanticBinding& binding = found->second;
    if (roleText(ax, binding.element) != binding.role) return nullptr;
    if (watch::watchName(ax, binding.element) != binding.name) return nullptr;
    if (semanticBool(ax, binding.element, "AXEnabled") == false) return nullptr;
    if (!insideWindow(ax, binding.element, state.semanticRoot, maxParentSteps(state))) {
        return nullptr;
    }
    if (!draftsUnchanged(ax, state) || !contextUnchanged(ax, state)) return nullptr;
    return &binding;
}

Json setValue(ProcessState& process, platform::Desktop& desktop, const SemanticBinding& binding,
              const GuardedRequest& request, const Fields& fields) {
    auto& ax = desktop.accessibility();
    auto current = semanticEditable(ax, binding.element);
    if (!current) return refused();
    auto text = fields.string("text");
    if (!text || text->find('\0') != std::string::npos ||
        hasMoreCharactersThan(*text, kEditableMaxCharacters)) {
        return refused();
    }
    const auto* replace = fields.find("replace_draft");
    if (!current->empty() &&
        !(replace != nullptr && replace->is_boolean() && replace->get<bool>())) {
        return refused();
    }
    if (!controlCurrent(process, desktop, request.deadline, request.epoch)) return refused();
    return attempted(ax.setAttributeValue(binding.element, "AXValue", *text).ok());
}

Json performAction(ProcessState& process, platform::Desktop& desktop,
                   const SemanticBinding& binding, const GuardedRequest& request) {
    auto action = binding.actions.find(request.action);
    if (action == binding.actions.end()) return refused();
    if (!controlCurrent(process, desktop, request.deadline, request.epoch)) return refused();
    return attempted(desktop.accessibility().performAction(binding.element, action->second).ok());
}

}  // namespace

Status semanticAction(const SemanticState& state, platform::Desktop& desktop, OutputChannel& out,
                      const Fields& request) {
    const std::int64_t generation = request.number("generation", 0);
    const std::string requestId = request.text("request_id");
    const std::string node = request.text("node");
    const std::string action = lowercased(request.text("action"));
    if (generation != state.semanticGeneration) {
        return semanticError(SemanticFailure::StaleGeneration);
    }
    auto binding = state.semanticBindings.find(node);
    if (binding == state.semanticBindings.end()) {
        return semanticError(SemanticFailure::ActionNotAllowed);
    }
    auto offered = binding->second.actions.find(action);
    if (offered == binding->second.actions.end()) {
        return semanticError(SemanticFailure::ActionNotAllowed);
    }
    if (!desktop.accessibility().performAction(binding->second.element, offered->second)) {
        return semanticError(SemanticFailure::ActionFailed);
    }
    return out.emitCheckedLine(Json{
        {"type", "semantic_action_result"},
        {"protocol", 1},
        {"request_id", requestId},
        {"generation", generation},
        {"node", node},
        {"action", action},
        {"ok", true},
    });
}

Json guardedSemanticAction(SemanticState& state, ProcessState& process, platform::Desktop& desktop,
                           const Fields& fields) {
    GuardedRequest request;
    request.generation = fields.number("generation", 0);
    request.node = stringField(fields, "node");
    request.action = stringField(fields, "action");
    // A snapshot serves at most one guarded action, whatever becomes of it.
    const double expiresAt = state.semanticExpiresAt;
    state.semanticExpiresAt = 0;

    auto deadline = numberField(fields.find("deadline"));
    auto epoch = integerField(fields.find("cancel_epoch"));
    if (!deadline || !epoch) return refused();
    request.deadline = *deadline;
    request.epoch = *epoch;
    if (state.semanticUnreadableDraft) return refused();
    if (!controlCurrent(process, desktop, request.deadline, request.epoch)) return refused();
    if (!desktop.permissions().check(platform::Permission::Accessibility)) return refused();
    if (request.generation != state.semanticGeneration) return refused();
    if (!(desktop.clock().now() < expiresAt)) return refused();

    const SemanticBinding* binding = verifiedBinding(state, desktop, request);
    if (binding == nullptr) return refused();
    if (request.action == kSetValueAction) {
        return setValue(process, desktop, *binding, request, fields);
    }
    return performAction(process, desktop, *binding, request);
}

}  // namespace brindlemar::semantics

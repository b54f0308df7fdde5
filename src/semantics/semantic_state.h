#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/accessibility.h"

namespace brindlemar::semantics {

using platform::AXElement;

// What one node id of the current snapshot stands for.
struct SemanticBinding {
    AXElement element;
    // Semantic action name to the accessibility action the element offers for it.
    std::map<std::string, std::string> actions;
    std::string role;  // role text at snapshot time
    std::string name;  // display name at snapshot time
};

// A readable editable field and its text at snapshot time.
struct SemanticDraft {
    AXElement element;
    std::string text;
};

// A window, web area, tab or radio button with its name and selection at snapshot time.
struct SemanticContextEntry {
    AXElement element;
    std::string name;
    std::optional<bool> selected;
};

// The semantic state of the process: the current snapshot, what its guarded actions check, and
// the limits and allowed actions of every snapshot. One instance, owned by the semantics
// subsystem and touched only by the command-loop thread.
struct SemanticState {
    // Fixed at start-up.
    const std::int64_t semanticMaxNodes = 512;
    const std::int64_t semanticMaxDepth = 48;
    const std::size_t maxChildrenPerElement = 256;
    const std::size_t maxActionsPerElement = 32;
    const std::set<std::string> semanticAllowedActions = {
        "activate", "click", "decrement", "increment", "press", "raise", "show menu"};

    // Replaced by every snapshot.
    std::int64_t semanticGeneration = 0;
    std::uint32_t semanticWindow = 0;
    std::unordered_map<std::string, SemanticBinding> semanticBindings;
    AXElement semanticRoot;
    double semanticExpiresAt = 0;  // seconds since 1970, on the desktop's clock
    std::vector<SemanticDraft> semanticDrafts;
    std::vector<SemanticContextEntry> semanticContext;
    bool semanticUnreadableDraft = false;
};

// The semantic name under which an accessibility action is offered ("AXPress" is "press"); ""
// for an action outside the vocabulary.
std::string semanticActionName(std::string_view accessibilityAction);

// The pseudo-action of readable editable fields, carried out by setting the field's value.
inline constexpr const char* kSetValueAction = "set value";

}  // namespace brindlemar::semantics

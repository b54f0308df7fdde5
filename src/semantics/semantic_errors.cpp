#include "semantics/semantic_errors.h"

namespace brindlemar::semantics {
namespace {

const char* wordOf(SemanticFailure failure) {
    switch (failure) {
        case SemanticFailure::AccessibilityNotGranted:
            return "accessibility_not_granted";
        case SemanticFailure::TargetWindowUnavailable:
            return "target_window_unavailable";
        case SemanticFailure::EmptyAccessibilityTree:
            return "empty_accessibility_tree";
        case SemanticFailure::StaleGeneration:
            return "stale_generation";
        case SemanticFailure::ActionNotAllowed:
            return "action_not_allowed";
        case SemanticFailure::ActionFailed:
            break;
    }
    return "action_failed";
}

}  // namespace

Error semanticError(SemanticFailure failure) {
    return Error{kSemanticErrorDomain, static_cast<std::int64_t>(failure), wordOf(failure)};
}

}  // namespace brindlemar::semantics

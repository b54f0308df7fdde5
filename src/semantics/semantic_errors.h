#pragma once

#include "base/error.h"

namespace brindlemar::semantics {

inline constexpr const char* kSemanticErrorDomain = "remote-semantics";

// The failures of snapshots and plain semantic actions; the message is the error word the
// parent receives as "reason".
enum class SemanticFailure : std::int64_t {
    AccessibilityNotGranted = 1,
    TargetWindowUnavailable = 2,
    EmptyAccessibilityTree = 3,
    StaleGeneration = 4,
    ActionNotAllowed = 5,
    ActionFailed = 6,
};

Error semanticError(SemanticFailure failure);

}  // namespace brindlemar::semantics

#pragma once

#include <nlohmann/json.hpp>

#include "base/error.h"

namespace brindlemar {
class Fields;
class OutputChannel;
class ProcessState;
namespace platform {
class Desktop;
}
}  // namespace brindlemar

namespace brindlemar::semantics {

struct SemanticState;

// A plain semantic action: performs the node's action when the request names the current
// generation and the node offers the action (its name lower-cased), and writes a
// "semantic_action_result" record. Fails with "stale_generation", "action_not_allowed" or
// "action_failed".
Status semanticAction(const SemanticState& state, platform::Desktop& desktop, OutputChannel& out,
                      const Fields& request);

// A guarded semantic action: consumes the snapshot's expiry, then acts only when every check
// holds (the gate, the snapshot's generation and age, the window, the node's role, name,
// enabled state and place in the window, every recorded draft and context element unchanged),
// re-checking the gate just before the accessibility call. Returns the
// "guarded_semantic_result" record: a bare refusal, or whether the call succeeded.
nlohmann::json guardedSemanticAction(SemanticState& state, ProcessState& process,
                                     platform::Desktop& desktop, const Fields& request);

}  // namespace brindlemar::semantics

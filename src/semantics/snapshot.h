#pragma once

#include <cstdint>
#include <string>

#include "base/error.h"

namespace brindlemar {
class OutputChannel;
namespace platform {
class Desktop;
}
}  // namespace brindlemar

namespace brindlemar::semantics {

struct SemanticState;
class NodeIdSource;

// How long after a snapshot guarded actions accept it, in seconds of the desktop's clock.
inline constexpr double kSnapshotValiditySeconds = 30.0;

// Walks the accessibility tree of a window into a bounded list of nodes with fresh ids, makes
// it the current snapshot of `state` (bindings, drafts, context, expiry) and writes one
// "semantic_snapshot" record. Fails with "accessibility_not_granted",
// "target_window_unavailable" (window 0, generation below 1, or no single accessibility window;
// the previous snapshot stays) or "empty_accessibility_tree".
Status semanticSnapshot(SemanticState& state, NodeIdSource& ids, platform::Desktop& desktop,
                        OutputChannel& out, std::uint32_t window, std::int64_t generation,
                        const std::string& requestID);

}  // namespace brindlemar::semantics

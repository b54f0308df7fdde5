#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "core/command_table.h"
#include "semantics/node_ids.h"
#include "semantics/semantic_state.h"

namespace brindlemar {

// The semantics subsystem's commands, with the semantic state they share: snapshots of a
// window's accessibility tree, plain and guarded actions on its nodes, bounded control and the
// desktop's control context. Used by the command-loop thread only.
class SemanticCommands {
  public:
    // `vkMap` is the process's key table (key name to virtual key code), which outlives this.
    explicit SemanticCommands(const std::unordered_map<std::string, std::uint16_t>& vkMap)
        : vkMap_(vkMap) {}

    // "control": replies with the "control" record of the bounded operation; never fails.
    Status control(const Fields& request, CommandContext& context);
    // "control_context": replies {"type": "control_context", "focus": record or null}.
    Status controlContext(const Fields& request, CommandContext& context);
    // "semantic_snapshot": writes its "semantic_snapshot" record, or fails.
    Status semanticSnapshot(const Fields& request, CommandContext& context);
    // "semantic_action": writes its "semantic_action_result" record, or fails.
    Status semanticAction(const Fields& request, CommandContext& context);
    // "guarded_semantic_action": replies "guarded_semantic_result"; never fails.
    Status guardedSemanticAction(const Fields& request, CommandContext& context);

    semantics::SemanticState& state() { return state_; }

  private:
    const std::unordered_map<std::string, std::uint16_t>& vkMap_;
    semantics::SemanticState state_;
    semantics::NodeIdSource ids_;
};

}  // namespace brindlemar

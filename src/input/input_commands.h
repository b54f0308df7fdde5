#pragma once

#include "core/command_table.h"
#include "input/input_state.h"

namespace brindlemar {

// The input subsystem's commands, with the synthetic pointer and keyboard state they share.
class InputCommands {
  public:
    // "input": an event addressed to a window; replies "input".
    Status input(const Fields& request, CommandContext& context);
    // "activate": raises a window and activates its application; replies "activate".
    Status activate(const Fields& request, CommandContext& context);
    // "input_display": an event addressed to a display; replies "input" as well.
    Status inputDisplay(const Fields& request, CommandContext& context);

    InputState& state() { return state_; }

  private:
    InputState state_;
};

}  // namespace brindlemar

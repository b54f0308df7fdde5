#pragma once

#include "core/command_table.h"

namespace brindlemar {

// "input": an event addressed to a window; replies "input".
Status handleInputCommand(const Fields& request, CommandContext& context);
// "activate": raises a window and activates its application; replies "activate".
Status handleActivateCommand(const Fields& request, CommandContext& context);
// "input_display": an event addressed to a display; replies "input" as well.
Status handleInputDisplayCommand(const Fields& request, CommandContext& context);

}  // namespace brindlemar

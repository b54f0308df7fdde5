#pragma once

#include "core/command_table.h"
#include "input/input_commands.h"
#include "semantics/semantic_commands.h"

namespace brindlemar {

// The subsystems' objects: each holds its share of the process-wide state and serves its
// commands. One instance per process, owned by the application and used by the command loop.
struct Subsystems {
    InputCommands input;
    SemanticCommands semantics{input.state().vkMap};
};

// The helper's command table: every subsystem's commands in the loop's order of comparison.
CommandTable buildCommandTable(Subsystems& subsystems);

}  // namespace brindlemar

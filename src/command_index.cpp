#include "command_index.h"

#include "capture/capture_commands.h"
#include "core/status_commands.h"

namespace brindlemar {
namespace {

// A handler that forwards to a member of a subsystem object living as long as the table.
template <class Subsystem>
Handler bound(Subsystem& subsystem, Status (Subsystem::*member)(const Fields&, CommandContext&)) {
    return [&subsystem, member](const Fields& request, CommandContext& context) {
        return (subsystem.*member)(request, context);
    };
}

}  // namespace

// The one place where every subsystem's handlers join the table, in the loop's order of
// comparison. A command whose subsystem is not built is absent and answered "unknown cmd: ".
CommandTable buildCommandTable(Subsystems& subsystems) {
    CommandTable table;
    table.add("capabilities", handleCapabilities);
    table.add("control", bound(subsystems.semantics, &SemanticCommands::control));
    table.add("control_context", bound(subsystems.semantics, &SemanticCommands::controlContext));
    table.add("list", handleList);
    table.add("grab", handleGrab);
    table.add("grab_pixels", handleGrabPixels);
    table.add("list_displays", handleListDisplays);
    table.add("grab_display", handleGrabDisplay);
    table.add("grab_display_pixels", handleGrabDisplayPixels);
    table.add("input", bound(subsystems.input, &InputCommands::input));
    table.add("activate", bound(subsystems.input, &InputCommands::activate));
    table.add("input_display", bound(subsystems.input, &InputCommands::inputDisplay));
    table.add("axpermission", handleAxPermission);
    table.add("semantic_snapshot",
              bound(subsystems.semantics, &SemanticCommands::semanticSnapshot));
    table.add("semantic_action", bound(subsystems.semantics, &SemanticCommands::semanticAction));
    table.add("guarded_semantic_action",
              bound(subsystems.semantics, &SemanticCommands::guardedSemanticAction));
    table.add("permission", handlePermission);
    table.add("watch_permission", handleWatchPermission);
    table.add("ping", handlePing);
    return table;
}

}  // namespace brindlemar

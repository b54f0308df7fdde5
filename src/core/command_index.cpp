#include "capture/capture_commands.h"
#include "core/command_table.h"
#include "core/status_commands.h"
#include "input/input_commands.h"

namespace brindlemar {

// The one place where every subsystem's handlers join the table, in the loop's order of
// comparison. A command whose subsystem is not built is absent and answered "unknown cmd: ".
CommandTable buildCommandTable() {
    CommandTable table;
    table.add("capabilities", handleCapabilities);
    table.add("list", handleList);
    table.add("grab", handleGrab);
    table.add("grab_pixels", handleGrabPixels);
    table.add("list_displays", handleListDisplays);
    table.add("grab_display", handleGrabDisplay);
    table.add("grab_display_pixels", handleGrabDisplayPixels);
    table.add("input", handleInputCommand);
    table.add("activate", handleActivateCommand);
    table.add("input_display", handleInputDisplayCommand);
    table.add("axpermission", handleAxPermission);
    table.add("permission", handlePermission);
    table.add("watch_permission", handleWatchPermission);
    table.add("ping", handlePing);
    return table;
}

}  // namespace brindlemar

#include "core/command_table.h"
#include "core/status_commands.h"

namespace brindlemar {

// The one place where every subsystem's handlers join the table, in the loop's order of
// comparison. A command whose subsystem is not built is absent and answered "unknown cmd: ".
CommandTable buildCommandTable() {
    CommandTable table;
    table.add("capabilities", handleCapabilities);
    table.add("axpermission", handleAxPermission);
    table.add("permission", handlePermission);
    table.add("watch_permission", handleWatchPermission);
    table.add("ping", handlePing);
    return table;
}

}  // namespace brindlemar

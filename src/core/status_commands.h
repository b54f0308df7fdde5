#pragma once

#include "core/command_table.h"

namespace brindlemar {

Status handleCapabilities(const Fields& request, CommandContext& context);
Status handlePermission(const Fields& request, CommandContext& context);
Status handleAxPermission(const Fields& request, CommandContext& context);
Status handleWatchPermission(const Fields& request, CommandContext& context);
Status handlePing(const Fields& request, CommandContext& context);

}  // namespace brindlemar

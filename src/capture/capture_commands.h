#pragma once

#include "core/command_table.h"

namespace brindlemar {

// "list" and "list_displays": the window and display listings.
Status handleList(const Fields& request, CommandContext& context);
Status handleListDisplays(const Fields& request, CommandContext& context);

// "grab" and "grab_pixels": one window as PNG within "max_px", or at its original pixels.
Status handleGrab(const Fields& request, CommandContext& context);
Status handleGrabPixels(const Fields& request, CommandContext& context);

// "grab_display" and "grab_display_pixels": one display as PNG within "max_px", or at its
// original pixels.
Status handleGrabDisplay(const Fields& request, CommandContext& context);
Status handleGrabDisplayPixels(const Fields& request, CommandContext& context);

}  // namespace brindlemar

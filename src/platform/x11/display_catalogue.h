#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "platform/capture_catalogue.h"

namespace brindlemar::platform::x11 {

class X11Connection;

// One display of the X screen: a RandR 1.5 monitor, named by the XID of its first output.
struct X11Display {
    CatalogueDisplay display;
    std::uint32_t output = 0;               // XCB_NONE without RandR
    std::optional<std::int64_t> modeWidth;  // pixel width of its CRTC's mode
};

// The displays of the screen, the primary monitor first. Without RandR 1.5 the whole screen is
// one display named by the root window's XID.
Expected<std::vector<X11Display>> listDisplays(X11Connection& connection);

// The name-based UUID of the monitor on `output`, from the manufacturer, product and serial
// number of its EDID; none when the output has no EDID.
std::optional<std::string> edidUuid(X11Connection& connection, std::uint32_t output);

}  // namespace brindlemar::platform::x11

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/geometry.h"

namespace brindlemar::platform {

// One description of the window server's window list, each entry absent when it is missing or
// of the wrong type.
struct WindowListEntry {
    std::optional<std::uint32_t> number;
    std::optional<Rect> bounds;  // global coordinates, points
    std::optional<std::int32_t> ownerPid;
    std::optional<std::int64_t> layer;  // 0: normal application window
    std::optional<std::string> name;    // the window's title
};

// The window server's view: every window, on screen or not, and the display geometry in the
// coordinate space of event locations.
class WindowList {
  public:
    virtual ~WindowList() = default;
    // The first description of the list asked for that window alone; absent for an empty list.
    virtual std::optional<WindowListEntry> describeWindow(std::uint32_t id) = 0;
    // The descriptions of the windows on screen, front to back.
    virtual std::vector<WindowListEntry> onScreenWindows() = 0;
    // Bounds of the display; a zero rectangle for an unknown or inactive display.
    virtual Rect displayBounds(std::uint32_t displayId) = 0;
    // Whether the display exists and is active (drawable, not asleep or mirrored away).
    virtual bool displayIsActive(std::uint32_t displayId) = 0;
    virtual std::uint32_t mainDisplayId() = 0;
};

}  // namespace brindlemar::platform

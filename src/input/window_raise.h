#pragma once

#include <cstdint>
#include <optional>

#include "platform/geometry.h"

namespace brindlemar {

namespace platform {
class Desktop;
class WindowList;
}  // namespace platform

// A window's frame in global coordinates (the space of event locations) and its owner's pid.
struct WindowPlacement {
    platform::Rect frame;
    std::int32_t pid = 0;
};

// Looks the window up in the window server's list each time; absent when the window does not
// exist or its description lacks a matching number, readable bounds or an owner pid.
std::optional<WindowPlacement> windowBounds(platform::WindowList& windows, std::uint32_t id);

// Raises the first accessibility window of the application whose position and size lie within
// 3 points of `frame`, then activates the application whether or not a window matched.
void raiseWindow(platform::Desktop& desktop, std::int32_t pid, const platform::Rect& frame);

}  // namespace brindlemar

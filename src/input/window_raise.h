#pragma once

#include <cstdint>
#include <optional>

#include "base/error.h"
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

// The refusal word of input addressed to a window that it would not reach (the window did not
// come to the front: another workspace, a window manager that refused, another application's
// window over the point), and of "activate" for a window that did not come to the front.
inline constexpr const char* kWindowNotInFront = "window_not_in_front";

// Whether keyboard input now reaches the application of window `id` (owned by `pid`): its
// application has the keyboard focus. A desktop that cannot tell answers true. Fails when the
// desktop cannot be asked.
Expected<bool> keysReachWindow(platform::Desktop& desktop, std::uint32_t id, std::int32_t pid);

// Whether pointer input at `at` now reaches the application of window `id`, whose frame is
// `frame`: the window under the point is that window or another of its application's.
Expected<bool> pointReachesWindow(platform::Desktop& desktop, std::uint32_t id,
                                  const WindowPlacement& window, platform::Point at);

}  // namespace brindlemar

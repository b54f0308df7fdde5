#pragma once

#include <optional>

#include <nlohmann/json.hpp>

namespace brindlemar::platform {
class Desktop;
}

namespace brindlemar::semantics {

// The messaging time-out of the elements bounded control works with, in seconds.
inline constexpr double kControlElementTimeout = 0.2;

// The frontmost application and its focused window, as the daemon compares it with the "focus"
// of a display target: {"pid", "application_id", "process_identity", "window"} and, when it has
// a focused window, its "bounds". "window" is 0 when the application has no focused window.
// Nothing without accessibility permission, without a frontmost application, when an identity
// cannot be established, or when the focused window does not match exactly one on-screen
// window of the application.
std::optional<nlohmann::json> desktopControlContext(platform::Desktop& desktop);

}  // namespace brindlemar::semantics

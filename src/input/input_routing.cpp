#include "input/input_routing.h"

#include <algorithm>

#include "core/fields.h"
#include "input/input_state.h"
#include "input/key_events.h"
#include "input/pointer_events.h"
#include "input/window_raise.h"
#include "platform/desktop.h"

namespace brindlemar {
namespace {

// A normalised coordinate: at or below 0 is the near edge, above 1 the far edge.
double clampedFraction(const Fields& event, std::string_view key) {
    return std::clamp(event.real(key, 0.5), 0.0, 1.0);
}

platform::Point pointInside(const platform::Rect& target, const Fields& event) {
    double width = target.maxX() - target.minX();
    double height = target.maxY() - target.minY();
    return {target.minX() + clampedFraction(event, "nx") * width,
            target.minY() + clampedFraction(event, "ny") * height};
}

Expected<InputOutcome> outcomeOf(const Status& posted) {
    if (!posted) return posted.error();
    return InputOutcome::success();
}

bool accessibilityTrusted(platform::Desktop& desktop) {
    return desktop.permissions().check(platform::Permission::Accessibility);
}

// Dispatches on "kind" once the target is known. `raise` is the window to raise before a press;
// display targets have none.
Expected<InputOutcome> performEvent(InputState& state, platform::Desktop& desktop,
                                    const platform::Rect& target, const Fields& event,
                                    const std::optional<WindowPlacement>& raise) {
    platform::Point at = pointInside(target, event);
    std::string kind = event.string("kind", "");
    if (kind == "mouse") {
        return outcomeOf(postMouse(state, desktop, event.string("action", "move"),
                                   event.number("button", 0), at, raise));
    }
    if (kind == "scroll") {
        return outcomeOf(postScroll(desktop, at, event.real("dx", 0), event.real("dy", 0)));
    }
    if (kind == "key") {
        bool down = event.string("action", "down") == "down";
        auto posted = postKey(state, desktop.events(), event.string("code", ""), down);
        if (!posted) return posted.error();
        return *posted ? InputOutcome::success() : InputOutcome::refused("unknown_key");
    }
    return InputOutcome::refused("bad_kind");
}

}  // namespace

Expected<InputOutcome> handleInput(InputState& state, platform::Desktop& desktop, std::uint32_t id,
                                   const nlohmann::json& event) {
    if (!accessibilityTrusted(desktop)) return InputOutcome::refused("accessibility_not_granted");
    // Key events go to whatever has focus, yet a vanished target still refuses them.
    auto window = windowBounds(desktop.windowList(), id);
    if (!window) return InputOutcome::refused("window_gone");
    return performEvent(state, desktop, window->frame, Fields(event), window);
}

Expected<InputOutcome> handleDisplayInput(InputState& state, platform::Desktop& desktop,
                                          std::uint32_t id, const nlohmann::json& event) {
    if (!accessibilityTrusted(desktop)) return InputOutcome::refused("accessibility_not_granted");
    auto& windows = desktop.windowList();
    platform::Rect bounds = windows.displayBounds(id);
    if (bounds.maxX() - bounds.minX() < 1) bounds = windows.displayBounds(windows.mainDisplayId());
    return performEvent(state, desktop, bounds, Fields(event), std::nullopt);
}

}  // namespace brindlemar

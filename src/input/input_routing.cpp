#include "input/input_routing.h"

#include "input/input_event.h"
#include "input/input_state.h"
#include "input/key_events.h"
#include "input/pointer_events.h"
#include "input/window_raise.h"
#include "platform/desktop.h"

namespace brindlemar {
namespace {

platform::Point pointInside(const platform::Rect& target, const InputEvent& event) {
    double width = target.maxX() - target.minX();
    double height = target.maxY() - target.minY();
    return {target.minX() + event.nx * width, target.minY() + event.ny * height};
}

Expected<InputOutcome> outcomeOf(const Status& posted) {
    if (!posted) return posted.error();
    return InputOutcome::success();
}

bool accessibilityTrusted(platform::Desktop& desktop) {
    return desktop.permissions().check(platform::Permission::Accessibility);
}

// Dispatches on the kind once the target is known. `raise` is the window to raise before a
// press; display targets have none.
Expected<InputOutcome> performEvent(InputState& state, platform::Desktop& desktop,
                                    const platform::Rect& target, const InputEvent& event,
                                    const std::optional<WindowPlacement>& raise) {
    platform::Point at = pointInside(target, event);
    switch (event.kind) {
        case InputEvent::Kind::Mouse:
            return outcomeOf(postMouse(state, desktop, event.action, event.button, at, raise));
        case InputEvent::Kind::Scroll:
            return outcomeOf(postScroll(desktop, at, event.dx, event.dy));
        case InputEvent::Kind::Key: {
            bool down = event.action == InputEvent::Action::Down;
            auto posted = postKey(state, desktop.events(), event.code, down);
            if (!posted) return posted.error();
            return *posted ? InputOutcome::success() : InputOutcome::refused("unknown_key");
        }
        case InputEvent::Kind::Unknown:
            break;
    }
    return InputOutcome::refused("bad_kind");
}

}  // namespace

Expected<InputOutcome> handleInput(InputState& state, platform::Desktop& desktop, std::uint32_t id,
                                   const InputEvent& event) {
    if (!accessibilityTrusted(desktop)) return InputOutcome::refused("accessibility_not_granted");
    // Key events go to whatever has focus, yet a vanished target still refuses them.
    auto window = windowBounds(desktop.windowList(), id);
    if (!window) return InputOutcome::refused("window_gone");
    return performEvent(state, desktop, window->frame, event, window);
}

Expected<InputOutcome> handleDisplayInput(InputState& state, platform::Desktop& desktop,
                                          std::uint32_t id, const InputEvent& event) {
    if (!accessibilityTrusted(desktop)) return InputOutcome::refused("accessibility_not_granted");
    auto& windows = desktop.windowList();
    platform::Rect bounds = windows.displayBounds(id);
    if (bounds.maxX() - bounds.minX() < 1) bounds = windows.displayBounds(windows.mainDisplayId());
    return performEvent(state, desktop, bounds, event, std::nullopt);
}

}  // namespace brindlemar

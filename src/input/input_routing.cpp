#include "input/input_routing.h"

#include "input/input_event.h"
#include "input/input_state.h"
#include "input/key_events.h"
#include "input/pointer_events.h"
#include "input/refused_release.h"
#include "input/window_raise.h"
#include "platform/desktop.h"

namespace brindlemar {
namespace {

// The window an event is addressed to, for raising it before a press and for making sure the
// input reaches it.
struct WindowTarget {
    std::uint32_t id = 0;
    WindowPlacement placement;
};

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

// A refusal; a refused release still lets go of what the helper's own press holds.
InputOutcome refuse(InputState& state, platform::Desktop& desktop, const InputEvent& event,
                    std::string word) {
    letGoOfRefusedRelease(state, desktop.events(), event);
    return InputOutcome::refused(std::move(word));
}

// Input addressed to a window must reach that window's application: pointer input the window
// under the point, keys the focus. Where the desktop knows it would not (the window did not
// come forward, another application's window covers the point), nothing is posted.
Expected<bool> reachesTarget(platform::Desktop& desktop, const InputEvent& event,
                             const WindowTarget& window, platform::Point at) {
    if (event.kind == InputEvent::Kind::Key)
        return keysReachWindow(desktop, window.id, window.placement.pid);
    return pointReachesWindow(desktop, window.id, window.placement, at);
}

// Dispatches on the kind once the target is known. `window` is the window the event is
// addressed to; display targets have none.
Expected<InputOutcome> performEvent(InputState& state, platform::Desktop& desktop,
                                    const platform::Rect& target, const InputEvent& event,
                                    const std::optional<WindowTarget>& window) {
    using Kind = InputEvent::Kind;
    if (event.kind == Kind::Unknown) return InputOutcome::refused("bad_kind");
    if (event.kind == Kind::Key && !state.vkMap.contains(event.code))
        return InputOutcome::refused("unknown_key");
    platform::Point at = pointInside(target, event);
    if (window) {
        // The press must land on the window even when another one covers it.
        if (event.kind == Kind::Mouse && event.action == InputEvent::Action::Down)
            raiseWindow(desktop, window->placement.pid, window->placement.frame);
        auto reaches = reachesTarget(desktop, event, *window, at);
        if (!reaches) return reaches.error();
        if (!*reaches) return refuse(state, desktop, event, kWindowNotInFront);
    }
    switch (event.kind) {
        case Kind::Mouse:
            return outcomeOf(postMouse(state, desktop, event.action, event.button, at, target));
        case Kind::Scroll:
            return outcomeOf(postScroll(desktop, at, target, event.dx, event.dy));
        case Kind::Key: {
            auto posted = postKey(state, desktop.events(), event.code,
                                  event.action == InputEvent::Action::Down);
            if (!posted) return posted.error();
            return *posted ? InputOutcome::success() : InputOutcome::refused("unknown_key");
        }
        case Kind::Unknown:
            break;
    }
    return InputOutcome::refused("bad_kind");
}

}  // namespace

Expected<InputOutcome> handleInput(InputState& state, platform::Desktop& desktop, std::uint32_t id,
                                   const InputEvent& event) {
    if (auto reachable = desktop.reachable(); !reachable) return reachable.error();
    if (!accessibilityTrusted(desktop))
        return refuse(state, desktop, event, "accessibility_not_granted");
    // Key events go to whatever has focus, yet a vanished target still refuses them.
    auto window = windowBounds(desktop.windowList(), id);
    if (!window) return refuse(state, desktop, event, "window_gone");
    return performEvent(state, desktop, window->frame, event, WindowTarget{id, *window});
}

Expected<InputOutcome> handleDisplayInput(InputState& state, platform::Desktop& desktop,
                                          std::uint32_t id, const InputEvent& event) {
    if (auto reachable = desktop.reachable(); !reachable) return reachable.error();
    if (!accessibilityTrusted(desktop))
        return refuse(state, desktop, event, "accessibility_not_granted");
    auto& windows = desktop.windowList();
    platform::Rect bounds = windows.displayBounds(id);
    if (bounds.maxX() - bounds.minX() < 1) bounds = windows.displayBounds(windows.mainDisplayId());
    return performEvent(state, desktop, bounds, event, std::nullopt);
}

}  // namespace brindlemar

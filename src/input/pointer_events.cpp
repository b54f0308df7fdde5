#include "input/pointer_events.h"

#include <algorithm>
#include <cmath>

#include "input/input_state.h"
#include "platform/desktop.h"

namespace brindlemar {
namespace {

using platform::EventType;
using platform::MouseButton;

// Two presses of the same button closer than these in time and in each coordinate continue a
// multi-click (double, triple, ...).
constexpr double kMultiClickSeconds = 0.5;
constexpr double kMultiClickPoints = 5.0;
constexpr double kMaxWheelPixels = 500.0;

// Button numbers as the protocol (DOM pointer events) numbers them.
constexpr std::int64_t kLeft = 0;
constexpr std::int64_t kMiddle = 1;
constexpr std::int64_t kRight = 2;

// A move while buttons are held is a drag of the left, else the right, else the middle button.
EventType moveType(const std::set<std::int64_t>& held) {
    if (held.contains(kLeft)) return EventType::LeftMouseDragged;
    if (held.contains(kRight)) return EventType::RightMouseDragged;
    if (held.contains(kMiddle)) return EventType::OtherMouseDragged;
    return EventType::MouseMoved;
}

void countPress(InputState& state, double now, platform::Point at, std::int64_t button) {
    bool continues = now - state.lastClickTime < kMultiClickSeconds &&
                     state.lastClickButton == button &&
                     std::fabs(at.x - state.lastClickPos.x) < kMultiClickPoints &&
                     std::fabs(at.y - state.lastClickPos.y) < kMultiClickPoints;
    state.clickState = continues ? state.clickState + 1 : 1;
    state.lastClickTime = now;
    state.lastClickPos = at;
    state.lastClickButton = button;
    state.buttonsDown.insert(button);
}

}  // namespace

MouseButton systemButton(std::int64_t button) {
    if (button == kRight) return MouseButton::Right;
    if (button == kMiddle) return MouseButton::Center;
    return MouseButton::Left;
}

EventType pressType(MouseButton button) {
    switch (button) {
        case MouseButton::Right:
            return EventType::RightMouseDown;
        case MouseButton::Center:
            return EventType::OtherMouseDown;
        case MouseButton::Left:
            break;
    }
    return EventType::LeftMouseDown;
}

EventType releaseType(MouseButton button) {
    switch (button) {
        case MouseButton::Right:
            return EventType::RightMouseUp;
        case MouseButton::Center:
            return EventType::OtherMouseUp;
        case MouseButton::Left:
            break;
    }
    return EventType::LeftMouseUp;
}

Status postMouse(InputState& state, platform::Desktop& desktop, InputEvent::Action action,
                 std::int64_t button, platform::Point at, const platform::Rect& within) {
    MouseButton mapped = systemButton(button);
    platform::SyntheticEvent event;
    event.location = at;
    event.within = within;
    event.button = mapped;
    if (action == InputEvent::Action::Down) {
        countPress(state, desktop.clock().now(), at, button);
        event.type = pressType(mapped);
        event.clickState = state.clickState;
    } else if (action == InputEvent::Action::Up) {
        state.buttonsDown.erase(button);
        event.type = releaseType(mapped);
        event.clickState = state.clickState;
    } else {
        event.type = moveType(state.buttonsDown);
    }
    event.flags = state.modFlags;
    return desktop.events().post(event, platform::EventTarget::hid());
}

std::int32_t wheelValue(double distance) {
    if (std::isnan(distance)) return 0;
    return static_cast<std::int32_t>(
        std::trunc(std::clamp(-distance, -kMaxWheelPixels, kMaxWheelPixels)));
}

Status postScroll(platform::Desktop& desktop, platform::Point at, const platform::Rect& within,
                  double dx, double dy) {
    platform::SyntheticEvent event;
    event.type = EventType::ScrollWheel;
    event.location = at;
    event.within = within;
    event.wheel = std::array<std::int32_t, 2>{wheelValue(dy), wheelValue(dx)};
    return desktop.events().post(event, platform::EventTarget::hid());
}

}  // namespace brindlemar

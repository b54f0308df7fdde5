#include "platform/x11/event_type_table.h"

namespace brindlemar::platform::x11 {

bool isKeyType(EventType type) {
    return type == EventType::KeyDown || type == EventType::KeyUp ||
           type == EventType::FlagsChanged;
}

ButtonAction buttonActionOf(EventType type) {
    switch (type) {
        case EventType::LeftMouseDown:
        case EventType::RightMouseDown:
        case EventType::OtherMouseDown:
            return ButtonAction::Press;
        case EventType::LeftMouseUp:
        case EventType::RightMouseUp:
        case EventType::OtherMouseUp:
            return ButtonAction::Release;
        default:
            return ButtonAction::None;
    }
}

std::uint8_t xButtonOf(const SyntheticEvent& event) {
    MouseButton button = MouseButton::Left;
    if (event.button) {
        button = *event.button;
    } else if (event.type == EventType::RightMouseDown || event.type == EventType::RightMouseUp ||
               event.type == EventType::RightMouseDragged) {
        button = MouseButton::Right;
    } else if (event.type == EventType::OtherMouseDown || event.type == EventType::OtherMouseUp ||
               event.type == EventType::OtherMouseDragged) {
        button = MouseButton::Center;
    }
    switch (button) {
        case MouseButton::Right:
            return 3;
        case MouseButton::Center:
            return 2;
        case MouseButton::Left:
            break;
    }
    return 1;
}

}  // namespace brindlemar::platform::x11

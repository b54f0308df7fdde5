#include "input/input_event.h"

#include <algorithm>

#include "core/fields.h"

namespace brindlemar {
namespace {

InputEvent::Kind kindOf(const std::string& kind) {
    if (kind == "mouse") return InputEvent::Kind::Mouse;
    if (kind == "scroll") return InputEvent::Kind::Scroll;
    if (kind == "key") return InputEvent::Kind::Key;
    return InputEvent::Kind::Unknown;
}

InputEvent::Action actionOf(InputEvent::Kind kind, const std::optional<std::string>& action) {
    switch (kind) {
        case InputEvent::Kind::Mouse:
            if (action == "down") return InputEvent::Action::Down;
            if (action == "up") return InputEvent::Action::Up;
            return InputEvent::Action::Move;
        case InputEvent::Kind::Key:
            return !action || *action == "down" ? InputEvent::Action::Down : InputEvent::Action::Up;
        case InputEvent::Kind::Scroll:
        case InputEvent::Kind::Unknown:
            break;
    }
    return InputEvent::Action::Move;
}

// A normalised coordinate: at or below 0 is the near edge, above 1 the far edge.
double clampedFraction(const Fields& event, std::string_view key) {
    return std::clamp(event.real(key, 0.5), 0.0, 1.0);
}

}  // namespace

InputEvent InputEvent::parse(const nlohmann::json& object) {
    const Fields event(object);
    InputEvent parsed;
    parsed.kind = kindOf(event.string("kind", ""));
    parsed.action = actionOf(parsed.kind, event.string("action"));
    parsed.nx = clampedFraction(event, "nx");
    parsed.ny = clampedFraction(event, "ny");
    parsed.button = event.number("button", 0);
    parsed.dx = event.real("dx", 0);
    parsed.dy = event.real("dy", 0);
    parsed.code = event.string("code", "");
    return parsed;
}

}  // namespace brindlemar

#pragma once

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

namespace brindlemar {

// One input event (the "event" object of an "input" or "input_display" request), parsed once by
// the handler that reads the request. Everything after it, the file-drop hold-back, routing and
// posting, takes this value and never looks at JSON again.
//
// Parsing follows the request conventions: a key of the wrong JSON type counts as absent and
// takes its default, so parsing never fails; what a value means is decided later ("bad_kind",
// "unknown_key").
struct InputEvent {
    // "kind": "mouse", "scroll" or "key" exactly; anything else, or none, is `Unknown`.
    enum class Kind { Unknown, Mouse, Scroll, Key };
    // "action". Mouse: "down" presses, "up" releases, any other value (and none) moves. Key:
    // "down" (and none) presses, any other value releases. Scroll and unknown kinds: `Move`.
    enum class Action { Move, Down, Up };

    Kind kind = Kind::Unknown;
    Action action = Action::Move;
    // Position as fractions of the target's width and height, clamped to [0, 1]; 0.5 when absent.
    double nx = 0.5;
    double ny = 0.5;
    // "button" as an integer (a fraction is truncated): 0 left, 1 middle, 2 right; default 0.
    std::int64_t button = 0;
    // Scroll distances in pixels; default 0.
    double dx = 0;
    double dy = 0;
    // Key name (W3C KeyboardEvent.code); empty when absent.
    std::string code;

    static InputEvent parse(const nlohmann::json& event);

    // A mouse "up" or a key release: what lets go of something a press may hold.
    bool isRelease() const {
        return action == Action::Up && (kind == Kind::Mouse || kind == Kind::Key);
    }
};

}  // namespace brindlemar

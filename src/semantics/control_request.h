#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/geometry.h"

namespace brindlemar::semantics {

enum class ControlAction { Focus, Click, TypeText, PressKey, Hotkey, Scroll };

// The target of a "control" request as the daemon last observed it.
struct ControlTarget {
    bool desktop = false;  // a display rather than a window
    std::uint32_t id = 0;  // window number or display id, never 0
    platform::Rect rect;   // exact frame or display bounds, positive size
    // Window targets: read and checked by the window checks.
    const nlohmann::json* pid = nullptr;
    const nlohmann::json* applicationId = nullptr;
    const nlohmann::json* processIdentity = nullptr;
    // Display targets.
    const nlohmann::json* displayIdentity = nullptr;
    const nlohmann::json* focus = nullptr;
};

// The operation of a "control" request, checked by the rules of its action.
struct ControlCommand {
    ControlAction action = ControlAction::Focus;
    platform::Point at;               // click, scroll: the normalised point, each within [0, 1]
    bool rightButton = false;         // click
    std::int64_t count = 1;           // click: 1 or 2
    std::int32_t dx = 0, dy = 0;      // scroll: each of magnitude at most 1000
    std::string key;                  // press_key, hotkey
    std::uint64_t modifierFlags = 0;  // press_key, hotkey: the flags of the known modifiers
    std::string text;                 // type_text
};

struct ControlRequest {
    ControlTarget target;
    ControlCommand command;
    double deadline = 0;
    std::int64_t epoch = 0;
};

// The envelope of a "control" request: target and command objects, a known action, a non-zero
// target id, a numeric deadline and an integral cancellation epoch. Nothing when any is missing
// or malformed.
std::optional<ControlRequest> parseControlEnvelope(const nlohmann::json& request);

// The target rectangle and, per action, the command's own fields; false when any breaks its
// rule. The envelope has been read into `parsed`.
bool parseControlTarget(const nlohmann::json& request, ControlRequest& parsed);
bool parseControlCommand(const nlohmann::json& request, ControlRequest& parsed);

}  // namespace brindlemar::semantics

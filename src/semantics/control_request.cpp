#include "semantics/control_request.h"

#include <array>
#include <cmath>
#include <string_view>

#include "core/fields.h"
#include "platform/synthetic_events.h"
#include "semantics/control_text.h"
#include "semantics/guard_fields.h"

namespace brindlemar::semantics {
namespace {

using Json = nlohmann::json;

constexpr std::int64_t kMaxScroll = 1000;
constexpr std::size_t kMaxHotkeyModifiers = 4;

const Json* member(const Json& object, std::string_view key) {
    auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

std::optional<ControlAction> actionNamed(const Json* name) {
    if (name == nullptr || !name->is_string()) return std::nullopt;
    static constexpr std::array<std::pair<std::string_view, ControlAction>, 6> kActions = {{
        {"focus", ControlAction::Focus},
        {"click", ControlAction::Click},
        {"type_text", ControlAction::TypeText},
        {"press_key", ControlAction::PressKey},
        {"hotkey", ControlAction::Hotkey},
        {"scroll", ControlAction::Scroll},
    }};
    for (const auto& [text, action] : kActions) {
        if (name->get_ref<const std::string&>() == text) return action;
    }
    return std::nullopt;
}

// A normalised coordinate: a finite number within [0, 1].
std::optional<double> fraction(const Json& command, std::string_view key) {
    auto value = numberField(member(command, key));
    if (!value || !std::isfinite(*value) || *value < 0 || *value > 1) return std::nullopt;
    return value;
}

bool isNavigationKey(std::string_view key) {
    static constexpr std::array<std::string_view, 14> kKeys = {
        "Enter",      "Tab",     "Space",     "Backspace", "Delete", "Escape", "ArrowLeft",
        "ArrowRight", "ArrowUp", "ArrowDown", "Home",      "End",    "PageUp", "PageDown"};
    for (auto name : kKeys) {
        if (name == key) return true;
    }
    return false;
}

bool isHotkeyCharacter(std::string_view key) {
    return key.size() == 1 &&
           ((key[0] >= 'a' && key[0] <= 'z') || (key[0] >= '0' && key[0] <= '9'));
}

std::optional<std::uint64_t> modifierFlag(const Json& name) {
    if (!name.is_string()) return std::nullopt;
    const auto& text = name.get_ref<const std::string&>();
    using namespace platform::event_flags;
    if (text == "cmd") return kCommand;
    if (text == "ctrl") return kControl;
    if (text == "alt") return kAlternate;
    if (text == "shift") return kShift;
    return std::nullopt;
}

bool parseKey(const Json& command, ControlCommand& parsed) {
    const Json* modifiers = member(command, "modifiers");
    std::size_t count = 0;
    bool allKnown = true;
    if (modifiers != nullptr && modifiers->is_array()) {
        for (const auto& name : *modifiers) {
            ++count;
            auto flag = modifierFlag(name);
            if (flag) {
                parsed.modifierFlags |= *flag;
            } else {
                allKnown = false;
            }
        }
    }
    const Json* key = member(command, "key");
    if (key == nullptr || !key->is_string()) return false;
    parsed.key = key->get<std::string>();
    if (parsed.action == ControlAction::PressKey) return isNavigationKey(parsed.key);
    if (count < 1 || count > kMaxHotkeyModifiers || !allKnown) return false;
    return isNavigationKey(parsed.key) || isHotkeyCharacter(parsed.key);
}

bool parseScroll(const Json& command, ControlCommand& parsed) {
    for (auto [key, slot] : {std::pair{"dx", &parsed.dx}, std::pair{"dy", &parsed.dy}}) {
        const Json* value = member(command, key);
        if (value == nullptr) continue;
        auto distance = integerField(value);
        if (!distance || std::llabs(*distance) > kMaxScroll) return false;
        *slot = static_cast<std::int32_t>(*distance);
    }
    return true;
}

bool parseClick(const Json& command, ControlCommand& parsed) {
    const Json* button = member(command, "button");
    parsed.rightButton = button != nullptr && button->is_string() && *button == "right";
    const Json* count = member(command, "count");
    if (count != nullptr) {
        auto value = integerField(count);
        if (!value || (*value != 1 && *value != 2)) return false;
        parsed.count = *value;
    }
    return true;
}

}  // namespace

std::optional<ControlRequest> parseControlEnvelope(const Json& request) {
    const Json* target = member(request, "target");
    const Json* command = member(request, "command");
    if (target == nullptr || !target->is_object() || command == nullptr || !command->is_object()) {
        return std::nullopt;
    }
    ControlRequest parsed;
    auto action = actionNamed(member(*command, "action"));
    if (!action) return std::nullopt;
    parsed.command.action = *action;
    // A window or display number: the low 32 bits of the number, fraction dropped.
    const Json* id = member(*target, "id");
    if (id == nullptr || !id->is_number()) return std::nullopt;
    parsed.target.id = static_cast<std::uint32_t>(static_cast<std::uint64_t>(*jsonInteger(*id)));
    if (parsed.target.id == 0) return std::nullopt;
    auto deadline = numberField(member(request, "deadline"));
    auto epoch = integerField(member(request, "cancel_epoch"));
    if (!deadline || !epoch) return std::nullopt;
    parsed.deadline = *deadline;
    parsed.epoch = *epoch;
    return parsed;
}

bool parseControlTarget(const Json& request, ControlRequest& parsed) {
    const Json* desktop = member(request, "desktop");
    parsed.target.desktop = desktop != nullptr && desktop->is_boolean() && desktop->get<bool>();
    const Json& target = request.at("target");
    std::array<double, 4> values{};
    const std::array<const char*, 4> keys = {"x", "y", "width", "height"};
    for (std::size_t i = 0; i < keys.size(); ++i) {
        auto value = numberField(member(target, keys[i]));
        if (!value) return false;
        values[i] = *value;
    }
    if (!std::isfinite(values[0]) || !std::isfinite(values[1])) return false;
    if (!(values[2] > 0) || !(values[3] > 0)) return false;
    parsed.target.rect = {values[0], values[1], values[2], values[3]};
    parsed.target.pid = member(target, "pid");
    parsed.target.applicationId = member(target, "application_id");
    parsed.target.processIdentity = member(target, "process_identity");
    parsed.target.displayIdentity = member(target, "display_identity");
    parsed.target.focus = member(target, "focus");
    return true;
}

bool parseControlCommand(const Json& request, ControlRequest& parsed) {
    const Json& command = request.at("command");
    ControlCommand& out = parsed.command;
    switch (out.action) {
        case ControlAction::Focus:
            return true;
        case ControlAction::Click:
        case ControlAction::Scroll: {
            auto x = fraction(command, "x");
            auto y = fraction(command, "y");
            if (!x || !y) return false;
            out.at = {*x, *y};
            return out.action == ControlAction::Click ? parseClick(command, out)
                                                      : parseScroll(command, out);
        }
        case ControlAction::PressKey:
        case ControlAction::Hotkey:
            return parseKey(command, out);
        case ControlAction::TypeText: {
            const Json* text = member(command, "text");
            if (text == nullptr || !text->is_string()) return false;
            out.text = text->get<std::string>();
            return acceptableControlText(out.text);
        }
    }
    return false;
}

}  // namespace brindlemar::semantics

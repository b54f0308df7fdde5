#include "platform/sim/user_event.h"

#include <array>
#include <limits>

#include "platform/sim/scene_reader.h"

namespace brindlemar::platform::sim {
namespace {

constexpr std::array<const char*, 8> kTypes = {"left_down",
                                               "right_down",
                                               "other_down",
                                               "key_down",
                                               "flags_changed",
                                               "scroll",
                                               "tap_disabled_by_timeout",
                                               "tap_disabled_by_user"};

bool knownType(const std::string& type) {
    for (const char* known : kTypes) {
        if (type == known) return true;
    }
    return false;
}

}  // namespace

Expected<UserEvent> parseUserEvent(const nlohmann::json& event) {
    using read::ifPresent;
    const std::string path = "event";
    constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
    UserEvent result;
    try {
        read::object(event, path);
        auto type = event.find("type");
        if (type == event.end()) read::fail(read::member(path, "type"), "is required");
        result.type = read::string(*type, read::member(path, "type"));
        if (!knownType(result.type)) {
            read::fail(read::member(path, "type"), "unknown type \"" + result.type + "\"");
        }
        ifPresent(event, path, "x", [&](auto& v, auto& p) { result.x = read::number(v, p); });
        ifPresent(event, path, "y", [&](auto& v, auto& p) { result.y = read::number(v, p); });
        ifPresent(event, path, "click_state",
                  [&](auto& v, auto& p) { result.clickState = read::integer(v, p, 0, kMax); });
        ifPresent(event, path, "keycode",
                  [&](auto& v, auto& p) { result.keycode = read::integer(v, p, 0, 0xFFFF); });
        ifPresent(event, path, "flags", [&](auto& v, auto& p) {
            result.flags = static_cast<std::uint64_t>(read::integer(v, p, 0, kMax));
        });
        ifPresent(event, path, "dx", [&](auto& v, auto& p) { result.dx = read::number(v, p); });
        ifPresent(event, path, "dy", [&](auto& v, auto& p) { result.dy = read::number(v, p); });
    } catch (const SceneFault& fault) {
        return Error{"sim", 1, fault.path + ": " + fault.fault};
    }
    return result;
}

}  // namespace brindlemar::platform::sim

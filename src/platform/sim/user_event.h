#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "base/error.h"

namespace brindlemar::platform::sim {

// An event of the physical user, as the control socket's "user_event" hands it to an event tap.
struct UserEvent {
    std::string type;  // left_down, right_down, other_down, key_down, flags_changed, scroll,
                       // tap_disabled_by_timeout, tap_disabled_by_user
    double x = 0;
    double y = 0;
    std::int64_t clickState = 1;
    std::int64_t keycode = 0;
    std::uint64_t flags = 0;
    double dx = 0;  // lines
    double dy = 0;
};

// Validates the event object; the error names the bad key ("event.type: unknown type ...").
Expected<UserEvent> parseUserEvent(const nlohmann::json& event);

}  // namespace brindlemar::platform::sim

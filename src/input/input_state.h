#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>

#include "input/key_table.h"
#include "platform/geometry.h"

namespace brindlemar {

// What the helper's own synthetic input holds: one instance per process, owned by the input
// subsystem and touched only by the command-loop thread.
struct InputState {
    // Pointer buttons held down by synthetic events.
    std::set<std::int64_t> buttonsDown;
    // Modifier flags held by synthetic key events.
    std::uint64_t modFlags = 0;
    // The last synthetic button press, for counting multiple clicks.
    double lastClickTime = 0;
    platform::Point lastClickPos{0, 0};
    std::int64_t lastClickButton = -1;
    std::int64_t clickState = 1;
    // Key name to virtual key code.
    const std::unordered_map<std::string, std::uint16_t> vkMap = buildKeyMap();
};

}  // namespace brindlemar

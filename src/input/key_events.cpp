#include "input/key_events.h"

#include <string>

#include "input/input_state.h"
#include "input/key_table.h"
#include "platform/synthetic_events.h"

namespace brindlemar {
namespace {

void updateModifiers(std::uint64_t& modFlags, std::string_view code, bool down) {
    auto mask = modifierFlagFor(code);
    if (!mask) return;
    // Left and right keys share one bit: releasing either side clears it.
    if (down) {
        modFlags |= *mask;
    } else {
        modFlags &= ~*mask;
    }
}

}  // namespace

Expected<bool> postKey(InputState& state, platform::EventPoster& events, std::string_view code,
                       bool down) {
    auto found = state.vkMap.find(std::string(code));
    if (found == state.vkMap.end()) return false;
    updateModifiers(state.modFlags, code, down);

    platform::SyntheticEvent event;
    event.type = down ? platform::EventType::KeyDown : platform::EventType::KeyUp;
    event.keyCode = found->second;
    event.keyDown = down;
    event.flags = state.modFlags;
    if (auto posted = events.post(event, platform::EventTarget::hid()); !posted)
        return posted.error();
    return true;
}

}  // namespace brindlemar

#pragma once

#include <string_view>

namespace brindlemar {

struct InputState;
namespace platform {
class EventPoster;
}

// Presses (`down`) or releases the key with that name, posting one keyboard event to the
// system-wide stream. A modifier key sets or clears its flag in `state.modFlags` first, and the
// event carries the whole current mask. False when the name is unknown (nothing happens) or the
// event could not be created (the modifier change stands).
bool postKey(InputState& state, platform::EventPoster& events, std::string_view code, bool down);

}  // namespace brindlemar

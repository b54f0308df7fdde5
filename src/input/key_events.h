#pragma once

#include <string_view>

#include "base/error.h"

namespace brindlemar {

struct InputState;
namespace platform {
class EventPoster;
}

// Presses (`down`) or releases the key with that name, posting one keyboard event to the
// system-wide stream. A modifier key sets or clears its flag in `state.modFlags` first, and the
// event carries the whole current mask.
//
// True once the event is posted; false when the name is not in the key table (nothing happens);
// the desktop's error when the event could not be created or posted (the modifier change
// stands).
Expected<bool> postKey(InputState& state, platform::EventPoster& events, std::string_view code,
                       bool down);

}  // namespace brindlemar

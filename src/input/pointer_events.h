#pragma once

#include <cstdint>
#include <optional>
#include "base/error.h"
#include "input/input_event.h"
#include "platform/geometry.h"
#include "platform/synthetic_events.h"

namespace brindlemar {

struct InputState;
namespace platform {
class Desktop;
}

// Posts one pointer event for a DOM-numbered button (0 left, 1 middle, 2 right; any other value
// is the left button) at `at`, computed in the target frame `within`. A press counts clicks, a
// release lets go, a move is a drag of the highest-priority held button, if any. Raising the
// window of a press happens before (see handleInput). Every pointer event carries
// `state.modFlags`. Fails with the desktop's error when the event could not be created or
// posted; the pointer state has changed all the same.
Status postMouse(InputState& state, platform::Desktop& desktop, InputEvent::Action action,
                 std::int64_t button, platform::Point at, const platform::Rect& within);

// Posts one pixel scroll event at `at` (in the target frame `within`); positive distances scroll
// content up/left, so the wheel values are the negated distances, clamped to ±500 and truncated. No
// flags, no pointer state. Fails with the desktop's error when the event could not be created or
// posted.
Status postScroll(platform::Desktop& desktop, platform::Point at, const platform::Rect& within,
                  double dx, double dy);

// The system's button for a DOM-numbered button, and the event types that press and release it.
platform::MouseButton systemButton(std::int64_t button);
platform::EventType pressType(platform::MouseButton button);
platform::EventType releaseType(platform::MouseButton button);

// The wheel value of one scroll distance (exposed for its own tests).
std::int32_t wheelValue(double distance);

}  // namespace brindlemar

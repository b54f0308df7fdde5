#include "platform/x11/events_scroll.h"

namespace brindlemar::platform::x11 {
namespace {

std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    const std::int64_t q = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

}  // namespace

std::int32_t WheelAxis::stepsFor(std::int32_t pixels) {
    if (pixels == 0) return 0;
    const std::int64_t owed = static_cast<std::int64_t>(carried_) + pixels;
    // Round in the direction of this request: what is owed that way goes out now, and the
    // overshoot stays behind as a credit the next requests that way use up.
    const std::int64_t steps =
        pixels > 0 ? -floorDiv(-owed, kScrollPixelsPerStep) : floorDiv(owed, kScrollPixelsPerStep);
    carried_ = static_cast<std::int32_t>(owed - steps * kScrollPixelsPerStep);
    return static_cast<std::int32_t>(steps);
}

}  // namespace brindlemar::platform::x11

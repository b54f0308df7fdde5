#pragma once

#include <cstdint>

namespace brindlemar::platform::x11 {

// Pixels of scroll distance per wheel step. X has no pixel scrolling: a wheel step is a press
// and release of button 4 to 7, and toolkits move a view by their own amount per step (GTK 3 by
// about the cube root of the page size squared, browsers by about 50 pixels). 40 pixels keeps a
// step near one to two lines of text.
inline constexpr std::int32_t kScrollPixelsPerStep = 40;

// Turns pixel distances of one wheel axis into whole wheel steps, carrying what is left over to
// the next request. Each request rounds in its own direction, so a first small scroll moves one
// step at once, and the overshoot is carried as a credit that the following small scrolls in
// that direction use up: over any run of requests the distance sent differs from the distance
// asked for by less than one step. Not thread-safe: the owner locks.
class WheelAxis {
  public:
    // Steps to send for `pixels` (signed, in the wheel's sign: positive scrolls up or left).
    std::int32_t stepsFor(std::int32_t pixels);
    // Pixels sent beyond (negative: short of) the distances asked for so far.
    std::int32_t carried() const { return carried_; }

  private:
    std::int32_t carried_ = 0;  // distance asked for minus distance sent, in pixels
};

}  // namespace brindlemar::platform::x11

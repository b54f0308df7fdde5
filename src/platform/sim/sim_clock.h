#pragma once

#include <optional>

#include "base/mutex.h"
#include "platform/clock.h"

namespace brindlemar::platform::sim {

// The simulated wall clock. A scene's "clock" sets a reading that then stands still; without
// one the clock follows real time. advance_clock adds to an offset that applies in both modes.
// `lock_` guards both members; any thread may read or move the clock.
class SimClock final : public Clock {
  public:
    explicit SimClock(std::optional<double> start) : start_(start) {}

    double now() override;
    void advance(double seconds);
    // Sets a new reading (absent: real time) and forgets every advance made so far.
    void reset(std::optional<double> start);
    // The current reading when the clock is simulated; absent when it follows real time.
    std::optional<double> simulatedReading();

  private:
    Mutex lock_;
    std::optional<double> start_ GUARDED_BY(lock_);
    double offset_ GUARDED_BY(lock_) = 0;
};

}  // namespace brindlemar::platform::sim

#pragma once

#include <chrono>

namespace brindlemar::platform {

// The wall clock every time read of the helper goes through (deadlines, idle gaps, double-click
// timing, expiry). A simulated desktop may move it independently of real time; timers and sleeps
// still run in real time.
class Clock {
  public:
    virtual ~Clock() = default;
    // Seconds since 1970-01-01 00:00 UTC.
    virtual double now() = 0;
};

// The system's own wall clock, for every desktop that does not simulate time.
class SystemClock final : public Clock {
  public:
    double now() override {
        using namespace std::chrono;
        return duration<double>(system_clock::now().time_since_epoch()).count();
    }
};

}  // namespace brindlemar::platform

#include "platform/sim/sim_clock.h"

#include <chrono>

namespace brindlemar::platform::sim {
namespace {
double realNow() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}
}  // namespace

double SimClock::now() {
    MutexLock guard(lock_);
    return (start_ ? *start_ : realNow()) + offset_;
}

void SimClock::advance(double seconds) {
    MutexLock guard(lock_);
    offset_ += seconds;
}

void SimClock::reset(std::optional<double> start) {
    MutexLock guard(lock_);
    start_ = start;
    offset_ = 0;
}

std::optional<double> SimClock::simulatedReading() {
    MutexLock guard(lock_);
    if (!start_) return std::nullopt;
    return *start_ + offset_;
}

}  // namespace brindlemar::platform::sim

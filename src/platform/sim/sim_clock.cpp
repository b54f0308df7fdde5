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
    std::lock_guard guard(lock_);
    return (start_ ? *start_ : realNow()) + offset_;
}

void SimClock::advance(double seconds) {
    std::lock_guard guard(lock_);
    offset_ += seconds;
}

void SimClock::reset(std::optional<double> start) {
    std::lock_guard guard(lock_);
    start_ = start;
    offset_ = 0;
}

std::optional<double> SimClock::simulatedReading() {
    std::lock_guard guard(lock_);
    if (!start_) return std::nullopt;
    return *start_ + offset_;
}

}  // namespace brindlemar::platform::sim

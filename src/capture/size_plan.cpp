#include "capture/size_plan.h"

#include <algorithm>
#include <cmath>

namespace brindlemar::capture {
namespace {

// Above any size a screenshot service renders; keeps the integer conversion defined when a
// budget-free PNG capture is planned from an absurd frame.
constexpr double kLargestSide = 2147483647.0;

}  // namespace

double roundHalfAway(double value) {
    return std::round(value);
}

bool withinPixelLimit(PlannedSize size) {
    if (!std::isfinite(size.width) || !std::isfinite(size.height)) return false;
    if (size.width <= 0 || size.height <= 0) return false;
    return roundHalfAway(size.width) * roundHalfAway(size.height) <=
           static_cast<double>(kPixelLimit);
}

PlannedSize applyBudget(PlannedSize size, std::int64_t maxPx) {
    const double longer = std::max(size.width, size.height);
    const auto budget = static_cast<double>(maxPx);
    if (maxPx < 1 || !(longer > budget)) return size;
    const double factor = budget / longer;
    return {size.width * factor, size.height * factor};
}

std::int64_t configuredSide(double side) {
    const double rounded = roundHalfAway(side);
    if (!(rounded >= 1)) return 1;  // also NaN
    return static_cast<std::int64_t>(std::min(rounded, kLargestSide));
}

}  // namespace brindlemar::capture

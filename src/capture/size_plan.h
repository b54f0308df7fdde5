#pragma once

#include <cstdint>

namespace brindlemar::capture {

// The most pixels an original-pixel capture may have: 128,000,000 payload bytes.
inline constexpr std::int64_t kPixelLimit = 32'000'000;

// A pixel size as planned, before it is rounded for the screenshot service.
struct PlannedSize {
    double width = 0;
    double height = 0;
};

// Rounds halves away from zero, as the planned sizes are rounded everywhere.
double roundHalfAway(double value);

// Finite, positive, and round(width) x round(height) at most the pixel limit.
bool withinPixelLimit(PlannedSize size);

// When a budget applies (maxPx at least 1) and the longer side exceeds it, scales both sides so
// that the longer one becomes maxPx and the aspect ratio is kept.
PlannedSize applyBudget(PlannedSize size, std::int64_t maxPx);

// The pixel count asked of the screenshot service for one side: round(side), at least 1.
std::int64_t configuredSide(double side);

}  // namespace brindlemar::capture

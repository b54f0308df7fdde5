#pragma once

#include <cstdint>
#include <string>

#include "platform/capture_catalogue.h"

namespace brindlemar::capture {

// The scale assumed whenever a display's current mode cannot be read: Retina panels are the
// common case, so 2.0 errs towards enough pixels rather than too few.
inline constexpr double kFallbackDisplayScale = 2.0;

// Device pixels per point along the display's horizontal axis: the current mode's pixel width
// divided by the display's width in points; the fallback without a mode or below 1 point.
double displayScale(platform::CaptureCatalogue& catalogue,
                    const platform::CatalogueDisplay& display);

// The display's persistent UUID in its standard upper-case form; "" when it has none.
std::string displayIdentity(platform::CaptureCatalogue& catalogue, std::uint32_t displayId);

}  // namespace brindlemar::capture

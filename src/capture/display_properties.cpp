#include "capture/display_properties.h"

namespace brindlemar::capture {

double displayScale(platform::CaptureCatalogue& catalogue,
                    const platform::CatalogueDisplay& display) {
    auto pixelWidth = catalogue.displayModePixelWidth(display.id);
    if (!pixelWidth) return kFallbackDisplayScale;
    if (display.width < 1) return kFallbackDisplayScale;
    return static_cast<double>(*pixelWidth) / static_cast<double>(display.width);
}

std::string displayIdentity(platform::CaptureCatalogue& catalogue, std::uint32_t displayId) {
    return catalogue.displayUuid(displayId).value_or("");
}

}  // namespace brindlemar::capture

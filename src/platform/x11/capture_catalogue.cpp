#include "platform/x11/capture_catalogue.h"

#include "platform/x11/connection.h"
#include "platform/x11/display_catalogue.h"
#include "platform/x11/window_catalogue.h"

namespace brindlemar::platform::x11 {

namespace {

std::optional<X11Display> findDisplay(X11Connection& connection, std::uint32_t displayId) {
    auto displays = listDisplays(connection);
    if (!displays) return std::nullopt;
    for (auto& display : *displays) {
        if (display.display.id == displayId) return std::move(display);
    }
    return std::nullopt;
}

}  // namespace

Expected<ShareableContent> X11CaptureCatalogue::shareableContent() {
    auto displays = listDisplays(connection_);
    if (!displays) return std::move(displays).takeError();
    auto windows = listOnScreenWindows(connection_);
    if (!windows) return std::move(windows).takeError();
    ShareableContent content;
    content.windows = std::move(*windows);
    for (auto& display : *displays)
        content.displays.push_back(display.display);
    return content;
}

std::optional<std::int64_t> X11CaptureCatalogue::displayModePixelWidth(std::uint32_t displayId) {
    auto display = findDisplay(connection_, displayId);
    if (!display) return std::nullopt;
    return display->modeWidth;
}

std::optional<std::string> X11CaptureCatalogue::displayUuid(std::uint32_t displayId) {
    auto display = findDisplay(connection_, displayId);
    if (!display) return std::nullopt;
    return edidUuid(connection_, display->output);
}

WindowFilterGeometry X11CaptureCatalogue::windowFilterGeometry(const CatalogueWindow& window) {
    // A window's capture is its whole frame, one pixel per point.
    return WindowFilterGeometry{window.frame, 1.0};
}

}  // namespace brindlemar::platform::x11

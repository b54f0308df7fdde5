#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "platform/geometry.h"

namespace brindlemar::platform {

struct OwningApplication {
    std::string name;  // "" when unknown
    std::int32_t pid = 0;
};

// A window as the screen-capture catalogue lists it.
struct CatalogueWindow {
    std::uint32_t id = 0;
    Rect frame;                        // points
    std::optional<std::string> title;  // absent: the window has no title
    std::int64_t layer = 0;            // 0: normal application window
    bool onScreen = true;
    std::optional<OwningApplication> owner;  // absent: no owning application
};

// A display as the screen-capture catalogue lists it.
struct CatalogueDisplay {
    std::uint32_t id = 0;
    Rect frame;              // points
    std::int64_t width = 0;  // integer size in points
    std::int64_t height = 0;
};

// The shareable content: on-screen windows only (desktop windows not excluded), front to back,
// and the displays.
struct ShareableContent {
    std::vector<CatalogueWindow> windows;
    std::vector<CatalogueDisplay> displays;
};

// What a single-window capture filter reports about its content.
struct WindowFilterGeometry {
    Rect contentRect;              // points
    double pointPixelScale = 1.0;  // pixels per point of the window's backing store
};

class CaptureCatalogue {
  public:
    virtual ~CaptureCatalogue() = default;
    // Fails with the system's own error, e.g. without screen-recording permission.
    virtual Expected<ShareableContent> shareableContent() = 0;
    // Pixel width of the display's current mode; absent when it has no current mode.
    virtual std::optional<std::int64_t> displayModePixelWidth(std::uint32_t displayId) = 0;
    // The display's persistent UUID in standard upper-case 8-4-4-4-12 form; absent when none.
    virtual std::optional<std::string> displayUuid(std::uint32_t displayId) = 0;
    // Content rectangle and point-to-pixel scale of a filter for one window of the catalogue.
    virtual WindowFilterGeometry windowFilterGeometry(const CatalogueWindow& window) = 0;
};

}  // namespace brindlemar::platform

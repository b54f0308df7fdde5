#pragma once

#include "platform/capture_catalogue.h"

namespace brindlemar::platform::x11 {

class X11Connection;

// The screen-capture catalogue of an X screen: the on-screen client windows and the RandR
// monitors. Points are pixels on X11, so every scale is 1.0.
class X11CaptureCatalogue final : public CaptureCatalogue {
  public:
    explicit X11CaptureCatalogue(X11Connection& connection) : connection_(connection) {}

    Expected<ShareableContent> shareableContent() override;
    std::optional<std::int64_t> displayModePixelWidth(std::uint32_t displayId) override;
    std::optional<std::string> displayUuid(std::uint32_t displayId) override;
    WindowFilterGeometry windowFilterGeometry(const CatalogueWindow& window) override;

  private:
    X11Connection& connection_;
};

}  // namespace brindlemar::platform::x11

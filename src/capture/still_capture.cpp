#include "capture/still_capture.h"

#include <string>

#include "capture/display_properties.h"
#include "capture/size_plan.h"

namespace brindlemar::capture {
namespace {

using platform::CatalogueDisplay;
using platform::CatalogueWindow;
using platform::PixelBuffer;

Error captureError(std::int64_t code, std::string message) {
    return Error{kBrindlemarDomain, code, std::move(message)};
}

const CatalogueWindow* findWindow(const platform::ShareableContent& content, std::uint32_t id) {
    for (const auto& window : content.windows) {
        if (window.id == id) return &window;
    }
    return nullptr;
}

const CatalogueDisplay* findDisplay(const platform::ShareableContent& content, std::uint32_t id,
                                    bool exact) {
    for (const auto& display : content.displays) {
        if (display.id == id) return &display;
    }
    if (!exact && !content.displays.empty()) return &content.displays.front();
    return nullptr;
}

// The scale of the first display, in catalogue order, that the window overlaps; the fallback
// when it overlaps none. The mode is divided by the frame's width here, since the frame is what
// the overlap was judged by.
double scaleUnderWindow(platform::CaptureCatalogue& catalogue,
                        const platform::ShareableContent& content, const platform::Rect& frame) {
    for (const auto& display : content.displays) {
        if (!display.frame.intersects(frame)) continue;
        auto pixelWidth = catalogue.displayModePixelWidth(display.id);
        if (!pixelWidth || !(display.frame.width > 0)) return kFallbackDisplayScale;
        return static_cast<double>(*pixelWidth) / display.frame.width;
    }
    return kFallbackDisplayScale;
}

// The screenshot of the planned size: a window alone, without the cursor and without its
// shadow; a display as the user sees it, cursor included.
platform::ScreenshotConfiguration configurationFor(PlannedSize size,
                                                   platform::CaptureFilterKind kind) {
    const bool window = kind == platform::CaptureFilterKind::Window;
    platform::ScreenshotConfiguration configuration;
    configuration.width = configuredSide(size.width);
    configuration.height = configuredSide(size.height);
    configuration.showsCursor = !window;
    configuration.ignoreShadowsSingleWindow = window;
    return configuration;
}

// Encodes the captured image as the request asked; a failure carries the caller's code.
Expected<CaptureResult> encode(PixelBuffer image, bool originalPixels, std::int64_t failureCode) {
    const std::int64_t width = image.width();
    const std::int64_t height = image.height();
    if (originalPixels) {
        auto pixels = rgbaData(std::move(image));
        if (!pixels) return captureError(failureCode, "PNG encode failed");
        return CaptureResult{std::move(*pixels), width, height};
    }
    auto png = pngData(image);
    if (!png) return captureError(failureCode, "PNG encode failed");
    return CaptureResult{std::move(*png), width, height};
}

}  // namespace

std::span<const std::uint8_t> CaptureResult::bytes() const {
    return std::visit([](const auto& payload) { return payload.bytes(); }, data);
}

std::optional<PixelBuffer> rgbaData(PixelBuffer image) {
    const std::int64_t width = image.width();
    const std::int64_t height = image.height();
    if (width < 1 || height < 1) return std::nullopt;
    if (width > kPixelLimit / height) return std::nullopt;
    // The screenshot service already delivers premultiplied R, G, B, A rows without padding,
    // which is exactly the payload layout.
    return image;
}

Expected<CaptureResult> grab(platform::Desktop& desktop, std::uint32_t id, std::int64_t maxPx,
                             bool originalPixels) {
    auto& catalogue = desktop.captureCatalogue();
    auto content = catalogue.shareableContent();
    if (!content) return std::move(content).takeError();
    const CatalogueWindow* window = findWindow(*content, id);
    if (window == nullptr) {
        return captureError(capture_errors::kWindowNotFound,
                            "window " + std::to_string(id) + " not found");
    }

    const platform::Rect frame = window->frame;
    const double displayScale = scaleUnderWindow(catalogue, *content, frame);

    PlannedSize size;
    if (originalPixels) {
        auto geometry = catalogue.windowFilterGeometry(*window);
        size = {geometry.contentRect.width * geometry.pointPixelScale,
                geometry.contentRect.height * geometry.pointPixelScale};
        if (!withinPixelLimit(size)) {
            return captureError(capture_errors::kWindowCapture, "capture exceeds pixel limit");
        }
    } else {
        size = {displayScale * frame.width, displayScale * frame.height};
    }
    size = applyBudget(size, maxPx);

    const platform::CaptureFilter filter{platform::CaptureFilterKind::Window, window->id};
    auto image = desktop.screenshots().captureImage(filter, configurationFor(size, filter.kind));
    if (!image) return std::move(image).takeError();

    auto result = encode(std::move(*image), originalPixels, capture_errors::kWindowCapture);
    if (result) {
        result->scale =
            frame.width > 0 ? static_cast<double>(result->width) / frame.width : displayScale;
    }
    return result;
}

Expected<CaptureResult> grabDisplay(platform::Desktop& desktop, std::uint32_t id,
                                    std::int64_t maxPx, bool exact, bool originalPixels) {
    auto& catalogue = desktop.captureCatalogue();
    auto content = catalogue.shareableContent();
    if (!content) return std::move(content).takeError();
    const CatalogueDisplay* display = findDisplay(*content, id, exact);
    if (display == nullptr) {
        return captureError(capture_errors::kNoDisplay, "no display " + std::to_string(id));
    }

    const double scale = displayScale(catalogue, *display);
    const auto pointWidth = static_cast<double>(display->width);
    PlannedSize size{scale * pointWidth, scale * static_cast<double>(display->height)};
    if (originalPixels && !withinPixelLimit(size)) {
        return captureError(capture_errors::kDisplayCapture, "capture exceeds pixel limit");
    }
    size = applyBudget(size, maxPx);

    const platform::CaptureFilter filter{platform::CaptureFilterKind::Display, display->id};
    auto image = desktop.screenshots().captureImage(filter, configurationFor(size, filter.kind));
    if (!image) return std::move(image).takeError();

    auto result = encode(std::move(*image), originalPixels, capture_errors::kDisplayCapture);
    if (result) {
        result->scale =
            display->width >= 1 ? static_cast<double>(result->width) / pointWidth : scale;
    }
    return result;
}

}  // namespace brindlemar::capture

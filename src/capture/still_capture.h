#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <variant>

#include "base/error.h"
#include "capture/png_encoder.h"
#include "platform/desktop.h"
#include "platform/pixel_buffer.h"

namespace brindlemar::capture {

// Codes of the still-capture errors (domain "brindlemar").
namespace capture_errors {
inline constexpr std::int64_t kWindowNotFound = 1;
inline constexpr std::int64_t kWindowCapture = 2;  // pixel limit or encoding of a window
inline constexpr std::int64_t kNoDisplay = 3;
inline constexpr std::int64_t kDisplayCapture = 4;  // pixel limit or encoding of a display
}  // namespace capture_errors

// One still image: a PNG file, or raw premultiplied RGBA rows with no padding (the screenshot's
// own buffer, which travels to the output channel without a copy).
struct CaptureResult {
    std::variant<EncodedPng, platform::PixelBuffer> data;
    std::int64_t width = 0;   // pixels
    std::int64_t height = 0;  // pixels
    double scale = 0;         // image pixels per point of the captured content

    std::span<const std::uint8_t> bytes() const;
};

// The raw rendering of a captured image: the buffer itself, or nothing when it is empty or has
// more pixels than the pixel limit.
std::optional<platform::PixelBuffer> rgbaData(platform::PixelBuffer image);

// Captures one window: as PNG with its longer side at most maxPx (no budget below 1), or at its
// original pixels as raw RGBA. Fails "window <id> not found", "capture exceeds pixel limit",
// "PNG encode failed", or with the system's own capture errors.
Expected<CaptureResult> grab(platform::Desktop& desktop, std::uint32_t id, std::int64_t maxPx,
                             bool originalPixels);

// Captures one display, falling back to the first display for an unknown id unless exact is
// set. Fails "no display <id>", "capture exceeds pixel limit", "PNG encode failed", or with the
// system's own capture errors.
Expected<CaptureResult> grabDisplay(platform::Desktop& desktop, std::uint32_t id,
                                    std::int64_t maxPx, bool exact, bool originalPixels);

}  // namespace brindlemar::capture

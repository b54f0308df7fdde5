#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/pixel_buffer.h"

namespace brindlemar::platform::x11 {

// An image as the X server delivers it in 32 bits per pixel: bytes B, G, R, X on a little-endian
// server, rows `stride` bytes apart.
struct BgrxImage {
    const std::uint8_t* data = nullptr;
    std::size_t stride = 0;
    int width = 0;
    int height = 0;
    bool hasAlpha = false;  // a 32-bit-deep window: X is premultiplied alpha; else opaque
};

// Converts to RGBA, box-filtered to the buffer's size when it differs from the image's.
void convertToRgba(const BgrxImage& image, PixelBuffer& target);

}  // namespace brindlemar::platform::x11

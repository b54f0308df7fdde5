#pragma once

#include <cstdint>

#include "platform/pixel_buffer.h"

namespace brindlemar::capture {

// Converts row `y` of a premultiplied RGBA image to the bytes of a PNG row: RGB when `opaque`,
// else RGBA with straight alpha (PNG does not store premultiplied colour).
void convertRow(const platform::PixelBuffer& image, std::int64_t y, bool opaque, std::uint8_t* out);

}  // namespace brindlemar::capture

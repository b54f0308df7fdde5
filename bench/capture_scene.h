#pragma once

#include <cstdint>

#include "platform/pixel_buffer.h"

namespace brindlemar::bench {

enum class Wallpaper { Photograph, Gradient };

// Renders a desktop that compresses like a real one: a wallpaper, an editor full of anti-aliased
// code text with syntax colours, a photo viewer, a browser page with paragraphs and an image,
// gradient title bars and a dock. Opaque, premultiplied RGBA.
platform::PixelBuffer renderDesktop(std::int64_t width, std::int64_t height,
                                    Wallpaper wallpaper = Wallpaper::Photograph);

// Resamples an image to another size with bilinear filtering, as a screenshot service scales a
// display down to the requested size.
platform::PixelBuffer resample(const platform::PixelBuffer& source, std::int64_t width,
                               std::int64_t height);

}  // namespace brindlemar::bench

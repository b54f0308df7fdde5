#include "capture/png_rows.h"

#include <cstring>

namespace brindlemar::capture {
namespace {

void copyWithoutAlpha(const std::uint8_t* rgba, std::uint8_t* rgb, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i, rgba += 4, rgb += 3) {
        rgb[0] = rgba[0];
        rgb[1] = rgba[1];
        rgb[2] = rgba[2];
    }
}

void copyUnpremultiplied(const std::uint8_t* premultiplied, std::uint8_t* straight,
                         std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i, premultiplied += 4, straight += 4) {
        const unsigned alpha = premultiplied[3];
        if (alpha == 0xff) {
            std::memcpy(straight, premultiplied, 4);
            continue;
        }
        for (int c = 0; c < 3; ++c) {
            unsigned value = alpha == 0 ? 0 : (premultiplied[c] * 255u + alpha / 2) / alpha;
            straight[c] = static_cast<std::uint8_t>(value > 255 ? 255 : value);
        }
        straight[3] = static_cast<std::uint8_t>(alpha);
    }
}

}  // namespace

void convertRow(const platform::PixelBuffer& image, std::int64_t y, bool opaque,
                std::uint8_t* out) {
    const std::uint8_t* source = image.data() + static_cast<std::size_t>(y) * image.stride();
    const auto width = static_cast<std::size_t>(image.width());
    if (opaque) {
        copyWithoutAlpha(source, out, width);
    } else {
        copyUnpremultiplied(source, out, width);
    }
}

}  // namespace brindlemar::capture

// The PNG encoder on images of odd sizes, opaque and translucent, small ones and ones large
// enough to be deflated in bands: every image encodes, and the file decodes with libspng to the
// pixels given (premultiplied in, straight alpha out: equal once premultiplied again, within the
// rounding of one step).

#include <spng.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "capture/png_encoder.h"
#include "platform/pixel_buffer.h"

using namespace brindlemar;

namespace {

std::vector<std::uint8_t> decodeRgba(std::span<const std::uint8_t> png) {
    std::unique_ptr<spng_ctx, decltype(&spng_ctx_free)> context(spng_ctx_new(0), &spng_ctx_free);
    spng_set_png_buffer(context.get(), png.data(), png.size());
    std::size_t size = 0;
    if (spng_decoded_image_size(context.get(), SPNG_FMT_RGBA8, &size) != 0) std::abort();
    std::vector<std::uint8_t> pixels(size);
    if (spng_decode_image(context.get(), pixels.data(), size, SPNG_FMT_RGBA8, 0) != 0) {
        std::abort();
    }
    return pixels;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3) return 0;
    // The first three bytes choose the size (1..1024 x 1..320); the rest fills the pixels,
    // repeated, with each colour component kept at or below its alpha as premultiplied pixels are.
    const std::int64_t width = ((data[0] | (data[1] << 8)) % 1024) + 1;
    const std::int64_t height = (data[2] % 320) + 1;
    data += 3;
    size -= 3;

    platform::PixelBuffer image(width, height);
    std::uint8_t* pixels = image.data();
    const std::size_t bytes = static_cast<std::size_t>(width * height * 4);
    for (std::size_t i = 0; i < bytes; ++i)
        pixels[i] = size == 0 ? 0xff : data[i % size];
    for (std::size_t i = 0; i < bytes; i += 4) {
        for (int c = 0; c < 3; ++c)
            pixels[i + c] = std::min(pixels[i + c], pixels[i + 3]);
    }

    auto encoded = capture::pngData(image);
    if (!encoded) std::abort();
    auto decoded = decodeRgba(encoded->bytes());
    if (decoded.size() != bytes) std::abort();
    for (std::size_t i = 0; i < bytes; i += 4) {
        const int alpha = pixels[i + 3];
        if (decoded[i + 3] != alpha) std::abort();
        for (int c = 0; c < 3 && alpha > 0; ++c) {
            const int again = (decoded[i + c] * alpha + 127) / 255;
            if (std::abs(again - pixels[i + c]) > 1) std::abort();
        }
    }
    return 0;
}

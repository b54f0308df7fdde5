#include "png_decode.h"

#include <spng.h>

#include <memory>

namespace brindlemar::testing {

std::vector<std::uint8_t> DecodedPng::pixel(std::int64_t x, std::int64_t y) const {
    auto offset = static_cast<std::size_t>((y * width + x) * 4);
    return {rgba.begin() + static_cast<std::ptrdiff_t>(offset),
            rgba.begin() + static_cast<std::ptrdiff_t>(offset + 4)};
}

std::optional<DecodedPng> decodePng(std::span<const std::uint8_t> file) {
    std::unique_ptr<spng_ctx, void (*)(spng_ctx*)> context(spng_ctx_new(0), spng_ctx_free);
    if (!context || spng_set_png_buffer(context.get(), file.data(), file.size()) != 0) {
        return std::nullopt;
    }
    spng_ihdr header{};
    if (spng_get_ihdr(context.get(), &header) != 0) return std::nullopt;
    std::size_t size = 0;
    if (spng_decoded_image_size(context.get(), SPNG_FMT_RGBA8, &size) != 0) return std::nullopt;

    DecodedPng image;
    image.width = header.width;
    image.height = header.height;
    image.colourType = header.color_type;
    image.rgba.resize(size);
    if (spng_decode_image(context.get(), image.rgba.data(), size, SPNG_FMT_RGBA8, 0) != 0) {
        return std::nullopt;
    }
    // Checks the trailing chunks too, so a file without its end chunk fails.
    if (spng_decode_chunks(context.get()) != 0) return std::nullopt;
    return image;
}

}  // namespace brindlemar::testing

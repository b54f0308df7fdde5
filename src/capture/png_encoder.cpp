#include "capture/png_encoder.h"

#include <spng.h>

#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include "capture/png_rows.h"
#include "capture/png_striped.h"

namespace brindlemar::capture {
namespace {

struct SpngContextFree {
    void operator()(spng_ctx* context) const { spng_ctx_free(context); }
};
using SpngContext = std::unique_ptr<spng_ctx, SpngContextFree>;

bool everyPixelOpaque(const platform::PixelBuffer& image) {
    const std::uint8_t* pixel = image.data();
    const std::uint8_t* end = pixel + image.size();
    for (; pixel != end; pixel += 4) {
        if (pixel[3] != 0xff) return false;
    }
    return true;
}

// Below this many pixels a second thread costs more than it saves.
constexpr std::int64_t kStripedMinimumPixels = 256 * 1024;
constexpr int kUpFilterOnly = 32;  // libspng's filter mask for UP alone

// How many threads deflate at once: one per core, for large images encoded with the UP filter
// alone (the only filter the striped encoder writes).
unsigned threadsFor(const platform::PixelBuffer& image, const PngEncoderSettings& settings) {
    if (settings.filterChoice != kUpFilterOnly) return 1;
    if (image.width() * image.height() < kStripedMinimumPixels) return 1;
    return std::max(1u, std::min(std::thread::hardware_concurrency(), 8u));
}

// Each thread takes several bands in turn; a band restarts the compressor's history, which costs
// a little size, so there are only a few per thread.
constexpr unsigned kBandsPerThread = 4;

bool configure(spng_ctx* context, const platform::PixelBuffer& image, bool opaque,
               const PngEncoderSettings& settings) {
    spng_ihdr header{};
    header.width = static_cast<std::uint32_t>(image.width());
    header.height = static_cast<std::uint32_t>(image.height());
    header.bit_depth = 8;
    header.color_type = opaque ? SPNG_COLOR_TYPE_TRUECOLOR : SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
    return spng_set_option(context, SPNG_ENCODE_TO_BUFFER, 1) == 0 &&
           spng_set_option(context, SPNG_IMG_COMPRESSION_LEVEL, settings.compressionLevel) == 0 &&
           spng_set_option(context, SPNG_IMG_COMPRESSION_STRATEGY, settings.strategy) == 0 &&
           spng_set_option(context, SPNG_FILTER_CHOICE, settings.filterChoice) == 0 &&
           spng_set_option(context, SPNG_IMG_WINDOW_BITS, settings.windowBits) == 0 &&
           spng_set_option(context, SPNG_IMG_MEM_LEVEL, settings.memLevel) == 0 &&
           spng_set_ihdr(context, &header) == 0;
}

// Feeds the rows one at a time through a single row buffer, converting each on the way, so no
// second full-size image is ever made.
bool encodeRows(spng_ctx* context, const platform::PixelBuffer& image, bool opaque) {
    const auto width = static_cast<std::size_t>(image.width());
    std::vector<std::uint8_t> row(width * (opaque ? 3 : 4));
    int status = spng_encode_image(context, nullptr, 0, SPNG_FMT_PNG,
                                   SPNG_ENCODE_PROGRESSIVE | SPNG_ENCODE_FINALIZE);
    if (status != 0) return false;
    for (std::int64_t y = 0; y < image.height(); ++y) {
        convertRow(image, y, opaque, row.data());
        status = spng_encode_row(context, row.data(), row.size());
        if (status == SPNG_EOI) return y == image.height() - 1;
        if (status != 0) return false;
    }
    return false;
}

}  // namespace

std::optional<EncodedPng> pngData(const platform::PixelBuffer& image,
                                  const PngEncoderSettings& settings) {
    constexpr auto kLargestSide = std::numeric_limits<std::int32_t>::max();  // PNG's own limit
    if (image.empty() || image.width() > kLargestSide || image.height() > kLargestSide) {
        return std::nullopt;
    }
    SpngContext context(spng_ctx_new(SPNG_CTX_ENCODER));
    if (!context) return std::nullopt;

    const bool opaque = settings.dropOpaqueAlpha && everyPixelOpaque(image);
    if (unsigned threads = threadsFor(image, settings); threads > 1) {
        return stripedPng(image, opaque, settings, threads * kBandsPerThread, threads);
    }
    if (!configure(context.get(), image, opaque, settings)) return std::nullopt;
    if (!encodeRows(context.get(), image, opaque)) return std::nullopt;

    std::size_t size = 0;
    int status = 0;
    void* bytes = spng_get_png_buffer(context.get(), &size, &status);
    if (bytes == nullptr || status != 0) {
        std::free(bytes);
        return std::nullopt;
    }
    return EncodedPng(static_cast<std::uint8_t*>(bytes), size);
}

}  // namespace brindlemar::capture

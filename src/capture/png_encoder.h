#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>

#include "platform/pixel_buffer.h"

namespace brindlemar::capture {

// A complete PNG file in memory, owned; handed to the output channel without a copy.
class EncodedPng {
  public:
    EncodedPng(std::uint8_t* bytes, std::size_t size) : bytes_(bytes), size_(size) {}

    std::span<const std::uint8_t> bytes() const { return {bytes_.get(), size_}; }
    std::size_t size() const { return size_; }

  private:
    struct FreeBytes {
        void operator()(std::uint8_t* bytes) const { std::free(bytes); }
    };
    std::unique_ptr<std::uint8_t, FreeBytes> bytes_;  // allocated by the encoder with malloc
    std::size_t size_;
};

// How the encoder trades file size for time. The defaults were chosen by measurement (bench/
// capture_bench --sweep) on a 1600 x 1039 desktop capture with code text, a photographic
// wallpaper and photo viewer, gradients and UI; processor time per encode on the shared 2-core
// build machine, and file size:
//
//   zlib level 1, UP filter          51 ms  1,314,246 bytes   <- chosen
//   level 1, Z_RLE, UP               52 ms  1,315,760
//   level 1, SUB                     52 ms  1,342,858
//   level 1, PAETH                   66 ms  1,354,613
//   level 1, no filter               55 ms  1,718,523
//   level 1, adaptive (all five)    110 ms  1,297,473
//   level 1, Huffman only, UP        59 ms  1,655,052
//   level 2, UP                      56 ms  1,285,669
//   level 1, UP, alpha kept          60 ms  1,491,373
//   level 0 (stored)                  6 ms  4,996,355
//
// Level 1 with a single UP filter halves the time of adaptive filtering for 1% more bytes; zlib's
// deflate is then about 85% of the time. Writing RGB when every pixel is opaque saves a quarter
// of the input and 12% of the file. On the full 3024 x 1964 image this is 7.1x faster than
// libpng at its defaults (zlib level 6, adaptive filters) writing the RGBA rows, for a file 1.02x
// as large (6.3x and 1.10x against libpng writing RGB).
//
// Images of 256 Ki pixels and more are deflated in bands on every core at once (png_striped.h):
// on two cores a 1600 x 1039 photographic capture takes about 26-31 ms from request to last byte
// instead of about 50 ms, for 0.1% more bytes; the processor time stays the same.
struct PngEncoderSettings {
    int compressionLevel = 1;     // zlib level
    int strategy = 0;             // zlib strategy (0: Z_DEFAULT_STRATEGY)
    int filterChoice = 32;        // libspng filter choice mask (32: UP only)
    bool dropOpaqueAlpha = true;  // write RGB when every pixel is opaque
    int windowBits = 15;          // zlib window
    int memLevel = 8;             // zlib hash memory
};

// Encodes a premultiplied RGBA image as a PNG file with straight alpha (or no alpha channel
// when every pixel is opaque). Nothing when the image is empty or encoding fails.
std::optional<EncodedPng> pngData(const platform::PixelBuffer& image,
                                  const PngEncoderSettings& settings = {});

}  // namespace brindlemar::capture

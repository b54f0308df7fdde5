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

// How the encoder trades file size for time. The defaults are tuned for screenshots; the other
// values exist so that the benchmark can measure the alternatives.
struct PngEncoderSettings {
    int compressionLevel = 1;     // zlib level
    int strategy = 3;             // zlib strategy (3: Z_RLE)
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

#pragma once

#include <optional>

#include "capture/png_encoder.h"

namespace brindlemar::capture {

// Encodes a large image with its rows split into `stripes` bands that are filtered and deflated
// by up to `threads` threads at once. Each band but the last ends with a sync flush, so the bands
// concatenate into one valid zlib stream (the technique of parallel gzip); the Adler-32 checksums
// of the bands are combined. The file is an ordinary PNG with one IDAT chunk. Rows use the UP
// filter, written as RGB when `opaque`, else as straight-alpha RGBA.
std::optional<EncodedPng> stripedPng(const platform::PixelBuffer& image, bool opaque,
                                     const PngEncoderSettings& settings, unsigned stripes,
                                     unsigned threads);

}  // namespace brindlemar::capture

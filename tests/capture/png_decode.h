#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace brindlemar::testing {

// A PNG file decoded by libspng to straight-alpha RGBA, with what its header declared.
struct DecodedPng {
    std::int64_t width = 0;
    std::int64_t height = 0;
    int colourType = 0;  // 2 truecolour, 6 truecolour with alpha
    std::vector<std::uint8_t> rgba;

    // R, G, B, A of one pixel.
    std::vector<std::uint8_t> pixel(std::int64_t x, std::int64_t y) const;
};

// Nothing when the bytes are not a complete, valid PNG file.
std::optional<DecodedPng> decodePng(std::span<const std::uint8_t> file);

}  // namespace brindlemar::testing

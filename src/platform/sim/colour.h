#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brindlemar::platform::sim {

// A straight (not premultiplied) 8-bit RGBA colour as a scene writes it.
struct Colour {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
    std::uint8_t a = 0xFF;
    bool operator==(const Colour&) const = default;
};

// "#RRGGBB" or "#RRGGBBAA" (hex digits of either case); absent for anything else.
std::optional<Colour> parseColour(std::string_view text);
// "#RRGGBB" when opaque, else "#RRGGBBAA", upper-case.
std::string formatColour(const Colour& colour);

}  // namespace brindlemar::platform::sim

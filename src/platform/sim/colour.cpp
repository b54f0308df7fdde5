#include "platform/sim/colour.h"

#include <cstdio>

namespace brindlemar::platform::sim {
namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::optional<std::uint8_t> hexByte(std::string_view text, std::size_t at) {
    int high = hexDigit(text[at]);
    int low = hexDigit(text[at + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    return static_cast<std::uint8_t>(high * 16 + low);
}

}  // namespace

std::optional<Colour> parseColour(std::string_view text) {
    if ((text.size() != 7 && text.size() != 9) || text[0] != '#') return std::nullopt;
    Colour colour;
    std::uint8_t* channels[] = {&colour.r, &colour.g, &colour.b, &colour.a};
    for (std::size_t i = 0; 1 + i * 2 < text.size(); ++i) {
        auto byte = hexByte(text, 1 + i * 2);
        if (!byte) return std::nullopt;
        *channels[i] = *byte;
    }
    return colour;
}

std::string formatColour(const Colour& colour) {
    char text[10];
    if (colour.a == 0xFF) {
        std::snprintf(text, sizeof text, "#%02X%02X%02X", colour.r, colour.g, colour.b);
    } else {
        std::snprintf(text, sizeof text, "#%02X%02X%02X%02X", colour.r, colour.g, colour.b,
                      colour.a);
    }
    return text;
}

}  // namespace brindlemar::platform::sim

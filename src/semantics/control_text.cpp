#include "semantics/control_text.h"

#include <optional>

namespace brindlemar::semantics {
namespace {

// The code points of valid UTF-8 (no overlong forms, no surrogates, at most U+10FFFF); nothing
// for anything else.
std::optional<std::vector<char32_t>> decode(std::string_view utf8) {
    std::vector<char32_t> scalars;
    std::size_t pos = 0;
    while (pos < utf8.size()) {
        auto lead = static_cast<unsigned char>(utf8[pos]);
        std::size_t length = lead < 0x80           ? 1
                             : (lead >> 5) == 0x6  ? 2
                             : (lead >> 4) == 0xE  ? 3
                             : (lead >> 3) == 0x1E ? 4
                                                   : 0;
        if (length == 0 || pos + length > utf8.size()) return std::nullopt;
        char32_t scalar = length == 1 ? lead : lead & (0x7F >> length);
        for (std::size_t i = 1; i < length; ++i) {
            auto next = static_cast<unsigned char>(utf8[pos + i]);
            if ((next & 0xC0) != 0x80) return std::nullopt;
            scalar = (scalar << 6) | (next & 0x3F);
        }
        static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
        if (scalar < kSmallest[length] || scalar > 0x10FFFF ||
            (scalar >= 0xD800 && scalar <= 0xDFFF)) {
            return std::nullopt;
        }
        scalars.push_back(scalar);
        pos += length;
    }
    return scalars;
}

void appendUtf8(std::string& out, char32_t scalar) {
    if (scalar < 0x80) {
        out.push_back(static_cast<char>(scalar));
    } else if (scalar < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (scalar >> 6)));
        out.push_back(static_cast<char>(0x80 | (scalar & 0x3F)));
    } else if (scalar < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (scalar >> 12)));
        out.push_back(static_cast<char>(0x80 | ((scalar >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (scalar & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (scalar >> 18)));
        out.push_back(static_cast<char>(0x80 | ((scalar >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((scalar >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (scalar & 0x3F)));
    }
}

}  // namespace

bool acceptableControlText(std::string_view utf8) {
    auto scalars = decode(utf8);
    if (!scalars || scalars->empty() || scalars->size() > kMaxControlTextScalars) return false;
    for (char32_t scalar : *scalars) {
        if (scalar < 32 || scalar == 127) return false;
    }
    return true;
}

std::vector<std::string> utf16Chunks(std::string_view utf8) {
    std::vector<std::string> chunks;
    auto scalars = decode(utf8);
    if (!scalars) return chunks;
    std::string chunk;
    std::size_t units = 0;
    for (char32_t scalar : *scalars) {
        const std::size_t needed = scalar >= 0x10000 ? 2 : 1;
        // A pair that would not fit whole moves to the next chunk.
        if (units + needed > kMaxChunkUnits) {
            chunks.push_back(std::move(chunk));
            chunk.clear();
            units = 0;
        }
        appendUtf8(chunk, scalar);
        units += needed;
    }
    if (!chunk.empty()) chunks.push_back(std::move(chunk));
    return chunks;
}

}  // namespace brindlemar::semantics

#include "base/text.h"

#include "base/utf8.h"

#include <utf8proc.h>

#include <array>
#include <charconv>
#include <cmath>

namespace brindlemar {
namespace {

// Decodes one code point at `pos`; returns its length in bytes and stores the code point, or -1
// for an invalid sequence (which then counts as a single byte).
std::ptrdiff_t decodeAt(std::string_view text, std::size_t pos, utf8proc_int32_t& codepoint) {
    const Utf8Step step = decodeUtf8At(text, pos);
    codepoint = step.codePoint ? static_cast<utf8proc_int32_t>(*step.codePoint) : -1;
    return static_cast<std::ptrdiff_t>(step.length);
}

}  // namespace

std::string numberText(double value) {
    if (std::isfinite(value) && value == std::trunc(value) && std::fabs(value) < 1e15) {
        return std::to_string(static_cast<long long>(value));
    }
    std::array<char, 64> buffer{};
    auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return std::string(buffer.data(), result.ptr);
}

std::string lowercased(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        utf8proc_int32_t codepoint = 0;
        std::ptrdiff_t length = decodeAt(text, pos, codepoint);
        if (codepoint < 0) {
            result.push_back(text[pos]);
        } else if (codepoint < 0x80) {
            char c = static_cast<char>(codepoint);
            result.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
        } else {
            utf8proc_uint8_t encoded[4];
            auto size = utf8proc_encode_char(utf8proc_tolower(codepoint), encoded);
            result.append(reinterpret_cast<const char*>(encoded), static_cast<std::size_t>(size));
        }
        pos += static_cast<std::size_t>(length);
    }
    return result;
}

bool hasMoreCharactersThan(std::string_view text, std::size_t maxCharacters) {
    if (text.size() <= maxCharacters) return false;
    return keepCharacters(text, maxCharacters).size() < text.size();
}

std::string keepCharacters(std::string_view text, std::size_t maxCharacters) {
    if (maxCharacters == 0) return {};
    // Fast path: every byte sequence of up to maxCharacters bytes has at most that many clusters.
    if (text.size() <= maxCharacters) return std::string(text);

    std::size_t pos = 0;
    std::size_t characters = 0;
    utf8proc_int32_t previous = -1;
    utf8proc_int32_t state = 0;
    while (pos < text.size()) {
        utf8proc_int32_t codepoint = 0;
        std::ptrdiff_t length = decodeAt(text, pos, codepoint);
        bool startsCluster = previous < 0 || codepoint < 0 ||
                             utf8proc_grapheme_break_stateful(previous, codepoint, &state);
        if (startsCluster) {
            if (characters == maxCharacters) break;
            ++characters;
            if (codepoint < 0) state = 0;
        }
        previous = codepoint;
        pos += static_cast<std::size_t>(length);
    }
    return std::string(text.substr(0, pos));
}

std::string withoutNul(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (char c : text) {
        if (c != '\0') result.push_back(c);
    }
    return result;
}

std::string boundedText(std::string_view text, std::size_t maxCharacters) {
    return keepCharacters(withoutNul(text), maxCharacters);
}

std::string valueText(const nlohmann::json* value) {
    if (value == nullptr) return {};
    switch (value->type()) {
        case nlohmann::json::value_t::string:
            return value->get_ref<const std::string&>();
        case nlohmann::json::value_t::number_integer:
            return std::to_string(value->get<std::int64_t>());
        case nlohmann::json::value_t::number_unsigned:
            return std::to_string(value->get<std::uint64_t>());
        case nlohmann::json::value_t::number_float:
            return numberText(value->get<double>());
        default:
            return value->dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }
}

std::string decimalWithFraction(double value) {
    std::array<char, 64> buffer{};
    auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                std::chars_format::fixed);
    std::string text(buffer.data(), result.ptr);
    if (text.find('.') == std::string::npos) text += ".0";
    return text;
}

bool isHorizontalSpace(char32_t c) {
    if (c == U' ' || c == U'\t') return true;
    if (c < 0x80) return false;
    return utf8proc_category(static_cast<utf8proc_int32_t>(c)) == UTF8PROC_CATEGORY_ZS;
}

std::string_view trimHorizontalSpace(std::string_view text) {
    // Leading: decode forward.
    std::size_t begin = 0;
    while (begin < text.size()) {
        utf8proc_int32_t codepoint = 0;
        std::ptrdiff_t length = decodeAt(text, begin, codepoint);
        if (codepoint < 0 || !isHorizontalSpace(static_cast<char32_t>(codepoint))) break;
        begin += static_cast<std::size_t>(length);
    }
    // Trailing: step back over continuation bytes to the start of each code point.
    std::size_t end = text.size();
    while (end > begin) {
        std::size_t start = end - 1;
        while (start > begin && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80)
            --start;
        utf8proc_int32_t codepoint = 0;
        std::ptrdiff_t length = decodeAt(text, start, codepoint);
        if (codepoint < 0 || start + static_cast<std::size_t>(length) != end ||
            !isHorizontalSpace(static_cast<char32_t>(codepoint))) {
            break;
        }
        end = start;
    }
    return text.substr(begin, end - begin);
}

}  // namespace brindlemar

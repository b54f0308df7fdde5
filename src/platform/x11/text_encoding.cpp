#include "platform/x11/text_encoding.h"

#include <cstdint>

namespace brindlemar::platform::x11 {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr char kEscape = '\x1B';

void appendLatin1(std::string& out, unsigned char code) {
    if (code < 0x80) {
        out.push_back(static_cast<char>(code));
    } else {
        out.push_back(static_cast<char>(0xC0 | (code >> 6)));
        out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
}

// Length of the valid UTF-8 sequence at the start of `text`, 0 when it is not one.
std::size_t validSequenceLength(std::string_view text) {
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return 1;
    std::size_t length = 0;
    std::uint32_t minimum = 0;
    std::uint32_t code = 0;
    if ((lead & 0xE0) == 0xC0) {
        length = 2, minimum = 0x80, code = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, minimum = 0x800, code = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, minimum = 0x10000, code = lead & 0x07;
    } else {
        return 0;
    }
    if (text.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
        code = (code << 6) | (byte(i) & 0x3F);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
    return length;
}

}  // namespace

std::string latin1ToUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text)
        appendLatin1(out, static_cast<unsigned char>(c));
    return out;
}

std::string compoundTextToUtf8(std::string_view text) {
    enum class Mode { Latin1, Utf8, Other };
    Mode mode = Mode::Latin1;
    std::string out;
    std::string utf8Segment;
    auto flushSegment = [&] {
        out += validUtf8(utf8Segment);
        utf8Segment.clear();
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == kEscape) {
            if (mode == Mode::Utf8) flushSegment();
            if (text.substr(i, 3) == "\x1B%G") {
                mode = Mode::Utf8;
                i += 2;
                continue;
            }
            if (text.substr(i, 3) == "\x1B%@" || text.substr(i, 3) == "\x1B-A" ||
                text.substr(i, 3) == "\x1B(B") {
                mode = Mode::Latin1;
                i += 2;
                continue;
            }
            // Another character set: skip its designation (intermediate bytes, then one final).
            mode = Mode::Other;
            ++i;
            while (i < text.size() && static_cast<unsigned char>(text[i]) >= 0x20 &&
                   static_cast<unsigned char>(text[i]) <= 0x2F) {
                ++i;
            }
            continue;
        }
        const auto code = static_cast<unsigned char>(text[i]);
        if (mode == Mode::Utf8) {
            utf8Segment.push_back(text[i]);
        } else if (mode == Mode::Latin1 || code < 0x80) {
            appendLatin1(out, code);
        } else {
            out += kReplacement;
        }
    }
    flushSegment();
    return out;
}

std::string validUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        std::size_t length = validSequenceLength(text);
        if (length == 0) {
            out += kReplacement;
            length = 1;
        } else {
            out.append(text.substr(0, length));
        }
        text.remove_prefix(length);
    }
    return out;
}

}  // namespace brindlemar::platform::x11

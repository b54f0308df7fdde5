#include "platform/x11/text_encoding.h"

#include <cstdint>

#include "base/utf8.h"

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
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Step step = decodeUtf8At(text, at);
        if (step.codePoint)
            out.append(text.substr(at, step.length));
        else
            out += kReplacement;
        at += step.length;
    }
    return out;
}

}  // namespace brindlemar::platform::x11

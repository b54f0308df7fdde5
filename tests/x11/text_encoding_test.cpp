// Window titles arrive in the encodings of X properties; records must carry valid UTF-8.

#include "platform/x11/text_encoding.h"

#include <gtest/gtest.h>

#include <string>

namespace brindlemar::platform::x11 {
namespace {

struct Decoding {
    const char* name;
    std::string input;
    std::string expected;
};

TEST(TextEncodingTest, CompoundTextBecomesUtf8) {
    const Decoding cases[] = {
        {"ascii", "Terminal", "Terminal"},
        {"latin-1 by default", "h\xE9llo", "héllo"},
        {"utf-8 segment", "Terminal \x1B%G\xE2\x9C\x93\x1B%@ h\xE9llo", "Terminal ✓ héllo"},
        {"utf-8 segment to the end", "\x1B%G\xE6\x97\xA5\xE6\x9C\xAC", "日本"},
        {"other character set", "a\x1B$)A\xB0\xA1z", "a\xEF\xBF\xBD\xEF\xBF\xBDz"},
        {"back to latin-1", "\x1B$)A\xB0\x1B-A\xE9", "\xEF\xBF\xBDé"},
        {"broken utf-8 segment", "\x1B%G\xE2\x9C\x1B%@!", "\xEF\xBF\xBD\xEF\xBF\xBD!"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(compoundTextToUtf8(c.input), c.expected) << c.name;
    }
}

TEST(TextEncodingTest, InvalidUtf8IsReplacedByteByByte) {
    const Decoding cases[] = {
        {"valid", "Grün ✓ 日本 😀", "Grün ✓ 日本 😀"},
        {"stray continuation", "a\x80z", "a\xEF\xBF\xBDz"},
        {"truncated sequence at the end", "ab\xE2\x9C", "ab\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"overlong encoding", "\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"surrogate", "\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"latin-1 text", "h\xE9llo", "h\xEF\xBF\xBDllo"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(validUtf8(c.input), c.expected) << c.name;
    }
}

TEST(TextEncodingTest, Latin1BecomesUtf8) {
    EXPECT_EQ(latin1ToUtf8("Gr\xFCn \xA9 caf\xE9"), "Grün © café");
}

}  // namespace
}  // namespace brindlemar::platform::x11

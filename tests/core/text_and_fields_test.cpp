// Text bounds by user-perceived characters and the field conventions of requests.

#include <optional>

#include <gtest/gtest.h>

#include "base/json_nesting.h"
#include "base/text.h"
#include "base/utf8.h"
#include "core/fields.h"

namespace brindlemar {
namespace {

TEST(Text, CutCountsGraphemeClustersAndNeverSplitsSequences) {
    const std::string family =
        "\xF0\x9F\x91\xA8\xE2\x80\x8D\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F"
        "\x91\xA7";                          // one cluster, three code points
    const std::string eAcute = "e\xCC\x81";  // e + combining acute: one cluster
    const std::string flag = "\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7";  // regional indicator pair

    EXPECT_EQ(keepCharacters("abc", 2), "ab");
    EXPECT_EQ(keepCharacters(family + family + "x", 2), family + family);
    EXPECT_EQ(keepCharacters(eAcute + eAcute, 1), eAcute);
    EXPECT_EQ(keepCharacters(flag + flag, 1), flag);
    EXPECT_EQ(keepCharacters("\r\nab", 1), "\r\n");
    EXPECT_EQ(keepCharacters(std::string(300, 'a'), 256), std::string(256, 'a'));
    std::string many;
    for (int i = 0; i < 300; ++i)
        many += "\xC3\xA9";  // é, two bytes each
    EXPECT_EQ(keepCharacters(many, 256).size(), 512u);
    // Invalid bytes count as one character each and are kept as they are.
    EXPECT_EQ(keepCharacters("\xff\xfe"
                             "abc",
                             3),
              "\xff\xfe"
              "a");
}

TEST(Text, Utf8DecoderRejectsOverlongFormsSurrogatesAndTruncationOneByteAtATime) {
    struct Row {
        const char* name;
        std::string text;
        std::optional<char32_t> codePoint;
        std::size_t length;
    };
    const Row rows[] = {
        {"ascii", "a", U'a', 1},
        {"two bytes", "\xC3\xA9", U'\u00E9', 2},
        {"four bytes", "\xF0\x9F\x98\x80", U'\U0001F600', 4},
        {"overlong slash", "\xC0\xAF", std::nullopt, 1},
        {"overlong three bytes", "\xE0\x80\xAF", std::nullopt, 1},
        {"surrogate", "\xED\xA0\x80", std::nullopt, 1},
        {"above U+10FFFF", "\xF4\x90\x80\x80", std::nullopt, 1},
        {"truncated", "\xE2\x9C", std::nullopt, 1},
        {"stray continuation", "\x80", std::nullopt, 1},
    };
    for (const auto& row : rows) {
        const Utf8Step step = decodeUtf8At(row.text, 0);
        EXPECT_EQ(step.codePoint, row.codePoint) << row.name;
        EXPECT_EQ(step.length, row.length) << row.name;
    }
}

TEST(Text, BoundedTextRemovesNulBeforeTheCut) {
    std::string text = std::string("a\0b", 3) + std::string(300, 'c');
    EXPECT_EQ(boundedText(text, 256), "ab" + std::string(254, 'c'));
}

TEST(Text, ValueTextOfEachJsonType) {
    using nlohmann::json;
    json values = {{"s", "x"},        {"i", 42},       {"n", -7},
                   {"f", 42.5},       {"whole", 42.0}, {"big", 18446744073709551615ULL},
                   {"null", nullptr}, {"b", true}};
    EXPECT_EQ(valueText(&values["s"]), "x");
    EXPECT_EQ(valueText(&values["i"]), "42");
    EXPECT_EQ(valueText(&values["n"]), "-7");
    EXPECT_EQ(valueText(&values["f"]), "42.5");
    EXPECT_EQ(valueText(&values["whole"]), "42");
    EXPECT_EQ(valueText(&values["big"]), "18446744073709551615");
    EXPECT_EQ(valueText(nullptr), "");
    EXPECT_EQ(valueText(&values["null"]), "null");
    EXPECT_EQ(valueText(&values["b"]), "true");
}

TEST(Text, DecimalWithFractionIsShortestRoundTrip) {
    EXPECT_EQ(decimalWithFraction(1700000000.0), "1700000000.0");
    EXPECT_EQ(decimalWithFraction(1731781234.5), "1731781234.5");
    EXPECT_EQ(decimalWithFraction(1731781234.123456), "1731781234.123456");
    EXPECT_EQ(decimalWithFraction(0.1), "0.1");
}

TEST(Fields, ConventionsForEachKindOfField) {
    auto request = nlohmann::json::parse(R"({
        "n": 12.9, "neg": -12.9, "t": true, "f": false, "s": "12", "big": 1e300,
        "id": 4294967297, "minus": -1, "obj": {"a": 1}, "arr": [1], "one": 1, "two": 2,
        "zero": 0.0, "half": 0.5
    })");
    Fields fields(request);
    EXPECT_EQ(fields.number("n"), 12);
    EXPECT_EQ(fields.number("neg"), -12);
    EXPECT_EQ(fields.number("t"), 1);
    EXPECT_EQ(fields.number("f"), 0);
    EXPECT_EQ(fields.number("s"), std::nullopt);
    EXPECT_EQ(fields.number("missing", 1600), 1600);
    EXPECT_EQ(fields.number("big"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(fields.windowNumber("id"), 1u);
    EXPECT_EQ(fields.windowNumber("minus"), 4294967295u);
    EXPECT_EQ(fields.windowNumber("s"), std::nullopt);

    EXPECT_TRUE(fields.flag("t"));
    EXPECT_TRUE(fields.flag("half"));
    EXPECT_FALSE(fields.flag("zero"));
    EXPECT_FALSE(fields.flag("s"));
    EXPECT_FALSE(fields.flag("missing"));

    EXPECT_TRUE(fields.exactBool("t"));
    EXPECT_TRUE(fields.exactBool("one"));
    EXPECT_FALSE(fields.exactBool("two"));
    EXPECT_FALSE(fields.exactBool("s"));

    EXPECT_NE(fields.object("obj"), nullptr);
    EXPECT_EQ(fields.object("arr"), nullptr);
    EXPECT_EQ(fields.object("s"), nullptr);
    EXPECT_EQ(fields.string("s"), "12");
    EXPECT_EQ(fields.string("n"), std::nullopt);
}

TEST(Text, TrimHorizontalSpaceKeepsLineBreaksAndInnerSpace) {
    EXPECT_EQ(trimHorizontalSpace(" \t a b \t "), "a b");
    EXPECT_EQ(trimHorizontalSpace("\xe3\x80\x80x\xc2\xa0"), "x");
    EXPECT_EQ(trimHorizontalSpace("\nx\n"), "\nx\n");
    EXPECT_EQ(trimHorizontalSpace(" \t "), "");
    EXPECT_EQ(trimHorizontalSpace("\xff "), "\xff");
}

}  // namespace
}  // namespace brindlemar

namespace brindlemar {
namespace {

TEST(OutsideJson, OnlyBracketsOutsideStringsCountTowardsTheNestingLimit) {
    auto nested = [](int depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    const std::string manyBrackets(600, '[');
    struct Case {
        std::string text;
        bool parses;
    };
    const std::vector<Case> cases = {
        {nested(kMaxJsonNesting), true},
        {nested(kMaxJsonNesting + 1), false},
        {R"({"s":")" + manyBrackets + R"("})", true},
        // An escaped quote does not end the string: the brackets after it are still text.
        {R"({"s":"\")" + manyBrackets + R"("})", true},
        // An escaped backslash does: the brackets after the closing quote nest.
        {R"({"s":"\\","t":)" + nested(kMaxJsonNesting + 1) + "}", false},
        {std::string(R"({"cmd":"ping"})") + '\0', false},
        {std::string(R"({"s":"a)") + '\0' + R"("})", false},
    };
    for (const auto& [text, parses] : cases) {
        EXPECT_EQ(!parseOutsideJson(text).is_discarded(), parses) << text.substr(0, 40);
    }
}

}  // namespace
}  // namespace brindlemar

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace brindlemar {

// The longest text, in user-perceived characters, that the helper echoes or reports.
inline constexpr std::size_t kMaxReportedCharacters = 256;

// Keeps the first `maxCharacters` user-perceived characters (extended grapheme clusters) of
// UTF-8 text. The cut never splits a cluster or a UTF-8 sequence; bytes that are not valid
// UTF-8 count as one character each.
std::string keepCharacters(std::string_view text, std::size_t maxCharacters);

// Removes every NUL character.
std::string withoutNul(std::string_view text);

// NUL characters removed, then at most `maxCharacters` characters kept.
std::string boundedText(std::string_view text, std::size_t maxCharacters);

// The plain text of a JSON value: a string unchanged, a number in its ordinary decimal form, an
// absent value (null pointer) as the empty string, anything else as its compact JSON.
std::string valueText(const nlohmann::json* value);

// A number in its ordinary decimal form: whole numbers without a fraction ("42"), others as the
// shortest text that reads back to the same double ("0.25").
std::string numberText(double value);

// The text with every code point in its lower-case form; bytes that are not valid UTF-8 stay.
std::string lowercased(std::string_view text);

// Whether the text holds more than `maxCharacters` user-perceived characters.
bool hasMoreCharactersThan(std::string_view text, std::size_t maxCharacters);

// Shortest decimal text that reads back to the same double, with at least one digit after the
// decimal point ("1700000000.0", "1731781234.5").
std::string decimalWithFraction(double value);

// Horizontal white space: space, tab and the other Unicode space separators.
bool isHorizontalSpace(char32_t c);

// Trims horizontal white space at both ends of UTF-8 text.
std::string_view trimHorizontalSpace(std::string_view text);

}  // namespace brindlemar

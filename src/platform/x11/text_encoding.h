#pragma once

#include <string>
#include <string_view>

// The text encodings of X properties, turned into valid UTF-8 (records carry only valid UTF-8).
namespace brindlemar::platform::x11 {

// ISO 8859-1 (the STRING type) to UTF-8.
std::string latin1ToUtf8(std::string_view text);

// COMPOUND_TEXT to UTF-8: Latin-1 by default, UTF-8 inside ESC % G ... ESC % @ segments (as
// xterm and Xlib write text they cannot say in Latin-1); characters of other character sets
// become U+FFFD.
std::string compoundTextToUtf8(std::string_view text);

// The text with each byte that is not part of a valid UTF-8 sequence replaced by U+FFFD.
std::string validUtf8(std::string_view text);

}  // namespace brindlemar::platform::x11

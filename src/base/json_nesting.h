#pragma once

#include <string_view>

#include <nlohmann/json.hpp>

namespace brindlemar {

// Lines of JSON read from outside (requests, control lines) nest a few levels at most. Deeper
// texts are refused before parsing: building a tree of millions of nested arrays from one hostile
// line would stall its reader for minutes.
inline constexpr int kMaxJsonNesting = 512;

// Whether the arrays and objects of a JSON text nest at most `limit` levels deep. Only brackets
// outside strings count; the text need not be valid JSON.
bool jsonNestingWithin(std::string_view text, int limit = kMaxJsonNesting);

// Parses JSON text that comes from outside (a request line, a control line, a scene file). Text
// nested too deeply, or holding a raw NUL (never part of JSON; the parser would stop there and
// accept what came before it), gives a discarded value, as invalid JSON does.
nlohmann::json parseOutsideJson(std::string_view text);

}  // namespace brindlemar

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brindlemar::semantics {

// The most Unicode scalars a bounded "type_text" types.
inline constexpr std::size_t kMaxControlTextScalars = 1024;
// The most UTF-16 code units one synthetic key event carries.
inline constexpr std::size_t kMaxChunkUnits = 16;

// Text a bounded "type_text" accepts: valid UTF-8, not empty, at most 1024 scalars, none of them
// a control character below 32 or DEL (127).
bool acceptableControlText(std::string_view utf8);

// The text split into chunks of at most 16 UTF-16 code units, each as UTF-8; a chunk that would
// end with the first half of a surrogate pair ends one unit earlier, so no pair is split. The
// text must be valid UTF-8.
std::vector<std::string> utf16Chunks(std::string_view utf8);

}  // namespace brindlemar::semantics

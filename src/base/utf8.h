#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace brindlemar {

// The one UTF-8 decoder of the helper, built on utf8proc. Overlong forms, surrogates, values
// above U+10FFFF and truncated sequences are invalid. An invalid sequence takes exactly one
// byte, so that decoding always moves on and each bad byte can be reported (or replaced) once.
struct Utf8Step {
    std::optional<char32_t> codePoint;  // none for an invalid byte
    std::size_t length = 1;             // bytes taken, at least 1
};

// Decodes the scalar value that starts at `pos`, which must be inside `text`.
Utf8Step decodeUtf8At(std::string_view text, std::size_t pos);

}  // namespace brindlemar

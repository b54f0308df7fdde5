#include "base/utf8.h"

#include <utf8proc.h>

namespace brindlemar {

Utf8Step decodeUtf8At(std::string_view text, std::size_t pos) {
    utf8proc_int32_t codePoint = -1;
    const auto length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data() + pos),
                         static_cast<utf8proc_ssize_t>(text.size() - pos), &codePoint);
    if (length <= 0 || codePoint < 0) return {};
    return {static_cast<char32_t>(codePoint), static_cast<std::size_t>(length)};
}

}  // namespace brindlemar

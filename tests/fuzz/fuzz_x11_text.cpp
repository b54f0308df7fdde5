// The decoders of X property text (Latin-1, COMPOUND_TEXT, UTF-8 titles): any bytes give valid
// UTF-8, and valid UTF-8 passes through unchanged.

#include <utf8proc.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/x11/text_encoding.h"

using namespace brindlemar::platform::x11;

namespace {

bool isValidUtf8(const std::string& text) {
    auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    utf8proc_ssize_t rest = static_cast<utf8proc_ssize_t>(text.size());
    while (rest > 0) {
        utf8proc_int32_t codepoint = 0;
        utf8proc_ssize_t used = utf8proc_iterate(bytes, rest, &codepoint);
        if (used <= 0) return false;
        bytes += used;
        rest -= used;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    std::string latin1 = latin1ToUtf8(text);
    std::string compound = compoundTextToUtf8(text);
    std::string title = validUtf8(text);
    if (!isValidUtf8(latin1) || !isValidUtf8(compound) || !isValidUtf8(title)) std::abort();
    if (isValidUtf8(std::string(text)) && title != text) std::abort();
    return 0;
}

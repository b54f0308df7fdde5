#include "base/json_nesting.h"

namespace brindlemar {

bool jsonNestingWithin(std::string_view text, int limit) {
    int depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (inString) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > limit) return false;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return true;
}

nlohmann::json parseOutsideJson(std::string_view text) {
    if (text.find('\0') != std::string_view::npos || !jsonNestingWithin(text)) {
        return nlohmann::json(nlohmann::json::value_t::discarded);
    }
    return nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
}

}  // namespace brindlemar

#include "semantics/semantic_state.h"

#include <array>
#include <utility>

namespace brindlemar::semantics {

std::string semanticActionName(std::string_view accessibilityAction) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 7> kVocabulary = {{
        {"AXPress", "press"},
        {"AXShowMenu", "show menu"},
        {"AXRaise", "raise"},
        {"AXIncrement", "increment"},
        {"AXDecrement", "decrement"},
        {"AXConfirm", "activate"},
        {"AXPick", "click"},
    }};
    for (const auto& [accessibility, semantic] : kVocabulary) {
        if (accessibility == accessibilityAction) return std::string(semantic);
    }
    return {};
}

}  // namespace brindlemar::semantics

#include "watch/element_naming.h"

#include "base/text.h"
#include "semantics/element_readers.h"
#include "watch/structural_path.h"

namespace brindlemar::watch {

std::string watchName(Accessibility& ax, const AXElement& element) {
    for (const char* attribute : {"AXTitle", "AXDescription", "AXPlaceholderValue"}) {
        std::string text = semantics::attributeText(ax, element, attribute);
        if (!text.empty()) return text;
    }
    return {};
}

std::string watchRole(Accessibility& ax, const AXElement& element) {
    std::string role = semantics::roleText(ax, element);
    if (role.starts_with("ax")) role.erase(0, 2);
    return role;
}

bool watchSecure(Accessibility& ax, const AXElement& element) {
    std::string role = semantics::roleText(ax, element);
    std::string subrole = semantics::subroleText(ax, element);
    return role.find("password") != std::string::npos || role.find("secure") != std::string::npos ||
           subrole.find("secure") != std::string::npos;
}

std::string watchPath(Accessibility& ax, const AXElement& element) {
    return watchStructuralPath(
        element, [&](const AXElement& node) { return watchRole(ax, node); },
        [&](const AXElement& node) -> std::optional<AXElement> {
            auto parent = semantics::axParent(ax, node);
            if (!parent) return std::nullopt;
            return parent;
        },
        [&](const AXElement& node) { return semantics::axChildren(ax, node); },
        [&](const AXElement& a, const AXElement& b) { return ax.equal(a, b); });
}

nlohmann::json watchTarget(Accessibility& ax, const AXElement& element) {
    ax.setMessagingTimeout(element, kWatchElementTimeout);
    return {{"role", watchRole(ax, element)},
            {"name", watchName(ax, element)},
            {"bounds", semantics::semanticBounds(ax, element)},
            {"path", watchPath(ax, element)}};
}

}  // namespace brindlemar::watch

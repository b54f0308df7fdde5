#include "semantics/element_readers.h"

#include <cmath>
#include <cstdio>

#include "base/text.h"
#include "input/window_raise.h"
#include "platform/desktop.h"

namespace brindlemar::semantics {
namespace {

// Accessibility geometry is rounded differently from the window server's, so a window counts as
// the same one when every edge value is within this many points.
constexpr double kWindowMatchTolerance = 3.0;

bool isEditableRole(std::string_view role) {
    return role == "axtextfield" || role == "axtextarea";
}

bool isSecureSubrole(std::string_view subrole) {
    return subrole.find("secure") != std::string_view::npos;
}

std::string fixed(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%f", value);
    return text;
}

// The text the system gives as the description of a value that is not a text or a number.
struct Description {
    std::string operator()(std::monostate) const { return {}; }
    std::string operator()(bool value) const { return value ? "1" : "0"; }
    std::string operator()(double value) const { return numberText(value); }
    std::string operator()(const std::string& value) const { return value; }
    std::string operator()(const platform::Point& p) const {
        return "{value = x:" + fixed(p.x) + " y:" + fixed(p.y) + " type = kAXValueCGPointType}";
    }
    std::string operator()(const platform::Size& s) const {
        return "{value = w:" + fixed(s.width) + " h:" + fixed(s.height) +
               " type = kAXValueCGSizeType}";
    }
    std::string operator()(const AXElement&) const { return "<AXUIElement>"; }
    std::string operator()(const std::vector<AXElement>& list) const {
        return "(" + std::to_string(list.size()) + " elements)";
    }
    std::string operator()(const platform::AXOtherValue& other) const { return other.description; }
};

bool near(double a, double b) {
    return std::fabs(a - b) < kWindowMatchTolerance;
}

bool matchesFrame(const platform::Rect& reported, const platform::Rect& frame) {
    return near(reported.x, frame.minX()) && near(reported.y, frame.minY()) &&
           near(reported.width, frame.maxX() - frame.minX()) &&
           near(reported.height, frame.maxY() - frame.minY());
}

}  // namespace

std::optional<AXAttributeValue> axAttribute(Accessibility& ax, const AXElement& element,
                                            std::string_view attribute) {
    if (!element) return std::nullopt;
    auto value = ax.copyAttribute(element, attribute);
    if (!value) return std::nullopt;
    return std::move(*value);
}

std::string semanticText(const std::optional<AXAttributeValue>& value) {
    if (!value) return {};
    return boundedText(std::visit(Description{}, *value), kSemanticMaxText);
}

std::string attributeText(Accessibility& ax, const AXElement& element, std::string_view attribute) {
    return semanticText(axAttribute(ax, element, attribute));
}

std::optional<bool> semanticBool(Accessibility& ax, const AXElement& element,
                                 std::string_view attribute) {
    auto value = axAttribute(ax, element, attribute);
    if (!value) return std::nullopt;
    if (const bool* flag = std::get_if<bool>(&*value)) return *flag;
    if (const double* number = std::get_if<double>(&*value)) return *number != 0;
    return std::nullopt;
}

std::optional<platform::Rect> reportedFrame(Accessibility& ax, const AXElement& element) {
    auto position = axAttribute(ax, element, "AXPosition");
    auto size = axAttribute(ax, element, "AXSize");
    if (!position || !size) return std::nullopt;
    const auto* point = std::get_if<platform::Point>(&*position);
    const auto* extent = std::get_if<platform::Size>(&*size);
    if (point == nullptr || extent == nullptr) return std::nullopt;
    return platform::Rect{point->x, point->y, extent->width, extent->height};
}

nlohmann::json boundsRecord(const platform::Rect& reported) {
    return {{"x", reported.x},
            {"y", reported.y},
            {"width", std::max(reported.width, 0.0)},
            {"height", std::max(reported.height, 0.0)}};
}

nlohmann::json semanticBounds(Accessibility& ax, const AXElement& element) {
    auto frame = reportedFrame(ax, element);
    if (!frame) return nullptr;
    return boundsRecord(*frame);
}

std::string roleText(Accessibility& ax, const AXElement& element) {
    return lowercased(attributeText(ax, element, "AXRole"));
}

std::string subroleText(Accessibility& ax, const AXElement& element) {
    return lowercased(attributeText(ax, element, "AXSubrole"));
}

std::optional<std::string> semanticEditable(Accessibility& ax, const AXElement& element) {
    return semanticEditable(ax, element, roleText(ax, element), subroleText(ax, element));
}

std::optional<std::string> semanticEditable(Accessibility& ax, const AXElement& element,
                                            const std::string& role, const std::string& subrole) {
    if (!isEditableRole(role) || isSecureSubrole(subrole)) return std::nullopt;
    auto settable = ax.isAttributeSettable(element, "AXValue");
    if (!settable || !*settable) return std::nullopt;
    auto value = axAttribute(ax, element, "AXValue");
    if (!value) return std::nullopt;
    auto* text = std::get_if<std::string>(&*value);
    if (text == nullptr || hasMoreCharactersThan(*text, kEditableMaxCharacters)) {
        return std::nullopt;
    }
    return std::move(*text);
}

bool semanticEditableCandidate(Accessibility& ax, const AXElement& element) {
    return semanticEditableCandidate(ax, element, roleText(ax, element), subroleText(ax, element));
}

bool semanticEditableCandidate(Accessibility& ax, const AXElement& element, const std::string& role,
                               const std::string& subrole) {
    if (!isEditableRole(role) || isSecureSubrole(subrole)) return false;
    auto settable = ax.isAttributeSettable(element, "AXValue");
    return !settable || *settable;
}

AXElement axParent(Accessibility& ax, const AXElement& element) {
    auto value = axAttribute(ax, element, "AXParent");
    if (!value) return nullptr;
    auto* parent = std::get_if<AXElement>(&*value);
    return parent != nullptr ? *parent : nullptr;
}

std::optional<std::vector<AXElement>> axChildren(Accessibility& ax, const AXElement& element) {
    auto value = axAttribute(ax, element, "AXChildren");
    if (!value) return std::nullopt;
    auto* children = std::get_if<std::vector<AXElement>>(&*value);
    if (children == nullptr) return std::nullopt;
    return std::move(*children);
}

AXElement focusedWindow(Accessibility& ax, const AXElement& application) {
    auto value = axAttribute(ax, application, "AXFocusedWindow");
    if (!value) return nullptr;
    auto* window = std::get_if<AXElement>(&*value);
    return window != nullptr ? *window : nullptr;
}

AXElement targetAXWindow(platform::Desktop& desktop, std::uint32_t window) {
    auto placement = windowBounds(desktop.windowList(), window);
    if (!placement) return nullptr;
    auto& ax = desktop.accessibility();
    auto application = ax.applicationElement(placement->pid);
    auto value = axAttribute(ax, application, "AXWindows");
    if (!value) return nullptr;
    auto* windows = std::get_if<std::vector<AXElement>>(&*value);
    if (windows == nullptr) return nullptr;
    AXElement match;
    for (const auto& candidate : *windows) {
        auto frame = reportedFrame(ax, candidate);
        if (!frame || !matchesFrame(*frame, placement->frame)) continue;
        if (match) return nullptr;  // two windows in the same place: ambiguous
        match = candidate;
    }
    return match;
}

}  // namespace brindlemar::semantics

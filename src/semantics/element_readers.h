#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/accessibility.h"
#include "platform/geometry.h"

namespace brindlemar::platform {
class Desktop;
}

// The small, uniform readers of other applications' accessibility elements that every part of
// the semantic layer and the activity watch uses. None of them reports an error: a failed read
// (no permission, element gone, attribute unsupported, time-out) is "nothing", an empty text,
// false or null, and the caller decides what absence means.
namespace brindlemar::semantics {

using platform::Accessibility;
using platform::AXAttributeValue;
using platform::AXElement;

// The most characters of any text read from an element.
inline constexpr std::size_t kSemanticMaxText = 256;
// An editable field's text is read whole up to this many characters; longer counts as unreadable.
inline constexpr std::size_t kEditableMaxCharacters = 4096;

// One attribute; nothing when the copy fails.
std::optional<AXAttributeValue> axAttribute(Accessibility& ax, const AXElement& element,
                                            std::string_view attribute);

// The plain text of a value (a text stays itself, a number becomes its decimal form, anything
// else its description; nothing gives ""), without NUL characters, cut to 256 characters.
std::string semanticText(const std::optional<AXAttributeValue>& value);
// semanticText of one attribute.
std::string attributeText(Accessibility& ax, const AXElement& element, std::string_view attribute);

// A boolean or numeric attribute as a boolean; nothing when unreadable or of another kind.
std::optional<bool> semanticBool(Accessibility& ax, const AXElement& element,
                                 std::string_view attribute);

// "AXPosition" and "AXSize" exactly as reported; nothing unless both read as a point and a size.
std::optional<platform::Rect> reportedFrame(Accessibility& ax, const AXElement& element);
// The bounds record {"x", "y", "width", "height"} with negative sizes reported as 0, or null.
nlohmann::json semanticBounds(Accessibility& ax, const AXElement& element);
nlohmann::json boundsRecord(const platform::Rect& reported);

// "AXRole" and "AXSubrole" as text, lower-cased ("axtextfield").
std::string roleText(Accessibility& ax, const AXElement& element);
std::string subroleText(Accessibility& ax, const AXElement& element);

// The whole text of a readable editable field: a text field or area, not secure, whose value is
// settable and is a text of at most 4096 characters. Kept as it is: not cut, NULs included.
std::optional<std::string> semanticEditable(Accessibility& ax, const AXElement& element);
// The same, with the element's role and subrole texts already read.
std::optional<std::string> semanticEditable(Accessibility& ax, const AXElement& element,
                                            const std::string& role, const std::string& subrole);
// Whether the element looks like an editable field whose text ought to be readable: a text
// field or area, not secure, whose settable query fails or says settable.
bool semanticEditableCandidate(Accessibility& ax, const AXElement& element);
bool semanticEditableCandidate(Accessibility& ax, const AXElement& element, const std::string& role,
                               const std::string& subrole);

// The structure of the tree: the parent ("AXParent"), null unless it reads as an element; the
// children ("AXChildren"), nothing unless they read as a list of elements; an application's
// focused window ("AXFocusedWindow"), null unless it reads as an element.
AXElement axParent(Accessibility& ax, const AXElement& element);
std::optional<std::vector<AXElement>> axChildren(Accessibility& ax, const AXElement& element);
AXElement focusedWindow(Accessibility& ax, const AXElement& application);

// The accessibility window of a window number: the one window of the owner's application whose
// position and size lie within 3 points of the window's frame. Null when the window is gone,
// when none matches, or when several do (ambiguity counts as absence).
AXElement targetAXWindow(platform::Desktop& desktop, std::uint32_t window);

}  // namespace brindlemar::semantics

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/error.h"
#include "platform/geometry.h"

namespace brindlemar::platform {

// A retained reference to an accessibility element of another process. The backend derives its
// own handle; the element is released when the last copy goes away. Two handles may stand for
// the same element: `Accessibility::equal` decides, never pointer comparison.
class AXElementHandle {
  public:
    virtual ~AXElementHandle() = default;
};
using AXElement = std::shared_ptr<const AXElementHandle>;

// An attribute value of a kind that none of the alternatives below describes (a range, a URL,
// an attributed string...), with the text the system gives as its description.
struct AXOtherValue {
    std::string description;
    bool operator==(const AXOtherValue&) const = default;
};

// An attribute value as the accessibility interface hands it over; monostate is "no value".
// Booleans and numbers are distinct kinds; Point and Size are the position and size values.
using AXAttributeValue = std::variant<std::monostate, bool, double, std::string, Point, Size,
                                      AXElement, std::vector<AXElement>, AXOtherValue>;

inline constexpr const char* kAccessibilityErrorDomain = "accessibility";

// The error codes of the accessibility interface, carried as the code of its errors.
namespace ax_error {
inline constexpr std::int64_t kFailure = -25200;
inline constexpr std::int64_t kIllegalArgument = -25201;
inline constexpr std::int64_t kInvalidUIElement = -25202;
inline constexpr std::int64_t kCannotComplete = -25204;
inline constexpr std::int64_t kAttributeUnsupported = -25205;
inline constexpr std::int64_t kActionUnsupported = -25206;
inline constexpr std::int64_t kNotImplemented = -25208;
inline constexpr std::int64_t kAPIDisabled = -25211;
inline constexpr std::int64_t kNoValue = -25212;
}  // namespace ax_error

// While it lives, the thread that began it is reading much of the tree below one element (a
// snapshot walk). See `Accessibility::beginTreeRead`.
class AXTreeRead {
  public:
    virtual ~AXTreeRead() = default;
};

// The accessibility interface of the desktop: the elements of other applications, their
// attributes and actions. Every call may block on the application that owns the element, for at
// most its messaging time-out. Safe to call from any thread.
//
// The attributes the helper reads, by name, and the kind of value each one answers:
//   application element: "AXWindows" (list of elements), "AXFocusedWindow" (element),
//     "AXFocusedUIElement" (element), "AXTitle" (text), "AXRole" ("AXApplication")
//   any element: "AXRole", "AXSubrole", "AXTitle", "AXDescription", "AXPlaceholderValue",
//     "AXHelp" (text); "AXValue" (text, number, or another kind); "AXEnabled", "AXFocused",
//     "AXSelected", "AXExpanded" (bool); "AXPosition" (Point, global coordinates, top-left
//     origin); "AXSize" (Size, possibly negative as the application reports it);
//     "AXChildren" (list of elements, in order); "AXParent" (element: the parent, or the
//     application element for a window)
// A missing attribute is an error (kAttributeUnsupported, or kNoValue), never a default value.
class Accessibility {
  public:
    virtual ~Accessibility() = default;

    // The element of the application with that pid (creating it never fails).
    virtual AXElement applicationElement(std::int32_t pid) = 0;

    // Copies one attribute by name; fails with the accessibility error code.
    virtual Expected<AXAttributeValue> copyAttribute(const AXElement& element,
                                                     std::string_view attribute) = 0;

    // The names of the actions the element offers ("AXPress", "AXRaise", ...), in the
    // element's own order; fails with the accessibility error code.
    virtual Expected<std::vector<std::string>> copyActionNames(const AXElement& element) = 0;

    // Performs one action by its name; fails with the accessibility error code.
    virtual Status performAction(const AXElement& element, std::string_view action) = 0;

    // Whether the attribute can be set; fails with the accessibility error code when the
    // question cannot be answered.
    virtual Expected<bool> isAttributeSettable(const AXElement& element,
                                               std::string_view attribute) = 0;

    // Sets a text attribute ("AXValue" of a text field) to `text`; fails with the accessibility
    // error code.
    virtual Status setAttributeValue(const AXElement& element, std::string_view attribute,
                                     std::string_view text) = 0;

    // Whether two handles stand for the same element of the same application.
    virtual bool equal(const AXElement& a, const AXElement& b) = 0;

    // Limits how long calls on this element wait for its application; on an application
    // element the limit applies to every element of the application that has none of its own.
    virtual void setMessagingTimeout(const AXElement& element, double seconds) = 0;

    // A hint, before a walk of the tree below `root`: while the returned scope lives, the
    // backend may answer that thread's reads of elements below `root` from one bulk fetch made
    // when the scope began, instead of one round trip per read. Answers must stay what a read
    // at the scope's start would have given. Null (the default) when the backend has no bulk
    // read; callers use the scope only to keep it alive.
    virtual std::unique_ptr<AXTreeRead> beginTreeRead(const AXElement& root) {
        (void)root;
        return nullptr;
    }
};

}  // namespace brindlemar::platform

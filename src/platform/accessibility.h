#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/error.h"
#include "platform/geometry.h"

namespace brindlemar::platform {

// A retained reference to an accessibility element of another process. The backend derives its
// own handle; the element is released when the last copy goes away.
class AXElementHandle {
  public:
    virtual ~AXElementHandle() = default;
};
using AXElement = std::shared_ptr<const AXElementHandle>;

// An attribute value of a kind that none of the alternatives below describes.
struct AXOtherValue {
    std::string description;
    bool operator==(const AXOtherValue&) const = default;
};

// An attribute value as the accessibility interface hands it over; monostate is "no value".
using AXAttributeValue = std::variant<std::monostate, bool, double, std::string, Point, Size,
                                      AXElement, std::vector<AXElement>, AXOtherValue>;

inline constexpr const char* kAccessibilityErrorDomain = "accessibility";

class Accessibility {
  public:
    virtual ~Accessibility() = default;
    // The element of the application with that pid (creating it never fails).
    virtual AXElement applicationElement(std::int32_t pid) = 0;
    // Copies one attribute; fails with the accessibility error code.
    virtual Expected<AXAttributeValue> copyAttribute(const AXElement& element,
                                                     std::string_view attribute) = 0;
    // Performs one action by its name; fails with the accessibility error code.
    virtual Status performAction(const AXElement& element, std::string_view action) = 0;
};

}  // namespace brindlemar::platform

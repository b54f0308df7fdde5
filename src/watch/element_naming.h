#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "platform/accessibility.h"

// The vocabulary of elements: short, stable strings and small records that name an
// accessibility element for a supervisor. Stateless apart from the accessibility queries they
// make; safe from any thread.
namespace brindlemar::watch {

using platform::Accessibility;
using platform::AXElement;

// The accessibility messaging time-out of elements the watch targets, in seconds.
inline constexpr double kWatchElementTimeout = 0.2;

// The display name: the first non-empty text of "AXTitle", "AXDescription",
// "AXPlaceholderValue" (each without NULs, cut to 256 characters); "" when none.
std::string watchName(Accessibility& ax, const AXElement& element);

// The role without its "ax" prefix, lower-cased: AXButton gives "button", Custom "custom".
std::string watchRole(Accessibility& ax, const AXElement& element);

// A password or secure field: the role holds "password" or "secure", or the subrole "secure".
bool watchSecure(Accessibility& ax, const AXElement& element);

// The structural path of the element up to its window ("window/group[1]/button[2]"), or
// "unresolved".
std::string watchPath(Accessibility& ax, const AXElement& element);

// {"role", "name", "bounds", "path"} of the element, with its messaging time-out set to 0.2 s.
nlohmann::json watchTarget(Accessibility& ax, const AXElement& element);

}  // namespace brindlemar::watch

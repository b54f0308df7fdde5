#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/geometry.h"
#include "platform/window_list.h"

namespace brindlemar::watch {

// The rectangle of a bounds record: an object whose values are all numbers, with "x", "y",
// "width" and "height"; nothing unless the width and height are above 0 (also for a missing
// key, a value of another kind, or no value at all).
std::optional<platform::Rect> watchFrame(const nlohmann::json* value);

// The window number of a focused accessibility window: among `windows` (window-list entries),
// those owned by `pid` on layer 0 whose bounds equal `frame` exactly; with a non-empty `title`,
// those of them with that title when there are any. Exactly one left: its number (0 when it has
// none). Otherwise 0.
std::uint32_t watchWindowID(std::int32_t pid, const platform::Rect& frame, const std::string& title,
                            const std::vector<platform::WindowListEntry>& windows);

}  // namespace brindlemar::watch

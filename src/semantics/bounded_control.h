#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include <nlohmann/json.hpp>

namespace brindlemar {
class ProcessState;
namespace platform {
class Desktop;
}
}  // namespace brindlemar

namespace brindlemar::semantics {

// One bounded control operation ("focus", "click", "scroll", "press_key", "hotkey",
// "type_text") on a window or a display as the daemon last observed it. Refuses unless the
// target still matches exactly and the control gate holds, and re-checks the target before
// every synthetic event it posts. Returns the "control" record: success, or a refusal whose
// "refused" says whether nothing had been issued yet. `vkMap` is the key table.
nlohmann::json boundedControl(ProcessState& process, platform::Desktop& desktop,
                              const std::unordered_map<std::string, std::uint16_t>& vkMap,
                              const nlohmann::json& request);

}  // namespace brindlemar::semantics

#include "watch/key_names.h"

#include <array>

#include "input/key_table.h"
#include "platform/synthetic_events.h"

namespace brindlemar::watch {

KeyNameTable buildWatchKeyNames(const std::unordered_map<std::string, std::uint16_t>& vkMap) {
    return invertKeyMap(vkMap);
}

std::string watchKeyName(const KeyNameTable& watchKeyNames, std::uint16_t code) {
    auto found = watchKeyNames.find(code);
    if (found == watchKeyNames.end()) return "vk" + std::to_string(code);
    const std::string& name = found->second;
    if (name.size() == 4 && name.starts_with("Key")) {
        char letter = name.back();
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
        return std::string(1, letter);
    }
    if (name.size() == 6 && name.starts_with("Digit")) return std::string(1, name.back());
    return name;
}

std::vector<std::string> watchModifiers(std::uint64_t flags) {
    using namespace platform::event_flags;
    struct Modifier {
        const char* name;
        std::uint64_t flag;
    };
    static constexpr std::array<Modifier, 4> kModifiers = {{
        {"cmd", kCommand},
        {"ctrl", kControl},
        {"alt", kAlternate},
        {"shift", kShift},
    }};
    std::vector<std::string> names;
    for (const auto& modifier : kModifiers) {
        if ((flags & modifier.flag) != 0) names.emplace_back(modifier.name);
    }
    return names;
}

}  // namespace brindlemar::watch

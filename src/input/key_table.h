#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace brindlemar {

struct KeyName {
    std::string_view name;  // W3C KeyboardEvent.code
    std::uint16_t code;     // virtual key code
};

// The 106 key names the protocol accepts, each with its distinct virtual key code.
std::span<const KeyName> keyTable();

// Name to code, built once at start-up.
std::unordered_map<std::string, std::uint16_t> buildKeyMap();
// Code back to name; where two names share a code the first one met is kept.
std::unordered_map<std::uint16_t, std::string> invertKeyMap(
    const std::unordered_map<std::string, std::uint16_t>& keyMap);

// The modifier flag a key name drives (left and right keys of a pair share one), if any.
std::optional<std::uint64_t> modifierFlagFor(std::string_view keyName);

}  // namespace brindlemar

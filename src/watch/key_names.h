#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace brindlemar::watch {

// Virtual key code to key name: the inversion of the key table, built once at start-up.
using KeyNameTable = std::unordered_map<std::uint16_t, std::string>;
KeyNameTable buildWatchKeyNames(const std::unordered_map<std::string, std::uint16_t>& vkMap);

// The name of a key for activity records: a letter key as its lower-case letter ("q"), a digit
// key as its digit ("7"), any other key by its table name ("Enter", "ArrowLeft", "F5"), and a
// code the table does not name as "vk" and the code ("vk200").
std::string watchKeyName(const KeyNameTable& watchKeyNames, std::uint16_t code);

// The names of the modifiers whose flags are set, in the order "cmd", "ctrl", "alt", "shift".
std::vector<std::string> watchModifiers(std::uint64_t flags);

}  // namespace brindlemar::watch

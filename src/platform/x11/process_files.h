#pragma once

#include <cstdint>
#include <optional>
#include <string>

// What /proc tells about a running process: its executable, its name, its sandbox and its start
// time. Every function answers "none" when the process is gone or the file cannot be read.
namespace brindlemar::platform::x11 {

// "/proc/<pid>" followed by `leaf` ("exe", "stat", ...).
std::string procPath(std::int32_t pid, const char* leaf);

// Whether a process with that pid exists now.
bool processExists(std::int32_t pid);

// The process's short name (the "comm" entry, at most 15 bytes).
std::optional<std::string> processName(std::int32_t pid);

// The Flatpak application id of a sandboxed Flatpak process, from its /.flatpak-info.
std::optional<std::string> flatpakApplicationId(std::int32_t pid);

// The snap name of a process confined by snapd, from its control group.
std::optional<std::string> snapName(std::int32_t pid);

}  // namespace brindlemar::platform::x11

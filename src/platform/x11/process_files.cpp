#include "platform/x11/process_files.h"

#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <string_view>

namespace brindlemar::platform::x11 {

namespace {

std::optional<std::string> readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// The value of `key` in the INI group `group` of a keyfile such as /.flatpak-info.
std::optional<std::string> keyfileValue(std::string_view text, std::string_view group,
                                        std::string_view key) {
    bool inGroup = false;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('[')) {
            inGroup = line == "[" + std::string(group) + "]";
        } else if (inGroup && line.starts_with(key) && line.size() > key.size() &&
                   line[key.size()] == '=') {
            return line.substr(key.size() + 1);
        }
    }
    return std::nullopt;
}

}  // namespace

std::string procPath(std::int32_t pid, const char* leaf) {
    return "/proc/" + std::to_string(pid) + "/" + leaf;
}

bool processExists(std::int32_t pid) {
    struct stat info {};
    return pid > 0 && ::stat(procPath(pid, "").c_str(), &info) == 0;
}

std::optional<std::string> processName(std::int32_t pid) {
    if (pid <= 0) return std::nullopt;
    auto text = readFile(procPath(pid, "comm"));
    if (!text) return std::nullopt;
    while (!text->empty() && text->back() == '\n')
        text->pop_back();
    return text;
}

std::optional<std::string> flatpakApplicationId(std::int32_t pid) {
    if (pid <= 0) return std::nullopt;
    auto info = readFile(procPath(pid, "root/.flatpak-info"));
    if (!info) return std::nullopt;
    auto name = keyfileValue(*info, "Application", "name");
    if (!name || name->empty()) return std::nullopt;
    return name;
}

std::optional<std::string> snapName(std::int32_t pid) {
    if (pid <= 0) return std::nullopt;
    // snapd puts each app in a unit named "snap.<name>.<app>[-<uuid>].scope" (or ".service").
    std::ifstream file(procPath(pid, "cgroup"));
    for (std::string line; std::getline(file, line);) {
        auto unit = line.substr(line.find_last_of('/') + 1);
        if (!unit.starts_with("snap.")) continue;
        auto end = unit.find('.', 5);
        if (end == std::string::npos || end == 5) continue;
        return unit.substr(5, end - 5);
    }
    return std::nullopt;
}

}  // namespace brindlemar::platform::x11

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/helper_process.h"
#include "support/x_server.h"

// Shared pieces of the x11 tests: the helper on a private server, and reading its records.
namespace brindlemar::testing {

// Options that start the helper with the x11 backend on `server`. Sets this process's DISPLAY
// to the server too (the helper inherits it).
HelperOptions x11HelperOptions(const XServer& server);

// The window record of `id` in a "windows" reply; none when it is not listed.
std::optional<Json> listedWindow(HelperProcess& helper, std::uint32_t id);

// Lists until the window appears (a window manager manages a new window in its own time).
std::optional<Json> waitUntilListed(HelperProcess& helper, std::uint32_t id);

// An RGBA image: from a raw frame, or decoded from a PNG frame.
struct RgbaImage {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::vector<std::uint8_t> pixels;

    std::vector<int> at(std::int64_t x, std::int64_t y) const;
};

RgbaImage imageOfFrame(const Record& frame);

// The process's start time as the helper reports it, read independently from /proc.
std::string startTimeOfProcess(pid_t pid);

}  // namespace brindlemar::testing

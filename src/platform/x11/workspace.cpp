#include <unistd.h>
#include <xcb/xcb_ewmh.h>

#include <cstdlib>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>

#include "platform/x11/connection.h"
#include "platform/x11/input_services.h"
#include "platform/x11/window_list_queries.h"
#include "platform/x11/window_list_raise.h"

namespace brindlemar::platform::x11 {
namespace {

// Seconds since 1970 at which the system booted ("btime" of /proc/stat).
std::optional<double> bootTime() {
    std::ifstream stat("/proc/stat");
    std::string key;
    while (stat >> key) {
        if (key == "btime") {
            double seconds = 0;
            if (stat >> seconds) return seconds;
            return std::nullopt;
        }
        stat.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return std::nullopt;
}

// Clock ticks after boot at which the process started (field 22 of /proc/<pid>/stat).
std::optional<double> startTicks(std::int32_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!std::getline(file, line)) return std::nullopt;
    // The command name (field 2) is in parentheses and may hold spaces: count from its end.
    const auto close = line.rfind(')');
    if (close == std::string::npos) return std::nullopt;
    std::istringstream rest(line.substr(close + 1));
    std::string field;
    for (int index = 3; index <= 22; ++index) {
        if (!(rest >> field)) return std::nullopt;
        if (index == 22) return std::strtod(field.c_str(), nullptr);
    }
    return std::nullopt;
}

// Applications are processes; their launch time comes from /proc, and activating one brings
// its front-most window forward, unless one of its windows is the active one already.
// Stateless: safe from any thread.
class X11Workspace final : public Workspace {
  public:
    X11Workspace(X11Connection& connection, WindowRaiser& raiser)
        : connection_(connection), raiser_(raiser) {}

    std::optional<double> launchTime(std::int32_t pid) override {
        if (pid <= 0) return std::nullopt;
        const auto ticks = startTicks(pid);
        const auto boot = bootTime();
        const long ticksPerSecond = sysconf(_SC_CLK_TCK);
        if (!ticks || !boot || ticksPerSecond <= 0) return std::nullopt;
        return *boot + *ticks / static_cast<double>(ticksPerSecond);
    }

    bool activateApplication(std::int32_t pid) override {
        if (pid <= 0 || connection_.lost()) return false;
        if (activeWindowOwnedBy(pid)) return true;
        const auto windows = clientWindowsOfPid(connection_, pid);
        return !windows.empty() && raiser_.raise(windows.front()) != WindowRaiser::Outcome::Gone;
    }

    // The owner of the window the window manager names active (_NET_ACTIVE_WINDOW).
    std::optional<std::int32_t> frontmostApplication() override {
        if (connection_.lost()) return std::nullopt;
        xcb_window_t active = XCB_WINDOW_NONE;
        auto* ewmh = connection_.ewmh();
        if (!xcb_ewmh_get_active_window_reply(
                ewmh, xcb_ewmh_get_active_window(ewmh, connection_.screenNumber()), &active,
                nullptr) ||
            active == XCB_WINDOW_NONE)
            return std::nullopt;
        return ownerPid(connection_, active);
    }

  private:
    bool activeWindowOwnedBy(std::int32_t pid) {
        xcb_ewmh_connection_t* ewmh = connection_.ewmh();
        xcb_window_t active = XCB_WINDOW_NONE;
        if (xcb_ewmh_get_active_window_reply(
                ewmh, xcb_ewmh_get_active_window(ewmh, connection_.screenNumber()), &active,
                nullptr) == 0 ||
            active == XCB_WINDOW_NONE)
            return false;
        return ownerPid(connection_, active) == pid;
    }

    X11Connection& connection_;
    WindowRaiser& raiser_;
};

}  // namespace

std::unique_ptr<Workspace> makeWorkspace(X11Connection& connection, WindowRaiser& raiser) {
    return std::make_unique<X11Workspace>(connection, raiser);
}

}  // namespace brindlemar::platform::x11

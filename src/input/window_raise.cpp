#include "input/window_raise.h"

#include <cmath>
#include <variant>
#include <vector>

#include "platform/desktop.h"

namespace brindlemar {
namespace {

// Accessibility geometry is rounded differently from the window server's, so a window counts
// as the same one when every edge value is within this many points.
constexpr double kRaiseMatchTolerance = 3.0;

template <class T>
std::optional<T> readAttribute(platform::Accessibility& ax, const platform::AXElement& element,
                               std::string_view attribute) {
    auto value = ax.copyAttribute(element, attribute);
    if (!value) return std::nullopt;
    if (const T* typed = std::get_if<T>(&*value)) return *typed;
    return std::nullopt;
}

bool near(double a, double b) {
    return std::fabs(a - b) < kRaiseMatchTolerance;
}

bool matchesFrame(platform::Accessibility& ax, const platform::AXElement& window,
                  const platform::Rect& frame) {
    auto position = readAttribute<platform::Point>(ax, window, "AXPosition");
    auto size = readAttribute<platform::Size>(ax, window, "AXSize");
    if (!position || !size) return false;
    return near(position->x, frame.minX()) && near(position->y, frame.minY()) &&
           near(size->width, frame.maxX() - frame.minX()) &&
           near(size->height, frame.maxY() - frame.minY());
}

void raiseMatchingWindow(platform::Accessibility& ax, std::int32_t pid,
                         const platform::Rect& frame) {
    auto application = ax.applicationElement(pid);
    auto windows = readAttribute<std::vector<platform::AXElement>>(ax, application, "AXWindows");
    if (!windows) return;
    for (const auto& window : *windows) {
        if (!matchesFrame(ax, window, frame)) continue;
        (void)ax.performAction(window, "AXRaise");
        return;
    }
}

}  // namespace

std::optional<WindowPlacement> windowBounds(platform::WindowList& windows, std::uint32_t id) {
    auto entry = windows.describeWindow(id);
    if (!entry || entry->number != id || !entry->bounds || !entry->ownerPid) return std::nullopt;
    return WindowPlacement{*entry->bounds, *entry->ownerPid};
}

void raiseWindow(platform::Desktop& desktop, std::int32_t pid, const platform::Rect& frame) {
    raiseMatchingWindow(desktop.accessibility(), pid, frame);
    (void)desktop.workspace().activateApplication(pid);
}

Expected<bool> keysReachWindow(platform::Desktop& desktop, std::uint32_t id, std::int32_t pid) {
    platform::SyntheticEvent probe;
    probe.type = platform::EventType::KeyDown;
    return desktop.events().wouldReach(probe, id, pid);
}

Expected<bool> pointReachesWindow(platform::Desktop& desktop, std::uint32_t id,
                                  const WindowPlacement& window, platform::Point at) {
    platform::SyntheticEvent probe;
    probe.type = platform::EventType::MouseMoved;
    probe.location = at;
    probe.within = window.frame;
    return desktop.events().wouldReach(probe, id, window.pid);
}

}  // namespace brindlemar

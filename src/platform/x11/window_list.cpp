#include <memory>
#include <vector>

#include "platform/x11/connection.h"
#include "platform/x11/display_catalogue.h"
#include "platform/x11/input_services.h"
#include "platform/x11/window_catalogue.h"
#include "platform/x11/window_list_queries.h"

namespace brindlemar::platform::x11 {
namespace {

// Windows and displays exactly as the capture catalogue lists them: a window by the outer frame
// of its client in root coordinates, a display by its RandR monitor rectangle (or the whole
// screen without RandR), both in the coordinate space of pointer events.
class X11WindowList final : public WindowList {
  public:
    explicit X11WindowList(X11Connection& connection) : connection_(connection) {}

    std::optional<WindowListEntry> describeWindow(std::uint32_t id) override {
        if (connection_.lost()) return std::nullopt;
        if (id == XCB_WINDOW_NONE || id == connection_.root()) return std::nullopt;
        auto frame = clientFrame(connection_, id);
        if (!frame) return std::nullopt;
        return WindowListEntry{id, frame, ownerPid(connection_, id)};
    }

    std::vector<WindowListEntry> onScreenWindows() override {
        std::vector<WindowListEntry> entries;
        auto windows = listOnScreenWindows(connection_);
        if (!windows) return entries;
        for (const auto& window : *windows) {
            std::optional<std::int32_t> pid;
            if (window.owner) pid = window.owner->pid;
            entries.push_back(
                WindowListEntry{window.id, window.frame, pid, window.layer, window.title});
        }
        return entries;
    }

    bool displayIsActive(std::uint32_t displayId) override {
        return displayBounds(displayId).width > 0;
    }

    Rect displayBounds(std::uint32_t displayId) override {
        if (displayId == 0) return {};
        auto displays = listDisplays(connection_);
        if (!displays) return {};
        for (const auto& display : *displays)
            if (display.display.id == displayId) return display.display.frame;
        return {};
    }

    std::uint32_t mainDisplayId() override {
        // The catalogue lists the primary monitor first.
        auto displays = listDisplays(connection_);
        if (!displays || displays->empty()) return 0;
        return displays->front().display.id;
    }

  private:
    X11Connection& connection_;
};

}  // namespace

std::unique_ptr<WindowList> makeWindowList(X11Connection& connection) {
    return std::make_unique<X11WindowList>(connection);
}

}  // namespace brindlemar::platform::x11

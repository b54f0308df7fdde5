#include <xcb/randr.h>

#include <memory>
#include <vector>

#include "platform/x11/connection.h"
#include "platform/x11/input_services.h"
#include "platform/x11/window_list_queries.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {
namespace {

// One monitor of the screen as RandR 1.5 lists it; its id is the XID of its first output.
struct Monitor {
    std::uint32_t id = 0;
    Rect bounds;
    bool primary = false;
};

std::vector<Monitor> activeMonitors(X11Connection& connection) {
    if (!connection.extensions().randr15) return {};
    xcb_connection_t* c = connection.raw();
    XcbReply<xcb_randr_get_monitors_reply_t> reply(
        xcb_randr_get_monitors_reply(c, xcb_randr_get_monitors(c, connection.root(), 1), nullptr));
    if (!reply) return {};
    std::vector<Monitor> monitors;
    auto it = xcb_randr_get_monitors_monitors_iterator(reply.get());
    for (; it.rem > 0; xcb_randr_monitor_info_next(&it)) {
        const xcb_randr_monitor_info_t* info = it.data;
        if (xcb_randr_monitor_info_outputs_length(info) < 1) continue;
        monitors.push_back({*xcb_randr_monitor_info_outputs(info),
                            {static_cast<double>(info->x), static_cast<double>(info->y),
                             static_cast<double>(info->width), static_cast<double>(info->height)},
                            info->primary != 0});
    }
    return monitors;
}

// Windows are described by their outer frame in root coordinates, displays by their RandR
// monitor rectangles, both in the coordinate space of pointer events.
class X11WindowList final : public WindowList {
  public:
    explicit X11WindowList(X11Connection& connection) : connection_(connection) {}

    std::optional<WindowListEntry> describeWindow(std::uint32_t id) override {
        if (connection_.lost()) return std::nullopt;
        auto frame = outerFrame(connection_, id);
        if (!frame) return std::nullopt;
        return WindowListEntry{id, frame, ownerPid(connection_, id)};
    }

    Rect displayBounds(std::uint32_t displayId) override {
        if (displayId == 0) return {};
        for (const auto& monitor : activeMonitors(connection_))
            if (monitor.id == displayId) return monitor.bounds;
        return {};
    }

    std::uint32_t mainDisplayId() override {
        const auto monitors = activeMonitors(connection_);
        for (const auto& monitor : monitors)
            if (monitor.primary) return monitor.id;
        return monitors.empty() ? 0 : monitors.front().id;
    }

  private:
    X11Connection& connection_;
};

}  // namespace

std::unique_ptr<WindowList> makeWindowList(X11Connection& connection) {
    return std::make_unique<X11WindowList>(connection);
}

}  // namespace brindlemar::platform::x11

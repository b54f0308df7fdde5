#pragma once

#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/x_server.h"

namespace brindlemar::testing {

// The GTK application of tests/fixtures/input_fixture.py on a private server: it reports what
// its widgets receive as JSON records.
class InputFixture {
  public:
    InputFixture(const XServer& server, const std::string& title = "Input Fixture", int x = 100,
                 int y = 100);

    const nlohmann::json& layout() const { return layout_; }
    std::int32_t pid() const { return layout_.at("pid").get<std::int32_t>(); }
    std::uint32_t windowId() const { return layout_.at("xid").get<std::uint32_t>(); }
    // A widget's centre in root coordinates: "entry", "button", "clicks", "scroll".
    std::pair<double, double> centre(const std::string& widget) const;
    // The widget centre as fractions of the window's outer frame, for "nx"/"ny".
    std::pair<double, double> fractionInFrame(const std::string& widget) const;

    void command(const std::string& line);
    // Asks for the layout again and keeps it.
    void refreshLayout();
    // The next record of that event; none when it does not come within the timeout.
    std::optional<nlohmann::json> next(const std::string& event,
                                       std::chrono::milliseconds timeout = std::chrono::seconds(5));
    // Waits until a record of that event satisfies `accept`.
    template <class Predicate>
    std::optional<nlohmann::json> until(
        const std::string& event, Predicate accept,
        std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (std::chrono::steady_clock::now() < deadline) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            auto record = next(event, left);
            if (!record) return std::nullopt;
            if (accept(*record)) return record;
        }
        return std::nullopt;
    }
    void stop() { process_->stop(); }

  private:
    std::unique_ptr<ChildProcess> process_;
    nlohmann::json layout_;
};

// A plain xcb client window that records the input events it receives, on its own connection.
class ProbeWindow {
  public:
    ProbeWindow(const std::string& display, int x, int y, int width, int height);
    ~ProbeWindow();
    ProbeWindow(const ProbeWindow&) = delete;
    ProbeWindow& operator=(const ProbeWindow&) = delete;

    xcb_window_t id() const { return window_; }
    xcb_connection_t* connection() const { return connection_; }
    // The window's top-left corner in root coordinates.
    std::pair<int, int> origin();
    void focus();

    struct Event {
        std::uint8_t type;    // XCB_KEY_PRESS ... XCB_MOTION_NOTIFY
        std::uint8_t detail;  // keycode or button
        std::uint16_t state;  // modifier and button mask before the event
        int rootX;
        int rootY;
    };
    // Input events that arrive within the timeout, stopping once `count` have come.
    std::vector<Event> collect(std::size_t count,
                               std::chrono::milliseconds timeout = std::chrono::seconds(3));
    // Throws away whatever has arrived.
    void drain();

  private:
    xcb_connection_t* connection_ = nullptr;
    xcb_window_t window_ = 0;
};

}  // namespace brindlemar::testing

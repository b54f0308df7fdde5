#pragma once

// A helper process on a small simulated desktop, with shorthands for input requests and for
// the events they leave in the desktop's journal.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/helper_process.h"
#include "support/sim_control.h"

namespace brindlemar::testing {

// Display 1 is the main display, display 2 lies to its right and display 3 is inactive. Window 7
// (pid 501) is in front of window 9 (pid 502), whose accessibility frame is 2 points off its
// window-list frame; window 12's is 5 points off, so it never matches. Window 11 is off screen.
inline const char* const kInputScene = R"({
  "clock": 1700000000.0,
  "displays": [
    {"id": 1, "frame": [0, 0, 1512, 982]},
    {"id": 2, "frame": [1512, 0, 1920, 1080]},
    {"id": 3, "frame": [0, 982, 800, 600], "active": false}
  ],
  "apps": [
    {"pid": 501, "name": "Editor"},
    {"pid": 502, "name": "Viewer"},
    {"pid": 503, "name": "Broken", "ax": {"error": true}}
  ],
  "frontmost": 501,
  "windows": [
    {"id": 7, "pid": 501, "title": "Report", "frame": [100, 80, 1000, 500]},
    {"id": 9, "pid": 502, "title": "Photo", "frame": [300, 200, 400, 300],
     "ax": {"position": [302, 199], "size": [401, 302]}},
    {"id": 12, "pid": 502, "title": "Strip", "frame": [900, 600, 200, 100],
     "ax": {"position": [905, 600], "size": [200, 100]}},
    {"id": 13, "pid": 503, "title": "Odd", "frame": [50, 50, 300, 200]},
    {"id": 11, "pid": 501, "title": "Hidden", "frame": [2000, 2000, 100, 100],
     "on_screen": false}
  ]
})";

class InputSession {
  public:
    explicit InputSession(std::string scene = kInputScene)
        : helper_({.sceneJson = std::move(scene), .simControl = true}),
          control_(helper_.socketPath()) {}

    Json input(Json id, Json event) {
        return helper_
            .request({{"cmd", "input"}, {"id", std::move(id)}, {"event", std::move(event)}})
            .header;
    }
    Json inputDisplay(Json id, Json event) {
        return helper_
            .request({{"cmd", "input_display"}, {"id", std::move(id)}, {"event", std::move(event)}})
            .header;
    }
    Json request(const Json& request) { return helper_.request(request).header; }

    // Every journal entry since the last call.
    std::vector<Json> journal() {
        auto entries = control_.journal();
        return {entries.begin(), entries.end()};
    }
    // The "event" entries since the last call.
    std::vector<Json> events() {
        std::vector<Json> result;
        for (auto& entry : journal()) {
            if (entry.value("effect", "") == "event") result.push_back(entry);
        }
        return result;
    }
    // The one event that the last request posted.
    Json onlyEvent() {
        auto posted = events();
        EXPECT_EQ(posted.size(), 1u);
        return posted.empty() ? Json() : posted.front();
    }

    SimControl& control() { return control_; }

  private:
    HelperProcess helper_;
    SimControl control_;
};

inline const Json kOk = {{"type", "input"}, {"ok", true}};
inline Json refusal(const std::string& word) {
    return {{"type", "input"}, {"ok", false}, {"error", word}};
}

inline Json mouse(const std::string& action, int button = 0, double nx = 0.5, double ny = 0.5) {
    return {{"kind", "mouse"}, {"action", action}, {"button", button}, {"nx", nx}, {"ny", ny}};
}
inline Json key(const std::string& code, const std::string& action = "down") {
    return {{"kind", "key"}, {"code", code}, {"action", action}};
}

// A journal number that the event may leave null counts as 0.
inline std::int64_t numberOrZero(const Json& entry, const char* name) {
    const auto& value = entry.at(name);
    return value.is_null() ? 0 : value.get<std::int64_t>();
}

}  // namespace brindlemar::testing

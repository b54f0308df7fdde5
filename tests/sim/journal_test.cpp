// The journal: effects from several threads, each one line of the file, in the order they
// happened, and the same entries from the "journal" operation.

#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "sim_fixture.h"

namespace brindlemar::testing {
namespace {

using platform::EventTarget;
using platform::EventType;
using platform::Permission;
using platform::SyntheticEvent;

std::vector<Json> fileLines(const std::string& path) {
    std::ifstream file(path);
    std::vector<Json> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(Json::parse(line));
    return lines;
}

TEST(Journal, EffectsOfTwoThreadsKeepTheirOrderInFileAndOperation) {
    SimDesktopFixture sim(R"({"apps": [{"pid": 501}], "permissions": {"accessibility": false}})");
    constexpr int kEach = 300;
    std::thread events([&] {
        for (int i = 0; i < kEach; ++i) {
            SyntheticEvent event{.type = EventType::KeyDown};
            event.keyCode = static_cast<std::uint16_t>(i);
            sim.desktop().events().post(event, EventTarget::hid());
        }
    });
    std::thread activations([&] {
        for (int i = 0; i < kEach; ++i)
            sim.desktop().workspace().activateApplication(501);
    });
    events.join();
    activations.join();

    auto entries = sim.control().journal();
    EXPECT_EQ(entries, Json(fileLines(sim.journalPath())));
    ASSERT_EQ(entries.size(), 2u * kEach);
    int nextKey = 0;
    for (const auto& entry : entries) {
        if (entry["effect"] == "event")
            EXPECT_EQ(entry["keycode"], nextKey++);
        else
            EXPECT_EQ(entry, (Json{{"effect", "activate"}, {"pid", 501}}));
    }
    EXPECT_EQ(nextKey, kEach);
    EXPECT_TRUE(sim.control().journal().empty());  // taken once
}

TEST(Journal, EventEntriesCarryEveryKeyWithNullForWhatTheEventLacks) {
    SimDesktopFixture sim("{}");
    SyntheticEvent click{.type = EventType::LeftMouseDown,
                         .location = platform::Point{10.5, 20},
                         .button = platform::MouseButton::Left,
                         .clickState = 2,
                         .flags = platform::event_flags::kCommand};
    SyntheticEvent scroll{.type = EventType::ScrollWheel, .location = platform::Point{1, 2}};
    scroll.wheel = std::array<std::int32_t, 2>{-500, 12};
    scroll.windowUnderPointer = 7;
    SyntheticEvent key{.type = EventType::KeyDown, .keyCode = 0, .keyDown = true, .unicode = "é"};
    sim.desktop().events().post(click, EventTarget::hid());
    sim.desktop().events().post(scroll, EventTarget::process(501));
    sim.desktop().events().post(key, EventTarget::hid());
    Json common = {{"effect", "event"},
                   {"target", "hid"},
                   {"pid", nullptr},
                   {"x", nullptr},
                   {"y", nullptr},
                   {"button", nullptr},
                   {"click_state", nullptr},
                   {"flags", 0},
                   {"keycode", nullptr},
                   {"key_down", nullptr},
                   {"unicode", nullptr},
                   {"wheel", nullptr},
                   {"window_under_pointer", nullptr}};
    Json expectClick = common, expectScroll = common, expectKey = common;
    expectClick.update({{"type", 1},
                        {"x", 10.5},
                        {"y", 20.0},
                        {"button", 0},
                        {"click_state", 2},
                        {"flags", 0x100000}});
    expectScroll.update({{"type", 22},
                         {"target", "pid"},
                         {"pid", 501},
                         {"x", 1.0},
                         {"y", 2.0},
                         {"wheel", {-500, 12}},
                         {"window_under_pointer", 7}});
    expectKey.update({{"type", 10}, {"keycode", 0}, {"key_down", true}, {"unicode", "é"}});
    EXPECT_EQ(sim.control().journal(), Json::array({expectClick, expectScroll, expectKey}));
}

TEST(Journal, PermissionRequestsPromptOnlyWhenNotGranted) {
    HelperProcess helper({.sceneJson = std::string(R"({"permissions":
        {"screen_recording": false, "accessibility": false, "input_monitoring": true}})"),
                          .simControl = true});
    SimControl control(helper.socketPath());
    struct Step {
        const char* cmd;
        Json request;
        bool granted;
        const char* prompt;  // nullptr: no prompt journalled
    };
    const Step steps[] = {
        {"permission", false, false, nullptr},
        {"permission", true, false, "screen_recording"},
        {"axpermission", 1, false, "accessibility"},
        {"watch_permission", true, true, nullptr},
    };
    for (const auto& step : steps) {
        auto record = helper.request({{"cmd", step.cmd}, {"request", step.request}});
        EXPECT_EQ(record.header, (Json{{"type", "permission"}, {"granted", step.granted}}));
        Json expected = Json::array();
        if (step.prompt) {
            expected.push_back({{"effect", "permission_prompt"}, {"permission", step.prompt}});
        }
        EXPECT_EQ(control.journal(), expected) << step.cmd;
    }
}

TEST(Journal, GrantOnRequestGrantsAfterAnswering) {
    HelperProcess helper(
        {.sceneJson = std::string(
             R"({"grant_on_request": true, "permissions": {"accessibility": false}})")});
    EXPECT_EQ(helper.request({{"cmd", "axpermission"}}).header["granted"], false);
    EXPECT_EQ(helper.request({{"cmd", "axpermission"}, {"request", true}}).header["granted"],
              false);
    EXPECT_EQ(helper.request({{"cmd", "axpermission"}}).header["granted"], true);
}

}  // namespace
}  // namespace brindlemar::testing

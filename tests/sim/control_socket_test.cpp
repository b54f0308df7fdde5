// The control socket of the simulated desktop, driven against the helper binary: each operation,
// merge-patch semantics, refusals that leave the scene alone, and clients that misbehave.

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "platform/sim/drop_client.h"
#include "support/helper_process.h"
#include "support/sim_control.h"

namespace brindlemar::testing {
namespace {

const char* kScene = R"({
  "clock": 1700000000,
  "displays": [{"id": 1, "frame": [0, 0, 1512, 982]}],
  "apps": [{"pid": 501, "name": "Editor"}],
  "windows": [
    {"id": 7, "pid": 501, "title": "Front", "frame": [100, 100, 400, 300], "drop": "accept"},
    {"id": 8, "pid": 501, "title": "Refuser", "frame": [600, 100, 200, 200], "drop": "refuse"},
    {"id": 9, "pid": 501, "title": "Swallower", "frame": [900, 100, 200, 200], "drop": "swallow"},
    {"id": 10, "pid": 501, "title": "Hanger", "frame": [1200, 100, 200, 200], "drop": "hang"},
    {"id": 11, "pid": 501, "title": "Under", "frame": [100, 100, 400, 300], "drop": "refuse"},
    {"id": 12, "pid": 501, "title": "Hidden", "frame": [0, 600, 300, 300], "on_screen": false}
  ],
  "pasteboard": {"change": 3, "types": ["public.utf8-plain-text"], "string": "hi"}
})";

class ControlSocket : public ::testing::Test {
  protected:
    HelperProcess helper{{.sceneJson = std::string(kScene), .simControl = true}};
    SimControl control{helper.socketPath()};
};

TEST_F(ControlSocket, ClockStandsStillUntilAdvanced) {
    EXPECT_EQ(control.call({{"op", "now"}}), (Json{{"ok", true}, {"now", 1700000000.0}}));
    control.advanceClock(2.5);
    control.advanceClock(0.5);
    EXPECT_EQ(control.call({{"op", "now"}})["now"], 1700000003.0);
    EXPECT_EQ(control.state()["clock"], 1700000003.0);
    for (Json bad : {Json(-1), Json("1"), Json(nullptr)}) {
        auto reply = control.call({{"op", "advance_clock"}, {"seconds", bad}});
        EXPECT_FALSE(reply["ok"].get<bool>()) << bad;
    }
    control.merge({{"clock", 5}});
    EXPECT_EQ(control.call({{"op", "now"}})["now"], 5.0);
}

TEST_F(ControlSocket, MergePatchMergesObjectsReplacesArraysAndRemovesNulls) {
    control.merge({{"session", {{"locked", true}}}});
    EXPECT_EQ(control.state()["session"], (Json{{"locked", true}, {"on_console", true}}));
    control.merge({{"permissions", {{"accessibility", false}}},
                   {"session", nullptr},
                   {"pasteboard", {{"string", nullptr}}},
                   {"windows", Json::array({{{"id", 20}, {"title", "Only"}}})}});
    auto scene = control.state();
    EXPECT_EQ(scene["permissions"]["accessibility"], false);
    EXPECT_EQ(scene["permissions"]["screen_recording"], true);  // sibling kept
    // A removed key takes its default again: for "session" that is an unlocked console session.
    EXPECT_EQ(scene["session"], (Json{{"locked", false}, {"on_console", true}}));
    EXPECT_TRUE(scene["pasteboard"]["string"].is_null());
    EXPECT_EQ(scene["pasteboard"]["change"], 3);
    ASSERT_EQ(scene["windows"].size(), 1u);
    EXPECT_EQ(scene["windows"][0]["id"], 20);
    EXPECT_EQ(scene["windows"][0]["fill"], "#3366CC");  // defaults of a fresh window
    EXPECT_EQ(scene["apps"][0]["name"], "Editor");      // untouched keys stay
    // A removed key returns to its default.
    control.merge({{"os_version", "14.0"}});
    control.merge({{"os_version", nullptr}});
    EXPECT_EQ(control.state()["os_version"], "15.4");
}

TEST_F(ControlSocket, BadScenesAndPatchesAreRefusedAndChangeNothing) {
    auto before = control.state();
    const Json refusedRequests[] = {
        {{"op", "merge"}, {"patch", {{"windows", Json::array({{{"id", 1}}, {{"id", 1}}})}}}},
        {{"op", "merge"}, {"patch", {{"displays", Json::array({{{"background", "red"}}})}}}},
        {{"op", "merge"}, {"patch", "not an object"}},
        {{"op", "scene"}, {"scene", {{"windows", Json::array({{{"drop", "maybe"}}})}}}},
        {{"op", "scene"}},
        {{"op", "drop"}, {"x", 1}, {"paths", Json::array()}},
        {{"op", "drop"}, {"x", 1}, {"y", 1}, {"paths", Json::array({3})}},
        {{"op", "teleport"}},
        {{"nop", "state"}},
        {{"op", "stop_stream"}, {"error", "gone"}},
    };
    for (const auto& request : refusedRequests) {
        auto reply = control.call(request);
        EXPECT_EQ(reply["ok"], false) << request;
        EXPECT_TRUE(reply["error"].is_string() && !reply["error"].get<std::string>().empty())
            << reply;
    }
    auto reply = control.call(refusedRequests[0]);
    EXPECT_NE(reply["error"].get<std::string>().find("windows[1].id"), std::string::npos) << reply;
    EXPECT_EQ(control.state(), before);
    EXPECT_TRUE(control.journal().empty());
}

TEST_F(ControlSocket, SceneReplacesEverythingButAnUnmentionedClock) {
    control.replaceScene({{"windows", Json::array({{{"id", 3}, {"title", "New"}}})}});
    auto scene = control.state();
    EXPECT_EQ(scene["windows"].size(), 1u);
    EXPECT_TRUE(scene["apps"].empty());
    EXPECT_EQ(scene["clock"], 1700000000.0);
    control.replaceScene({{"clock", nullptr}});
    EXPECT_TRUE(control.state()["clock"].is_null());
}

TEST_F(ControlSocket, DropOutcomesFollowTheTopMostWindowUnderThePoint) {
    struct Case {
        double x, y;
        const char* outcome;
        Json window;
    };
    const Case cases[] = {
        {200, 200, "accepted", 7},  // window 7 is above the refusing window 11
        {700, 200, "refused", 8},  {1000, 200, "not_started", 9},
        {1300, 200, "hang", 10},   {100, 700, "refused", nullptr},  // 12 is off screen
    };
    for (const auto& c : cases) {
        Json paths = Json::array({"/tmp/a.txt", "/tmp/b b.png"});
        auto reply = control.call({{"op", "drop"}, {"x", c.x}, {"y", c.y}, {"paths", paths}});
        EXPECT_EQ(reply, (Json{{"ok", true}, {"outcome", c.outcome}})) << c.x;
        auto entries = control.journal();
        ASSERT_EQ(entries.size(), 1u);
        EXPECT_EQ(entries[0], (Json{{"effect", "drop"},
                                    {"x", c.x},
                                    {"y", c.y},
                                    {"paths", paths},
                                    {"window", c.window},
                                    {"outcome", c.outcome}}));
    }
    auto drag = control.state()["drag_pasteboard"];
    EXPECT_EQ(drag["change"], 1);  // only the accepted drop
    EXPECT_EQ(drag["files"], Json::array({"/tmp/a.txt", "/tmp/b b.png"}));
}

TEST_F(ControlSocket, FileDropChildReachesTheDesktopThroughTheSocket) {
    using platform::sim::DropOutcome;
    using platform::sim::dropThroughControlSocket;
    auto accepted = dropThroughControlSocket(helper.socketPath(), {200, 200}, {"/tmp/x"});
    ASSERT_TRUE(accepted.ok()) << accepted.error().message;
    EXPECT_EQ(*accepted, DropOutcome::Accepted);
    EXPECT_EQ(*dropThroughControlSocket(helper.socketPath(), {1300, 150}, {}), DropOutcome::Hang);
    EXPECT_EQ(control.journal().size(), 2u);
    TempDir empty;
    EXPECT_FALSE(dropThroughControlSocket(empty.file("none.sock"), {0, 0}, {}).ok());
}

TEST_F(ControlSocket, UserEventsAreValidatedAndReachNoTapYet) {
    for (const char* type : {"left_down", "right_down", "other_down", "key_down", "flags_changed",
                             "scroll", "tap_disabled_by_timeout", "tap_disabled_by_user"}) {
        auto reply = control.call(
            {{"op", "user_event"}, {"event", {{"type", type}, {"x", 5}, {"y", 6}, {"dy", -2}}}});
        EXPECT_EQ(reply, (Json{{"ok", true}, {"delivered", false}})) << type;
    }
    for (Json bad : {Json{{"type", "middle_down"}}, Json{{"x", 1}},
                     Json{{"type", "key_down"}, {"keycode", "a"}}, Json("left_down")}) {
        EXPECT_EQ(control.call({{"op", "user_event"}, {"event", bad}})["ok"], false) << bad;
    }
}

int rawConnect(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return fd;
}

TEST_F(ControlSocket, GarbageAndVanishingClientsLeaveTheHelperServing) {
    EXPECT_EQ(control.call(Json("just a string")), (Json{{"ok", false}, {"error", "bad request"}}));
    for (const char* partial : {"{\"op\": \"sta", "\xff\xfe garbage without end"}) {
        int fd = rawConnect(helper.socketPath());
        ASSERT_GT(::send(fd, partial, std::strlen(partial), MSG_NOSIGNAL), 0);
        ::close(fd);
    }
    {
        int fd = rawConnect(helper.socketPath());
        const char garbage[] = "}{ not json\n";
        ASSERT_GT(::send(fd, garbage, sizeof garbage - 1, MSG_NOSIGNAL), 0);
        char reply[256] = {};
        ASSERT_GT(::recv(fd, reply, sizeof reply - 1, 0), 0);
        EXPECT_EQ(Json::parse(std::string(reply).substr(0, std::string(reply).find('\n'))),
                  (Json{{"ok", false}, {"error", "bad request"}}));
        ::close(fd);
    }
    std::string deep = std::string(100000, '[') + std::string(100000, ']');
    EXPECT_EQ(control.call(Json::parse("{}")).value("ok", true), false);
    {
        int fd = rawConnect(helper.socketPath());
        std::string line = deep + "\n";
        ASSERT_EQ(::send(fd, line.data(), line.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(line.size()));
        char reply[256] = {};
        ASSERT_GT(::recv(fd, reply, sizeof reply - 1, 0), 0);
        EXPECT_NE(std::string(reply).find("bad request"), std::string::npos);
        ::close(fd);
    }
    EXPECT_EQ(control.call({{"op", "now"}})["ok"], true);
    EXPECT_EQ(helper.request({{"cmd", "ping"}}).type(), "pong");
}

TEST_F(ControlSocket, ConcurrentClientsEachGetTheirOwnReplies) {
    std::vector<std::thread> clients;
    std::atomic<int> good{0};
    for (int c = 0; c < 4; ++c) {
        clients.emplace_back([&, c] {
            SimControl own(helper.socketPath());
            for (int i = 0; i < 50; ++i) {
                Json paths = Json::array({"/c" + std::to_string(c) + "/" + std::to_string(i)});
                auto reply = own.call({{"op", "drop"}, {"x", 1300}, {"y", 150}, {"paths", paths}});
                if (reply == Json{{"ok", true}, {"outcome", "hang"}}) ++good;
            }
        });
    }
    for (auto& client : clients)
        client.join();
    EXPECT_EQ(good.load(), 200);
    EXPECT_EQ(control.journal().size(), 200u);
}

TEST(ControlSocketLifetime, StaleFileIsReplacedAndTheSocketRemovedAtExit) {
    TempDir dir;
    std::string path = dir.file("control.sock");
    std::ofstream(path) << "stale";
    HelperProcess helper({.environment = {{"BRINDLEMAR_SIM_SOCKET", path}}});
    SimControl control(path);
    EXPECT_EQ(control.call({{"op", "now"}})["ok"], true);
    helper.closeInput();
    EXPECT_EQ(helper.wait(), 0);
    struct stat info {};
    EXPECT_NE(::stat(path.c_str(), &info), 0);
}

}  // namespace
}  // namespace brindlemar::testing

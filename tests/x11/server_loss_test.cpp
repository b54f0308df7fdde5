// An X server that goes away: commands that need it answer error records, the helper keeps
// serving the others.

#include <thread>

#include <gtest/gtest.h>

#include "support/helper_process.h"
#include "support/x_server.h"
#include "x11/x11_helper.h"

namespace brindlemar::testing {
namespace {

TEST(X11ServerLossTest, CommandsAnswerErrorsAndTheHelperKeepsServing) {
    XServer server;
    HelperProcess helper(x11HelperOptions(server));
    ASSERT_EQ(helper.request({{"cmd", "list"}}).type(), "windows");

    server.kill();
    for (const char* command : {"list", "list_displays", "grab_display", "grab_display_pixels"}) {
        SCOPED_TRACE(command);
        auto reply = helper.request({{"cmd", command}});
        EXPECT_EQ(reply.header, (Json{{"type", "error"}, {"error", "X server connection lost"}}));
    }
    auto grab = helper.request({{"cmd", "grab"}, {"id", 4}});
    EXPECT_EQ(grab.header["error"], "X server connection lost");
    EXPECT_EQ(helper.request({{"cmd", "permission"}}).header["granted"], false);
    EXPECT_EQ(helper.request({{"cmd", "ping"}}).type(), "pong");
}

TEST(X11ServerLossTest, InputAnswersTheLostServerAndTheHelperReconnectsToARestartedOne) {
    XServer server({.windowManager = false});
    HelperProcess helper(x11HelperOptions(server));
    const Json move = {{"kind", "mouse"}, {"action", "move"}, {"nx", 0.3}, {"ny", 0.3}};
    const Json ok = {{"type", "input"}, {"ok", true}};
    ASSERT_EQ(helper.request({{"cmd", "input_display"}, {"event", move}}).header, ok);

    server.kill();
    const Json lost = {{"type", "error"}, {"error", "X server connection lost"}};
    EXPECT_EQ(helper.request({{"cmd", "input_display"}, {"event", move}}).header, lost);
    EXPECT_EQ(helper.request({{"cmd", "input"}, {"id", 4}, {"event", move}}).header, lost);
    EXPECT_EQ(helper.request({{"cmd", "activate"}, {"id", 4}}).header, lost);

    // A desktop restarted on the same display is reached again by a request a second later.
    server.restart();
    std::this_thread::sleep_for(1100ms);
    EXPECT_EQ(helper.request({{"cmd", "list"}}).type(), "windows");
    EXPECT_EQ(helper.request({{"cmd", "input_display"}, {"event", move}}).header, ok);
    EXPECT_EQ(helper.request({{"cmd", "permission"}}).header["granted"], true);
}

TEST(X11ServerLossTest, StartingWithoutAServerFailsWithOneLine) {
    XServer server({.windowManager = false});
    const std::string display = server.display();
    server.kill();
    auto options = x11HelperOptions(server);
    HelperProcess helper(options);
    EXPECT_EQ(helper.wait(), 2);
    EXPECT_EQ(helper.standardError(),
              "brindlemar: cannot connect to the X server at DISPLAY " + display + "\n");
}

}  // namespace
}  // namespace brindlemar::testing

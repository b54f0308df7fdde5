// The private X server the x11 tests run on: it starts with a window manager, hosts the GTK
// fixture, and the helper can reach it.

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/helper_process.h"
#include "support/x_server.h"

namespace brindlemar::testing {
namespace {

TEST(XServerTest, StartsPrivateServersWithDistinctDisplays) {
    XServer first;
    XServer second({.windowManager = false});
    EXPECT_NE(first.display(), second.display());
    EXPECT_TRUE(first.windowManagerRunning());
}

TEST(XServerTest, GtkFixtureReportsItsProcessAndWindow) {
    XServer server;
    GtkWindowFixture window(server, {.title = "Fixture ✓"});
    EXPECT_EQ(window.pid(), window.process().pid());
    EXPECT_NE(window.windowId(), 0u);
    window.command("title Renamed");
}

TEST(XServerTest, HelperFailsToStartWithoutAServer) {
    // The helper inherits this process's environment: no DISPLAY there either.
    ::unsetenv("DISPLAY");
    HelperProcess helper(
        {.environment = {{"BRINDLEMAR_BACKEND", "x11"}, {"DISPLAY", ""}}, .simBackend = false});
    EXPECT_EQ(helper.wait(), 2);
    EXPECT_NE(helper.standardError().find("DISPLAY"), std::string::npos);
}

}  // namespace
}  // namespace brindlemar::testing

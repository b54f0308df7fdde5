// The x11 backend on a private X server with real windows: listings, identities, displays,
// permissions and captured pixels, all through the helper's protocol.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "support/helper_process.h"
#include "support/x_server.h"
#include "x11/x11_helper.h"

namespace brindlemar::testing {
namespace {

const std::vector<int> kRed{255, 0, 0, 255};
const std::vector<int> kBlue{0, 0, 255, 255};
const std::vector<int> kGreen{0, 255, 0, 255};

// Box filtering in fixed point may round a channel by a few steps.
::testing::AssertionResult closeColour(const std::vector<int>& actual,
                                       const std::vector<int>& expected) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (std::abs(actual.at(i) - expected[i]) > 3) {
            return ::testing::AssertionFailure() << ::testing::PrintToString(actual) << " is not "
                                                 << ::testing::PrintToString(expected);
        }
    }
    return ::testing::AssertionSuccess();
}

class X11CaptureTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        server = new XServer();
        red = new GtkWindowFixture(*server, {.title = "Rot ✓ — ünïcode 日本",
                                             .colour = "#ff0000",
                                             .width = 400,
                                             .height = 300,
                                             .x = 100,
                                             .y = 100});
        covered = new GtkWindowFixture(*server, {.title = "Covered",
                                                 .colour = "#0000ff",
                                                 .width = 300,
                                                 .height = 200,
                                                 .x = 700,
                                                 .y = 200});
        cover = new GtkWindowFixture(*server, {.title = "Cover",
                                               .colour = "#00ff00",
                                               .width = 500,
                                               .height = 400,
                                               .x = 650,
                                               .y = 150});
    }

    static void TearDownTestSuite() {
        delete cover;
        delete covered;
        delete red;
        delete server;
    }

    void SetUp() override { helper = std::make_unique<HelperProcess>(x11HelperOptions(*server)); }

    Record grab(const Json& request) { return helper->request(request, 10s); }

    std::uint32_t firstDisplayId() {
        auto reply = helper->request({{"cmd", "list_displays"}});
        return reply.header["displays"].at(0)["id"];
    }

    static XServer* server;
    static GtkWindowFixture* red;
    static GtkWindowFixture* covered;
    static GtkWindowFixture* cover;
    std::unique_ptr<HelperProcess> helper;
};

XServer* X11CaptureTest::server = nullptr;
GtkWindowFixture* X11CaptureTest::red = nullptr;
GtkWindowFixture* X11CaptureTest::covered = nullptr;
GtkWindowFixture* X11CaptureTest::cover = nullptr;

TEST_F(X11CaptureTest, ListsApplicationWindowsWithTitlesOwnersAndIdentities) {
    const std::string pythonIdentity = "linux:exe:" + sha256OfFile(systemPython());
    struct Case {
        GtkWindowFixture* window;
        std::string title;
    };
    for (const Case& c :
         {Case{red, "Rot ✓ — ünïcode 日本"}, Case{covered, "Covered"}, Case{cover, "Cover"}}) {
        SCOPED_TRACE(c.title);
        auto listed = waitUntilListed(*helper, c.window->windowId());
        ASSERT_TRUE(listed);
        EXPECT_EQ((*listed)["title"], c.title);
        EXPECT_EQ((*listed)["pid"], c.window->pid());
        EXPECT_EQ((*listed)["app"], "Gtk_window.py");
        EXPECT_EQ((*listed)["application_id"], pythonIdentity);
        EXPECT_EQ((*listed)["process_identity"], startTimeOfProcess(c.window->pid()));
        EXPECT_EQ((*listed)["scale"], 1.0);
    }
}

TEST_F(X11CaptureTest, ListsTheTerminalWithItsExecutableIdentity) {
    auto terminal = server->spawn({"xterm", "-T", "Terminal héllo", "-geometry", "40x10+100+600"});
    std::optional<Json> listed;
    Json windows;
    for (int attempt = 0; attempt < 100 && !listed; ++attempt) {
        windows = helper->request({{"cmd", "list"}}).header["windows"];
        for (const auto& window : windows) {
            if (window["pid"] == terminal->pid()) listed = window;
        }
        if (!listed) std::this_thread::sleep_for(100ms);
    }
    ASSERT_TRUE(listed) << "pid " << terminal->pid() << " not in " << windows.dump();
    EXPECT_EQ((*listed)["title"], "Terminal héllo");
    EXPECT_EQ((*listed)["app"], "XTerm");
    EXPECT_EQ((*listed)["application_id"], "linux:exe:" + sha256OfFile("/usr/bin/xterm"));
}

TEST_F(X11CaptureTest, FramesIncludeTheWindowManagersDecorations) {
    auto listed = waitUntilListed(*helper, red->windowId());
    ASSERT_TRUE(listed);
    auto extents = server->cardinalProperty(red->windowId(), "_NET_FRAME_EXTENTS");
    ASSERT_EQ(extents.size(), 4u);
    EXPECT_GT(extents[2], 0u) << "openbox draws a title bar";
    EXPECT_EQ((*listed)["x"], 100);
    EXPECT_EQ((*listed)["y"], 100);
    EXPECT_EQ((*listed)["width"], 400 + extents[0] + extents[1]);
    EXPECT_EQ((*listed)["height"], 300 + extents[2] + extents[3]);
}

TEST_F(X11CaptureTest, DocksAndWindowsKeptAboveAreNotListed) {
    GtkWindowFixture dock(
        *server,
        {.title = "Dock", .width = 200, .height = 60, .x = 1500, .y = 0, .typeHint = "dock"});
    GtkWindowFixture above(
        *server,
        {.title = "Above", .width = 200, .height = 150, .x = 1500, .y = 700, .keepAbove = true});
    GtkWindowFixture normal(*server, {.title = "Normal", .x = 1500, .y = 400});
    // Listed once the window manager has managed the last of the three.
    ASSERT_TRUE(waitUntilListed(*helper, normal.windowId()));
    EXPECT_FALSE(listedWindow(*helper, dock.windowId()));
    EXPECT_FALSE(listedWindow(*helper, above.windowId()));
}

TEST_F(X11CaptureTest, FrontWindowsComeFirst) {
    ASSERT_TRUE(waitUntilListed(*helper, cover->windowId()));
    auto windows = helper->request({{"cmd", "list"}}).header["windows"];
    auto position = [&](std::uint32_t id) {
        for (std::size_t i = 0; i < windows.size(); ++i) {
            if (windows[i]["id"] == id) return i;
        }
        return windows.size();
    };
    EXPECT_LT(position(cover->windowId()), position(covered->windowId()));
}

TEST_F(X11CaptureTest, ListsTheScreenAsOneDisplayOfScaleOne) {
    auto reply = helper->request({{"cmd", "list_displays"}});
    ASSERT_EQ(reply.type(), "displays");
    ASSERT_EQ(reply.header["displays"].size(), 1u);
    const auto& display = reply.header["displays"][0];
    EXPECT_NE(display["id"], 0);
    EXPECT_EQ(display["x"], 0);
    EXPECT_EQ(display["y"], 0);
    EXPECT_EQ(display["width"], 1920);
    EXPECT_EQ(display["height"], 1080);
    EXPECT_EQ(display["scale"], 1.0);
    EXPECT_EQ(display["display_identity"], "") << "Xvfb's output has no EDID";
}

TEST_F(X11CaptureTest, GrantsEveryPermissionTheServerOffers) {
    for (const char* command : {"permission", "axpermission", "watch_permission"}) {
        for (bool request : {false, true}) {
            SCOPED_TRACE(command);
            auto reply = helper->request({{"cmd", command}, {"request", request}});
            EXPECT_EQ(reply.header, (Json{{"type", "permission"}, {"granted", true}}));
        }
    }
}

TEST_F(X11CaptureTest, CapturesWindowsInTheirOwnColours) {
    struct Case {
        GtkWindowFixture* window;
        std::vector<int> colour;
    };
    for (const Case& c : {Case{red, kRed}, Case{covered, kBlue}, Case{cover, kGreen}}) {
        auto listed = waitUntilListed(*helper, c.window->windowId());
        ASSERT_TRUE(listed);
        SCOPED_TRACE((*listed)["title"].get<std::string>());
        // The blue window lies wholly under the green one: it is still captured whole.
        auto frame = grab({{"cmd", "grab_pixels"}, {"id", c.window->windowId()}});
        ASSERT_EQ(frame.type(), "frame") << frame.header.dump();
        EXPECT_EQ(frame.header["format"], "RGBA");
        EXPECT_EQ(frame.header["w"], (*listed)["width"]);
        EXPECT_EQ(frame.header["h"], (*listed)["height"]);
        auto image = imageOfFrame(frame);
        EXPECT_EQ(image.at(image.width / 2, image.height / 2), c.colour);
        EXPECT_EQ(image.at(image.width / 2, image.height - 10), c.colour);
    }
}

TEST_F(X11CaptureTest, ScalesWindowCapturesToTheBudget) {
    auto listed = waitUntilListed(*helper, red->windowId());
    ASSERT_TRUE(listed);
    auto frame = grab({{"cmd", "grab"}, {"id", red->windowId()}, {"max_px", 200}});
    ASSERT_EQ(frame.type(), "frame") << frame.header.dump();
    EXPECT_EQ(frame.header["format"], "PNG");
    EXPECT_EQ(frame.header["w"], 200);
    auto image = imageOfFrame(frame);
    EXPECT_EQ(image.width, 200);
    EXPECT_TRUE(closeColour(image.at(100, image.height * 2 / 3), kRed));
}

TEST_F(X11CaptureTest, CapturesTheDisplayAsTheScreenShowsIt) {
    auto red_ = waitUntilListed(*helper, red->windowId());
    auto cover_ = waitUntilListed(*helper, cover->windowId());
    ASSERT_TRUE(red_ && cover_);
    auto frame = grab({{"cmd", "grab_display_pixels"}, {"id", firstDisplayId()}});
    ASSERT_EQ(frame.type(), "frame") << frame.header.dump();
    EXPECT_EQ(frame.header["w"], 1920);
    EXPECT_EQ(frame.header["h"], 1080);
    EXPECT_EQ(frame.payload.size(), 1920u * 1080u * 4u);
    auto image = imageOfFrame(frame);
    auto centre = [](const Json& w) {
        return std::pair<int, int>{w["x"].get<int>() + w["width"].get<int>() / 2,
                                   w["y"].get<int>() + w["height"].get<int>() / 2};
    };
    auto [redX, redY] = centre(*red_);
    auto [coverX, coverY] = centre(*cover_);
    EXPECT_EQ(image.at(redX, redY), kRed);
    EXPECT_EQ(image.at(coverX, coverY), kGreen);
}

TEST_F(X11CaptureTest, ScalesDisplayCapturesToTheDefaultBudget) {
    auto frame = grab({{"cmd", "grab_display"}});
    ASSERT_EQ(frame.type(), "frame") << frame.header.dump();
    EXPECT_EQ(frame.header["format"], "PNG");
    EXPECT_EQ(frame.header["w"], 1600);
    EXPECT_EQ(frame.header["h"], 900);
    auto image = imageOfFrame(frame);
    EXPECT_EQ(image.width, 1600);
    EXPECT_EQ(image.height, 900);
}

TEST_F(X11CaptureTest, DisplayCapturesShowTheCursorAndWindowCapturesDoNot) {
    auto listed = waitUntilListed(*helper, red->windowId());
    ASSERT_TRUE(listed);
    const int x = (*listed)["x"].get<int>() + (*listed)["width"].get<int>() / 2;
    const int y = (*listed)["y"].get<int>() + (*listed)["height"].get<int>() / 2;
    auto pointer = server->spawn({"xdotool", "mousemove", std::to_string(x), std::to_string(y)});
    for (int i = 0; i < 100 && pointer->running(); ++i)
        std::this_thread::sleep_for(20ms);
    std::this_thread::sleep_for(200ms);

    // The pointer's tip is at (x, y); the arrow covers pixels to its lower right.
    auto redAround = [](const RgbaImage& image, int left, int top) {
        int count = 0;
        for (int dy = 0; dy < 12; ++dy) {
            for (int dx = 0; dx < 8; ++dx)
                count += image.at(left + dx, top + dy) == kRed;
        }
        return count;
    };
    auto display =
        imageOfFrame(grab({{"cmd", "grab_display"}, {"id", firstDisplayId()}, {"max_px", 0}}));
    EXPECT_LT(redAround(display, x, y), 12 * 8);
    auto window = imageOfFrame(grab({{"cmd", "grab_pixels"}, {"id", red->windowId()}}));
    EXPECT_EQ(redAround(window, x - (*listed)["x"].get<int>(), y - (*listed)["y"].get<int>()),
              12 * 8);
}

TEST_F(X11CaptureTest, AWindowThatVanishesIsNotFound) {
    GtkWindowFixture brief(*server, {.title = "Brief", .x = 300, .y = 500});
    ASSERT_TRUE(waitUntilListed(*helper, brief.windowId()));
    brief.process().kill();
    std::this_thread::sleep_for(300ms);
    for (const char* command : {"grab", "grab_pixels"}) {
        auto reply = grab({{"cmd", command}, {"id", brief.windowId()}});
        EXPECT_EQ(reply.type(), "error");
        EXPECT_EQ(reply.header["error"],
                  "window " + std::to_string(brief.windowId()) + " not found");
    }
}

TEST_F(X11CaptureTest, TitleChangesShowInTheNextListing) {
    red->command("title Geändert ✓");
    auto listed = listedWindow(*helper, red->windowId());
    red->command("title Rot ✓ — ünïcode 日本");
    ASSERT_TRUE(listed);
    EXPECT_EQ((*listed)["title"], "Geändert ✓");
}

TEST(X11CaptureWithoutWindowManagerTest, ListsTheRootsMappedChildrenWithoutDecorations) {
    XServer server({.windowManager = false});
    GtkWindowFixture back(server, {.title = "Back", .colour = "#0000ff", .x = 50, .y = 60});
    GtkWindowFixture front(server, {.title = "Front", .colour = "#00ff00", .x = 200, .y = 160});
    HelperProcess helper(x11HelperOptions(server));
    auto windows = helper.request({{"cmd", "list"}}).header["windows"];
    ASSERT_EQ(windows.size(), 2u) << windows.dump();
    EXPECT_EQ(windows[0]["id"], front.windowId()) << "the last mapped window is on top";
    EXPECT_EQ(windows[1]["id"], back.windowId());
    EXPECT_EQ(windows[1]["title"], "Back");
    EXPECT_EQ(windows[1]["pid"], back.pid());
    EXPECT_EQ(windows[1]["x"], 50);
    EXPECT_EQ(windows[1]["y"], 60);
    EXPECT_EQ(windows[1]["width"], 400);
    EXPECT_EQ(windows[1]["height"], 300);

    auto frame = helper.request({{"cmd", "grab_pixels"}, {"id", back.windowId()}}, 10s);
    ASSERT_EQ(frame.type(), "frame") << frame.header.dump();
    auto image = imageOfFrame(frame);
    // The front window covers the back one's lower right part; the capture shows it whole.
    EXPECT_EQ(image.at(390, 290), kBlue);
}

}  // namespace
}  // namespace brindlemar::testing

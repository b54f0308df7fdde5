// "input", "input_display" and "activate" through the helper on a private Xvfb with openbox,
// checked by what the GTK fixture application reports and by the server's stacking order.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/x11/connection.h"
#include "platform/x11/window_list_queries.h"
#include "support/helper_process.h"
#include "support/x_server.h"
#include "x11/input_test_support.h"
#include "x11/x11_helper.h"

namespace brindlemar::testing {
namespace {

class X11InputProtocolTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { server_ = new XServer(); }
    static void TearDownTestSuite() {
        delete server_;
        server_ = nullptr;
    }

    void SetUp() override {
        auto environment = server_->environment();
        environment["BRINDLEMAR_BACKEND"] = "x11";
        helper_ = std::make_unique<HelperProcess>(
            HelperOptions{.environment = environment, .simBackend = false});
    }

    Json input(std::uint32_t window, Json event) {
        return helper_->request({{"cmd", "input"}, {"id", window}, {"event", event}}).header;
    }

    // A mouse event at a point given in root coordinates, addressed to the fixture's window.
    Json mouseAt(const InputFixture& fixture, double x, double y, const std::string& action) {
        const auto& frame = fixture.layout().at("frame");
        const double nx = (x - frame[0].get<double>()) / frame[2].get<double>();
        const double ny = (y - frame[1].get<double>()) / frame[3].get<double>();
        return input(fixture.windowId(),
                     {{"kind", "mouse"}, {"action", action}, {"nx", nx}, {"ny", ny}});
    }

    void clickOn(const InputFixture& fixture, const std::string& widget) {
        const auto [x, y] = fixture.centre(widget);
        EXPECT_EQ(mouseAt(fixture, x, y, "down"), (Json{{"type", "input"}, {"ok", true}}));
        EXPECT_EQ(mouseAt(fixture, x, y, "up"), (Json{{"type", "input"}, {"ok", true}}));
    }

    void key(const InputFixture& fixture, const std::string& code, const std::string& action) {
        EXPECT_EQ(input(fixture.windowId(), {{"kind", "key"}, {"code", code}, {"action", action}}),
                  (Json{{"type", "input"}, {"ok", true}}))
            << code;
    }

    std::vector<std::uint32_t> frontToBack() {
        auto connection = platform::x11::X11Connection::open(server_->display().c_str());
        return platform::x11::clientWindowsFrontFirst(*connection.value());
    }

    static XServer* server_;
    std::unique_ptr<HelperProcess> helper_;
};
XServer* X11InputProtocolTest::server_ = nullptr;

TEST_F(X11InputProtocolTest, TypedKeysLandInTheFocusedEntryUnderItsLayout) {
    InputFixture fixture(*server_, "Typing");
    clickOn(fixture, "entry");
    struct Step {
        std::vector<std::pair<std::string, std::string>> keys;  // (code, action)
        std::string text;                                       // the entry's text after
    };
    const Step steps[] = {
        {{{"KeyH", "down"}, {"KeyH", "up"}, {"KeyI", "down"}, {"KeyI", "up"}}, "hi"},
        {{{"ShiftLeft", "down"}, {"KeyA", "down"}, {"KeyA", "up"}, {"ShiftLeft", "up"}}, "hiA"},
        {{{"Space", "down"}, {"Space", "up"}, {"Digit5", "down"}, {"Digit5", "up"}}, "hiA 5"},
        {{{"ShiftRight", "down"}, {"Digit1", "down"}, {"Digit1", "up"}, {"ShiftRight", "up"}},
         "hiA 5!"},
        {{{"Backspace", "down"}, {"Backspace", "up"}}, "hiA 5"},
    };
    for (const auto& step : steps) {
        for (const auto& [code, action] : step.keys)
            key(fixture, code, action);
        EXPECT_TRUE(fixture.until("text", [&](const Json& r) { return r["text"] == step.text; }))
            << step.text;
    }
}

TEST_F(X11InputProtocolTest, UnknownKeyIsRefusedAndNothingIsTyped) {
    InputFixture fixture(*server_, "Unknown key");
    EXPECT_EQ(input(fixture.windowId(), {{"kind", "key"}, {"code", "keya"}}),
              (Json{{"type", "input"}, {"ok", false}, {"error", "unknown_key"}}));
}

TEST_F(X11InputProtocolTest, ClickPressesTheButton) {
    InputFixture fixture(*server_, "Button");
    clickOn(fixture, "button");
    EXPECT_TRUE(fixture.next("clicked"));
}

TEST_F(X11InputProtocolTest, TwoQuickClicksAreOneDoubleClickForTheToolkit) {
    InputFixture fixture(*server_, "Double");
    clickOn(fixture, "clicks");
    clickOn(fixture, "clicks");
    EXPECT_TRUE(fixture.until("press", [](const Json& r) { return r["count"] == 2; }));
}

TEST_F(X11InputProtocolTest, DragAcrossTheEntrySelectsItsText) {
    InputFixture fixture(*server_, "Drag");
    fixture.command("text hello world");
    ASSERT_TRUE(fixture.until("text", [](const Json& r) { return r["text"] == "hello world"; }));
    const auto& entry = fixture.layout().at("entry_rect");
    const double y = entry[1].get<double>() + entry[3].get<double>() / 2;
    // Inside the entry's text area, before the first character.
    const double left = entry[0].get<double>() + 10;
    const double right = entry[0].get<double>() + entry[2].get<double>() - 4;
    mouseAt(fixture, left, y, "down");
    mouseAt(fixture, (left + right) / 2, y, "move");
    mouseAt(fixture, right, y, "move");
    mouseAt(fixture, right, y, "up");
    EXPECT_TRUE(fixture.until("selection",
                              [](const Json& r) { return r["start"] == 0 && r["end"] == 11; }));
}

TEST_F(X11InputProtocolTest, ScrollMovesTheScrolledViewDownAndBack) {
    InputFixture fixture(*server_, "Scroll");
    const auto [nx, ny] = fixture.fractionInFrame("scroll");
    EXPECT_EQ(input(fixture.windowId(), {{"kind", "scroll"}, {"dy", 120}, {"nx", nx}, {"ny", ny}}),
              (Json{{"type", "input"}, {"ok", true}}));
    // 120 pixels are three wheel steps; the toolkit reports each.
    std::optional<Json> down;
    for (int step = 0; step < 3; ++step)
        down = fixture.next("scroll");
    ASSERT_TRUE(down);
    EXPECT_GT((*down)["value"].get<double>(), 0);
    // A small distance still moves the view: it is not lost to rounding.
    input(fixture.windowId(), {{"kind", "scroll"}, {"dy", -5}, {"nx", nx}, {"ny", ny}});
    const double reached = (*down)["value"].get<double>();
    EXPECT_TRUE(fixture.until("scroll", [&](const Json& r) { return r["value"] < reached; }));
}

TEST_F(X11InputProtocolTest, DisplayInputWithAnUnknownDisplayActsOnTheMainDisplay) {
    InputFixture fixture(*server_, "Display");
    const auto [x, y] = fixture.centre("button");
    for (const char* action : {"down", "up"}) {
        auto reply = helper_->request(
            {{"cmd", "input_display"},
             {"id", 987654},
             {"event",
              {{"kind", "mouse"}, {"action", action}, {"nx", x / 1920.0}, {"ny", y / 1080.0}}}});
        EXPECT_EQ(reply.header, (Json{{"type", "input"}, {"ok", true}}));
    }
    EXPECT_TRUE(fixture.next("clicked"));
}

TEST_F(X11InputProtocolTest, ActivateBringsACoveredWindowToTheFront) {
    InputFixture back(*server_, "Covered", 100, 100);
    InputFixture front(*server_, "Covering", 120, 120);
    ASSERT_EQ(frontToBack().front(), front.windowId());
    EXPECT_EQ(helper_->request({{"cmd", "activate"}, {"id", back.windowId()}}).header,
              (Json{{"type", "activate"}, {"ok", true}}));
    EXPECT_EQ(frontToBack().front(), back.windowId());
}

TEST_F(X11InputProtocolTest, ActivatedWindowIsWhatTheScreenShows) {
    GtkWindowFixture covered(*server_, {.title = "Red", .colour = "#ff0000", .x = 100, .y = 100});
    GtkWindowFixture cover(*server_, {.title = "Green", .colour = "#00ff00", .x = 200, .y = 150});
    // A point inside both client areas.
    const int x = 350;
    const int y = 300;
    const auto displays = helper_->request({{"cmd", "list_displays"}}).header;
    ASSERT_FALSE(displays.value("displays", Json::array()).empty()) << displays.dump();
    const auto displayId = displays["displays"][0]["id"];
    auto pixelAt = [&]() -> std::vector<int> {
        auto frame = helper_->request({{"cmd", "grab_display_pixels"}, {"id", displayId}}, 10s);
        if (frame.type() != "frame") return {};
        return imageOfFrame(frame).at(x, y);
    };
    const std::vector<int> red{255, 0, 0, 255};
    const std::vector<int> green{0, 255, 0, 255};
    EXPECT_EQ(pixelAt(), green);
    EXPECT_EQ(helper_->request({{"cmd", "activate"}, {"id", covered.windowId()}}).header,
              (Json{{"type", "activate"}, {"ok", true}}));
    EXPECT_EQ(frontToBack().front(), covered.windowId());
    EXPECT_EQ(pixelAt(), red);
}

TEST_F(X11InputProtocolTest, PressOnACoveredWindowRaisesItFirst) {
    InputFixture back(*server_, "Pressed", 100, 100);
    InputFixture front(*server_, "Over", 130, 130);
    clickOn(back, "button");
    EXPECT_EQ(frontToBack().front(), back.windowId());
    EXPECT_TRUE(back.next("clicked"));
}

TEST_F(X11InputProtocolTest, InputAndActivateForAClosedWindowAnswerWindowGone) {
    std::uint32_t closed = 0;
    {
        InputFixture fixture(*server_, "Closing");
        closed = fixture.windowId();
        fixture.command("quit");
        fixture.stop();
    }
    for (const char* kind : {"mouse", "scroll", "key"}) {
        EXPECT_EQ(input(closed, {{"kind", kind}, {"code", "KeyA"}}),
                  (Json{{"type", "input"}, {"ok", false}, {"error", "window_gone"}}))
            << kind;
    }
    EXPECT_EQ(helper_->request({{"cmd", "activate"}, {"id", closed}}).header,
              (Json{{"type", "activate"}, {"ok", false}, {"error", "window_gone"}}));
}

}  // namespace
}  // namespace brindlemar::testing

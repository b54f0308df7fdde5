// Input through the helper on a desktop that is as hostile as real ones are: a dock panel and
// another application's kept-above window stay on screen for every test, windows sit on other
// workspaces, dialogs close on the key just pressed, the keymap changes under the helper. Nothing
// the helper pressed may stay held.

#include <xcb/xcb.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "support/helper_process.h"
#include "support/x_server.h"
#include "x11/input_test_support.h"
#include "x11/x11_helper.h"

namespace brindlemar::testing {
namespace {

const Json kOk = {{"type", "input"}, {"ok", true}};
Json refusal(const std::string& word) {
    return {{"type", "input"}, {"ok", false}, {"error", word}};
}
Json key(const std::string& code, const std::string& action) {
    return {{"kind", "key"}, {"code", code}, {"action", action}};
}

// X keycodes of a PC keyboard (evdev + 8).
constexpr std::uint8_t kEnter = 36;
constexpr std::uint8_t kShiftLeft = 50;
constexpr std::uint8_t kControlLeft = 37;
constexpr std::uint8_t kCapsLock = 66;

// A connection of the test's own for asking the server what is held and where things are.
class ServerProbe {
  public:
    explicit ServerProbe(const std::string& display)
        : connection_(xcb_connect(display.c_str(), nullptr)) {}
    ~ServerProbe() { xcb_disconnect(connection_); }

    bool keyHeld(std::uint8_t keycode) {
        auto* reply = xcb_query_keymap_reply(connection_, xcb_query_keymap(connection_), nullptr);
        if (reply == nullptr) return false;
        const bool held = (reply->keys[keycode / 8] >> (keycode % 8)) & 1;
        std::free(reply);
        return held;
    }
    // The pointer's position and the buttons held (mask bits XCB_BUTTON_MASK_1 ...).
    xcb_query_pointer_reply_t pointer() {
        auto* reply =
            xcb_query_pointer_reply(connection_, xcb_query_pointer(connection_, root()), nullptr);
        xcb_query_pointer_reply_t copy{};
        if (reply != nullptr) copy = *reply;
        std::free(reply);
        return copy;
    }
    bool buttonHeld(int button) {
        return (pointer().mask & (XCB_BUTTON_MASK_1 << (button - 1))) != 0;
    }
    // Asks the window manager, as a pager does, to move `window` to another desktop, or (with
    // `window` the root) to show another desktop.
    void sendDesktopMessage(std::uint32_t window, const char* property, std::uint32_t desktop) {
        auto* atom = xcb_intern_atom_reply(
            connection_,
            xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(std::strlen(property)),
                            property),
            nullptr);
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = atom->atom;
        message.data.data32[0] = desktop;
        message.data.data32[1] = 2;
        std::free(atom);
        xcb_send_event(connection_, 0, root(),
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&message));
        xcb_flush(connection_);
    }
    xcb_window_t root() { return xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root; }

  private:
    xcb_connection_t* connection_;
};

template <class Condition>
bool eventually(Condition condition, std::chrono::milliseconds timeout = 5s) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(20ms);
    }
    return true;
}

// Runs a program on the server and waits for it to end.
void runOn(const XServer& server, const std::vector<std::string>& arguments) {
    auto process = server.spawn(arguments);
    EXPECT_TRUE(eventually([&] { return !process->running(); }, 10s)) << arguments.front();
}

class X11HostileDesktopTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        server_ = new XServer();
        panel_ = new GtkWindowFixture(*server_, {.title = "Panel",
                                                 .colour = "#333333",
                                                 .width = 1920,
                                                 .height = 32,
                                                 .x = 0,
                                                 .y = 0,
                                                 .typeHint = "dock"});
        keptAbove_ = new GtkWindowFixture(*server_, {.title = "Kept above",
                                                     .colour = "#00ffff",
                                                     .width = 300,
                                                     .height = 200,
                                                     .x = 1400,
                                                     .y = 600,
                                                     .keepAbove = true});
    }
    static void TearDownTestSuite() {
        delete keptAbove_;
        delete panel_;
        delete server_;
    }

    void SetUp() override {
        helper_ = std::make_unique<HelperProcess>(x11HelperOptions(*server_));
        probe_ = std::make_unique<ServerProbe>(server_->display());
    }
    void TearDown() override {
        // The last release may still be on its way from the helper's connection.
        for (std::uint8_t keycode : {kEnter, kShiftLeft, kControlLeft, kCapsLock})
            EXPECT_TRUE(eventually([&] { return !probe_->keyHeld(keycode); }, 1s))
                << "keycode " << int(keycode) << " held";
        for (int button = 1; button <= 3; ++button)
            EXPECT_TRUE(eventually([&] { return !probe_->buttonHeld(button); }, 1s))
                << "button " << button << " held";
    }

    Json input(std::uint32_t window, Json event) {
        return helper_->request({{"cmd", "input"}, {"id", window}, {"event", std::move(event)}})
            .header;
    }
    Json inputDisplay(Json event) {
        return helper_->request({{"cmd", "input_display"}, {"event", std::move(event)}}).header;
    }
    Json activate(std::uint32_t window) {
        return helper_->request({{"cmd", "activate"}, {"id", window}}).header;
    }
    // A mouse event at a widget of the fixture, as fractions of its frame.
    Json mouseOn(const InputFixture& fixture, const std::string& widget,
                 const std::string& action) {
        const auto [nx, ny] = fixture.fractionInFrame(widget);
        return input(fixture.windowId(),
                     {{"kind", "mouse"}, {"action", action}, {"nx", nx}, {"ny", ny}});
    }
    Json mouseAt(const InputFixture& fixture, double x, double y, const std::string& action) {
        const auto& frame = fixture.layout().at("frame");
        const double nx = (x - frame[0].get<double>()) / frame[2].get<double>();
        const double ny = (y - frame[1].get<double>()) / frame[3].get<double>();
        return input(fixture.windowId(),
                     {{"kind", "mouse"}, {"action", action}, {"nx", nx}, {"ny", ny}});
    }
    void clickOn(const InputFixture& fixture, const std::string& widget) {
        EXPECT_EQ(mouseOn(fixture, widget, "down"), kOk) << widget;
        EXPECT_EQ(mouseOn(fixture, widget, "up"), kOk) << widget;
    }

    static XServer* server_;
    static GtkWindowFixture* panel_;
    static GtkWindowFixture* keptAbove_;
    std::unique_ptr<HelperProcess> helper_;
    std::unique_ptr<ServerProbe> probe_;
};
XServer* X11HostileDesktopTest::server_ = nullptr;
GtkWindowFixture* X11HostileDesktopTest::panel_ = nullptr;
GtkWindowFixture* X11HostileDesktopTest::keptAbove_ = nullptr;

TEST_F(X11HostileDesktopTest, AKeyReleaseRefusedForADialogThatClosedStillReleasesTheKey) {
    GtkWindowFixture dialog(*server_, {.title = "Dialog",
                                       .width = 300,
                                       .height = 150,
                                       .x = 400,
                                       .y = 300,
                                       .typeHint = "dialog",
                                       .closeOnEnter = true});
    ASSERT_EQ(activate(dialog.windowId()), (Json{{"type", "activate"}, {"ok", true}}));
    EXPECT_EQ(input(dialog.windowId(), key("Enter", "down")), kOk);
    ASSERT_TRUE(eventually([&] { return !dialog.process().running(); }));
    // The window is gone, so the rules refuse the release; the key is let go of all the same.
    EXPECT_EQ(input(dialog.windowId(), key("Enter", "up")), refusal("window_gone"));
    EXPECT_FALSE(probe_->keyHeld(kEnter));
}

TEST_F(X11HostileDesktopTest, AButtonReleaseRefusedForAWindowThatClosedStillReleasesTheButton) {
    InputFixture fixture(*server_, "Closing", 100, 100);
    EXPECT_EQ(mouseOn(fixture, "clicks", "down"), kOk);
    EXPECT_TRUE(eventually([&] { return probe_->buttonHeld(1); }));
    const auto id = fixture.windowId();
    fixture.command("quit");
    fixture.stop();
    EXPECT_EQ(input(id, {{"kind", "mouse"}, {"action", "up"}}), refusal("window_gone"));
    EXPECT_FALSE(probe_->buttonHeld(1));
}

TEST_F(X11HostileDesktopTest, EverythingHeldIsReleasedWhenInputEnds) {
    EXPECT_EQ(inputDisplay(key("ShiftLeft", "down")), kOk);
    EXPECT_EQ(inputDisplay(
                  {{"kind", "mouse"}, {"action", "down"}, {"button", 1}, {"nx", 0.2}, {"ny", 0.9}}),
              kOk);
    EXPECT_TRUE(eventually([&] { return probe_->keyHeld(kShiftLeft); }));
    EXPECT_TRUE(eventually([&] { return probe_->buttonHeld(2); }));
    helper_->closeInput();
    EXPECT_EQ(helper_->wait(), 0);
    EXPECT_FALSE(probe_->keyHeld(kShiftLeft));
    EXPECT_FALSE(probe_->buttonHeld(2));
}

TEST_F(X11HostileDesktopTest, EverythingHeldIsReleasedWhenTheHelperIsTerminated) {
    EXPECT_EQ(inputDisplay(key("ControlLeft", "down")), kOk);
    EXPECT_EQ(inputDisplay({{"kind", "mouse"}, {"action", "down"}, {"nx", 0.2}, {"ny", 0.9}}), kOk);
    EXPECT_TRUE(eventually([&] { return probe_->keyHeld(kControlLeft); }));
    ::kill(helper_->pid(), SIGTERM);
    helper_->wait();
    EXPECT_FALSE(probe_->keyHeld(kControlLeft));
    EXPECT_FALSE(probe_->buttonHeld(1));
}

TEST_F(X11HostileDesktopTest, DoubleClicksRegisterWithAPanelAndAKeptAboveWindowOnScreen) {
    InputFixture fixture(*server_, "Double", 100, 100);
    clickOn(fixture, "clicks");
    clickOn(fixture, "clicks");
    EXPECT_TRUE(fixture.until("press", [](const Json& r) { return r["count"] == 2; }));
    // The same on a covered window: the first press raises it, the second needs no raise.
    // GTK takes a press within twice its double-click time of the last pair for a triple click,
    // so the pairs are kept apart.
    InputFixture cover(*server_, "Cover", 150, 150);
    std::this_thread::sleep_for(1s);
    clickOn(fixture, "clicks");
    clickOn(fixture, "clicks");
    EXPECT_TRUE(fixture.until("press", [](const Json& r) { return r["count"] == 2; }));
}

TEST_F(X11HostileDesktopTest, KeysForAWindowWhoseApplicationHasNoFocusAreRefusedNotTyped) {
    InputFixture target(*server_, "Target", 100, 100);
    InputFixture focused(*server_, "Focused", 700, 100);
    clickOn(focused, "entry");
    EXPECT_EQ(input(target.windowId(), key("KeyX", "down")), refusal("window_not_in_front"));
    EXPECT_EQ(input(target.windowId(), key("KeyX", "up")), refusal("window_not_in_front"));
    EXPECT_FALSE(focused.next("text", 500ms)) << "typed into the window that has the focus";
    // Keys for the focused application go through.
    EXPECT_EQ(input(focused.windowId(), key("KeyX", "down")), kOk);
    EXPECT_EQ(input(focused.windowId(), key("KeyX", "up")), kOk);
    EXPECT_TRUE(focused.until("text", [](const Json& r) { return r["text"] == "x"; }));
}

TEST_F(X11HostileDesktopTest, APressWhereAnotherApplicationsWindowStaysAboveIsRefused) {
    // The kept-above window covers 1400..1700 x 600..800, inside this window's frame.
    InputFixture under(*server_, "Under", 1300, 450);
    EXPECT_EQ(mouseAt(under, 1550, 700, "down"), refusal("window_not_in_front"));
    EXPECT_EQ(mouseAt(under, 1550, 700, "up"), refusal("window_not_in_front"));
    EXPECT_EQ(input(under.windowId(), {{"kind", "scroll"}, {"dy", 80}, {"nx", 0.6}, {"ny", 0.45}}),
              refusal("window_not_in_front"));
    // Where nothing covers it, the window takes the click.
    clickOn(under, "button");
    EXPECT_TRUE(under.next("clicked"));
}

TEST_F(X11HostileDesktopTest, ActivateAnswersFalseForAWindowThatDidNotComeForward) {
    GtkWindowFixture hidden(*server_, {.title = "Hidden", .x = 500, .y = 500});
    hidden.command("hide");
    EXPECT_EQ(activate(hidden.windowId()),
              (Json{{"type", "activate"}, {"ok", false}, {"error", "window_not_in_front"}}));
}

TEST_F(X11HostileDesktopTest, APressOnAWindowOnAnotherWorkspaceSwitchesThereFirst) {
    InputFixture elsewhere(*server_, "Elsewhere", 200, 200);
    probe_->sendDesktopMessage(elsewhere.windowId(), "_NET_WM_DESKTOP", 2);
    ASSERT_TRUE(eventually([&] {
        return server_->cardinalProperty(elsewhere.windowId(), "_NET_WM_DESKTOP") ==
               std::vector<std::uint32_t>{2};
    }));
    clickOn(elsewhere, "button");
    EXPECT_TRUE(elsewhere.next("clicked"));
    EXPECT_EQ(server_->cardinalProperty(probe_->root(), "_NET_CURRENT_DESKTOP"),
              std::vector<std::uint32_t>{2});
    probe_->sendDesktopMessage(probe_->root(), "_NET_CURRENT_DESKTOP", 0);
}

TEST_F(X11HostileDesktopTest, AFractionOfOneLandsOnTheLastPixelInside) {
    InputFixture fixture(*server_, "Edge", 300, 300);
    const auto& frame = fixture.layout().at("frame");
    const int left = frame[0].get<int>();
    const int top = frame[1].get<int>();
    const int right = left + frame[2].get<int>() - 1;
    const int bottom = top + frame[3].get<int>() - 1;
    struct Row {
        double nx, ny;
        int x, y;
    };
    const Row rows[] = {{1, 1, right, bottom}, {0, 0, left, top}, {7, -3, right, top}};
    for (const auto& row : rows) {
        EXPECT_EQ(input(fixture.windowId(),
                        {{"kind", "mouse"}, {"action", "move"}, {"nx", row.nx}, {"ny", row.ny}}),
                  kOk);
        // The motion may still be on its way from the helper's connection.
        EXPECT_TRUE(eventually(
            [&] {
                const auto pointer = probe_->pointer();
                return pointer.root_x == row.x && pointer.root_y == row.y;
            },
            1s))
            << row.nx << ", " << row.ny;
    }
}

TEST_F(X11HostileDesktopTest, KeysFollowAKeymapChangedAfterStart) {
    ProbeWindow window(server_->display(), 600, 400, 200, 200);
    window.focus();
    auto pressed = [&](const std::string& code) {
        window.drain();
        EXPECT_EQ(inputDisplay(key(code, "down")), kOk);
        EXPECT_EQ(inputDisplay(key(code, "up")), kOk);
        const auto events = window.collect(2);
        return events.empty() ? 0 : int(events.front().detail);
    };
    EXPECT_EQ(pressed("ControlLeft"), kControlLeft);
    // Control and Caps Lock swap places: the key that gives Control is now the Caps Lock key.
    runOn(*server_, {"setxkbmap", "-option", "ctrl:swapcaps"});
    EXPECT_EQ(pressed("ControlLeft"), kCapsLock);
    runOn(*server_, {"setxkbmap", "-option", ""});
    EXPECT_EQ(pressed("ControlLeft"), kControlLeft);
}

}  // namespace
}  // namespace brindlemar::testing

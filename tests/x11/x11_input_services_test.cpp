// The X11 input services against a private Xvfb with openbox: events are checked where an X
// client receives them, windows where the server and the window manager keep them.

#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <thread>

#include <gtest/gtest.h>

#include "platform/x11/connection.h"
#include "platform/x11/events_poster.h"
#include "platform/x11/input_services.h"
#include "platform/x11/window_list_queries.h"
#include "platform/x11/window_list_raise.h"
#include "support/x_server.h"
#include "x11/input_test_support.h"

namespace brindlemar::testing {
namespace {

using namespace platform;
using namespace platform::x11;

std::unique_ptr<X11Connection> connect(const XServer& server) {
    auto connection = X11Connection::open(server.display().c_str());
    if (!connection) throw std::runtime_error(connection.error().message);
    return std::move(connection).value();
}

SyntheticEvent keyEvent(std::uint16_t virtualKey, bool down, std::uint64_t flags = 0) {
    SyntheticEvent event;
    event.type = down ? EventType::KeyDown : EventType::KeyUp;
    event.keyCode = virtualKey;
    event.keyDown = down;
    event.flags = flags;
    return event;
}

SyntheticEvent mouseEvent(EventType type, double x, double y,
                          std::optional<MouseButton> button = std::nullopt) {
    SyntheticEvent event;
    event.type = type;
    event.location = Point{x, y};
    event.button = button;
    return event;
}

SyntheticEvent scrollEvent(double x, double y, std::int32_t vertical, std::int32_t horizontal) {
    SyntheticEvent event;
    event.type = EventType::ScrollWheel;
    event.location = Point{x, y};
    event.wheel = std::array<std::int32_t, 2>{vertical, horizontal};
    return event;
}

class X11InputServicesTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { server_ = new XServer(); }
    static void TearDownTestSuite() {
        delete server_;
        server_ = nullptr;
    }
    void SetUp() override { connection_ = connect(*server_); }

    static XServer* server_;
    std::unique_ptr<X11Connection> connection_;
};
XServer* X11InputServicesTest::server_ = nullptr;

TEST_F(X11InputServicesTest, ServerKeymapUsesEvdevPositionsForEveryKey) {
    XTestEventPoster poster(*connection_);
    const auto& keymap = poster.keymap();
    EXPECT_EQ(keymap.anchorsMoved(), 0);
    EXPECT_EQ(keymap.anchorsConfirmed(), 40);
    for (const auto& position : keyPositions()) {
        auto keycode = keymap.keycodeFor(position.virtualKey);
        ASSERT_TRUE(keycode) << "virtual key " << position.virtualKey;
        EXPECT_EQ(*keycode, position.evdev + 8) << "virtual key " << position.virtualKey;
    }
    EXPECT_FALSE(keymap.keycodeFor(0x0A));  // the ISO section key is not in the table
}

TEST_F(X11InputServicesTest, KeysArriveAtTheFocusedWindowByPosition) {
    ProbeWindow probe(server_->display(), 300, 300, 200, 200);
    probe.focus();
    auto poster = makeEventPoster(*connection_);
    struct Case {
        const char* name;
        std::uint16_t virtualKey;
        std::uint8_t keycode;
    };
    const Case cases[] = {
        {"KeyA", 0x00, 38},      {"KeyZ", 0x06, 52},         {"Digit1", 0x12, 10},
        {"Enter", 0x24, 36},     {"NumpadEnter", 0x4C, 104}, {"Backspace", 0x33, 22},
        {"Delete", 0x75, 119},   {"Insert", 0x72, 118},      {"NumLock", 0x47, 77},
        {"MetaLeft", 0x37, 133}, {"ContextMenu", 0x6E, 135}, {"ArrowUp", 0x7E, 111},
        {"F13", 0x69, 191},      {"Backquote", 0x32, 49},
    };
    for (const auto& c : cases) {
        probe.drain();
        ASSERT_TRUE(poster->post(keyEvent(c.virtualKey, true), EventTarget::hid())) << c.name;
        ASSERT_TRUE(poster->post(keyEvent(c.virtualKey, false), EventTarget::hid())) << c.name;
        auto events = probe.collect(2);
        ASSERT_EQ(events.size(), 2u) << c.name;
        EXPECT_EQ(events[0].type, XCB_KEY_PRESS) << c.name;
        EXPECT_EQ(events[0].detail, c.keycode) << c.name;
        EXPECT_EQ(events[1].type, XCB_KEY_RELEASE) << c.name;
        EXPECT_EQ(events[1].detail, c.keycode) << c.name;
    }
    // The ISO section key has no place on a PC keyboard: the post fails and says so.
    const auto missing = poster->post(keyEvent(0x0A, true), EventTarget::hid());
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().message,
              "the keyboard has no key at the position of virtual key 0x0A");
}

TEST_F(X11InputServicesTest, KeyEventsCarryingTextTypeItWithTheLayoutsKeys) {
    InputFixture fixture(*server_, "Text");
    fixture.command("focus");
    auto poster = makeEventPoster(*connection_);
    struct Case {
        std::string text;
        bool complete;         // every character has a key in the layout
        std::string expected;  // the entry's whole text afterwards
    };
    const Case cases[] = {
        {"Hi", true, "Hi"},
        {" there, World!", true, "Hi there, World!"},
        {" ~{x}", true, "Hi there, World! ~{x}"},
        {" \u2713ok", false, "Hi there, World! ~{x} ok"},  // no key types a check mark
        // An overlong "/" and a surrogate are not characters: nothing of them is typed.
        {"\xC0\xAF\xED\xA0\x80.", false, "Hi there, World! ~{x} ok."},
    };
    for (const auto& c : cases) {
        SyntheticEvent down = keyEvent(0x00, true);
        down.unicode = c.text;
        SyntheticEvent up = keyEvent(0x00, false);
        up.unicode = c.text;
        EXPECT_EQ(poster->post(down, EventTarget::process(fixture.pid())).ok(), c.complete)
            << c.text;
        EXPECT_TRUE(poster->post(up, EventTarget::process(fixture.pid())));
        EXPECT_TRUE(fixture.until("text", [&](const nlohmann::json& r) {
            return r["text"] == c.expected;
        })) << c.expected;
    }
}

TEST_F(X11InputServicesTest, TextIsTypedWithTheKeysOfALayoutChosenAfterStart) {
    InputFixture fixture(*server_, "Layout");
    fixture.command("focus");
    // The fixture focuses its entry in its own time; keys typed before would go elsewhere.
    xcb_connection_t* c = connection_->raw();
    for (int tries = 0; tries < 250; ++tries) {
        // GTK focuses a child window of its own inside the top-level.
        auto* focus = xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr);
        auto* tree = focus != nullptr
                         ? xcb_query_tree_reply(c, xcb_query_tree(c, focus->focus), nullptr)
                         : nullptr;
        const bool focused = tree != nullptr && (focus->focus == fixture.windowId() ||
                                                 tree->parent == fixture.windowId());
        std::free(tree);
        std::free(focus);
        if (focused) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    auto poster = makeEventPoster(*connection_);
    auto typeText = [&](const std::string& text) {
        SyntheticEvent down = keyEvent(0x00, true);
        down.unicode = text;
        EXPECT_TRUE(poster->post(down, EventTarget::hid())) << text;
    };
    typeText("yz");
    ASSERT_TRUE(fixture.until("text", [](const nlohmann::json& r) { return r["text"] == "yz"; }));
    // On a German keyboard Y and Z swap places: the text stays the text.
    auto layout = server_->spawn({"setxkbmap", "de"});
    while (layout->running())
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    // The toolkit reads the new keymap in its own time (slowly on a loaded machine), and reads
    // the keys typed next by it.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    typeText("yz");
    EXPECT_TRUE(fixture.until("text", [](const nlohmann::json& r) { return r["text"] == "yzyz"; }));
    layout = server_->spawn({"setxkbmap", "us"});
    while (layout->running())
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

TEST_F(X11InputServicesTest, HeldModifierIsARealKeyThatLaterEventsCarry) {
    ProbeWindow probe(server_->display(), 300, 300, 200, 200);
    probe.focus();
    const auto [x, y] = probe.origin();
    auto poster = makeEventPoster(*connection_);
    probe.drain();
    poster->post(keyEvent(0x38, true, event_flags::kShift), EventTarget::hid());  // ShiftLeft
    poster->post(keyEvent(0x00, true, event_flags::kShift), EventTarget::hid());
    poster->post(keyEvent(0x00, false, event_flags::kShift), EventTarget::hid());
    poster->post(mouseEvent(EventType::LeftMouseDown, x + 50, y + 50, MouseButton::Left),
                 EventTarget::hid());
    poster->post(mouseEvent(EventType::LeftMouseUp, x + 50, y + 50, MouseButton::Left),
                 EventTarget::hid());
    poster->post(keyEvent(0x3C, false), EventTarget::hid());  // ShiftRight up
    poster->post(keyEvent(0x00, true), EventTarget::hid());
    auto events = probe.collect(9);
    std::vector<std::pair<std::uint8_t, std::uint8_t>> presses;
    std::vector<std::uint16_t> states;
    for (const auto& event : events) {
        if (event.type == XCB_KEY_PRESS || event.type == XCB_BUTTON_PRESS) {
            presses.emplace_back(event.type, event.detail);
            states.push_back(event.state & XCB_MOD_MASK_SHIFT);
        }
    }
    // Shift_L pressed for real; "a" and the click carry it; releasing ShiftRight (not held)
    // leaves the left key down, so the next "a" still does.
    ASSERT_EQ(presses.size(), 4u);
    EXPECT_EQ(presses[0], std::make_pair(std::uint8_t{XCB_KEY_PRESS}, std::uint8_t{50}));
    EXPECT_EQ(states[1], XCB_MOD_MASK_SHIFT);
    EXPECT_EQ(presses[2], std::make_pair(std::uint8_t{XCB_BUTTON_PRESS}, std::uint8_t{1}));
    EXPECT_EQ(states[2], XCB_MOD_MASK_SHIFT);
    poster->post(keyEvent(0x00, false), EventTarget::hid());
    poster->post(keyEvent(0x38, false), EventTarget::hid());
}

TEST_F(X11InputServicesTest, FlagsWithoutTheirKeyHeldPressTheModifierAroundOneEvent) {
    ProbeWindow probe(server_->display(), 300, 300, 200, 200);
    probe.focus();
    auto poster = makeEventPoster(*connection_);
    probe.drain();
    poster->post(keyEvent(0x08, true, event_flags::kControl), EventTarget::hid());  // KeyC
    poster->post(keyEvent(0x08, false, event_flags::kControl), EventTarget::hid());
    poster->post(keyEvent(0x08, true), EventTarget::hid());
    auto events = probe.collect(7);
    ASSERT_EQ(events.size(), 7u);
    // Control_L down, c down (with Control), Control_L up; then the same around the release;
    // then a plain c.
    EXPECT_EQ(events[0].detail, 37);
    EXPECT_EQ(events[1].detail, 54);
    EXPECT_EQ(events[1].state & XCB_MOD_MASK_CONTROL, XCB_MOD_MASK_CONTROL);
    EXPECT_EQ(events[2].type, XCB_KEY_RELEASE);
    EXPECT_EQ(events[6].detail, 54);
    EXPECT_EQ(events[6].state & XCB_MOD_MASK_CONTROL, 0);
    poster->post(keyEvent(0x08, false), EventTarget::hid());
}

TEST_F(X11InputServicesTest, PointerEventsMoveThenPressTheMappedButton) {
    ProbeWindow probe(server_->display(), 300, 300, 200, 200);
    const auto [x, y] = probe.origin();
    auto poster = makeEventPoster(*connection_);
    struct Case {
        EventType down;
        EventType up;
        MouseButton button;
        std::uint8_t xButton;
    };
    const Case cases[] = {
        {EventType::LeftMouseDown, EventType::LeftMouseUp, MouseButton::Left, 1},
        {EventType::OtherMouseDown, EventType::OtherMouseUp, MouseButton::Center, 2},
        {EventType::RightMouseDown, EventType::RightMouseUp, MouseButton::Right, 3},
    };
    int offset = 10;
    for (const auto& c : cases) {
        probe.drain();
        const double px = x + offset;
        const double py = y + 2 * offset;
        offset += 20;
        poster->post(mouseEvent(c.down, px, py, c.button), EventTarget::process(1));
        poster->post(mouseEvent(c.up, px, py, c.button), EventTarget::process(1));
        auto events = probe.collect(4, std::chrono::milliseconds(300));
        std::vector<ProbeWindow::Event> buttons;
        for (const auto& event : events)
            if (event.type == XCB_BUTTON_PRESS || event.type == XCB_BUTTON_RELEASE)
                buttons.push_back(event);
        ASSERT_FALSE(events.empty());
        EXPECT_EQ(events.front().type, XCB_MOTION_NOTIFY);
        ASSERT_EQ(buttons.size(), 2u);
        EXPECT_EQ(buttons[0].type, XCB_BUTTON_PRESS);
        EXPECT_EQ(buttons[0].detail, c.xButton);
        EXPECT_EQ(buttons[0].rootX, static_cast<int>(px));
        EXPECT_EQ(buttons[0].rootY, static_cast<int>(py));
        EXPECT_EQ(buttons[1].type, XCB_BUTTON_RELEASE);
        EXPECT_EQ(buttons[1].detail, c.xButton);
    }
}

TEST_F(X11InputServicesTest, DragIsMotionWhileTheButtonIsHeld) {
    ProbeWindow probe(server_->display(), 300, 300, 200, 200);
    const auto [x, y] = probe.origin();
    auto poster = makeEventPoster(*connection_);
    probe.drain();
    poster->post(mouseEvent(EventType::LeftMouseDown, x + 10, y + 10, MouseButton::Left),
                 EventTarget::hid());
    poster->post(mouseEvent(EventType::LeftMouseDragged, x + 90, y + 40, MouseButton::Left),
                 EventTarget::hid());
    poster->post(mouseEvent(EventType::LeftMouseUp, x + 90, y + 40, MouseButton::Left),
                 EventTarget::hid());
    auto events = probe.collect(5);
    ASSERT_GE(events.size(), 4u);
    const int dragX = x + 90;
    const auto drag = std::find_if(events.begin(), events.end(), [dragX](const auto& e) {
        return e.type == XCB_MOTION_NOTIFY && e.rootX == dragX;
    });
    ASSERT_NE(drag, events.end());
    EXPECT_EQ(drag->state & XCB_BUTTON_MASK_1, XCB_BUTTON_MASK_1);
}

TEST_F(X11InputServicesTest, ScrollBecomesWheelStepsWithTheRemainderCarried) {
    ProbeWindow probe(server_->display(), 300, 300, 200, 200);
    const auto [x, y] = probe.origin();
    auto poster = makeEventPoster(*connection_);
    struct Case {
        const char* name;
        std::vector<std::array<std::int32_t, 2>> wheels;  // [vertical, horizontal] per event
        std::vector<std::uint8_t> buttons;                // wheel buttons pressed, in order
    };
    // 40 pixels a step. Each request rounds towards its own direction and carries the rest.
    const Case cases[] = {
        {"one step down", {{-40, 0}}, {5}},
        {"small distance moves at once", {{-10, 0}}, {5}},
        {"its credit absorbs the next three", {{-10, 0}, {-10, 0}, {-10, 0}}, {}},
        {"then steps again", {{-10, 0}}, {5}},
        {"100 up, with the 30 owed upwards", {{100, 0}}, {4, 4, 4, 4}},
        {"30 more up was sent already", {{30, 0}}, {}},
        {"right and left", {{0, -80}, {0, 40}}, {7, 7, 6}},
    };
    for (const auto& c : cases) {
        probe.drain();
        for (const auto& wheel : c.wheels)
            poster->post(scrollEvent(x + 100, y + 100, wheel[0], wheel[1]), EventTarget::hid());
        // Ask for more than expected, so that extra steps would show.
        auto events = probe.collect(c.buttons.size() * 2 + 8, std::chrono::milliseconds(300));
        std::vector<std::uint8_t> pressed;
        for (const auto& event : events)
            if (event.type == XCB_BUTTON_PRESS) pressed.push_back(event.detail);
        EXPECT_EQ(pressed, c.buttons) << c.name;
    }
}

TEST_F(X11InputServicesTest, WindowListDescribesFramesOwnersAndMonitors) {
    InputFixture fixture(*server_, "Listed");
    auto windows = makeWindowList(*connection_);
    auto entry = windows->describeWindow(fixture.windowId());
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->number, fixture.windowId());
    EXPECT_EQ(entry->ownerPid, fixture.pid());
    const auto& frame = fixture.layout().at("frame");
    ASSERT_TRUE(entry->bounds);
    EXPECT_EQ(*entry->bounds, (Rect{frame[0].get<double>(), frame[1].get<double>(),
                                    frame[2].get<double>(), frame[3].get<double>()}));

    EXPECT_FALSE(windows->describeWindow(0));
    EXPECT_FALSE(windows->describeWindow(connection_->root()));
    EXPECT_FALSE(windows->describeWindow(0x7fffffff));

    const auto main = windows->mainDisplayId();
    EXPECT_NE(main, 0u);
    EXPECT_EQ(windows->displayBounds(main), (Rect{0, 0, 1920, 1080}));
    EXPECT_EQ(windows->displayBounds(main + 12345), Rect{});
    EXPECT_EQ(windows->displayBounds(0), Rect{});

    const auto id = fixture.windowId();
    fixture.command("quit");
    fixture.stop();
    EXPECT_FALSE(windows->describeWindow(id));
}

TEST_F(X11InputServicesTest, HiddenWindowIsStillDescribedWithItsOwner) {
    GtkWindowFixture window(*server_, {.title = "Hidden"});
    window.command("hide");  // answered once the server has unmapped it
    auto entry = makeWindowList(*connection_)->describeWindow(window.windowId());
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->ownerPid, window.pid());
    EXPECT_TRUE(entry->bounds);
}

TEST_F(X11InputServicesTest, AccessibilityListsRaisesAndRefusesTheRest) {
    InputFixture back(*server_, "Back", 100, 100);
    InputFixture front(*server_, "Front", 150, 150);
    WindowRaiser raiser(*connection_);
    auto accessibility = makeAccessibility(*connection_, raiser);
    auto application = accessibility->applicationElement(back.pid());
    auto windows = accessibility->copyAttribute(application, "AXWindows");
    ASSERT_TRUE(windows);
    const auto& list = std::get<std::vector<AXElement>>(*windows);
    ASSERT_EQ(list.size(), 1u);

    const auto& frame = back.layout().at("frame");
    auto position = accessibility->copyAttribute(list[0], "AXPosition");
    auto size = accessibility->copyAttribute(list[0], "AXSize");
    ASSERT_TRUE(position && size);
    EXPECT_EQ(std::get<Point>(*position), (Point{frame[0].get<double>(), frame[1].get<double>()}));
    EXPECT_EQ(std::get<Size>(*size), (Size{frame[2].get<double>(), frame[3].get<double>()}));

    for (const char* attribute : {"AXTitle", "AXRole", "AXFocusedWindow"}) {
        auto value = accessibility->copyAttribute(list[0], attribute);
        ASSERT_FALSE(value) << attribute;
        EXPECT_EQ(value.error().code, -25205) << attribute;
        EXPECT_EQ(value.error().domain, kAccessibilityErrorDomain);
    }
    EXPECT_FALSE(accessibility->copyAttribute(application, "AXTitle"));
    EXPECT_FALSE(accessibility->performAction(list[0], "AXPress"));

    EXPECT_NE(clientWindowsFrontFirst(*connection_).front(), back.windowId());
    ASSERT_TRUE(accessibility->performAction(list[0], "AXRaise"));
    EXPECT_EQ(clientWindowsFrontFirst(*connection_).front(), back.windowId());
}

TEST_F(X11InputServicesTest, WorkspaceActivatesTheFrontMostWindowOfAProcess) {
    InputFixture back(*server_, "Back", 100, 100);
    InputFixture front(*server_, "Front", 150, 150);
    WindowRaiser raiser(*connection_);
    auto workspace = makeWorkspace(*connection_, raiser);
    ASSERT_EQ(clientWindowsFrontFirst(*connection_).front(), front.windowId());
    EXPECT_TRUE(workspace->activateApplication(back.pid()));
    EXPECT_EQ(clientWindowsFrontFirst(*connection_).front(), back.windowId());
    EXPECT_FALSE(workspace->activateApplication(getpid()));  // no windows
    EXPECT_FALSE(workspace->activateApplication(0));
}

TEST(X11InputServerLossTest, PostsFailWithTheLostConnection) {
    XServer server({.windowManager = false});
    auto connection = connect(server);
    auto poster = makeEventPoster(*connection);
    ASSERT_TRUE(poster->post(mouseEvent(EventType::MouseMoved, 5, 5), EventTarget::hid()));
    server.kill();
    const SyntheticEvent events[] = {mouseEvent(EventType::LeftMouseDown, 5, 5, MouseButton::Left),
                                     keyEvent(0x00, true), scrollEvent(5, 5, -40, 0)};
    for (const auto& event : events) {
        const auto posted = poster->post(event, EventTarget::hid());
        ASSERT_FALSE(posted);
        EXPECT_EQ(posted.error().message, "X server connection lost");
    }
}

TEST(X11InputWithoutWindowManagerTest, ActivationRestacksAndListsFollowTheRootsChildren) {
    XServer bare({.windowManager = false});
    auto connection = connect(bare);
    InputFixture back(bare, "Back", 100, 100);
    InputFixture front(bare, "Front", 150, 150);
    ASSERT_EQ(clientWindowsFrontFirst(*connection).front(), front.windowId());
    WindowRaiser raiser(*connection);
    auto accessibility = makeAccessibility(*connection, raiser);
    auto windows =
        accessibility->copyAttribute(accessibility->applicationElement(back.pid()), "AXWindows");
    ASSERT_TRUE(windows);
    EXPECT_EQ(std::get<std::vector<AXElement>>(*windows).size(), 1u);
    EXPECT_TRUE(makeWorkspace(*connection, raiser)->activateApplication(back.pid()));
    EXPECT_EQ(clientWindowsFrontFirst(*connection).front(), back.windowId());
    // Without decorations the frame is the window itself.
    auto entry = makeWindowList(*connection)->describeWindow(back.windowId());
    ASSERT_TRUE(entry && entry->bounds);
    const auto& frame = back.layout().at("frame");
    EXPECT_EQ(entry->bounds->x, frame[0].get<double>());
    EXPECT_EQ(entry->bounds->width, frame[2].get<double>());
}

TEST_F(X11InputServicesTest, LaunchTimeComesFromProcAndIsAbsentOnceTheProcessIsGone) {
    WindowRaiser raiser(*connection_);
    auto workspace = makeWorkspace(*connection_, raiser);
    const auto self = workspace->launchTime(getpid());
    ASSERT_TRUE(self);
    const double now = static_cast<double>(std::time(nullptr));
    EXPECT_LE(*self, now + 1);
    EXPECT_GT(*self, now - 3600);

    const pid_t child = fork();
    if (child == 0) _exit(0);
    waitpid(child, nullptr, 0);
    EXPECT_FALSE(workspace->launchTime(child));
    EXPECT_FALSE(workspace->launchTime(-1));
}

TEST_F(X11InputServicesTest, DragChangeCountFollowsXdndSelectionOwners) {
    auto pasteboards = makePasteboards(*connection_);
    const auto before = pasteboards->dragPasteboardChangeCount();
    ProbeWindow owner(server_->display(), 0, 0, 10, 10);
    xcb_connection_t* c = owner.connection();
    auto* atom = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, 13, "XdndSelection"), nullptr);
    ASSERT_NE(atom, nullptr);
    for (int i = 0; i < 2; ++i)
        xcb_set_selection_owner(c, owner.id(), atom->atom, XCB_CURRENT_TIME);
    std::free(atom);
    owner.drain();
    EXPECT_EQ(pasteboards->dragPasteboardChangeCount(), before + 2);
    EXPECT_EQ(pasteboards->dragPasteboardChangeCount(), before + 2);
}

}  // namespace
}  // namespace brindlemar::testing

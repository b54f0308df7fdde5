// Bounded control and the control context through the binary on the simulated desktop: malformed
// requests, the gate with a real cancellation pipe, focus and its wait, clicks and the point
// formula, scrolling, keys and hotkeys, typing in chunks, display targets and the context record.

#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "semantic_session.h"

namespace brindlemar::testing {
namespace {

const Json kOk = {{"type", "control"}, {"ok", true}};
const Json kRefused = {{"type", "control"}, {"ok", false}, {"refused", true}};
const Json kStopped = {{"type", "control"}, {"ok", false}, {"refused", false}};

const char* const kDisplayUuid = "5CE1D15A-0000-4000-8000-000000000001";

Json signature(const char* identifier) {
    return {{"team", "ABCDE12345"}, {"identifier", identifier}};
}

// Display 1 is the main display, display 2 lies to its right and display 3 is inactive. The
// editor (501) is in front with window 7 focused; the viewer (502) owns window 9; the sleeper
// (503) never comes to the front when activated; 504 has no code signature.
Json controlScene() {
    return {
        {"clock", kSceneClock},
        {"displays",
         {{{"id", 1}, {"frame", {0, 0, 1512, 982}}},
          {{"id", 2}, {"frame", {1512, 0, 1920, 1080}}},
          {{"id", 3}, {"frame", {0, 982, 800, 600}}, {"active", false}}}},
        {"apps",
         {{{"pid", 501},
           {"name", "Editor"},
           {"launched", 1699990000.0},
           {"signature", signature("editor")},
           {"ax", {{"focused_window", 7}}}},
          {{"pid", 502},
           {"name", "Viewer"},
           {"launched", 1699990001.0},
           {"signature", signature("viewer")},
           {"ax", {{"focused_window", 9}}}},
          {{"pid", 503},
           {"name", "Sleeper"},
           {"launched", 1699990002.0},
           {"signature", signature("sleeper")},
           {"activates", false}},
          {{"pid", 504}, {"name", "Unsigned"}, {"launched", 1699990003.0}}}},
        {"frontmost", 501},
        {"windows",
         {{{"id", 7}, {"pid", 501}, {"title", "Report"}, {"frame", {100, 80, 1000, 500}}},
          {{"id", 9}, {"pid", 502}, {"title", "Photo"}, {"frame", {300, 200, 400, 300}}},
          {{"id", 10}, {"pid", 503}, {"title", "Nap"}, {"frame", {700, 100, 300, 200}}},
          {{"id", 11}, {"pid", 504}, {"title", "Raw"}, {"frame", {10, 10, 50, 50}}}}},
    };
}

Json windowTarget(int id) {
    struct Window {
        int id, pid;
        double x, y, width, height;
        const char* app;
        const char* launched;
    };
    static const Window kWindows[] = {
        {7, 501, 100, 80, 1000, 500, "editor", "1699990000.0"},
        {9, 502, 300, 200, 400, 300, "viewer", "1699990001.0"},
        {10, 503, 700, 100, 300, 200, "sleeper", "1699990002.0"},
    };
    for (const auto& w : kWindows) {
        if (w.id != id) continue;
        return {{"id", w.id},
                {"x", w.x},
                {"y", w.y},
                {"width", w.width},
                {"height", w.height},
                {"pid", w.pid},
                {"application_id", std::string("macos:ABCDE12345:") + w.app},
                {"process_identity", w.launched}};
    }
    return Json::object();
}

// The control context while the editor is in front with window 7 focused.
Json editorContext() {
    return {{"pid", 501},
            {"application_id", "macos:ABCDE12345:editor"},
            {"process_identity", "1699990000.0"},
            {"window", 7},
            {"bounds", {{"x", 100}, {"y", 80}, {"width", 1000}, {"height", 500}}}};
}

Json displayTarget(Json focus = editorContext()) {
    return {{"id", 1},       {"x", 0},        {"y", 0},
            {"width", 1512}, {"height", 982}, {"display_identity", kDisplayUuid},
            {"focus", focus}};
}

Json control(Json target, Json command, Json extra = Json::object()) {
    Json request = {{"cmd", "control"},
                    {"target", std::move(target)},
                    {"command", std::move(command)},
                    {"deadline", kSceneClock + 2},
                    {"cancel_epoch", 0}};
    for (auto& [key, value] : extra.items()) {
        if (value.is_null()) {
            request.erase(key);
        } else {
            request[key] = value;
        }
    }
    return request;
}

Json click(double x = 0.5, double y = 0.5) {
    return {{"action", "click"}, {"x", x}, {"y", y}};
}

class ControlSession : public SemanticSession {
  public:
    explicit ControlSession(const Json& scene = controlScene(), SessionOptions options = {})
        : SemanticSession(scene.dump(), options) {}
    std::vector<Json> events() { return effects("event"); }
};

TEST(BoundedControl, MalformedRequestsAreRefusedBeforeAnythingHappens) {
    ControlSession session;
    Json target = windowTarget(7);
    auto with = [&](const char* key, Json value) {
        Json t = target;
        if (value.is_null()) {
            t.erase(key);
        } else {
            t[key] = value;
        }
        return t;
    };
    struct Case {
        const char* what;
        Json request;
    };
    const Case cases[] = {
        {"no target", control(target, click(), {{"target", nullptr}})},
        {"a target that is not an object", control("7", click())},
        {"a target that is an array", control(Json::array({7}), click())},
        {"no command", control(target, click(), {{"command", nullptr}})},
        {"a command that is a string", control(target, "click")},
        {"no action", control(target, {{"x", 0.5}, {"y", 0.5}})},
        {"an unknown action", control(target, {{"action", "tap"}})},
        {"an action in capitals", control(target, {{"action", "Focus"}})},
        {"id 0", control(with("id", 0), click())},
        {"id as a string", control(with("id", "7"), click())},
        {"no id", control(with("id", nullptr), click())},
        {"an id whose low 32 bits are 0", control(with("id", 4294967296LL), click())},
        {"a deadline as a string", control(target, click(), {{"deadline", "1700000002"}})},
        {"no deadline", control(target, click(), {{"deadline", nullptr}})},
        {"a cancel epoch as a float", control(target, click(), {{"cancel_epoch", 0.5}})},
        {"a cancel epoch as a string", control(target, click(), {{"cancel_epoch", "0"}})},
        {"no cancel epoch", control(target, click(), {{"cancel_epoch", nullptr}})},
        {"no x", control(with("x", nullptr), click())},
        {"x as a string", control(with("x", "100"), click())},
        {"width 0", control(with("width", 0), click())},
        {"a negative height", control(with("height", -500), click())},
        {"pid 0", control(with("pid", 0), click())},
        {"pid as a string", control(with("pid", "501"), click())},
        {"another pid", control(with("pid", 502), click())},
        {"no application id", control(with("application_id", nullptr), click())},
        {"an empty application id", control(with("application_id", ""), click())},
        {"another application id", control(with("application_id", "macos:adhoc:00"), click())},
        {"another process identity", control(with("process_identity", "1.0"), click())},
        {"a frame moved by one point", control(with("x", 101), click())},
        {"a frame one point wider", control(with("width", 1001), click())},
        {"x 1.5", control(target, click(1.5, 0.5))},
        {"y below 0", control(target, click(0.5, -0.1))},
        {"no x in the command", control(target, {{"action", "click"}, {"y", 0.5}})},
        {"count 3", control(target, {{"action", "click"}, {"x", 0}, {"y", 0}, {"count", 3}})},
        {"count 0", control(target, {{"action", "click"}, {"x", 0}, {"y", 0}, {"count", 0}})},
        {"count 1.5", control(target, {{"action", "click"}, {"x", 0}, {"y", 0}, {"count", 1.5}})},
        {"dy 1001", control(target, {{"action", "scroll"}, {"x", 0}, {"y", 0}, {"dy", 1001}})},
        {"dx -1001", control(target, {{"action", "scroll"}, {"x", 0}, {"y", 0}, {"dx", -1001}})},
        {"dy as text", control(target, {{"action", "scroll"}, {"x", 0}, {"y", 0}, {"dy", "5"}})},
        {"a hotkey without modifiers",
         control(target, {{"action", "hotkey"}, {"key", "c"}, {"modifiers", Json::array()}})},
        {"a hotkey with 5 modifiers",
         control(target, {{"action", "hotkey"},
                          {"key", "c"},
                          {"modifiers", {"cmd", "ctrl", "alt", "shift", "cmd"}}})},
        {"a hotkey with an unknown modifier",
         control(target, {{"action", "hotkey"}, {"key", "c"}, {"modifiers", {"command"}}})},
        {"a hotkey with an upper-case letter",
         control(target, {{"action", "hotkey"}, {"key", "C"}, {"modifiers", {"cmd"}}})},
        {"a hotkey with a function key",
         control(target, {{"action", "hotkey"}, {"key", "F1"}, {"modifiers", {"cmd"}}})},
        {"a hotkey without a key", control(target, {{"action", "hotkey"}, {"modifiers", {"cmd"}}})},
        {"press_key with a letter", control(target, {{"action", "press_key"}, {"key", "c"}})},
        {"press_key with KeyA", control(target, {{"action", "press_key"}, {"key", "KeyA"}})},
        {"empty text", control(target, {{"action", "type_text"}, {"text", ""}})},
        {"text with NUL",
         control(target, {{"action", "type_text"}, {"text", std::string("a\0b", 3)}})},
        {"text with a newline", control(target, {{"action", "type_text"}, {"text", "a\nb"}})},
        {"text with a tab", control(target, {{"action", "type_text"}, {"text", "a\tb"}})},
        {"text with DEL", control(target, {{"action", "type_text"}, {"text", "a\x7f"}})},
        {"1025 letters",
         control(target, {{"action", "type_text"}, {"text", std::string(1025, 'a')}})},
        {"text as a number", control(target, {{"action", "type_text"}, {"text", 5}})},
        {"focus on a display",
         control(displayTarget(), {{"action", "focus"}}, {{"desktop", true}})},
    };
    for (const auto& c : cases)
        EXPECT_EQ(session.request(c.request), kRefused) << c.what;
    EXPECT_TRUE(session.journal().empty());
    // Numbers JSON cannot hold never reach the command.
    session.helper().sendLine(
        R"({"cmd":"control","target":{"id":7},"command":{"action":"focus"},"deadline":1e999,"cancel_epoch":0})");
    EXPECT_EQ(session.helper().read()->header, (Json{{"type", "error"}, {"error", "bad request"}}));
    EXPECT_EQ(session.request(control(target, click())), kOk);  // the well-formed request
}

TEST(BoundedControl, TheGate) {
    struct Case {
        const char* what;
        Json extra;
        Json patch;
        Json expected;
    };
    const Case cases[] = {
        {"a deadline 3.0 s ahead", {{"deadline", kSceneClock + 3.0}}, nullptr, kOk},
        {"a deadline 3.2 s ahead", {{"deadline", kSceneClock + 3.2}}, nullptr, kRefused},
        {"a deadline already past", {{"deadline", kSceneClock - 1}}, nullptr, kRefused},
        {"the user holds Shift", Json::object(), {{"user", {{"flags", 0x20000}}}}, kRefused},
        {"the user holds Option", Json::object(), {{"user", {{"flags", 0x80000}}}}, kRefused},
        {"the user holds the left button",
         Json::object(),
         {{"user", {{"buttons", {0}}}}},
         kRefused},
        {"a locked session", Json::object(), {{"session", {{"locked", true}}}}, kRefused},
        {"a session off the console",
         Json::object(),
         {{"session", {{"on_console", false}}}},
         kRefused},
        {"no accessibility",
         Json::object(),
         {{"permissions", {{"accessibility", false}}}},
         kRefused},
    };
    for (const auto& c : cases) {
        ControlSession session;
        if (!c.patch.is_null()) session.control().merge(c.patch);
        EXPECT_EQ(session.request(control(windowTarget(7), click(), c.extra)), c.expected)
            << c.what;
        EXPECT_EQ(session.events().size(), c.expected == kOk ? 2u : 0u) << c.what;
    }
}

TEST(BoundedControl, TheCancellationPipe) {
    ControlSession session;
    const Json request = control(windowTarget(7), click());
    EXPECT_EQ(session.request(request), kOk);
    session.cancelPipe().cancel();
    EXPECT_EQ(session.request(request), kRefused);  // the old epoch
    EXPECT_EQ(session.request(control(windowTarget(7), click(), {{"cancel_epoch", 1}})), kOk);
    std::size_t filled = session.cancelPipe().fill();
    EXPECT_EQ(session.request(control(windowTarget(7), click(), {{"cancel_epoch", 1}})), kRefused);
    const Json current = control(windowTarget(7), click(), {{"cancel_epoch", 1 + filled}});
    EXPECT_EQ(session.request(current), kOk);
    EXPECT_EQ(session.request(current), kOk);  // the same request twice
    session.cancelPipe().closeWriteEnd();
    EXPECT_EQ(session.request(current), kRefused);
    EXPECT_EQ(session.request(current), kRefused);  // a closed channel stays closed
    EXPECT_EQ(session.events().size(), 8u);
    EXPECT_EQ(session.request({{"cmd", "ping"}}), (Json{{"type", "pong"}}));

    for (const char* variable : {"", "-1", "abc"}) {
        SessionOptions options{.cancelPipe = false};
        if (*variable != '\0') options.environment["PLOVEN_CONTROL_CANCEL_FD"] = variable;
        ControlSession without(controlScene(), options);
        EXPECT_EQ(without.request(request), kRefused) << variable;
    }
}

TEST(BoundedControl, FocusThenActOnAWindowThatWasNotFocused) {
    ControlSession session;
    const Json actions[] = {click(),
                            {{"action", "scroll"}, {"x", 0.5}, {"y", 0.5}, {"dy", 10}},
                            {{"action", "press_key"}, {"key", "Enter"}},
                            {{"action", "hotkey"}, {"key", "a"}, {"modifiers", {"cmd"}}},
                            {{"action", "type_text"}, {"text", "hi"}}};
    for (const auto& action : actions)
        EXPECT_EQ(session.request(control(windowTarget(9), action)), kRefused) << action;
    EXPECT_TRUE(session.journal().empty());

    EXPECT_EQ(session.request(control(windowTarget(9), {{"action", "focus"}})), kOk);
    auto journal = session.journal();
    ASSERT_EQ(journal.size(), 2u);
    EXPECT_EQ(journal[0]["effect"], "ax_action");
    EXPECT_EQ(journal[0]["action"], "AXRaise");
    EXPECT_EQ(journal[1], (Json{{"effect", "activate"}, {"pid", 502}}));
    for (const auto& action : actions)
        EXPECT_EQ(session.request(control(windowTarget(9), action)), kOk) << action;
    for (const auto& event : session.events()) {
        EXPECT_EQ(event["target"], "pid");
        EXPECT_EQ(event["pid"], 502);
    }
    // The editor's window is no longer in front.
    EXPECT_EQ(session.request(control(windowTarget(7), click())), kRefused);
}

// Starts a "focus" of the sleeper's window, whose application never comes to the front by
// itself, waits until the helper has activated it, and then lets `meanwhile` act.
Json focusWithInterference(ControlSession& session, const std::function<void()>& meanwhile) {
    session.helper().send(control(windowTarget(10), {{"action", "focus"}}));
    const auto give = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    bool activated = false;
    while (!activated && std::chrono::steady_clock::now() < give) {
        for (const auto& entry : session.journal())
            activated = activated || entry["effect"] == "activate";
        if (!activated) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(activated);
    meanwhile();
    auto reply = session.helper().waitFor("control");
    return reply ? reply->header : Json();
}

TEST(BoundedControl, TheFocusWait) {
    const Json frontmost = {{"frontmost", 503}, {"apps", controlScene()["apps"]}};
    Json focused = frontmost;
    focused["apps"][2]["ax"] = {{"focused_window", 10}};
    {
        ControlSession session;  // focus that never comes
        EXPECT_EQ(session.request(control(windowTarget(10), {{"action", "focus"}})), kStopped);
    }
    {
        ControlSession session;  // focus that comes during the wait
        EXPECT_EQ(focusWithInterference(session, [&] { session.control().merge(focused); }), kOk);
    }
    {
        ControlSession session;  // the session is locked between two verifies
        Json patch = focused;
        patch["session"] = {{"locked", true}};
        EXPECT_EQ(focusWithInterference(session, [&] { session.control().merge(patch); }),
                  kStopped);
    }
    {
        ControlSession session;  // the daemon cancels during the wait
        EXPECT_EQ(focusWithInterference(session,
                                        [&] {
                                            session.cancelPipe().cancel();
                                            session.control().merge(focused);
                                        }),
                  kStopped);
    }
    {
        ControlSession session;  // the daemon closes the channel during the wait
        EXPECT_EQ(focusWithInterference(session,
                                        [&] {
                                            session.cancelPipe().closeWriteEnd();
                                            session.control().merge(focused);
                                        }),
                  kStopped);
    }
}

TEST(BoundedControl, ClicksAndThePointFormula) {
    struct Case {
        const char* what;
        Json command;
        double x, y;
        int downType, upType, button;
        std::vector<int> clickStates;
    };
    const Case cases[] = {
        {"the top-left corner", click(0, 0), 100, 80, 1, 2, 0, {1}},
        {"the last pixel", click(1, 1), 1099, 579, 1, 2, 0, {1}},
        {"the middle", click(0.5, 0.5), 599.5, 329.5, 1, 2, 0, {1}},
        {"the right button",
         {{"action", "click"}, {"x", 0}, {"y", 1}, {"button", "right"}},
         100,
         579,
         3,
         4,
         1,
         {1}},
        {"any other button is the left",
         {{"action", "click"}, {"x", 0}, {"y", 0}, {"button", 2}},
         100,
         80,
         1,
         2,
         0,
         {1}},
        {"a double click",
         {{"action", "click"}, {"x", 0}, {"y", 0}, {"count", 2}},
         100,
         80,
         1,
         2,
         0,
         {1, 2}},
    };
    for (const auto& c : cases) {
        ControlSession session;
        ASSERT_EQ(session.request(control(windowTarget(7), c.command)), kOk) << c.what;
        auto events = session.events();
        ASSERT_EQ(events.size(), 2 * c.clickStates.size()) << c.what;
        for (std::size_t i = 0; i < events.size(); ++i) {
            const Json& e = events[i];
            EXPECT_EQ(e["type"], i % 2 == 0 ? c.downType : c.upType) << c.what;
            EXPECT_EQ(e["x"], c.x) << c.what;
            EXPECT_EQ(e["y"], c.y) << c.what;
            EXPECT_EQ(e["button"], c.button) << c.what;
            EXPECT_EQ(e["click_state"], c.clickStates[i / 2]) << c.what;
            EXPECT_EQ(e["flags"], 0) << c.what;
            EXPECT_EQ(e["target"], "pid");
            EXPECT_EQ(e["pid"], 501);
            EXPECT_EQ(e["window_under_pointer"], 7) << c.what;
        }
    }
}

TEST(BoundedControl, Scrolling) {
    struct Case {
        Json command;
        Json wheel;
    };
    const Case cases[] = {
        {{{"action", "scroll"}, {"x", 0}, {"y", 0}, {"dy", 120}}, {-120, 0}},
        {{{"action", "scroll"}, {"x", 0}, {"y", 0}, {"dx", -12}}, {0, 12}},
        {{{"action", "scroll"}, {"x", 0}, {"y", 0}, {"dx", 1000}, {"dy", -1000}}, {1000, -1000}},
        {{{"action", "scroll"}, {"x", 0}, {"y", 0}, {"dy", 5.0}}, {-5, 0}},
        {{{"action", "scroll"}, {"x", 0}, {"y", 0}}, {0, 0}},
    };
    for (const auto& c : cases) {
        ControlSession session;
        ASSERT_EQ(session.request(control(windowTarget(7), c.command)), kOk) << c.command;
        auto events = session.events();
        ASSERT_EQ(events.size(), 1u);
        EXPECT_EQ(events[0]["type"], 22);
        EXPECT_EQ(events[0]["wheel"], c.wheel) << c.command;
        EXPECT_EQ(events[0]["x"], 100);
        EXPECT_EQ(events[0]["pid"], 501);
        EXPECT_EQ(events[0]["flags"], 0);
    }
}

TEST(BoundedControl, KeysAndHotkeys) {
    struct Case {
        const char* what;
        Json command;
        int keycode;
        std::uint64_t flags;
    };
    const Case cases[] = {
        {"Command-C", {{"action", "hotkey"}, {"key", "c"}, {"modifiers", {"cmd"}}}, 8, 0x100000},
        {"Control-Shift-5",
         {{"action", "hotkey"}, {"key", "5"}, {"modifiers", {"ctrl", "shift"}}},
         23,
         0x60000},
        {"Option-ArrowUp",
         {{"action", "hotkey"}, {"key", "ArrowUp"}, {"modifiers", {"alt"}}},
         126,
         0x80000},
        {"four modifiers",
         {{"action", "hotkey"}, {"key", "z"}, {"modifiers", {"cmd", "ctrl", "alt", "shift"}}},
         6,
         0x1E0000},
        {"Enter with an unknown modifier",
         {{"action", "press_key"}, {"key", "Enter"}, {"modifiers", {"hyper"}}},
         36,
         0},
        {"Backspace", {{"action", "press_key"}, {"key", "Backspace"}}, 51, 0},
        {"Delete with Shift",
         {{"action", "press_key"}, {"key", "Delete"}, {"modifiers", {"shift"}}},
         117,
         0x20000},
        {"PageDown", {{"action", "press_key"}, {"key", "PageDown"}}, 121, 0},
    };
    for (const auto& c : cases) {
        ControlSession session;
        ASSERT_EQ(session.request(control(windowTarget(7), c.command)), kOk) << c.what;
        auto events = session.events();
        ASSERT_EQ(events.size(), 2u) << c.what;
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(events[i]["type"], i == 0 ? 10 : 11) << c.what;
            EXPECT_EQ(events[i]["key_down"], i == 0) << c.what;
            EXPECT_EQ(events[i]["keycode"], c.keycode) << c.what;
            EXPECT_EQ(events[i]["flags"], c.flags) << c.what;
            EXPECT_EQ(events[i]["pid"], 501) << c.what;
            EXPECT_TRUE(events[i]["unicode"].is_null()) << c.what;
        }
    }
}

TEST(BoundedControl, TypingInChunks) {
    const std::string emoji = "\xF0\x9F\x98\x80";  // U+1F600, two UTF-16 units
    struct Case {
        const char* what;
        std::string text;
        std::vector<std::string> chunks;
    };
    const Case cases[] = {
        {"20 letters", std::string(20, 'a'), {std::string(16, 'a'), std::string(4, 'a')}},
        {"16 letters", std::string(16, 'b'), {std::string(16, 'b')}},
        {"an emoji at units 16 and 17",
         std::string(15, 'c') + emoji + "d",
         {std::string(15, 'c'), emoji + "d"}},
        {"an emoji at units 15 and 16",
         std::string(14, 'c') + emoji + "d",
         {std::string(14, 'c') + emoji, "d"}},
        {"eight emoji",
         [&] {
             std::string t;
             for (int i = 0; i < 9; ++i)
                 t += emoji;
             return t;
         }(),
         {[&] {
              std::string t;
              for (int i = 0; i < 8; ++i)
                  t += emoji;
              return t;
          }(),
          emoji}},
        {"accented letters are one unit each", "\xC3\xA9t\xC3\xA9", {"\xC3\xA9t\xC3\xA9"}},
        {"1024 letters", std::string(1024, 'e'),
         std::vector<std::string>(64, std::string(16, 'e'))},
    };
    for (const auto& c : cases) {
        ControlSession session;
        ASSERT_EQ(
            session.request(control(windowTarget(7), {{"action", "type_text"}, {"text", c.text}})),
            kOk)
            << c.what;
        auto events = session.events();
        ASSERT_EQ(events.size(), 2 * c.chunks.size()) << c.what;
        for (std::size_t i = 0; i < events.size(); ++i) {
            EXPECT_EQ(events[i]["unicode"], c.chunks[i / 2]) << c.what;
            EXPECT_EQ(events[i]["keycode"], 0);
            EXPECT_EQ(events[i]["type"], i % 2 == 0 ? 10 : 11);
            EXPECT_EQ(events[i]["flags"], 0);
        }
    }
}

TEST(BoundedControl, DisplayTargets) {
    Json windowZero = editorContext();
    windowZero["window"] = 0;
    windowZero.erase("bounds");
    auto displayWith = [](const char* key, Json value) {
        Json t = displayTarget();
        if (value.is_null()) {
            t.erase(key);
        } else {
            t[key] = value;
        }
        return t;
    };
    struct Case {
        const char* what;
        Json target;
        Json command;
        Json expected;
    };
    const Case cases[] = {
        {"a click with a matching focus record", displayTarget(), click(0, 0), kOk},
        {"keys with a matching focus record",
         displayTarget(),
         {{"action", "press_key"}, {"key", "Tab"}},
         kOk},
        {"a focus record of another window", displayTarget(windowZero), click(), kRefused},
        {"no focus record", displayWith("focus", nullptr), click(), kRefused},
        {"no display identity", displayWith("display_identity", nullptr), click(), kRefused},
        {"another display identity",
         displayWith("display_identity", "5CE1D15A-0000-4000-8000-000000000002"), click(),
         kRefused},
        {"other bounds", displayWith("width", 1511), click(), kRefused},
        {"display id 0", displayWith("id", 0), click(), kRefused},
        {"an inactive display",
         {{"id", 3},
          {"x", 0},
          {"y", 982},
          {"width", 800},
          {"height", 600},
          {"display_identity", "5CE1D15A-0000-4000-8000-000000000003"},
          {"focus", editorContext()}},
         click(),
         kRefused},
        {"keys while the focused window lies on another display",
         {{"id", 2},
          {"x", 1512},
          {"y", 0},
          {"width", 1920},
          {"height", 1080},
          {"display_identity", "5CE1D15A-0000-4000-8000-000000000002"},
          {"focus", editorContext()}},
         {{"action", "type_text"}, {"text", "x"}},
         kRefused},
    };
    for (const auto& c : cases) {
        ControlSession session;
        EXPECT_EQ(session.request(control(c.target, c.command, {{"desktop", true}})), c.expected)
            << c.what;
        auto events = session.events();
        if (c.expected != kOk) {
            EXPECT_TRUE(events.empty()) << c.what;
            continue;
        }
        ASSERT_EQ(events.size(), 2u) << c.what;
        if (c.command["action"] == "click") {
            EXPECT_EQ(events[0]["target"], "hid");  // display clicks go to the system
            EXPECT_TRUE(events[0]["pid"].is_null());
            EXPECT_TRUE(events[0]["window_under_pointer"].is_null());
            EXPECT_EQ(events[0]["x"], 0);
        } else {
            EXPECT_EQ(events[0]["target"], "pid");  // keys go to the application in front
            EXPECT_EQ(events[0]["pid"], 501);
        }
    }
    // Without "desktop" the same target is a window number 1, which does not exist.
    ControlSession session;
    EXPECT_EQ(session.request(control(displayTarget(), click())), kRefused);
}

TEST(ControlContext, TheFrontmostApplicationAndItsFocusedWindow) {
    struct Case {
        const char* what;
        Json patch;
        Json focus;
    };
    Json noWindow = editorContext();
    noWindow["window"] = 0;
    noWindow.erase("bounds");
    Json apps = controlScene()["apps"];
    Json unfocused = apps;
    unfocused[0]["ax"] = Json::object();
    Json twin = controlScene()["windows"];
    twin.push_back({{"id", 12}, {"pid", 501}, {"frame", {100, 80, 1000, 500}}});
    const Case cases[] = {
        {"the editor with window 7", nullptr, editorContext()},
        {"no frontmost application", {{"frontmost", nullptr}}, nullptr},
        {"a frontmost pid that is no process", {{"frontmost", 999}}, nullptr},
        {"an application with no focused window", {{"apps", unfocused}}, noWindow},
        {"an application without an identity", {{"frontmost", 504}}, nullptr},
        {"two windows with the focused window's bounds", {{"windows", twin}}, nullptr},
        {"no accessibility", {{"permissions", {{"accessibility", false}}}}, nullptr},
    };
    for (const auto& c : cases) {
        ControlSession session;
        if (!c.patch.is_null()) session.control().merge(c.patch);
        EXPECT_EQ(session.request({{"cmd", "control_context"}, {"ignored", 1}}),
                  (Json{{"type", "control_context"}, {"focus", c.focus}}))
            << c.what;
    }
}

}  // namespace
}  // namespace brindlemar::testing

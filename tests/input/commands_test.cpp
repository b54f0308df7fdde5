// The input commands' checks and replies, the accessibility trust they need, and window raising
// on presses and on "activate".

#include <gtest/gtest.h>

#include "input_session.h"

namespace brindlemar::testing {
namespace {

const Json kActivated = {{"type", "activate"}, {"ok", true}};
Json activateRefusal(const std::string& word) {
    return {{"type", "activate"}, {"ok", false}, {"error", word}};
}
Json checkError(const std::string& text) {
    return {{"type", "error"}, {"error", text}};
}

TEST(Checks, MalformedRequestsAreAnsweredWithoutActing) {
    struct Row {
        Json request;
        Json reply;
    };
    const Json move = mouse("move");
    const Row rows[] = {
        {{{"cmd", "input"}, {"event", move}}, checkError("input: missing id/event")},
        {{{"cmd", "input"}, {"id", "7"}, {"event", move}}, checkError("input: missing id/event")},
        {{{"cmd", "input"}, {"id", nullptr}, {"event", move}},
         checkError("input: missing id/event")},
        {{{"cmd", "input"}, {"id", 7}}, checkError("input: missing id/event")},
        {{{"cmd", "input"}, {"id", 7}, {"event", "mouse"}}, checkError("input: missing id/event")},
        {{{"cmd", "input"}, {"id", 7}, {"event", Json::array()}},
         checkError("input: missing id/event")},
        {{{"cmd", "input_display"}, {"id", 1}}, checkError("input_display: missing event")},
        {{{"cmd", "input_display"}, {"event", "scroll"}},
         checkError("input_display: missing event")},
        {{{"cmd", "activate"}}, checkError("activate: missing id")},
        {{{"cmd", "activate"}, {"id", "7"}}, checkError("activate: missing id")},
        // Well-formed, but of no kind the helper knows.
        {{{"cmd", "input"}, {"id", 7}, {"event", Json::object()}}, refusal("bad_kind")},
        {{{"cmd", "input"}, {"id", 7}, {"event", {{"kind", "Mouse"}}}}, refusal("bad_kind")},
        {{{"cmd", "input_display"}, {"event", {{"kind", "touch"}}}}, refusal("bad_kind")},
        // A numeric id in the form of a boolean still names a window (1 here, which is gone).
        {{{"cmd", "input"}, {"id", true}, {"event", move}}, refusal("window_gone")},
    };
    InputSession session;
    for (const auto& row : rows)
        EXPECT_EQ(session.request(row.request), row.reply) << row.request;
    EXPECT_TRUE(session.journal().empty());
}

TEST(Trust, WithoutAccessibilityNothingIsPosted) {
    std::string scene = kInputScene;
    scene.insert(scene.find('{') + 1, R"("permissions": {"accessibility": false},)");
    InputSession session(scene);
    const Json notGranted = refusal("accessibility_not_granted");
    EXPECT_EQ(session.input(7, mouse("down")), notGranted);
    EXPECT_EQ(session.input(7, key("KeyA")), notGranted);
    EXPECT_EQ(session.input(999, key("KeyA")), notGranted);  // checked before the window
    EXPECT_EQ(session.input(7, {{"kind", "bogus"}}), notGranted);
    EXPECT_EQ(session.inputDisplay(1, {{"kind", "scroll"}, {"dy", 3}}), notGranted);
    EXPECT_EQ(session.request({{"cmd", "activate"}, {"id", 7}}),
              activateRefusal("accessibility_not_granted"));
    EXPECT_EQ(session.request({{"cmd", "activate"}, {"id", 999}}),
              activateRefusal("accessibility_not_granted"));
    EXPECT_TRUE(session.journal().empty());
}

// The journal entries a request leaves, reduced to what raising is about.
std::vector<Json> raiseEffects(InputSession& session) {
    std::vector<Json> effects;
    for (const auto& entry : session.journal()) {
        auto effect = entry.value("effect", "");
        if (effect == "ax_action") effects.push_back({{"raise", entry["action"]}});
        if (effect == "activate") effects.push_back({{"activate", entry["pid"]}});
        if (effect == "event") effects.push_back({{"event", entry["type"]}});
    }
    return effects;
}

TEST(Raise, APressRaisesTheMatchingWindowThenActivatesBeforeTheEvent) {
    struct Row {
        const char* what;
        std::uint32_t window;
        std::vector<Json> effects;
    };
    const Row rows[] = {
        {"exact frame", 7, {{{"raise", "AXRaise"}}, {{"activate", 501}}, {{"event", 1}}}},
        {"within three points", 9, {{{"raise", "AXRaise"}}, {{"activate", 502}}, {{"event", 1}}}},
        {"five points off", 12, {{{"activate", 502}}, {{"event", 1}}}},
        {"windows unreadable", 13, {{{"activate", 503}}, {{"event", 1}}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        InputSession session;
        ASSERT_EQ(session.input(row.window, mouse("down")), kOk);
        EXPECT_EQ(raiseEffects(session), row.effects);
        // Only presses raise.
        ASSERT_EQ(session.input(row.window, mouse("up")), kOk);
        ASSERT_EQ(session.input(row.window, mouse("move")), kOk);
        ASSERT_EQ(session.input(row.window, key("KeyA")), kOk);
        EXPECT_EQ(raiseEffects(session).size(), 3u);
    }
}

TEST(Raise, TheRaisedWindowComesToTheFront) {
    InputSession session;
    ASSERT_EQ(session.input(9, mouse("down")), kOk);
    auto scene = session.control().state();
    EXPECT_EQ(scene["windows"][0]["id"], 9);
    EXPECT_EQ(scene["frontmost"], 502);
}

TEST(Raise, DisplayPressesRaiseNothing) {
    InputSession session;
    ASSERT_EQ(session.inputDisplay(1, mouse("down")), kOk);
    EXPECT_EQ(raiseEffects(session), std::vector<Json>({{{"event", 1}}}));
}

TEST(Activate, RaisesAndReplies) {
    struct Row {
        Json id;
        Json reply;
        std::vector<Json> effects;
    };
    const Row rows[] = {
        {7, kActivated, {{{"raise", "AXRaise"}}, {{"activate", 501}}}},
        {9, kActivated, {{{"raise", "AXRaise"}}, {{"activate", 502}}}},
        {12, kActivated, {{{"activate", 502}}}},
        {7.9, kActivated, {{{"raise", "AXRaise"}}, {{"activate", 501}}}},
        {999, activateRefusal("window_gone"), {}},
        {0, activateRefusal("window_gone"), {}},
    };
    for (const auto& row : rows) {
        InputSession session;
        EXPECT_EQ(session.request({{"cmd", "activate"}, {"id", row.id}}), row.reply) << row.id;
        EXPECT_EQ(raiseEffects(session), row.effects) << row.id;
    }
}

}  // namespace
}  // namespace brindlemar::testing

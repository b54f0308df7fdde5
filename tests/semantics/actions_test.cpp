// Plain and guarded semantic actions through the binary on the simulated desktop: generation and
// case rules of the plain form; every check of the guarded form failing alone, "set value", and
// the cancellation channel.

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "semantic_session.h"

namespace brindlemar::testing {
namespace {

const Json kRefused = {{"type", "guarded_semantic_result"}, {"ok", false}, {"refused", true}};
const Json kDone = {{"type", "guarded_semantic_result"}, {"ok", true}};
const Json kFailed = {{"type", "guarded_semantic_result"}, {"ok", false}};

// Window 7 of the editor: a Save button, a name field holding "Ada", an empty note field, a
// password field and a tab strip whose General tab is selected. Window 8 is another window.
Json actionScene() {
    Json children = Json::array({
        {{"ref", "save"},
         {"role", "AXButton"},
         {"title", "Save"},
         {"actions", {"AXPress", "AXShowMenu"}}},
        {{"ref", "name"}, {"role", "AXTextField"}, {"value", "Ada"}, {"settable", true}},
        {{"ref", "note"}, {"role", "AXTextArea"}, {"value", ""}, {"settable", true}},
        {{"ref", "secret"},
         {"role", "AXTextField"},
         {"subrole", "AXSecureTextField"},
         {"value", "pw"},
         {"settable", true}},
        {{"ref", "tabs"},
         {"role", "AXTabGroup"},
         {"children", Json::array({{{"ref", "general"},
                                    {"role", "AXTab"},
                                    {"title", "General"},
                                    {"selected", true},
                                    {"actions", {"AXPress"}}}})}},
    });
    return {{"clock", kSceneClock},
            {"apps", {{{"pid", 501}, {"name", "Editor"}, {"launched", 1699990000.0}}}},
            {"frontmost", 501},
            {"windows",
             {{{"id", 7},
               {"pid", 501},
               {"title", "Report"},
               {"frame", {100, 80, 1000, 500}},
               {"ax", {{"children", children}}}},
              {{"id", 8}, {"pid", 501}, {"title", "Other"}, {"frame", {0, 600, 300, 200}}}}}};
}

// The node with that ref in a scene's window 7 (searched one level deep and in the tab strip).
Json& nodeIn(Json& scene, const std::string& ref) {
    for (auto& child : scene["windows"][0]["ax"]["children"]) {
        if (child["ref"] == ref) return child;
        for (auto& grandchild : child.value("children", Json::array())) {
            if (grandchild["ref"] == ref) return child["children"][0];
        }
    }
    throw std::runtime_error("no node " + ref);
}

const std::map<std::string, std::string> kPaths = {
    {"save", "window/button[1]"},
    {"name", "window/textfield[1]"},
    {"note", "window/textarea[1]"},
    {"secret", "window/textfield[2]"},
    {"general", "window/tabgroup[1]/tab[1]"},
};

class ActionSession : public SemanticSession {
  public:
    explicit ActionSession(const Json& scene = actionScene(), SessionOptions options = {})
        : SemanticSession(scene.dump(), options) {
        last_ = snapshot(7, 3);
        EXPECT_EQ(last_["type"], "semantic_snapshot") << last_;
        journal();
    }
    std::string id(const std::string& ref) { return idAt(last_, kPaths.at(ref)); }
    Json retake(std::int64_t generation) {
        last_ = snapshot(7, generation);
        return last_;
    }

    Json plain(const std::string& ref, const std::string& action, Json extra = Json::object()) {
        extra["cmd"] = "semantic_action";
        extra["request_id"] = "act";
        if (!extra.contains("generation")) extra["generation"] = 3;
        if (!extra.contains("node")) extra["node"] = id(ref);
        extra["action"] = action;
        return request(extra);
    }
    Json guarded(const std::string& ref, const std::string& action, Json extra = Json::object()) {
        Json request = {{"cmd", "guarded_semantic_action"},
                        {"generation", 3},
                        {"node", id(ref)},
                        {"action", action},
                        {"deadline", kSceneClock + 2},
                        {"cancel_epoch", 0}};
        for (auto& [key, value] : extra.items()) {
            if (value.is_null()) {
                request.erase(key);
            } else {
                request[key] = value;
            }
        }
        return this->request(request);
    }

  private:
    Json last_;
};

TEST(PlainSemanticAction, GenerationAndCaseRules) {
    ActionSession session;
    const Json pressed = {{"type", "semantic_action_result"},
                          {"protocol", 1},
                          {"request_id", "act"},
                          {"generation", 3},
                          {"node", session.id("save")},
                          {"action", "press"},
                          {"ok", true}};
    struct Case {
        const char* what;
        std::string ref;
        std::string action;
        Json extra;
        Json expected;
    };
    const Case cases[] = {
        {"press by node id", "save", "press", Json::object(), pressed},
        {"the name is lower-cased", "save", "PRESS", Json::object(), pressed},
        {"repeating is allowed", "save", "Press", Json::object(), pressed},
        {"a generation one below",
         "save",
         "press",
         {{"generation", 2}},
         semanticStatus("stale_generation", "act")},
        {"an unknown node",
         "save",
         "press",
         {{"node", "0123"}},
         semanticStatus("action_not_allowed", "act")},
        {"a node id that is not text",
         "save",
         "press",
         {{"node", 5}},
         semanticStatus("action_not_allowed", "act")},
        {"an action the node does not offer", "save", "raise", Json::object(),
         semanticStatus("action_not_allowed", "act")},
        {"set value is never plain", "name", "set value", Json::object(),
         semanticStatus("action_not_allowed", "act")},
    };
    for (const auto& c : cases)
        EXPECT_EQ(session.plain(c.ref, c.action, c.extra), c.expected) << c.what;
    auto actions = session.effects("ax_action");
    ASSERT_EQ(actions.size(), 3u);
    EXPECT_EQ(
        actions[0],
        (Json{{"effect", "ax_action"}, {"ref", "save"}, {"action", "AXPress"}, {"ok", true}}));

    // A failing snapshot leaves the previous one usable; a new one ends its node ids.
    std::string oldSave = session.id("save");
    EXPECT_EQ(session.snapshot(7, 0)["reason"], "target_window_unavailable");
    EXPECT_EQ(session.plain("save", "press"), pressed);
    session.retake(4);
    EXPECT_EQ(session.plain("save", "press", {{"generation", 4}, {"node", oldSave}}),
              semanticStatus("action_not_allowed", "act"));
    EXPECT_EQ(session.plain("save", "press", {{"generation", 3}}),
              semanticStatus("stale_generation", "act"));
}

TEST(PlainSemanticAction, AFailingAccessibilityCall) {
    Json scene = actionScene();
    nodeIn(scene, "save")["fail_actions"] = {"AXShowMenu"};
    ActionSession session(scene);
    EXPECT_EQ(session.plain("save", "show menu"), semanticStatus("action_failed", "act"));
}

// One guarded press of the Save button, after `change` altered the desktop or the request.
struct GuardedCase {
    const char* what;
    std::function<void(ActionSession&, Json& request)> change;
    Json expected;
};

void changeScene(ActionSession& session, const std::function<void(Json&)>& edit) {
    Json scene = actionScene();
    edit(scene);
    session.control().replaceScene(scene);
}

TEST(GuardedSemanticAction, EveryCheckFailingAlone) {
    auto noChange = [](ActionSession&, Json&) {};
    auto request = [](Json patch) {
        return [patch](ActionSession&, Json& r) {
            for (auto& [key, value] : patch.items())
                r[key] = value;
        };
    };
    auto scene = [](std::function<void(Json&)> edit) {
        return [edit](ActionSession& s, Json&) { changeScene(s, edit); };
    };
    auto merge = [](Json patch) {
        return [patch](ActionSession& s, Json&) { s.control().merge(patch); };
    };
    const GuardedCase cases[] = {
        {"all checks hold", noChange, kDone},
        {"no deadline", request({{"deadline", nullptr}}), kRefused},
        {"a deadline as text", request({{"deadline", "1700000002"}}), kRefused},
        {"no cancel epoch", request({{"cancel_epoch", nullptr}}), kRefused},
        {"a fractional cancel epoch", request({{"cancel_epoch", 0.5}}), kRefused},
        {"a cancel epoch as text", request({{"cancel_epoch", "0"}}), kRefused},
        {"a deadline 5 s ahead", request({{"deadline", kSceneClock + 5}}), kRefused},
        {"a deadline 3.2 s ahead", request({{"deadline", kSceneClock + 3.2}}), kRefused},
        {"a deadline 3.0 s ahead", request({{"deadline", kSceneClock + 3.0}}), kDone},
        {"a deadline just past", request({{"deadline", kSceneClock - 0.001}}), kRefused},
        {"a deadline of now", request({{"deadline", kSceneClock}}), kRefused},
        {"an epoch ahead of the channel", request({{"cancel_epoch", 1}}), kRefused},
        {"the session is locked", merge({{"session", {{"locked", true}}}}), kRefused},
        {"the session is not on the console", merge({{"session", {{"on_console", false}}}}),
         kRefused},
        {"no session dictionary", scene([](Json& s) { s["session"] = nullptr; }), kRefused},
        {"the user holds Shift", merge({{"user", {{"flags", 0x20000}}}}), kRefused},
        {"the user holds Command", merge({{"user", {{"flags", 0x100000}}}}), kRefused},
        {"Caps Lock is no held modifier", merge({{"user", {{"flags", 0x10000}}}}), kDone},
        {"the user holds the left button", merge({{"user", {{"buttons", {0}}}}}), kRefused},
        {"the user holds the right button", merge({{"user", {{"buttons", {1}}}}}), kRefused},
        {"a middle button is no obstacle", merge({{"user", {{"buttons", {2}}}}}), kDone},
        {"no accessibility permission", merge({{"permissions", {{"accessibility", false}}}}),
         kRefused},
        {"another generation", request({{"generation", 2}}), kRefused},
        {"a snapshot 30 s old",
         [](ActionSession& s, Json& r) {
             s.control().advanceClock(30);
             r["deadline"] = kSceneClock + 31;
         },
         kRefused},
        {"a snapshot 29.9 s old",
         [](ActionSession& s, Json& r) {
             s.control().advanceClock(29.9);
             r["deadline"] = kSceneClock + 31;
         },
         kDone},
        {"the window is gone", scene([](Json& s) { s["windows"].erase(0); }), kRefused},
        {"a second window in the same place", scene([](Json& s) {
             s["windows"][1]["frame"] = {100, 80, 1000, 500};
         }),
         kRefused},
        {"an unknown node", request({{"node", "feed"}}), kRefused},
        {"a node id that is not text", request({{"node", 7}}), kRefused},
        {"the button has another role",
         scene([](Json& s) { nodeIn(s, "save")["role"] = "AXCheckBox"; }), kRefused},
        {"the button has another name",
         scene([](Json& s) { nodeIn(s, "save")["title"] = "Delete"; }), kRefused},
        {"the button was disabled", scene([](Json& s) { nodeIn(s, "save")["enabled"] = false; }),
         kRefused},
        {"an absent enabled state is accepted",
         scene([](Json& s) { nodeIn(s, "save")["enabled"] = nullptr; }), kDone},
        {"the button moved to another window", scene([](Json& s) {
             Json save = nodeIn(s, "save");
             s["windows"][0]["ax"]["children"].erase(0);
             s["windows"][1]["ax"] = {{"children", {save}}};
         }),
         kRefused},
        {"its parent cannot be read",
         scene([](Json& s) { nodeIn(s, "save")["unreadable"] = {"AXParent"}; }), kRefused},
        {"the user typed into a draft", scene([](Json& s) { nodeIn(s, "name")["value"] = "Adam"; }),
         kRefused},
        {"a draft can no longer be read",
         scene([](Json& s) { nodeIn(s, "note")["settable"] = false; }), kRefused},
        {"a tab was renamed", scene([](Json& s) { nodeIn(s, "general")["title"] = "Advanced"; }),
         kRefused},
        {"another tab is selected",
         scene([](Json& s) { nodeIn(s, "general")["selected"] = false; }), kRefused},
        {"the window was renamed", scene([](Json& s) { s["windows"][0]["title"] = "Report 2"; }),
         kRefused},
        {"an action the button does not offer", request({{"action", "raise"}}), kRefused},
        {"the action in capitals", request({{"action", "PRESS"}}), kRefused},
        {"the accessibility call fails",
         scene([](Json& s) { nodeIn(s, "save")["fail_actions"] = {"AXPress"}; }), kFailed},
    };
    for (const auto& c : cases) {
        ActionSession session;
        Json guarded = {{"cmd", "guarded_semantic_action"}, {"generation", 3},
                        {"node", session.id("save")},       {"action", "press"},
                        {"deadline", kSceneClock + 2},      {"cancel_epoch", 0}};
        c.change(session, guarded);
        for (auto it = guarded.begin(); it != guarded.end();) {
            it = it->is_null() ? guarded.erase(it) : std::next(it);
        }
        EXPECT_EQ(session.request(guarded), c.expected) << c.what;
        auto actions = session.effects("ax_action");
        EXPECT_EQ(actions.size(), c.expected == kRefused ? 0u : 1u) << c.what;
    }
}

TEST(GuardedSemanticAction, ASnapshotServesOneGuardedAction) {
    ActionSession session;
    EXPECT_EQ(session.guarded("save", "press", {{"deadline", nullptr}}), kRefused);
    EXPECT_EQ(session.guarded("save", "press"), kRefused);  // used up by the refusal
    session.retake(3);
    EXPECT_EQ(session.guarded("save", "press"), kDone);
    EXPECT_EQ(session.guarded("save", "press"), kRefused);
    session.retake(3);
    EXPECT_EQ(session.guarded("general", "press"), kDone);  // a context element itself
}

TEST(GuardedSemanticAction, AnUnreadableDraftBlocksEveryGuardedAction) {
    Json scene = actionScene();
    scene["windows"][0]["ax"]["children"].push_back(
        {{"role", "AXTextField"}, {"value", std::string(5000, 'x')}, {"settable", true}});
    ActionSession session(scene);
    EXPECT_EQ(session.guarded("save", "press"), kRefused);
    EXPECT_EQ(session.plain("save", "press")["ok"], true);  // the plain form does not care
}

TEST(GuardedSemanticAction, SetValueRules) {
    struct Case {
        const char* what;
        std::string ref;
        Json extra;
        std::function<void(Json&)> edit;
        Json expected;
        Json journalled;  // the ax_set_value entry, or null
    };
    auto setEntry = [](const char* ref, Json value, bool ok) {
        return Json{{"effect", "ax_set_value"}, {"ref", ref}, {"value", value}, {"ok", ok}};
    };
    const std::string text4096(4096, 'y');
    const Case cases[] = {
        {"a field holding text, without replace_draft",
         "name",
         {{"text", "Bob"}},
         nullptr,
         kRefused,
         nullptr},
        {"a field holding text, with replace_draft",
         "name",
         {{"text", "Bob"}, {"replace_draft", true}},
         nullptr,
         kDone,
         setEntry("name", "Bob", true)},
        {"replace_draft as a number",
         "name",
         {{"text", "Bob"}, {"replace_draft", 1}},
         nullptr,
         kRefused,
         nullptr},
        {"an empty field needs no replace_draft",
         "note",
         {{"text", "Hello"}},
         nullptr,
         kDone,
         setEntry("note", "Hello", true)},
        {"4096 characters",
         "note",
         {{"text", text4096}},
         nullptr,
         kDone,
         setEntry("note", text4096, true)},
        {"4097 characters", "note", {{"text", text4096 + "z"}}, nullptr, kRefused, nullptr},
        {"4096 characters of two code points each",
         "note",
         {{"text",
           [] {
               std::string t;
               for (int i = 0; i < 4096; ++i)
                   t += "e\xCC\x81";
               return t;
           }()}},
         nullptr,
         kDone,
         nullptr},
        {"a NUL character", "note", {{"text", std::string("a\0b", 3)}}, nullptr, kRefused, nullptr},
        {"no text", "note", Json::object(), nullptr, kRefused, nullptr},
        {"text as a number", "note", {{"text", 5}}, nullptr, kRefused, nullptr},
        {"setting fails",
         "note",
         {{"text", "Hi"}},
         [](Json& s) { nodeIn(s, "note")["set_fails"] = true; },
         kFailed,
         setEntry("note", "Hi", false)},
        {"a button is no field", "save", {{"text", "Hi"}}, nullptr, kRefused, nullptr},
        {"a password field",
         "secret",
         {{"text", "Hi"}, {"replace_draft", true}},
         nullptr,
         kRefused,
         nullptr},
        {"the field is no longer settable",
         "note",
         {{"text", "Hi"}},
         [](Json& s) {
             nodeIn(s, "note")["settable"] = false;
             nodeIn(s, "note")["ref"] = "note";
         },
         kRefused,
         nullptr},
        {"Set Value is no action",
         "note",
         {{"text", "Hi"}, {"action", "Set Value"}},
         nullptr,
         kRefused,
         nullptr},
    };
    for (const auto& c : cases) {
        ActionSession session;
        if (c.edit) changeScene(session, c.edit);
        Json extra = c.extra;
        std::string action = extra.value("action", "set value");
        extra.erase("action");
        EXPECT_EQ(session.guarded(c.ref, action, extra), c.expected) << c.what;
        auto sets = session.effects("ax_set_value");
        if (c.journalled.is_null()) {
            if (c.expected == kRefused) {
                EXPECT_TRUE(sets.empty()) << c.what;
            }
        } else {
            ASSERT_EQ(sets.size(), 1u) << c.what;
            EXPECT_EQ(sets[0], c.journalled) << c.what;
        }
    }
}

TEST(GuardedSemanticAction, TheCancellationChannel) {
    ActionSession session;
    session.cancelPipe().cancel();
    EXPECT_EQ(session.guarded("save", "press"), kRefused);  // epoch 0 is cancelled
    session.retake(3);
    EXPECT_EQ(session.guarded("save", "press", {{"cancel_epoch", 1}}), kDone);

    // A full pipe is drained 64 bytes at a time, every byte counted.
    std::size_t filled = session.cancelPipe().fill();
    ASSERT_GT(filled, 4096u);
    session.retake(3);
    EXPECT_EQ(session.guarded("save", "press", {{"cancel_epoch", 1}}), kRefused);
    session.retake(3);
    EXPECT_EQ(session.guarded("save", "press", {{"cancel_epoch", 1 + filled}}), kDone);

    // Once the daemon closes the channel nothing is current again.
    session.cancelPipe().closeWriteEnd();
    for (int i = 0; i < 2; ++i) {
        session.retake(3);
        EXPECT_EQ(session.guarded("save", "press", {{"cancel_epoch", 1 + filled}}), kRefused);
    }
    EXPECT_TRUE(session.effects("ax_action").size() == 2);
}

TEST(GuardedSemanticAction, WithoutACancellationChannelNothingIsAllowed) {
    for (const char* variable : {"", "-3", "7x"}) {
        SessionOptions options{.cancelPipe = false};
        if (*variable != '\0') options.environment["PLOVEN_CONTROL_CANCEL_FD"] = variable;
        ActionSession session(actionScene(), options);
        EXPECT_EQ(session.guarded("save", "press"), kRefused) << variable;
    }
}

}  // namespace
}  // namespace brindlemar::testing

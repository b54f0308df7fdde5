// Accessibility of the simulated desktop: application elements, node attributes with their
// defaults and failures, actions and their effects, and identities across scene changes.

#include <gtest/gtest.h>

#include "sim_fixture.h"

namespace brindlemar::testing {
namespace {

using namespace platform;

AXAttributeValue pointValue(double x, double y) {
    return Point{x, y};
}
AXAttributeValue sizeValue(double w, double h) {
    return Size{w, h};
}

const char* kScene = R"({
  "apps": [{"pid": 501, "name": "Editor", "ax": {"focused_window": 7, "focused_element": "name"}},
           {"pid": 600, "ax": {"error": true}},
           {"pid": 700, "ax": {"windows": [12, 404, 11]}}],
  "windows": [
    {"id": 7, "pid": 501, "title": "Report", "frame": [100, 80, 1000, 500],
     "ax": {"children": [
        {"ref": "name", "role": "AXTextField", "subrole": "AXSecureTextField", "value": "abc",
         "placeholder": "Name", "focused": true, "position": [110, 90], "size": [200, 20],
         "unreadable": ["AXTitle"]},
        {"role": "AXButton", "title": "OK", "actions": ["AXPress", "AXShowMenu"],
         "fail_actions": ["AXShowMenu"], "enabled": false, "position": null,
         "children": [{"role": "AXStaticText", "value": 42}]},
        {"ref": "slider", "value": {"point": [3, 4]}, "expanded": false}]}},
    {"id": 8, "pid": 501, "title": "Other", "frame": [0, 0, 300, 300], "on_screen": false},
    {"id": 11, "pid": 700, "frame": [0, 0, 10, 10]},
    {"id": 12, "pid": 700, "frame": [0, 0, 20, 20], "ax": {"actions": []}},
    {"id": 13, "pid": null, "frame": [0, 0, 20, 20]}
  ]
})";

class SimAccessibilityTest : public ::testing::Test {
  protected:
    SimDesktopFixture sim{kScene};
    Accessibility& ax = sim.desktop().accessibility();

    AXAttributeValue read(const AXElement& element, std::string_view attribute) {
        auto value = ax.copyAttribute(element, attribute);
        EXPECT_TRUE(value.ok()) << attribute << ": " << value.error().message;
        return value.ok() ? *value : AXAttributeValue{};
    }
    std::int64_t failure(const AXElement& element, std::string_view attribute) {
        auto value = ax.copyAttribute(element, attribute);
        EXPECT_FALSE(value.ok()) << attribute;
        return value.ok() ? 0 : value.error().code;
    }
    std::vector<AXElement> list(const AXElement& element, std::string_view attribute) {
        auto value = read(element, attribute);
        auto* elements = std::get_if<std::vector<AXElement>>(&value);
        return elements ? *elements : std::vector<AXElement>{};
    }
    AXElement one(const AXElement& element, std::string_view attribute) {
        auto value = read(element, attribute);
        auto* single = std::get_if<AXElement>(&value);
        return single ? *single : nullptr;
    }
};

TEST_F(SimAccessibilityTest, ApplicationWindowsFocusAndErrors) {
    auto editor = ax.applicationElement(501);
    auto windows = list(editor, "AXWindows");
    ASSERT_EQ(windows.size(), 2u);  // off-screen windows are accessibility windows too
    EXPECT_EQ(read(windows[0], "AXTitle"), AXAttributeValue{std::string("Report")});
    EXPECT_EQ(one(editor, "AXFocusedWindow"), windows[0]);  // same element, same handle
    auto focused = one(editor, "AXFocusedUIElement");
    EXPECT_EQ(read(focused, "AXValue"), AXAttributeValue{std::string("abc")});
    EXPECT_EQ(read(editor, "AXRole"), AXAttributeValue{std::string("AXApplication")});

    auto explicitList = list(ax.applicationElement(700), "AXWindows");
    ASSERT_EQ(explicitList.size(), 2u);  // the unknown 404 is skipped
    EXPECT_EQ(read(explicitList[0], "AXSize"), sizeValue(20, 20));

    EXPECT_EQ(failure(ax.applicationElement(600), "AXWindows"), -25204);
    EXPECT_EQ(failure(ax.applicationElement(999), "AXWindows"), -25204);
    EXPECT_EQ(failure(ax.applicationElement(700), "AXFocusedWindow"), -25212);
    EXPECT_EQ(failure(editor, "AXNoSuchThing"), -25205);

    sim.control().merge({{"permissions", {{"accessibility", false}}}});
    EXPECT_EQ(failure(editor, "AXWindows"), -25211);
}

TEST_F(SimAccessibilityTest, NodeAttributesDefaultsAndFailures) {
    auto window = list(ax.applicationElement(501), "AXWindows")[0];
    EXPECT_EQ(read(window, "AXRole"), AXAttributeValue{std::string("AXWindow")});
    EXPECT_EQ(read(window, "AXPosition"), pointValue(100, 80));
    EXPECT_EQ(read(window, "AXSize"), sizeValue(1000, 500));
    EXPECT_EQ(read(window, "AXEnabled"), AXAttributeValue{true});
    EXPECT_EQ(failure(window, "AXFocused"), -25205);  // null: the attribute is absent
    EXPECT_EQ(one(window, "AXParent"), ax.applicationElement(501));
    EXPECT_EQ(one(window, "AXWindow"), window);

    auto children = list(window, "AXChildren");
    ASSERT_EQ(children.size(), 3u);
    auto& field = children[0];
    EXPECT_EQ(read(field, "AXRole"), AXAttributeValue{std::string("AXTextField")});
    EXPECT_EQ(read(field, "AXSubrole"), AXAttributeValue{std::string("AXSecureTextField")});
    EXPECT_EQ(read(field, "AXPlaceholderValue"), AXAttributeValue{std::string("Name")});
    EXPECT_EQ(read(field, "AXFocused"), AXAttributeValue{true});
    EXPECT_EQ(read(field, "AXPosition"), pointValue(110, 90));
    EXPECT_EQ(failure(field, "AXTitle"), -25200);  // listed as unreadable
    EXPECT_EQ(read(field, "AXDescription"), AXAttributeValue{});

    auto& button = children[1];
    EXPECT_EQ(read(button, "AXEnabled"), AXAttributeValue{false});
    EXPECT_EQ(failure(button, "AXPosition"), -25205);
    EXPECT_EQ(read(button, "AXSize"), sizeValue(10, 10));
    auto text = list(button, "AXChildren")[0];
    EXPECT_EQ(read(text, "AXValue"), AXAttributeValue{42.0});
    EXPECT_EQ(one(text, "AXParent"), button);
    EXPECT_EQ(one(text, "AXWindow"), window);
    EXPECT_EQ(read(text, "AXRole"), AXAttributeValue{std::string("AXStaticText")});
    EXPECT_EQ(read(children[2], "AXValue"), pointValue(3, 4));
    EXPECT_EQ(read(children[2], "AXExpanded"), AXAttributeValue{false});
    EXPECT_EQ(read(children[2], "AXRole"), AXAttributeValue{std::string("AXUnknown")});
}

TEST_F(SimAccessibilityTest, ActionsAreJournalledAndRaiseReordersTheWindows) {
    auto windows = list(ax.applicationElement(501), "AXWindows");
    auto button = list(windows[0], "AXChildren")[1];
    EXPECT_TRUE(ax.performAction(button, "AXPress").ok());
    EXPECT_EQ(ax.performAction(button, "AXShowMenu").error().code, -25200);
    EXPECT_EQ(ax.performAction(button, "AXCancel").error().code, -25206);
    EXPECT_TRUE(ax.performAction(windows[1], "AXRaise").ok());
    EXPECT_EQ(
        ax.performAction(list(ax.applicationElement(700), "AXWindows")[0], "AXRaise").error().code,
        -25206);  // a root whose actions were given without AXRaise
    auto journal = sim.control().journal();
    auto entry = [](Json ref, const char* action, bool ok) {
        return Json{{"effect", "ax_action"}, {"ref", ref}, {"action", action}, {"ok", ok}};
    };
    EXPECT_EQ(journal,
              Json::array({entry(nullptr, "AXPress", true), entry(nullptr, "AXShowMenu", false),
                           entry(nullptr, "AXCancel", false), entry(nullptr, "AXRaise", true),
                           entry(nullptr, "AXRaise", false)}));
    auto scene = sim.control().state();
    EXPECT_EQ(scene["windows"][0]["id"], 8);
    EXPECT_EQ(scene["windows"][1]["id"], 7);
    EXPECT_EQ(scene["apps"][0]["ax"]["focused_window"], 8);
}

TEST_F(SimAccessibilityTest, IdentitiesByRefSurviveASceneChange) {
    auto window = list(ax.applicationElement(501), "AXWindows")[0];
    auto slider = list(window, "AXChildren")[2];
    auto button = list(window, "AXChildren")[1];
    // The slider moves to another window and the button's place is taken by another node.
    sim.control().merge(
        {{"windows",
          Json::array(
              {{{"id", 7},
                {"pid", 501},
                {"ax",
                 {{"children", Json::array({{{"role", "AXGroup"}}, {{"role", "AXGroup"}}})}}}},
               {{"id", 20},
                {"pid", 501},
                {"ax", {{"children", Json::array({{{"ref", "slider"}, {"value", 7}}})}}}}})}});
    EXPECT_EQ(read(slider, "AXValue"), AXAttributeValue{7.0});
    auto parentWindow = one(slider, "AXWindow");
    EXPECT_EQ(list(parentWindow, "AXChildren")[0], slider);
    EXPECT_EQ(read(button, "AXRole"), AXAttributeValue{std::string("AXGroup")});  // by path
    sim.control().merge({{"windows", Json::array()}});
    EXPECT_EQ(failure(slider, "AXValue"), -25202);
    EXPECT_EQ(ax.performAction(slider, "AXPress").error().code, -25202);
}

TEST_F(SimAccessibilityTest, ActionNamesSettableQueryAndEquality) {
    auto editor = ax.applicationElement(501);
    auto window = list(editor, "AXWindows")[0];
    auto children = list(window, "AXChildren");
    EXPECT_EQ(*ax.copyActionNames(children[1]),
              (std::vector<std::string>{"AXPress", "AXShowMenu"}));
    EXPECT_EQ(*ax.copyActionNames(window), (std::vector<std::string>{"AXRaise"}));
    EXPECT_TRUE(ax.copyActionNames(editor)->empty());
    EXPECT_EQ(ax.copyActionNames(ax.applicationElement(600)).error().code, -25204);

    EXPECT_FALSE(*ax.isAttributeSettable(children[0], "AXValue"));  // the default
    EXPECT_FALSE(*ax.isAttributeSettable(children[0], "AXTitle"));

    // Two handles of one element are equal even once the first copies are gone.
    EXPECT_TRUE(ax.equal(window, one(editor, "AXFocusedWindow")));
    EXPECT_FALSE(ax.equal(window, children[0]));
    EXPECT_FALSE(ax.equal(editor, ax.applicationElement(700)));
    const AXElement& sameAgain = one(children[0], "AXParent");
    EXPECT_TRUE(ax.equal(sameAgain, window));
}

TEST(SimAccessibilityEffects, SettingAValueIsJournalledAndChangesTheNode) {
    SimDesktopFixture sim(R"({
      "apps": [{"pid": 501}],
      "windows": [{"id": 7, "pid": 501, "frame": [0, 0, 100, 100], "ax": {"children": [
        {"ref": "field", "role": "AXTextField", "value": "old", "settable": true},
        {"ref": "stuck", "role": "AXTextField", "value": "x", "settable": true, "set_fails": true},
        {"ref": "odd", "role": "AXTextArea", "settable": "error", "size": [-5, 20]}]}}]
    })");
    auto& ax = sim.desktop().accessibility();
    auto window = std::get<std::vector<AXElement>>(
        *ax.copyAttribute(ax.applicationElement(501), "AXWindows"))[0];
    auto children = std::get<std::vector<AXElement>>(*ax.copyAttribute(window, "AXChildren"));
    EXPECT_TRUE(*ax.isAttributeSettable(children[0], "AXValue"));
    EXPECT_EQ(ax.isAttributeSettable(children[2], "AXValue").error().code, -25204);
    EXPECT_EQ(*ax.copyAttribute(children[2], "AXSize"), sizeValue(-5, 20));

    EXPECT_TRUE(ax.setAttributeValue(children[0], "AXValue", "new text").ok());
    EXPECT_EQ(*ax.copyAttribute(children[0], "AXValue"), AXAttributeValue{std::string("new text")});
    EXPECT_EQ(ax.setAttributeValue(children[1], "AXValue", "y").error().code, -25200);
    EXPECT_EQ(*ax.copyAttribute(children[1], "AXValue"), AXAttributeValue{std::string("x")});
    auto entry = [](const char* ref, const char* value, bool ok) {
        return Json{{"effect", "ax_set_value"}, {"ref", ref}, {"value", value}, {"ok", ok}};
    };
    EXPECT_EQ(sim.control().journal(),
              Json::array({entry("field", "new text", true), entry("stuck", "y", false)}));
    EXPECT_EQ(sim.control().state()["windows"][0]["ax"]["children"][0]["value"], "new text");
}

TEST(SimSessionAndWorkspace, SessionUserFrontmostAndOnScreenWindows) {
    SimDesktopFixture sim(R"({
      "session": {"locked": true, "on_console": false},
      "user": {"flags": 131072, "buttons": [1]},
      "displays": [{"id": 1, "frame": [0, 0, 100, 100]},
                   {"id": 2, "frame": [100, 0, 100, 100], "active": false}],
      "apps": [{"pid": 501, "activates": false}, {"pid": 502}],
      "frontmost": 404,
      "windows": [{"id": 7, "pid": 501, "title": "A", "frame": [0, 0, 10, 10], "layer": 3},
                  {"id": 8, "pid": 502, "frame": [0, 0, 10, 10], "on_screen": false},
                  {"id": 9, "frame": [5, 5, 10, 10]}]
    })");
    auto& desktop = sim.desktop();
    auto session = desktop.session().currentSession();
    ASSERT_TRUE(session.has_value());
    EXPECT_EQ(session->screenIsLocked, true);
    EXPECT_EQ(session->onConsole, false);
    EXPECT_EQ(desktop.session().heldModifierFlags(), 0x20000u);
    EXPECT_TRUE(desktop.session().isMouseButtonHeld(1));
    EXPECT_FALSE(desktop.session().isMouseButtonHeld(0));

    EXPECT_EQ(desktop.workspace().frontmostApplication(), std::nullopt);  // 404 is no process
    EXPECT_TRUE(desktop.workspace().activateApplication(501));
    EXPECT_EQ(desktop.workspace().frontmostApplication(), std::nullopt);  // it stays behind
    EXPECT_TRUE(desktop.workspace().activateApplication(502));
    EXPECT_EQ(desktop.workspace().frontmostApplication(), 502);

    auto windows = desktop.windowList().onScreenWindows();
    ASSERT_EQ(windows.size(), 2u);
    EXPECT_EQ(windows[0].number, 7u);
    EXPECT_EQ(windows[0].layer, 3);
    EXPECT_EQ(windows[0].name, "A");
    EXPECT_EQ(windows[1].ownerPid, std::nullopt);
    EXPECT_TRUE(desktop.windowList().displayIsActive(1));
    EXPECT_FALSE(desktop.windowList().displayIsActive(2));
    EXPECT_FALSE(desktop.windowList().displayIsActive(3));

    sim.control().replaceScene(Json{{"session", nullptr}});
    EXPECT_EQ(desktop.session().currentSession(), std::nullopt);
}

}  // namespace
}  // namespace brindlemar::testing

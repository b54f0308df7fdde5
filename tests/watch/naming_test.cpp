// Element naming on the simulated desktop: names, roles, secure fields, structural paths, target
// records, key names, modifier names, bounds records and window numbers.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "input/key_table.h"
#include "sim/sim_fixture.h"
#include "watch/element_naming.h"
#include "watch/key_names.h"
#include "watch/window_match.h"

namespace brindlemar::testing {
namespace {

using platform::AXElement;
using platform::Rect;
using platform::WindowListEntry;

Json buttons(int count) {
    Json list = Json::array();
    for (int i = 0; i < count; ++i)
        list.push_back({{"role", "AXButton"}});
    return list;
}

// A chain of `levels` nested groups.
Json chain(int levels) {
    Json node = {{"role", "AXGroup"}};
    for (int i = 1; i < levels; ++i)
        node = {{"role", "AXGroup"}, {"children", Json::array({node})}};
    return node;
}

Json namingScene() {
    Json five = buttons(5);
    five.insert(five.begin() + 2, Json::object({{"role", "AXStaticText"}}));
    Json window = {{"id", 7},
                   {"pid", 501},
                   {"title", "Report"},
                   {"frame", {100, 80, 1000, 500}},
                   {"ax",
                    {{"children", Json::array({
                                      {{"role", "AXGroup"}, {"children", five}},          // 0
                                      {{"role", "AXGroup"}, {"children", buttons(300)}},  // 1
                                      chain(13),                                          // 2
                                      {{"role", "AXTextField"},
                                       {"title", std::string("\0\0", 2)},  // 3
                                       {"description", "Desc"},
                                       {"position", {1, 2}},
                                       {"size", {-5, 20}}},
                                      {{"role", "Custom"}, {"title", std::string(300, 'n')}},  // 4
                                      {{"role", "AXCheckBox"}, {"placeholder", "Hint"}},       // 5
                                      {{"role", "AXButton"}, {"unreadable", {"AXParent"}}},    // 6
                                      {{"role", ""}},                                          // 7
                                      {{"role", "AXButton"}},                                  // 8
                                  })}}}};
    Json menu = {{"id", 8},
                 {"pid", 501},
                 {"frame", {0, 0, 1512, 24}},
                 {"ax", {{"role", "AXMenuBar"}, {"children", {{{"role", "AXMenuBarItem"}}}}}}};
    return {{"apps", {{{"pid", 501}}}}, {"windows", {window, menu}}};
}

class NamingTest : public ::testing::Test {
  protected:
    SimDesktopFixture sim{namingScene().dump()};
    platform::Accessibility& ax = sim.desktop().accessibility();

    AXElement window(std::size_t index) {
        auto value = ax.copyAttribute(ax.applicationElement(501), "AXWindows");
        return std::get<std::vector<AXElement>>(*value).at(index);
    }
    // The element reached from window `index` through the child indices.
    AXElement at(std::size_t windowIndex, const std::vector<std::size_t>& path) {
        AXElement element = window(windowIndex);
        for (std::size_t index : path) {
            auto children = ax.copyAttribute(element, "AXChildren");
            element = std::get<std::vector<AXElement>>(*children).at(index);
        }
        return element;
    }
};

TEST_F(NamingTest, NamesAndRoles) {
    struct Case {
        std::vector<std::size_t> path;
        std::string name;
        std::string role;
    };
    const Case cases[] = {
        {{}, "Report", "window"},
        {{3}, "Desc", "textfield"},  // a title of NULs only falls through
        {{4}, std::string(256, 'n'), "custom"},
        {{5}, "Hint", "checkbox"},
        {{0, 2}, "", "statictext"},
        {{7}, "", ""},
    };
    for (const auto& c : cases) {
        auto element = at(0, c.path);
        EXPECT_EQ(watch::watchName(ax, element), c.name) << c.role;
        EXPECT_EQ(watch::watchRole(ax, element), c.role);
    }
}

TEST_F(NamingTest, StructuralPaths) {
    struct Case {
        std::size_t window;
        std::vector<std::size_t> path;
        std::string expected;
    };
    std::vector<std::size_t> twelve(11, 0), thirteen(12, 0);
    twelve.insert(twelve.begin(), 2);
    thirteen.insert(thirteen.begin(), 2);
    std::string twelveSegments = "window/group[2]";
    for (int i = 1; i < 12; ++i)
        twelveSegments += "/group[1]";
    const Case cases[] = {
        {0, {}, "window"},
        {0, {0, 3}, "window/group[1]/button[3]"},  // the static text does not count
        {0, {0, 2}, "window/group[1]/statictext[1]"},
        {0, {1, 255}, "window/group[2]/button[256]"},
        {0, {1, 256}, "unresolved"},  // not among the first 256 children
        {0, twelve, "window/group[3]" + twelveSegments.substr(15)},
        {0, thirteen, "unresolved"},  // its window lies 13 levels up
        {0, {6}, "unresolved"},       // the parent cannot be read
        {0, {8}, "unresolved"},       // a sibling before it has no role
        {0, {7}, "unresolved"},       // no role of its own
        {1, {0}, "unresolved"},       // reaches the application before a window
    };
    for (const auto& c : cases) {
        EXPECT_EQ(watch::watchPath(ax, at(c.window, c.path)), c.expected) << c.expected;
    }
}

TEST_F(NamingTest, TargetRecordAndSecureFields) {
    EXPECT_EQ(watch::watchTarget(ax, at(0, {3})),
              (Json{{"role", "textfield"},
                    {"name", "Desc"},
                    {"bounds", {{"x", 1.0}, {"y", 2.0}, {"width", 0.0}, {"height", 20.0}}},
                    {"path", "window/textfield[1]"}}));

    struct Case {
        const char* role;
        Json subrole;
        bool secure;
    };
    const Case cases[] = {
        {"AXTextField", "AXSecureTextField", true},
        {"AXPasswordField", nullptr, true},
        {"SecureThing", nullptr, true},
        {"AXTextField", "password", false},
        {"AXTextField", nullptr, false},
    };
    Json children = Json::array();
    for (const auto& c : cases)
        children.push_back({{"role", c.role}, {"subrole", c.subrole}});
    sim.control().merge(
        {{"windows", {{{"id", 7}, {"pid", 501}, {"ax", {{"children", children}}}}}}});
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(watch::watchSecure(ax, at(0, {i})), cases[i].secure) << cases[i].role;
    }
}

TEST(KeyNames, NamesOfCodesAndModifiers) {
    auto names = watch::buildWatchKeyNames(buildKeyMap());
    EXPECT_EQ(names.size(), 106u);
    struct Case {
        std::uint16_t code;
        const char* name;
    };
    const Case cases[] = {{0x0C, "q"},     {0x1D, "0"},           {0x31, "Space"},
                          {0x24, "Enter"}, {0x4C, "NumpadEnter"}, {0x7B, "ArrowLeft"},
                          {0x60, "F5"},    {0x54, "Numpad2"},     {10, "vk10"},
                          {200, "vk200"}};
    for (const auto& c : cases)
        EXPECT_EQ(watch::watchKeyName(names, c.code), c.name) << c.code;

    using V = std::vector<std::string>;
    EXPECT_EQ(watch::watchModifiers(0x100000 | 0x20000), (V{"cmd", "shift"}));
    EXPECT_EQ(watch::watchModifiers(0x1E0000 | 0x10000), (V{"cmd", "ctrl", "alt", "shift"}));
    EXPECT_EQ(watch::watchModifiers(0x10000), V{});
}

TEST(WindowMatch, FramesOfBoundsRecords) {
    struct Case {
        Json value;
        std::optional<Rect> frame;
    };
    const Case cases[] = {
        {{{"x", 1}, {"y", 2}, {"width", 3.5}, {"height", 4}}, Rect{1, 2, 3.5, 4}},
        {{{"x", 1}, {"y", 2}, {"width", 0}, {"height", 4}}, std::nullopt},
        {{{"x", 1}, {"y", 2}, {"width", 3}}, std::nullopt},
        {{{"x", "1"}, {"y", 2}, {"width", 3}, {"height", 4}}, std::nullopt},
        {{{"x", 1}, {"y", 2}, {"width", 3}, {"height", 4}, {"note", "a"}}, std::nullopt},
        {Json::array({1, 2, 3, 4}), std::nullopt},
        {nullptr, std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(watch::watchFrame(&c.value), c.frame) << c.value;
    EXPECT_EQ(watch::watchFrame(nullptr), std::nullopt);
}

TEST(WindowMatch, WindowNumbersOfFocusedWindows) {
    const Rect frame{10, 20, 300, 200};
    auto entry = [&](std::uint32_t id, const char* title, std::int64_t layer = 0,
                     std::int32_t pid = 501, Rect bounds = {10, 20, 300, 200}) {
        return WindowListEntry{id, bounds, pid, layer, std::string(title)};
    };
    struct Case {
        const char* what;
        std::vector<WindowListEntry> windows;
        std::string title;
        std::uint32_t expected;
    };
    const Case cases[] = {
        {"one match", {entry(4, "A"), entry(5, "A", 0, 502)}, "A", 4},
        {"equal frames and titles", {entry(4, "A"), entry(5, "A")}, "A", 0},
        {"the title decides", {entry(4, "A"), entry(5, "B")}, "B", 5},
        {"no title matches: all stay", {entry(4, "A"), entry(5, "B")}, "C", 0},
        {"an empty title keeps both", {entry(4, "A"), entry(5, "B")}, "", 0},
        {"another layer", {entry(4, "A", 3), entry(5, "B")}, "", 5},
        {"a frame one point off", {entry(4, "A", 0, 501, {11, 20, 300, 200})}, "", 0},
        {"no number", {WindowListEntry{std::nullopt, frame, 501, 0, "A"}}, "A", 0},
        {"no layer", {WindowListEntry{4, frame, 501, std::nullopt, "A"}}, "A", 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(watch::watchWindowID(501, frame, c.title, c.windows), c.expected) << c.what;
}

}  // namespace
}  // namespace brindlemar::testing

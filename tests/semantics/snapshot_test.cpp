// Semantic snapshots through the binary on the simulated desktop: limits on generated trees,
// paths and ordinals, secure and editable fields, value kinds, the action vocabulary, states,
// bounds, node ids and the failures.

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "semantic_session.h"

namespace brindlemar::testing {
namespace {

// A scene with one application and window 7 whose accessibility root has `children` (or is
// `root` when given).
Json windowScene(Json children, Json root = nullptr) {
    if (root.is_null()) root = {{"children", std::move(children)}};
    return {{"clock", kSceneClock},
            {"apps", {{{"pid", 501}, {"name", "Editor"}, {"launched", 1699990000.0}}}},
            {"frontmost", 501},
            {"windows",
             {{{"id", 7},
               {"pid", 501},
               {"title", "Report"},
               {"frame", {100, 80, 1000, 500}},
               {"ax", std::move(root)}}}}};
}

Json nodes(int count, const char* role = "AXButton") {
    Json list = Json::array();
    for (int i = 0; i < count; ++i)
        list.push_back({{"role", role}});
    return list;
}

Json chain(int levels) {
    Json node = {{"role", "AXGroup"}};
    for (int i = 1; i < levels; ++i)
        node = {{"role", "AXGroup"}, {"children", Json::array({node})}};
    return node;
}

// Checks that the list is in pre-order with consistent parents and children.
void expectPreOrder(const Json& snapshot) {
    const Json& list = snapshot["nodes"];
    ASSERT_FALSE(list.empty());
    EXPECT_EQ(list[0]["id"], snapshot["root"]);
    EXPECT_TRUE(list[0]["parent"].is_null());
    std::map<std::string, std::size_t> position;
    for (std::size_t i = 0; i < list.size(); ++i) {
        position[list[i]["id"]] = i;
        if (i > 0) {
            auto parent = position.find(list[i]["parent"]);
            ASSERT_NE(parent, position.end()) << "a node before its parent";
            const Json& siblings = list[parent->second]["children"];
            EXPECT_NE(std::find(siblings.begin(), siblings.end(), list[i]["id"]), siblings.end());
        }
    }
    for (const auto& node : list) {
        for (const auto& child : node["children"])
            EXPECT_EQ(list[position.at(child)]["parent"], node["id"]);
    }
}

std::size_t segments(const std::string& path) {
    return static_cast<std::size_t>(std::count(path.begin(), path.end(), '/'));
}

TEST(SemanticSnapshot, LimitsOnGeneratedTrees) {
    Json thousand = Json::array();
    for (int group = 0; group < 10; ++group)
        thousand.push_back({{"role", "AXGroup"}, {"children", nodes(99)}});
    struct Case {
        const char* what;
        Json children;
        std::size_t nodeCount;
        bool truncated;
        std::size_t deepest;
    };
    const Case cases[] = {
        {"60 levels", Json::array({chain(60)}), 49, true, 48},
        {"48 levels below the window", Json::array({chain(48)}), 49, false, 48},
        {"300 children", nodes(300), 257, true, 1},
        {"256 children", nodes(256), 257, false, 1},
        {"1000 nodes", thousand, 512, true, 2},
    };
    for (const auto& c : cases) {
        SemanticSession session(windowScene(c.children).dump());
        Json snapshot = session.snapshot(7);
        ASSERT_EQ(snapshot["type"], "semantic_snapshot") << c.what << snapshot;
        EXPECT_EQ(snapshot["nodes"].size(), c.nodeCount) << c.what;
        EXPECT_EQ(snapshot["truncated"], c.truncated) << c.what;
        std::size_t deepest = 0;
        for (const auto& node : snapshot["nodes"])
            deepest = std::max(deepest, segments(node["path"]));
        EXPECT_EQ(deepest, c.deepest) << c.what;
        expectPreOrder(snapshot);
    }
}

TEST(SemanticSnapshot, RecordAndPathsWithOrdinals) {
    SemanticSession session(
        windowScene(
            Json::array({
                {{"role", "AXButton"}, {"title", "One"}},
                {{"role", "AXGroup"},
                 {"children", Json::array({
                                  {{"role", "AXButton"}},
                                  {{"role", "AXStaticText"}},
                                  {{"role", "AXButton"}},
                              })}},
                {{"role", "AXButton"}, {"title", "Two"}},
                {{"role", "Custom"}},
                {{"role", "AXGroup"}, {"unreadable", {"AXChildren"}}, {"children", nodes(3)}},
            }))
            .dump());
    Json snapshot = session.snapshot(7, 5);
    EXPECT_EQ(snapshot["protocol"], 1);
    EXPECT_EQ(snapshot["request_id"], "snap");
    EXPECT_EQ(snapshot["generation"], 5);
    EXPECT_EQ(snapshot["target"], (Json{{"window", 7}}));
    EXPECT_EQ(snapshot["guarded_semantics"], 1);
    EXPECT_EQ(snapshot["truncated"], false);
    std::vector<std::string> paths;
    for (const auto& node : snapshot["nodes"])
        paths.push_back(node["path"]);
    EXPECT_EQ(paths,
              (std::vector<std::string>{
                  "window", "window/button[1]", "window/group[1]", "window/group[1]/button[1]",
                  "window/group[1]/statictext[1]", "window/group[1]/button[2]", "window/button[2]",
                  "window/custom[1]", "window/group[2]"}));
    EXPECT_EQ(SemanticSession::nodeAt(snapshot, "window/button[2]")["name"], "Two");
    EXPECT_EQ(SemanticSession::nodeAt(snapshot, "window/custom[1]")["role"], "custom");
    EXPECT_EQ(SemanticSession::nodeAt(snapshot, "window/group[2]")["children"], Json::array());
    expectPreOrder(snapshot);

    // Node ids are fresh random UUIDs in every snapshot.
    Json again = session.snapshot(7, 6);
    std::set<std::string> ids;
    for (const auto* shot : {&snapshot, &again}) {
        for (const auto& node : (*shot)["nodes"]) {
            std::string id = node["id"];
            EXPECT_EQ(id.size(), 32u);
            EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos) << id;
            EXPECT_EQ(id[12], '4') << id;  // version 4
            ids.insert(id);
        }
    }
    EXPECT_EQ(ids.size(), 2 * snapshot["nodes"].size());
}

TEST(SemanticSnapshot, SecureAndEditableFields) {
    struct Case {
        const char* what;
        Json node;
        Json value;
        Json actions;
        bool secure;
    };
    const std::string long5000(5000, 'a');
    const Case cases[] = {
        {"a password field",
         {{"role", "AXTextField"},
          {"subrole", "AXSecureTextField"},
          {"value", "hunter2"},
          {"settable", true}},
         "redacted",
         Json::array(),
         true},
        {"a role naming a password",
         {{"role", "AXPasswordField"}},
         "redacted",
         Json::array(),
         true},
        {"a text field holding hello",
         {{"role", "AXTextField"},
          {"value", "hello"},
          {"settable", true},
          {"actions", {"AXConfirm"}}},
         "hello",
         Json::array({"activate", "set value"}),
         false},
        {"a text area of 300 characters, kept whole",
         {{"role", "AXTextArea"}, {"value", std::string(300, 'b')}, {"settable", true}},
         std::string(300, 'b'),
         Json::array({"set value"}),
         false},
        {"a text field of 5000 characters",
         {{"role", "AXTextField"}, {"value", long5000}, {"settable", true}},
         std::string(256, 'a'),
         Json::array(),
         false},
        {"a text area whose settable query fails",
         {{"role", "AXTextArea"}, {"value", "x"}, {"settable", "error"}},
         "x",
         Json::array(),
         false},
        {"a text field that is not settable",
         {{"role", "AXTextField"}, {"value", "fixed"}, {"settable", false}},
         "fixed",
         Json::array(),
         false},
        {"a text field whose value is a number",
         {{"role", "AXTextField"}, {"value", 12}, {"settable", true}},
         12.0,
         Json::array(),
         false},
    };
    for (const auto& c : cases) {
        SemanticSession session(windowScene(Json::array({c.node})).dump());
        Json snapshot = session.snapshot(7);
        ASSERT_EQ(snapshot["nodes"].size(), 2u) << c.what;
        Json node = snapshot["nodes"][1];
        EXPECT_EQ(node["value"], c.value) << c.what;
        EXPECT_EQ(node["actions"], c.actions) << c.what;
        EXPECT_EQ(node["secure"], c.secure) << c.what;
    }
}

TEST(SemanticSnapshot, ValuesStatesActionsBoundsAndTexts) {
    Json actions33 = Json::array();
    for (int i = 0; i < 32; ++i)
        actions33.push_back("AXCancel");
    actions33.push_back("AXPress");
    struct Case {
        const char* what;
        Json node;
        const char* key;
        Json expected;
    };
    const Case cases[] = {
        {"a text value", {{"value", "plain"}}, "value", "plain"},
        {"a long value is cut", {{"value", std::string(300, 'v')}}, "value", std::string(256, 'v')},
        {"NULs are removed", {{"value", std::string("a\0b", 3)}}, "value", "ab"},
        {"a number", {{"value", 2.5}}, "value", 2.5},
        {"no value", {{"value", nullptr}}, "value", nullptr},
        {"a point", {{"value", {{"point", {3, 4}}}}}, "value", nullptr},
        {"an unreadable value", {{"value", "x"}, {"unreadable", {"AXValue"}}}, "value", nullptr},
        {"confirm and press",
         {{"actions", {"AXPress", "AXConfirm", "AXCancel"}}},
         "actions",
         Json::array({"activate", "press"})},
        {"only an unknown action", {{"actions", {"AXCancel"}}}, "actions", Json::array()},
        {"every action of the vocabulary",
         {{"actions",
           {"AXPick", "AXRaise", "AXIncrement", "AXDecrement", "AXShowMenu", "AXPress"}}},
         "actions",
         Json::array({"click", "decrement", "increment", "press", "raise", "show menu"})},
        {"only the first 32 actions count", {{"actions", actions33}}, "actions", Json::array()},
        {"all four states",
         {{"enabled", true}, {"focused", true}, {"selected", true}, {"expanded", true}},
         "states",
         Json::array({"enabled", "focused", "selected", "expanded"})},
        {"false and absent states",
         {{"enabled", false}, {"focused", nullptr}, {"selected", false}, {"expanded", true}},
         "states",
         Json::array({"expanded"})},
        {"a negative width",
         {{"position", {1.5, -2}}, {"size", {-5, 20}}},
         "bounds",
         {{"x", 1.5}, {"y", -2.0}, {"width", 0.0}, {"height", 20.0}}},
        {"no position", {{"position", nullptr}}, "bounds", nullptr},
        {"help is the description", {{"help", "Saves"}}, "description", "Saves"},
        {"the name falls back to the placeholder",
         {{"title", ""}, {"placeholder", "Search"}},
         "name",
         "Search"},
    };
    for (const auto& c : cases) {
        Json node = c.node;
        node["role"] = "AXButton";
        SemanticSession session(windowScene(Json::array({node})).dump());
        Json snapshot = session.snapshot(7);
        EXPECT_EQ(SemanticSession::nodeAt(snapshot, "window/button[1]")[c.key], c.expected)
            << c.what;
    }
}

TEST(SemanticSnapshot, Failures) {
    Json scene = windowScene(Json::array({{{"role", "AXButton"}}}));
    // Window 8 has the same frame, so its application lists two windows in one place.
    scene["windows"].push_back({{"id", 8}, {"pid", 501}, {"frame", {100, 80, 1000, 500}}});
    scene["windows"].push_back({{"id", 9}, {"pid", 777}, {"frame", {0, 0, 10, 10}}});
    SemanticSession session(scene.dump());
    struct Case {
        Json request;
        Json expected;
    };
    const Case cases[] = {
        {{{"window", 0}, {"generation", 1}}, semanticStatus("target_window_unavailable")},
        {{{"window", 7}, {"generation", 0}}, semanticStatus("target_window_unavailable")},
        {{{"generation", 1}}, semanticStatus("target_window_unavailable")},
        {{{"window", 404}, {"generation", 1}}, semanticStatus("target_window_unavailable")},
        {{{"window", 7}, {"generation", 1}}, semanticStatus("target_window_unavailable")},
        {{{"window", 9}, {"generation", 1}}, semanticStatus("target_window_unavailable")},
        {{{"window", 7}, {"generation", 1}, {"request_id", 42}},
         semanticStatus("target_window_unavailable", "42")},
        {{{"window", 7}, {"generation", 1}, {"request_id", std::string("a\0b", 3)}},
         semanticStatus("target_window_unavailable", "ab")},
    };
    for (const auto& c : cases) {
        Json request = c.request;
        request["cmd"] = "semantic_snapshot";
        if (!request.contains("request_id")) request["request_id"] = "snap";
        EXPECT_EQ(session.request(request), c.expected) << request;
    }
    session.control().merge({{"permissions", {{"accessibility", false}}}});
    EXPECT_EQ(session.snapshot(7), semanticStatus("accessibility_not_granted"));
}

}  // namespace
}  // namespace brindlemar::testing

// "list" and "list_displays" through the helper on a simulated desktop: which windows are listed,
// the identities of their applications and processes, the display records, and the failures of
// the catalogue.

#include <gtest/gtest.h>

#include "support/helper_process.h"
#include "support/sim_control.h"

namespace brindlemar::testing {
namespace {

const std::string kCdhash = "0123456789abcdef0011223344556677deadbeef";  // 20 bytes

Json signature(Json fields) {
    Json s = {{"valid", true},   {"static", true}, {"info", true},     {"identifier", "tool"},
              {"team", nullptr}, {"apple", false}, {"cdhash", nullptr}};
    if (fields.is_object()) s.update(fields);  // `{}` arrives as null
    return s;
}

Json app(int pid, Json name, Json signatureValue, Json launched = nullptr) {
    return {{"pid", pid}, {"name", name}, {"signature", signatureValue}, {"launched", launched}};
}

Json window(int id, Json pid, Json title, Json frame, Json extra = Json::object()) {
    Json w = {{"id", id}, {"pid", pid}, {"title", title}, {"frame", frame}};
    w.update(extra);
    return w;
}

// Applications of every signing form, and windows that pass or fail each listing filter.
Json inventoryScene() {
    return {
        {"displays",
         {{{"id", 1},
           {"frame", {0, 0, 1512, 982}},
           {"pixel_width", 3024},
           {"uuid", "37D8832A-2D66-02CA-B9F7-8F30A301B230"}},
          {{"id", 5},
           {"frame", {1512, -200.5, 1920, 1080}},
           {"pixel_width", 1920},
           {"uuid", nullptr}},
          {{"id", 6}, {"frame", {-1000, 0, 1000, 800}}, {"pixel_width", nullptr}}}},
        {"apps",
         {app(501, "Editor", signature({{"team", "ABCDE12345"}, {"identifier", "editor-tool"}}),
              1700000000.0),
          app(502, "Finder", signature({{"apple", true}, {"identifier", "com.apple.finder"}}),
              1731781234.5),
          app(503, "Adhoc", signature({{"team", ""}, {"cdhash", kCdhash}})),
          app(504, "Changed", signature({{"valid", false}, {"team", "ABCDE12345"}})),
          app(505, "NoStatic", signature({{"static", false}, {"team", "ABCDE12345"}})),
          app(506, "NoInfo", signature({{"info", false}, {"team", "ABCDE12345"}})),
          app(507, "NoIdentifier", signature({{"identifier", nullptr}, {"team", "ABCDE12345"}})),
          app(508, "Unsigned", nullptr), app(509, "NoForm", signature({})),
          app(510, nullptr, signature({{"team", "ABCDE12345"}}))}},
        {"windows",
         {window(7, 501, "Report", {100, 80, 1000, 500}),
          window(8, 501, "Notes", {-100.7, 20.9, 799.9, 400.5}),
          window(9, 501, nullptr, {0, 0, 40, 40}),
          window(10, 501, "Narrow", {0, 0, 39.9, 400}),
          window(11, 501, "Low", {0, 0, 400, 39.9}),
          window(12, 501, "Panel", {0, 0, 400, 400}, {{"layer", 3}}),
          window(13, 501, "Hidden", {0, 0, 400, 400}, {{"on_screen", false}}),
          window(14, nullptr, "Orphan", {10, 10, 100, 100}),
          window(15, nullptr, nullptr, {10, 10, 100, 100}),
          window(16, 510, "", {10, 10, 100, 100}),
          window(17, 510, "Nameless owner", {10, 10, 100, 100}),
          window(20, 502, "Finder", {10, 10, 100, 100}),
          window(21, 503, "Adhoc", {10, 10, 100, 100}),
          window(22, 504, "Changed", {10, 10, 100, 100}),
          window(23, 505, "NoStatic", {10, 10, 100, 100}),
          window(24, 506, "NoInfo", {10, 10, 100, 100}),
          window(25, 507, "NoIdentifier", {10, 10, 100, 100}),
          window(26, 508, "Unsigned", {10, 10, 100, 100}),
          window(27, 509, "NoForm", {10, 10, 100, 100}),
          window(28, 999, "Ghost", {10, 10, 100, 100})}},
    };
}

Json listWindows(HelperProcess& helper) {
    auto record = helper.request({{"cmd", "list"}});
    EXPECT_EQ(record.type(), "windows") << record.header;
    return record.header.value("windows", Json::array());
}

const Json* findById(const Json& records, int id) {
    for (const auto& record : records) {
        if (record["id"] == id) return &record;
    }
    return nullptr;
}

TEST(WindowListing, FiltersKeepNamedOnScreenNormalWindowsOfAtLeast40Points) {
    HelperProcess helper({.sceneJson = inventoryScene().dump()});
    Json windows = listWindows(helper);
    std::vector<int> ids;
    for (const auto& w : windows)
        ids.push_back(w["id"].get<int>());
    // Catalogue order; 10/11 too small, 12 on layer 3, 13 off screen, 15 and 16 unnamed.
    EXPECT_EQ(ids, (std::vector<int>{7, 8, 9, 14, 17, 20, 21, 22, 23, 24, 25, 26, 27, 28}));
}

TEST(WindowListing, RecordsCarryTwelveKeysWithTruncatedFrames) {
    HelperProcess helper({.sceneJson = inventoryScene().dump()});
    Json windows = listWindows(helper);
    const Json expected7 = {
        {"id", 7},
        {"app", "Editor"},
        {"title", "Report"},
        {"pid", 501},
        {"application_id", "macos:ABCDE12345:editor-tool"},
        {"process_identity", "1700000000.0"},
        {"x", 100},
        {"y", 80},
        {"width", 1000},
        {"height", 500},
        {"scale", 1.0},
        {"z", 0},
    };
    ASSERT_NE(findById(windows, 7), nullptr);
    EXPECT_EQ(*findById(windows, 7), expected7);

    const Json& notes = *findById(windows, 8);
    EXPECT_EQ(notes["x"], -100);  // toward zero, not down
    EXPECT_EQ(notes["y"], 20);
    EXPECT_EQ(notes["width"], 799);
    EXPECT_EQ(notes["height"], 400);
    // Two windows of one process carry the same identity.
    EXPECT_EQ(notes["application_id"], expected7["application_id"]);

    const Json& untitled = *findById(windows, 9);
    EXPECT_EQ(untitled["title"], "");
    EXPECT_EQ(untitled["app"], "Editor");

    const Json& nameless = *findById(windows, 17);
    EXPECT_EQ(nameless["app"], "");
    EXPECT_EQ(nameless["pid"], 510);
    for (const auto& w : windows) {
        EXPECT_EQ(w.size(), 12u) << w;
        EXPECT_EQ(w["scale"], 1.0);
        EXPECT_EQ(w["z"], 0);
    }
}

TEST(WindowListing, ApplicationIdentityOfEachSigningForm) {
    HelperProcess helper({.sceneJson = inventoryScene().dump()});
    Json windows = listWindows(helper);
    const std::vector<std::pair<int, std::string>> cases = {
        {7, "macos:ABCDE12345:editor-tool"},   // registered developer
        {20, "macos:apple:com.apple.finder"},  // platform vendor
        {21, "macos:adhoc:" + kCdhash},        // ad hoc; the empty team counts as none
        {22, ""},                              // code changed since launch
        {23, ""},                              // no static code
        {24, ""},                              // signing information unreadable
        {25, ""},                              // no signing identifier
        {26, ""},                              // no code object
        {27, ""},                              // no form applies
        {28, ""},                              // no such process
        {14, ""},                              // no owning application
    };
    for (const auto& [id, identity] : cases) {
        const Json* record = findById(windows, id);
        ASSERT_NE(record, nullptr) << id;
        EXPECT_EQ((*record)["application_id"], identity) << "window " << id;
    }
    EXPECT_EQ((*findById(windows, 21))["application_id"].get<std::string>().size(),
              std::string("macos:adhoc:").size() + 40);
}

TEST(WindowListing, ProcessIdentityIsTheLaunchTime) {
    HelperProcess helper({.sceneJson = inventoryScene().dump()});
    Json windows = listWindows(helper);
    const std::vector<std::pair<int, std::string>> cases = {
        {7, "1700000000.0"},
        {20, "1731781234.5"},  // whole and fractional seconds
        {21, ""},              // no launch date
        {28, ""},              // no such process
        {14, ""},              // no owning application: pid 0
    };
    for (const auto& [id, identity] : cases) {
        EXPECT_EQ((*findById(windows, id))["process_identity"], identity) << "window " << id;
    }
    EXPECT_EQ((*findById(windows, 14))["pid"], 0);
}

TEST(DisplayListing, RecordsCarryScaleAndIdentity) {
    HelperProcess helper({.sceneJson = inventoryScene().dump()});
    auto record = helper.request({{"cmd", "list_displays"}});
    ASSERT_EQ(record.type(), "displays") << record.header;
    const Json expected = {
        {{"id", 1},
         {"x", 0},
         {"y", 0},
         {"width", 1512},
         {"height", 982},
         {"scale", 2.0},
         {"display_identity", "37D8832A-2D66-02CA-B9F7-8F30A301B230"}},
        {{"id", 5},
         {"x", 1512},
         {"y", -200},
         {"width", 1920},
         {"height", 1080},
         {"scale", 1.0},
         {"display_identity", ""}},
        // Without a current mode the scale falls back to 2.0.
        {{"id", 6},
         {"x", -1000},
         {"y", 0},
         {"width", 1000},
         {"height", 800},
         {"scale", 2.0},
         {"display_identity", "5CE1D15A-0000-4000-8000-000000000006"}},
    };
    EXPECT_EQ(record.header["displays"], expected);
}

TEST(DisplayListing, EmptyDesktopListsNothing) {
    HelperProcess helper({.sceneJson = "{}"});
    EXPECT_EQ(helper.request({{"cmd", "list_displays"}}).header,
              Json({{"type", "displays"}, {"displays", Json::array()}}));
    EXPECT_EQ(helper.request({{"cmd", "list"}}).header,
              Json({{"type", "windows"}, {"windows", Json::array()}}));
}

TEST(Listings, CatalogueFailuresBecomeErrorRecordsWithTheSystemsMessage) {
    Json denied = inventoryScene();
    denied["permissions"] = {{"screen_recording", false}};
    Json injected = inventoryScene();
    injected["capture"] = {{"catalogue_error", "catalogue unavailable"}};

    for (const Json& scene : {denied, injected}) {
        HelperProcess helper({.sceneJson = scene.dump()});
        for (const char* cmd : {"list", "list_displays", "grab_display"}) {
            auto record = helper.request({{"cmd", cmd}});
            EXPECT_EQ(record.type(), "error") << cmd;
            EXPECT_FALSE(record.header.value("error", "").empty()) << cmd;
            if (scene.contains("capture")) {
                EXPECT_EQ(record.header["error"], "catalogue unavailable") << cmd;
            }
        }
        // The loop goes on.
        EXPECT_EQ(helper.request({{"cmd", "ping"}}).type(), "pong");
    }
}

TEST(Listings, FollowTheSceneAsItChanges) {
    HelperProcess helper({.sceneJson = inventoryScene().dump(), .simControl = true});
    SimControl control(helper.socketPath());
    control.merge({{"windows", {window(30, 501, "Only", {0, 0, 100, 100})}}});
    Json windows = listWindows(helper);
    ASSERT_EQ(windows.size(), 1u);
    EXPECT_EQ(windows[0]["id"], 30);
}

}  // namespace
}  // namespace brindlemar::testing

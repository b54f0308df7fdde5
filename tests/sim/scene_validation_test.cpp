// A scene that breaks a rule ends the helper at start-up with status 2 and one line on standard
// error that names the scene file and the JSON path of the bad value.

#include <gtest/gtest.h>

#include "platform/sim/scene.h"
#include "support/helper_process.h"

namespace brindlemar::testing {
namespace {

struct BadScene {
    const char* scene;
    const char* path;  // what the diagnostic must name
};

const BadScene kBadScenes[] = {
    {R"([])", "$"},
    {R"({"clock": "noon"})", "clock"},
    {R"({"os_version": 15})", "os_version"},
    {R"({"permissions": {"accessibility": 1}})", "permissions.accessibility"},
    {R"({"grant_on_request": "yes"})", "grant_on_request"},
    {R"({"session": {"locked": null}})", "session.locked"},
    {R"({"user": {"buttons": [0, "left"]}})", "user.buttons[1]"},
    {R"({"displays": [{"id": 1}, {"id": 1}]})", "displays[1].id"},
    {R"({"displays": [{"id": -4}]})", "displays[0].id"},
    {R"({"displays": [{"frame": [0, 0, -1, 10]}]})", "displays[0].frame[2]"},
    {R"({"displays": [{"background": "#12345"}]})", "displays[0].background"},
    {R"({"displays": [{"background": "#GG0000"}]})", "displays[0].background"},
    {R"({"main_display": 3, "displays": [{"id": 1}]})", "main_display"},
    {R"({"apps": [{"pid": 501}, {"pid": 501}]})", "apps[1].pid"},
    {R"({"apps": [{"name": "no pid"}]})", "apps[0].pid"},
    {R"({"apps": [{"pid": 1, "signature": {"cdhash": "ABCD"}}]})", "apps[0].signature.cdhash"},
    {R"({"apps": [{"pid": 1, "ax": {"windows": [7, "x"]}}]})", "apps[0].ax.windows[1]"},
    {R"({"windows": [{"id": 1}, {"id": 2}, {"id": 3, "frame": [0, 0, 10, -2]}]})",
     "windows[2].frame[3]"},
    {R"({"windows": [{"id": 1, "frame": [0, 0, 10]}]})", "windows[0].frame"},
    {R"({"windows": [{"id": 4}, {"id": 4}]})", "windows[1].id"},
    {R"({"windows": [{"fill": "blue"}]})", "windows[0].fill"},
    {R"({"windows": [{"drop": "explode"}]})", "windows[0].drop"},
    {R"({"windows": [{"pid": 1.5}]})", "windows[0].pid"},
    {R"({"windows": [{"on_screen": "true"}]})", "windows[0].on_screen"},
    {R"({"windows": [{"ax": {"children": [{"role": 3}]}}]})", "windows[0].ax.children[0].role"},
    {R"({"windows": [{"id": 1, "ax": {"ref": "a"}}, {"id": 2, "ax": {"children": [{"ref": "a"}]}}]})",
     "windows[1].ax.children[0].ref"},
    // An element may report a negative size; it must still be a number.
    {R"({"windows": [{"ax": {"children": [{"size": [-1, "2"]}]}}]})",
     "windows[0].ax.children[0].size[1]"},
    {R"({"windows": [{"ax": {"settable": "maybe"}}]})", "windows[0].ax.settable"},
    {R"({"windows": [{"ax": {"value": [1, 2]}}]})", "windows[0].ax.value"},
    {R"({"pasteboard": {"types": "public.utf8-plain-text"}})", "pasteboard.types"},
    {R"({"drag_pasteboard": {"change": 1.5}})", "drag_pasteboard.change"},
    {R"({"capture": {"catalogue_error": 5}})", "capture.catalogue_error"},
    {R"({"encoder": {"property_status": {"AverageBitRate": "bad"}}})",
     "encoder.property_status.AverageBitRate"},
};

TEST(SceneValidation, BadScenesEndStartUpNamingTheFileAndThePath) {
    for (const auto& bad : kBadScenes) {
        HelperProcess helper({.sceneJson = std::string(bad.scene)});
        EXPECT_EQ(helper.wait(), 2) << bad.scene;
        EXPECT_EQ(helper.drainOutput(), "") << bad.scene;
        std::string diagnostics = helper.standardError();
        EXPECT_EQ(std::count(diagnostics.begin(), diagnostics.end(), '\n'), 1) << diagnostics;
        EXPECT_NE(diagnostics.find(helper.scenePath()), std::string::npos) << diagnostics;
        EXPECT_NE(diagnostics.find(std::string(bad.path) + ": "), std::string::npos)
            << bad.scene << " gave: " << diagnostics;
    }
}

TEST(SceneValidation, UnreadableAndMalformedFilesAreFaultsToo) {
    HelperProcess missing({.environment = {{"BRINDLEMAR_SIM_SCENE", "/nonexistent/scene.json"}}});
    EXPECT_EQ(missing.wait(), 2);
    EXPECT_NE(missing.standardError().find("/nonexistent/scene.json"), std::string::npos);

    HelperProcess malformed({.sceneJson = std::string("{\"windows\": [")});
    EXPECT_EQ(malformed.wait(), 2);
    EXPECT_NE(malformed.standardError().find("not valid JSON"), std::string::npos);
}

TEST(SceneValidation, DefaultsFillEveryMissingKey) {
    auto scene = platform::sim::parseScene(nlohmann::json::parse(R"({
        "displays": [{"frame": [0, 0, 1920, 1080]}, {"frame": [1920, 0, 800, 600], "pixel_width": null}],
        "windows": [{"id": 7, "title": "Report", "frame": [10, 20, 300, 200]}]})"));
    ASSERT_TRUE(scene.ok()) << scene.error().message;
    const auto& first = scene->displays[0];
    EXPECT_EQ(first.id, 1u);
    EXPECT_EQ(first.width, 1920);
    EXPECT_EQ(first.pixelWidth, 3840);
    ASSERT_TRUE(first.uuid.has_value());
    EXPECT_EQ(first.uuid->size(), 36u);
    EXPECT_EQ(scene->displays[1].id, 2u);
    EXPECT_FALSE(scene->displays[1].pixelWidth.has_value());
    const auto& root = scene->windows[0].ax;
    EXPECT_EQ(root.role, "AXWindow");
    EXPECT_EQ(root.title, "Report");
    EXPECT_EQ(root.position, (platform::Point{10, 20}));
    EXPECT_EQ(root.size, (platform::Size{300, 200}));
    EXPECT_TRUE(scene->session.has_value());
    EXPECT_EQ(scene->osVersion, "15.4");
}

TEST(SceneValidation, WrittenSceneReadsBackUnchanged) {
    auto scene = platform::sim::parseScene(nlohmann::json::parse(R"({
        "clock": 5, "session": null, "frontmost": 501,
        "apps": [{"pid": 501, "signature": {"team": "", "cdhash": "00ff"}}],
        "windows": [{"id": 7, "pid": 501, "fill": "#11223344", "drop": "hang",
                     "ax": {"settable": "error", "children": [{"ref": "v", "value": {"point": [1, 2]},
                                                               "focused": null}]}}]})"));
    ASSERT_TRUE(scene.ok()) << scene.error().message;
    auto written = platform::sim::sceneToJson(*scene);
    auto reread = platform::sim::parseScene(written);
    ASSERT_TRUE(reread.ok()) << reread.error().message;
    EXPECT_EQ(platform::sim::sceneToJson(*reread), written);
    EXPECT_EQ(written["windows"][0]["fill"], "#11223344");
    EXPECT_TRUE(written["session"].is_null());
}

}  // namespace
}  // namespace brindlemar::testing

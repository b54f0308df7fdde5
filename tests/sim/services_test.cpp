// The seam services of the simulated desktop answer from the scene and follow it as it changes.

#include <gtest/gtest.h>

#include "sim_fixture.h"

namespace brindlemar::testing {
namespace {

using namespace platform;

const char* kScene = R"({
  "displays": [
    {"id": 1, "frame": [0, 0, 1512, 982], "pixel_width": 3024, "uuid": "37D8832A-2D66-02CA-B9F7-8F30A301B230"},
    {"id": 2, "frame": [1512, 0, 1920, 1080], "pixel_width": null, "uuid": null, "active": false}
  ],
  "main_display": 2,
  "apps": [
    {"pid": 501, "name": "Editor", "launched": 1700000000.0,
     "signature": {"identifier": "editor-tool", "team": "ABCDE12345", "cdhash": "00a1ff"}},
    {"pid": 77, "name": null, "signature": null}
  ],
  "windows": [
    {"id": 7, "pid": 501, "title": "Report", "frame": [100, 80, 1000, 500], "point_pixel_scale": 1.5},
    {"id": 8, "pid": 404, "title": null, "frame": [0, 0, 50, 50], "layer": 3},
    {"id": 9, "pid": null, "frame": [5, 5, 10, 10], "on_screen": false}
  ]
})";

TEST(SimServices, CatalogueListsOnScreenWindowsFrontToBackAndEveryDisplay) {
    SimDesktopFixture sim(kScene);
    auto content = sim.desktop().captureCatalogue().shareableContent();
    ASSERT_TRUE(content.ok());
    ASSERT_EQ(content->windows.size(), 2u);
    const auto& report = content->windows[0];
    EXPECT_EQ(report.id, 7u);
    EXPECT_EQ(report.title, "Report");
    EXPECT_EQ(report.frame, (Rect{100, 80, 1000, 500}));
    ASSERT_TRUE(report.owner.has_value());
    EXPECT_EQ(report.owner->name, "Editor");
    EXPECT_EQ(content->windows[1].layer, 3);
    EXPECT_FALSE(content->windows[1].title.has_value());
    EXPECT_EQ(content->windows[1].owner->name, "");  // pid 404 runs no known application
    ASSERT_EQ(content->displays.size(), 2u);
    EXPECT_EQ(content->displays[1].width, 1920);

    auto& catalogue = sim.desktop().captureCatalogue();
    EXPECT_EQ(catalogue.displayModePixelWidth(1), 3024);
    EXPECT_EQ(catalogue.displayModePixelWidth(2), std::nullopt);
    EXPECT_EQ(catalogue.displayModePixelWidth(99), std::nullopt);
    EXPECT_EQ(catalogue.displayUuid(1), "37D8832A-2D66-02CA-B9F7-8F30A301B230");
    EXPECT_EQ(catalogue.displayUuid(2), std::nullopt);
    auto geometry = catalogue.windowFilterGeometry(report);
    EXPECT_EQ(geometry.contentRect, report.frame);
    EXPECT_EQ(geometry.pointPixelScale, 1.5);
}

TEST(SimServices, CaptureFailsWithoutScreenRecordingOrWithAnInjectedError) {
    SimDesktopFixture sim(kScene);
    auto& catalogue = sim.desktop().captureCatalogue();
    auto& screenshots = sim.desktop().screenshots();
    CaptureFilter display{CaptureFilterKind::Display, 1};
    ScreenshotConfiguration small{.width = 4, .height = 2};

    sim.control().merge(
        {{"capture",
          {{"catalogue_error", "catalogue is down"}, {"screenshot_error", "no pictures today"}}}});
    EXPECT_EQ(catalogue.shareableContent().error().message, "catalogue is down");
    EXPECT_EQ(screenshots.captureImage(display, small).error().message, "no pictures today");

    sim.control().merge({{"capture", nullptr}, {"permissions", {{"screen_recording", false}}}});
    EXPECT_FALSE(catalogue.shareableContent().ok());
    EXPECT_FALSE(screenshots.captureImage(display, small).ok());
    EXPECT_TRUE(sim.control().journal().empty());

    sim.control().merge({{"permissions", {{"screen_recording", true}}}});
    EXPECT_TRUE(catalogue.shareableContent().ok());
}

TEST(SimServices, ScreenshotsHaveTheRequestedSizeAndAreJournalled) {
    SimDesktopFixture sim(kScene);
    auto& screenshots = sim.desktop().screenshots();
    auto window =
        screenshots.captureImage({CaptureFilterKind::Window, 7}, {.width = 1600, .height = 800});
    ASSERT_TRUE(window.ok());
    EXPECT_EQ(window->width(), 1600);
    EXPECT_EQ(window->height(), 800);
    EXPECT_EQ(window->size(), 1600u * 800u * 4u);
    auto display = screenshots.captureImage({CaptureFilterKind::Display, 1},
                                            {.width = 3024, .height = 1964, .showsCursor = true});
    ASSERT_TRUE(display.ok());
    EXPECT_EQ(display->size(), 23756544u);
    EXPECT_FALSE(screenshots.captureImage({CaptureFilterKind::Window, 9}, {}).ok());  // off screen
    EXPECT_FALSE(screenshots.captureImage({CaptureFilterKind::Display, 5}, {}).ok());
    EXPECT_EQ(sim.control().journal(), Json::array({{{"effect", "screenshot"},
                                                     {"filter", "window"},
                                                     {"id", 7},
                                                     {"width", 1600},
                                                     {"height", 800},
                                                     {"shows_cursor", false}},
                                                    {{"effect", "screenshot"},
                                                     {"filter", "display"},
                                                     {"id", 1},
                                                     {"width", 3024},
                                                     {"height", 1964},
                                                     {"shows_cursor", true}}}));
}

TEST(SimServices, CodeObjectsComeFromTheSignature) {
    SimDesktopFixture sim(kScene);
    auto& signing = sim.desktop().codeSigning();
    EXPECT_EQ(signing.identityNamespace(), "macos");
    EXPECT_EQ(signing.codeForProcess(77), nullptr);   // signature null
    EXPECT_EQ(signing.codeForProcess(999), nullptr);  // no such process
    auto code = signing.codeForProcess(501);
    ASSERT_NE(code, nullptr);
    EXPECT_TRUE(code->isValid());
    EXPECT_TRUE(code->hasStaticCode());
    EXPECT_FALSE(code->satisfiesVendorAnchor());
    auto info = code->signingInformation();
    ASSERT_TRUE(info.has_value());
    EXPECT_EQ(info->identifier, "editor-tool");
    EXPECT_EQ(info->team, "ABCDE12345");
    EXPECT_EQ(info->uniqueHash, (std::vector<std::uint8_t>{0x00, 0xA1, 0xFF}));

    sim.control().merge(
        {{"apps",
          Json::array({{{"pid", 501},
                        {"signature", {{"valid", false}, {"info", false}, {"apple", true}}}}})}});
    code = signing.codeForProcess(501);
    ASSERT_NE(code, nullptr);
    EXPECT_FALSE(code->isValid());
    EXPECT_FALSE(code->signingInformation().has_value());
    EXPECT_TRUE(code->satisfiesVendorAnchor());
}

TEST(SimServices, WorkspaceKnowsLaunchTimesAndActivates) {
    SimDesktopFixture sim(kScene);
    auto& workspace = sim.desktop().workspace();
    EXPECT_EQ(workspace.launchTime(501), 1700000000.0);
    EXPECT_EQ(workspace.launchTime(77), std::nullopt);
    EXPECT_EQ(workspace.launchTime(404), std::nullopt);
    EXPECT_FALSE(workspace.activateApplication(404));
    EXPECT_TRUE(workspace.activateApplication(77));
    EXPECT_EQ(sim.control().state()["frontmost"], 77);
    EXPECT_EQ(sim.control().journal(), Json::array({{{"effect", "activate"}, {"pid", 77}}}));
}

TEST(SimServices, WindowListIncludesOffScreenWindowsAndActiveDisplaysOnly) {
    SimDesktopFixture sim(kScene);
    auto& list = sim.desktop().windowList();
    auto hidden = list.describeWindow(9);
    ASSERT_TRUE(hidden.has_value());
    EXPECT_EQ(hidden->number, 9u);
    EXPECT_EQ(hidden->bounds, (Rect{5, 5, 10, 10}));
    EXPECT_EQ(hidden->ownerPid, std::nullopt);
    EXPECT_EQ(list.describeWindow(7)->ownerPid, 501);
    EXPECT_EQ(list.describeWindow(70), std::nullopt);
    EXPECT_EQ(list.displayBounds(1), (Rect{0, 0, 1512, 982}));
    EXPECT_EQ(list.displayBounds(2), Rect{});  // inactive
    EXPECT_EQ(list.displayBounds(0), Rect{});
    EXPECT_EQ(list.mainDisplayId(), 2u);
    sim.control().merge({{"main_display", nullptr}});
    EXPECT_EQ(list.mainDisplayId(), 1u);
    sim.control().merge({{"displays", Json::array()}});
    EXPECT_EQ(list.mainDisplayId(), 0u);
}

TEST(SimServices, DragPasteboardCountFollowsAcceptedDrops) {
    SimDesktopFixture sim(kScene);
    auto& pasteboards = sim.desktop().pasteboards();
    EXPECT_EQ(pasteboards.dragPasteboardChangeCount(), 0);
    sim.control().call({{"op", "drop"}, {"x", 500}, {"y", 300}, {"paths", {"/x"}}});
    EXPECT_EQ(pasteboards.dragPasteboardChangeCount(), 1);
}

TEST(SimServices, ClockReadsTheSimulatedTime) {
    SimDesktopFixture sim(R"({"clock": 100.25})");
    EXPECT_EQ(sim.desktop().clock().now(), 100.25);
    sim.control().advanceClock(0.75);
    EXPECT_EQ(sim.desktop().clock().now(), 101.0);
    SimDesktopFixture real("{}");
    double before = real.desktop().clock().now();
    real.control().advanceClock(3600);
    EXPECT_GE(real.desktop().clock().now(), before + 3600);
}

}  // namespace
}  // namespace brindlemar::testing

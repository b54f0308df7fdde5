// The four grab commands through the helper on a simulated desktop: planned sizes and reported
// scales, budgets and rounding, the pixel limit, display fallbacks, the pixels of PNG and raw
// frames, the screenshot requests in the journal, check errors and failures. The error codes of
// the operations are checked in process against the same simulated desktop.

#include <gtest/gtest.h>

#include <fstream>

#include "capture/still_capture.h"
#include "platform/sim/sim_backend.h"
#include "png_decode.h"
#include "support/helper_process.h"
#include "support/sim_control.h"

namespace brindlemar::testing {
namespace {

using namespace std::chrono_literals;

// Display 1 is 1512 x 982 points at scale 2 (3024 x 1964 pixels); display 2 has no current mode.
Json captureScene() {
    return {
        {"displays",
         {{{"id", 1},
           {"frame", {0, 0, 1512, 982}},
           {"pixel_width", 3024},
           {"background", "#202020"}},
          {{"id", 2},
           {"frame", {1512, 0, 1000, 800}},
           {"pixel_width", nullptr},
           {"background", "#000000"}}}},
        {"apps", {{{"pid", 501}, {"name", "Editor"}}}},
        {"windows",
         {{{"id", 7},
           {"pid", 501},
           {"title", "Report"},
           {"frame", {100, 80, 1000, 500}},
           {"point_pixel_scale", 2.0},
           {"fill", "#3366CC"}},
          {{"id", 8},
           {"pid", 501},
           {"title", "Glass"},
           {"frame", {1200, 600, 200, 100}},
           {"point_pixel_scale", 2.0},
           {"fill", "#FF000080"}},
          {{"id", 9},
           {"pid", 501},
           {"title", "Odd"},
           {"frame", {300, 700, 100.25, 50.5}},
           {"point_pixel_scale", 2.0},
           {"fill", "#00FF00"}},
          {{"id", 10},
           {"pid", 501},
           {"title", "Speck"},
           {"frame", {20, 20, 0.2, 0.2}},
           {"fill", "#FFFFFF"}},
          {{"id", 11},
           {"pid", 501},
           {"title", "Far away"},
           {"frame", {9000, 9000, 300, 200}},
           {"point_pixel_scale", 1.0},
           {"fill", "#FFFF00"}},
          {{"id", 12},
           {"pid", 501},
           {"title", "Huge"},
           {"frame", {0, 0, 8000, 4001}},
           {"point_pixel_scale", 1.0},
           {"fill", "#123456"},
           {"on_screen", true}},
          {{"id", 13},
           {"pid", 501},
           {"title", "At the limit"},
           {"frame", {0, 0, 4000, 2000}},
           {"point_pixel_scale", 2.0},
           {"fill", "#654321"}},
          {{"id", 14},
           {"pid", 501},
           {"title", "Gone"},
           {"frame", {0, 0, 400, 400}},
           {"on_screen", false}}}},
    };
}

// The scene with the two large windows taken out, so display captures stay quick to check.
Json displayScene() {
    Json scene = captureScene();
    Json windows = Json::array();
    for (const auto& w : scene["windows"]) {
        if (w["id"] != 12 && w["id"] != 13) windows.push_back(w);
    }
    scene["windows"] = windows;
    return scene;
}

struct FrameHeader {
    std::int64_t w, h;
    double scale;
};

void expectFrame(const Record& record, const char* format, FrameHeader expected,
                 const std::string& what) {
    ASSERT_EQ(record.type(), "frame") << what << ": " << record.header;
    EXPECT_EQ(record.header["format"], format) << what;
    EXPECT_EQ(record.header["w"], expected.w) << what;
    EXPECT_EQ(record.header["h"], expected.h) << what;
    EXPECT_DOUBLE_EQ(record.header["scale"].get<double>(), expected.scale) << what;
    EXPECT_EQ(record.header["len"], record.payload.size()) << what;
}

TEST(GrabSizes, PlannedFromDisplayScaleBudgetAndOriginalPixels) {
    struct Case {
        Json request;
        const char* format;
        FrameHeader expected;
    };
    const std::vector<Case> cases = {
        // 1000 x 500 points on a scale-2 display: 2000 x 1000 planned, the budget cuts to 1600.
        {{{"cmd", "grab"}, {"id", 7}}, "PNG", {1600, 800, 1.6}},
        {{{"cmd", "grab"}, {"id", 7}, {"max_px", 0}}, "PNG", {2000, 1000, 2.0}},
        {{{"cmd", "grab"}, {"id", 7}, {"max_px", -5}}, "PNG", {2000, 1000, 2.0}},
        {{{"cmd", "grab"}, {"id", 7}, {"max_px", "800"}}, "PNG", {1600, 800, 1.6}},  // default
        {{{"cmd", "grab"}, {"id", 7}, {"max_px", 400.9}}, "PNG", {400, 200, 0.4}},
        // 1601 x 800.5: the half rounds away from zero.
        {{{"cmd", "grab"}, {"id", 7}, {"max_px", 1601}}, "PNG", {1601, 801, 1.601}},
        // 200.5 x 101 planned from 100.25 x 50.5 points: the half rounds away from zero.
        {{{"cmd", "grab"}, {"id", 9}, {"max_px", 0}}, "PNG", {201, 101, 201 / 100.25}},
        // A window of 0.2 x 0.2 points plans 0.4 x 0.4 pixels, configured as 1 x 1.
        {{{"cmd", "grab"}, {"id", 10}}, "PNG", {1, 1, 5.0}},
        // On no display the scale falls back to 2.0.
        {{{"cmd", "grab"}, {"id", 11}, {"max_px", 0}}, "PNG", {600, 400, 2.0}},
        // Original pixels come from the window's own backing scale; max_px does not apply.
        {{{"cmd", "grab_pixels"}, {"id", 7}, {"max_px", 100}}, "RGBA", {2000, 1000, 2.0}},
        // 200.5 x 101 pixels: the half rounds up.
        {{{"cmd", "grab_pixels"}, {"id", 9}}, "RGBA", {201, 101, 201 / 100.25}},
        {{{"cmd", "grab_pixels"}, {"id", 11}}, "RGBA", {300, 200, 1.0}},
        // The id is a window number: fraction dropped, low 32 bits kept.
        {{{"cmd", "grab"}, {"id", 7.9}, {"max_px", 100}}, "PNG", {100, 50, 0.1}},
        {{{"cmd", "grab"}, {"id", 4294967303LL}, {"max_px", 100}}, "PNG", {100, 50, 0.1}},
    };
    HelperProcess helper({.sceneJson = captureScene().dump()});
    for (const auto& c : cases) {
        expectFrame(helper.request(c.request, 20s), c.format, c.expected, c.request.dump());
    }
}

TEST(GrabSizes, DisplaysAreSizedFromTheirModeAndFallBackToTheFirstDisplay) {
    struct Case {
        Json request;
        const char* format;
        FrameHeader expected;
        std::uint32_t capturedDisplay;
    };
    const double budgeted = 1600.0 / 1512.0;
    const std::vector<Case> cases = {
        {{{"cmd", "grab_display"}, {"id", 1}}, "PNG", {1600, 1039, budgeted}, 1},
        {{{"cmd", "grab_display"}}, "PNG", {1600, 1039, budgeted}, 1},  // id 0: first display
        {{{"cmd", "grab_display"}, {"id", 77}}, "PNG", {1600, 1039, budgeted}, 1},
        {{{"cmd", "grab_display"}, {"id", 77}, {"exact", 0}}, "PNG", {1600, 1039, budgeted}, 1},
        {{{"cmd", "grab_display"}, {"id", 1}, {"max_px", 0}}, "PNG", {3024, 1964, 2.0}, 1},
        // No current mode: scale 2.0.
        {{{"cmd", "grab_display"}, {"id", 2}, {"max_px", 0}}, "PNG", {2000, 1600, 2.0}, 2},
        {{{"cmd", "grab_display"}, {"id", 2}, {"exact", true}}, "PNG", {1600, 1280, 1.6}, 2},
        {{{"cmd", "grab_display_pixels"}, {"id", 1}, {"max_px", 10}}, "RGBA", {3024, 1964, 2.0}, 1},
        {{{"cmd", "grab_display_pixels"}, {"id", 2}}, "RGBA", {2000, 1600, 2.0}, 2},
    };
    HelperProcess helper({.sceneJson = displayScene().dump(), .simControl = true});
    SimControl control(helper.socketPath());
    control.journal();
    for (const auto& c : cases) {
        expectFrame(helper.request(c.request, 20s), c.format, c.expected, c.request.dump());
        Json entries = control.journal();
        ASSERT_EQ(entries.size(), 1u) << c.request;
        const Json expectedShot = {{"effect", "screenshot"},  {"filter", "display"},
                                   {"id", c.capturedDisplay}, {"width", c.expected.w},
                                   {"height", c.expected.h},  {"shows_cursor", true}};
        EXPECT_EQ(entries[0], expectedShot) << c.request;
    }
}

TEST(GrabSizes, RawDisplayOfRetinaPanelIsWidthTimesHeightTimesFour) {
    HelperProcess helper({.sceneJson = displayScene().dump()});
    auto record = helper.request({{"cmd", "grab_display_pixels"}, {"id", 1}}, 20s);
    ASSERT_EQ(record.type(), "frame") << record.header;
    EXPECT_EQ(record.header["len"], 23756544);
    EXPECT_EQ(record.payload.size(), 23756544u);
}

TEST(GrabSizes, WindowCaptureAsksForTheWindowWithoutCursor) {
    HelperProcess helper({.sceneJson = captureScene().dump(), .simControl = true});
    SimControl control(helper.socketPath());
    control.journal();
    ASSERT_EQ(helper.request({{"cmd", "grab"}, {"id", 7}}).type(), "frame");
    const Json expectedShot = {
        {"effect", "screenshot"}, {"filter", "window"}, {"id", 7},
        {"width", 1600},          {"height", 800},      {"shows_cursor", false}};
    EXPECT_EQ(control.journal(), Json::array({expectedShot}));
}

TEST(PixelLimit, OriginalPixelCapturesAboveTheLimitFailBeforeCapture) {
    HelperProcess helper({.sceneJson = captureScene().dump(), .simControl = true});
    SimControl control(helper.socketPath());
    control.journal();
    // 8000 x 4001 = 32,008,000 pixels.
    EXPECT_EQ(helper.request({{"cmd", "grab_pixels"}, {"id", 12}}).header,
              Json({{"type", "error"}, {"error", "capture exceeds pixel limit"}}));
    EXPECT_EQ(control.journal(), Json::array());
    // PNG captures have no pixel limit: only the budget bounds them.
    expectFrame(helper.request({{"cmd", "grab"}, {"id", 12}}, 20s), "PNG", {1600, 800, 0.2},
                "png of the huge window");
    // 8000 x 4000 pixels is exactly at the limit.
    auto atLimit = helper.request({{"cmd", "grab_pixels"}, {"id", 13}}, 60s);
    expectFrame(atLimit, "RGBA", {8000, 4000, 2.0}, "at the limit");
    EXPECT_EQ(atLimit.payload.size(), 128000000u);
}

TEST(PixelLimit, DisplayAboveTheLimitFails) {
    Json scene = displayScene();
    scene["displays"][0]["pixel_width"] = 3024 * 3;  // scale 6: 9072 x 5892 pixels
    HelperProcess helper({.sceneJson = scene.dump()});
    EXPECT_EQ(helper.request({{"cmd", "grab_display_pixels"}, {"id", 1}}).header,
              Json({{"type", "error"}, {"error", "capture exceeds pixel limit"}}));
    expectFrame(helper.request({{"cmd", "grab_display"}, {"id", 1}}, 20s), "PNG",
                {1600, 1039, 1600.0 / 1512.0}, "budgeted display");
}

// The pixel of the display image under a point of the desktop.
std::vector<std::uint8_t> rawPixel(const Record& record, double px, double py) {
    auto w = record.header["w"].get<std::int64_t>();
    auto offset = static_cast<std::size_t>(
        (static_cast<std::int64_t>(py) * w + static_cast<std::int64_t>(px)) * 4);
    return {record.payload.begin() + static_cast<std::ptrdiff_t>(offset),
            record.payload.begin() + static_cast<std::ptrdiff_t>(offset + 4)};
}

using Bytes = std::vector<std::uint8_t>;

TEST(Pixels, RawDisplayFrameHoldsPremultipliedRowsTopToBottom) {
    HelperProcess helper({.sceneJson = displayScene().dump()});
    auto record = helper.request({{"cmd", "grab_display_pixels"}, {"id", 1}}, 20s);
    ASSERT_EQ(record.type(), "frame");
    struct Probe {
        double x, y;  // points
        Bytes rgba;
    };
    const std::vector<Probe> probes = {
        {0, 0, {0x20, 0x20, 0x20, 0xFF}},           // background, first byte of the payload
        {600, 330, {0x33, 0x66, 0xCC, 0xFF}},       // window 7
        {1300, 650, {0x90, 0x10, 0x10, 0xFF}},      // #FF000080 over #202020
        {320, 720, {0x00, 0xFF, 0x00, 0xFF}},       // window 9
        {1511.5, 981.5, {0x20, 0x20, 0x20, 0xFF}},  // last pixel of the payload
    };
    for (const auto& probe : probes) {
        EXPECT_EQ(rawPixel(record, probe.x * 2, probe.y * 2), probe.rgba)
            << probe.x << "," << probe.y;
    }
}

TEST(Pixels, RawWindowFrameKeepsPremultipliedAlpha) {
    HelperProcess helper({.sceneJson = captureScene().dump()});
    auto record = helper.request({{"cmd", "grab_pixels"}, {"id", 8}});
    expectFrame(record, "RGBA", {400, 200, 2.0}, "glass window");
    ASSERT_EQ(record.payload.size(), 400u * 200 * 4);
    for (std::size_t offset : {std::size_t{0}, std::size_t{4 * 399}, record.payload.size() - 4}) {
        Bytes pixel(record.payload.begin() + static_cast<std::ptrdiff_t>(offset),
                    record.payload.begin() + static_cast<std::ptrdiff_t>(offset + 4));
        EXPECT_EQ(pixel, (Bytes{0x80, 0x00, 0x00, 0x80})) << offset;
    }
}

TEST(Pixels, PngFramesDecodeToTheCapturedColours) {
    HelperProcess helper({.sceneJson = displayScene().dump()});

    auto display = helper.request({{"cmd", "grab_display"}, {"id", 1}}, 20s);
    ASSERT_EQ(display.type(), "frame");
    auto image = decodePng(display.payload);
    ASSERT_TRUE(image) << "not a valid PNG";
    EXPECT_EQ(image->width, 1600);
    EXPECT_EQ(image->height, 1039);
    EXPECT_EQ(image->colourType, 2) << "an opaque capture is written without alpha";
    auto atPoint = [&](double x, double y) {
        const double toPixels = 1600.0 / 1512.0;
        return image->pixel(static_cast<std::int64_t>(x * toPixels),
                            static_cast<std::int64_t>(y * toPixels));
    };
    EXPECT_EQ(image->pixel(0, 0), (Bytes{0x20, 0x20, 0x20, 0xFF}));
    EXPECT_EQ(atPoint(600, 330), (Bytes{0x33, 0x66, 0xCC, 0xFF}));
    EXPECT_EQ(atPoint(1300, 650), (Bytes{0x90, 0x10, 0x10, 0xFF}));
    EXPECT_EQ(image->pixel(1599, 1038), (Bytes{0x20, 0x20, 0x20, 0xFF}));

    // A translucent window alone is written with straight alpha.
    auto glass = helper.request({{"cmd", "grab"}, {"id", 8}});
    auto glassImage = decodePng(glass.payload);
    ASSERT_TRUE(glassImage) << "not a valid PNG";
    EXPECT_EQ(glassImage->colourType, 6);
    EXPECT_EQ(glassImage->width, 400);
    EXPECT_EQ(glassImage->pixel(123, 45), (Bytes{0xFF, 0x00, 0x00, 0x80}));

    auto speck = decodePng(helper.request({{"cmd", "grab"}, {"id", 10}}).payload);
    ASSERT_TRUE(speck);
    EXPECT_EQ(speck->pixel(0, 0), (Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(GrabRequests, CheckErrorsAndOperationFailures) {
    const std::vector<std::pair<Json, std::string>> cases = {
        {{{"cmd", "grab"}, {"id", "7"}}, "grab: missing id"},
        {{{"cmd", "grab"}}, "grab: missing id"},
        {{{"cmd", "grab"}, {"id", nullptr}}, "grab: missing id"},
        {{{"cmd", "grab_pixels"}, {"id", {7}}}, "grab: missing id"},
        {{{"cmd", "grab"}, {"id", 99}}, "window 99 not found"},
        {{{"cmd", "grab_pixels"}, {"id", 14}}, "window 14 not found"},  // off screen
        {{{"cmd", "grab_display"}, {"id", 77}, {"exact", true}}, "no display 77"},
        {{{"cmd", "grab_display"}, {"id", 77}, {"exact", 1}}, "no display 77"},
        {{{"cmd", "grab_display_pixels"}, {"id", 77}}, "no display 77"},
        {{{"cmd", "grab_display_pixels"}}, "no display 0"},  // always exact
    };
    HelperProcess helper({.sceneJson = captureScene().dump()});
    for (const auto& [request, message] : cases) {
        EXPECT_EQ(helper.request(request).header, Json({{"type", "error"}, {"error", message}}))
            << request;
    }
}

TEST(GrabRequests, WithoutDisplaysEveryDisplayCaptureFails) {
    HelperProcess helper({.sceneJson = "{}"});
    EXPECT_EQ(helper.request({{"cmd", "grab_display"}}).header["error"], "no display 0");
    EXPECT_EQ(helper.request({{"cmd", "grab_display"}, {"id", 3}}).header["error"], "no display 3");
}

TEST(GrabRequests, ScreenshotAndPermissionFailuresCarryTheSystemsMessage) {
    Json broken = captureScene();
    broken["capture"] = {{"screenshot_error", "screenshot went wrong"}};
    HelperProcess helper({.sceneJson = broken.dump()});
    for (const Json& request :
         {Json{{"cmd", "grab"}, {"id", 7}}, Json{{"cmd", "grab_pixels"}, {"id", 7}},
          Json{{"cmd", "grab_display"}}, Json{{"cmd", "grab_display_pixels"}, {"id", 1}}}) {
        EXPECT_EQ(helper.request(request).header,
                  Json({{"type", "error"}, {"error", "screenshot went wrong"}}))
            << request;
    }
    // Listing does not take a screenshot.
    EXPECT_EQ(helper.request({{"cmd", "list"}}).type(), "windows");

    Json denied = captureScene();
    denied["permissions"] = {{"screen_recording", false}};
    HelperProcess deniedHelper({.sceneJson = denied.dump()});
    auto record = deniedHelper.request({{"cmd", "grab"}, {"id", 7}});
    EXPECT_EQ(record.type(), "error");
    EXPECT_FALSE(record.header.value("error", "").empty());
    EXPECT_NE(record.header.value("error", ""), "window 7 not found");
}

// In process: the domain and code of each capture error.
class CaptureErrors : public ::testing::Test {
  protected:
    void SetUp() override {
        std::ofstream(dir_.file("scene.json")) << captureScene().dump();
        auto desktop = platform::sim::createSimDesktop({.scenePath = dir_.file("scene.json")});
        ASSERT_TRUE(desktop) << desktop.error().message;
        desktop_ = std::move(*desktop);
    }

    TempDir dir_;
    std::unique_ptr<platform::Desktop> desktop_;
};

TEST_F(CaptureErrors, CarryTheBrindlemarDomainAndTheirCodes) {
    struct Case {
        Expected<capture::CaptureResult> result;
        std::int64_t code;
        std::string message;
    };
    Case cases[] = {
        {capture::grab(*desktop_, 99, 1600, false), 1, "window 99 not found"},
        {capture::grab(*desktop_, 12, 0, true), 2, "capture exceeds pixel limit"},
        {capture::grabDisplay(*desktop_, 77, 1600, true, false), 3, "no display 77"},
    };
    for (const auto& c : cases) {
        ASSERT_FALSE(c.result.ok()) << c.message;
        EXPECT_EQ(c.result.error().domain, "brindlemar");
        EXPECT_EQ(c.result.error().code, c.code);
        EXPECT_EQ(c.result.error().message, c.message);
    }
}

TEST_F(CaptureErrors, RawResultIsTheScreenshotBufferItself) {
    auto result = capture::grab(*desktop_, 7, 0, true);
    ASSERT_TRUE(result.ok());
    const auto* pixels = std::get_if<platform::PixelBuffer>(&result->data);
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(result->bytes().data(), pixels->data());
    EXPECT_EQ(result->bytes().size(), 2000u * 1000 * 4);
}

}  // namespace
}  // namespace brindlemar::testing

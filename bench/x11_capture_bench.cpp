// Still capture on a 1920 x 1080 Xvfb screen showing real windows, through the helper binary:
// "grab_display" PNG at the default budget and "grab_display_pixels", against ffmpeg's x11grab
// writing PNG files of the same screen.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "bench_util.h"
#include "support/x_server.h"

namespace {

using brindlemar::ChildExit;
using brindlemar::ChildProcess;
using brindlemar::currentEnvironment;
using brindlemar::bench::Child;
using brindlemar::bench::percentile;
using brindlemar::bench::secondsSince;
using brindlemar::testing::GtkWindowFixture;
using brindlemar::testing::XServer;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kWarmUp = 5;
constexpr int kGrabs = 100;

struct Figures {
    double p50 = 0;
    double p99 = 0;
};

// Sends a request and reads its frame; the milliseconds from request to the last payload byte.
double timedGrab(Child& helper, const std::string& request, std::vector<char>& payload) {
    auto start = Clock::now();
    helper.writeAll(request);
    auto header = nlohmann::json::parse(helper.readLine());
    if (header.value("type", "") != "frame") {
        throw std::runtime_error("no frame: " + header.dump());
    }
    helper.readExactly(header["len"].get<std::size_t>(), payload);
    return secondsSince(start) * 1000.0;
}

Figures measure(Child& helper, const std::string& request) {
    std::vector<char> payload;
    std::vector<double> millis;
    for (int i = 0; i < kWarmUp + kGrabs; ++i) {
        double ms = timedGrab(helper, request, payload);
        if (i >= kWarmUp) millis.push_back(ms);
    }
    return {percentile(millis, 50), percentile(millis, 99)};
}

// Wall time of one ffmpeg x11grab run writing `frames` PNG files.
double ffmpegSeconds(const std::string& display, int frames, const std::string& directory) {
    const std::vector<std::string> arguments = {"ffmpeg",
                                                "-loglevel",
                                                "error",
                                                "-y",
                                                "-f",
                                                "x11grab",
                                                "-framerate",
                                                "1000",
                                                "-video_size",
                                                "1920x1080",
                                                "-i",
                                                display,
                                                "-frames:v",
                                                std::to_string(frames),
                                                directory + "/frame%04d.png"};
    auto start = Clock::now();
    auto ffmpeg = ChildProcess::spawn(
        {.arguments = arguments, .environment = currentEnvironment(), .searchPath = true});
    if (!ffmpeg || (*ffmpeg)->wait() != ChildExit{}) throw std::runtime_error("ffmpeg failed");
    return secondsSince(start);
}

// Per-frame time of ffmpeg without its start-up: the difference of a long and a short run.
double ffmpegFrameMs(const std::string& display) {
    char directory[] = "/tmp/brindlemar-ffmpeg-XXXXXX";
    if (::mkdtemp(directory) == nullptr) throw std::runtime_error("mkdtemp failed");
    constexpr int kShort = 10, kLong = 110;
    double shortRun = ffmpegSeconds(display, kShort, directory);
    double longRun = ffmpegSeconds(display, kLong, directory);
    std::filesystem::remove_all(directory);
    return (longRun - shortRun) * 1000.0 / (kLong - kShort);
}

// Windows with real content: terminals full of text and solid GTK windows.
std::vector<std::unique_ptr<brindlemar::testing::ChildProcess>> openTerminals(
    const XServer& server) {
    std::vector<std::unique_ptr<brindlemar::testing::ChildProcess>> terminals;
    const int positions[][2] = {{20, 20}, {700, 60}, {1200, 400}, {300, 600}};
    for (const auto& position : positions) {
        std::string geometry =
            "100x30+" + std::to_string(position[0]) + "+" + std::to_string(position[1]);
        terminals.push_back(server.spawn({"xterm", "-geometry", geometry, "-e",
                                          "ls -la /usr/bin /usr/lib | head -400; sleep 100000"}));
    }
    return terminals;
}

}  // namespace

int main() {
    XServer server;
    auto terminals = openTerminals(server);
    GtkWindowFixture panel(
        server,
        {.title = "Panel", .colour = "#3366cc", .width = 500, .height = 350, .x = 1350, .y = 80});
    GtkWindowFixture sheet(
        server,
        {.title = "Sheet", .colour = "#f0e0c0", .width = 600, .height = 250, .x = 900, .y = 780});
    std::this_thread::sleep_for(1500ms);  // the terminals print their text

    ::setenv("DISPLAY", server.display().c_str(), 1);
    Child helper(BRINDLEMAR_BINARY_PATH, {{"BRINDLEMAR_BACKEND", "x11"}});
    helper.writeAll("{\"cmd\":\"list_displays\"}\n");
    auto displays = nlohmann::json::parse(helper.readLine());
    const std::uint32_t displayId = displays["displays"].at(0)["id"];
    const std::string id = std::to_string(displayId);

    auto png = measure(helper, "{\"cmd\":\"grab_display\",\"id\":" + id + "}\n");
    auto pngFull = measure(helper, "{\"cmd\":\"grab_display\",\"id\":" + id + ",\"max_px\":0}\n");
    auto raw = measure(helper, "{\"cmd\":\"grab_display_pixels\",\"id\":" + id + "}\n");
    double ffmpeg = ffmpegFrameMs(server.display());

    std::printf(
        "x11 capture on a 1920x1080 Xvfb screen with 4 terminals and 2 GTK windows, "
        "%d grabs each\n",
        kGrabs);
    std::printf(
        "grab_display PNG 1600x900 (default budget): p50 %.2f ms, p99 %.2f ms "
        "(target <= 25 ms)\n",
        png.p50, png.p99);
    std::printf("grab_display PNG 1920x1080 (no budget):     p50 %.2f ms, p99 %.2f ms\n",
                pngFull.p50, pngFull.p99);
    std::printf(
        "grab_display_pixels RGBA 1920x1080:          p50 %.2f ms, p99 %.2f ms "
        "(target <= 10 ms)\n",
        raw.p50, raw.p99);
    std::printf("ffmpeg -f x11grab to PNG 1920x1080:          %.2f ms per frame\n", ffmpeg);
    std::printf(
        "PNG rate vs ffmpeg: %.2fx at the default budget, %.2fx at full size "
        "(target >= 2x)\n",
        ffmpeg / png.p50, ffmpeg / pngFull.p50);
    helper.closeInput();
    return 0;
}

// Figures of the simulated desktop: rendering a Retina display with 20 windows (the renderer
// alone and a whole screenshot through the seam), and control-socket round trips.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "bench_util.h"
#include "platform/sim/renderer.h"
#include "platform/sim/sim_backend.h"

namespace {

using namespace brindlemar;
using namespace brindlemar::platform;
using Clock = std::chrono::steady_clock;

constexpr int kWindows = 20;

nlohmann::json benchScene() {
    nlohmann::json windows = nlohmann::json::array();
    for (int i = 0; i < kWindows; ++i) {
        // Every fourth window is translucent, so the blending path is measured too.
        windows.push_back({{"id", 100 + i},
                           {"frame", {40.0 * i, 30.0 * i, 700, 450}},
                           {"fill", i % 4 == 3 ? "#40A0E080" : "#3366CC"}});
    }
    return {{"displays", {{{"id", 1}, {"frame", {0, 0, 1512, 982}}, {"pixel_width", 3024}}}},
            {"windows", windows}};
}

sim::DisplayPicture benchPicture() {
    sim::DisplayPicture picture{{0, 0, 1512, 982}, {0x20, 0x20, 0x20, 0xFF}, {}};
    for (int i = kWindows - 1; i >= 0; --i) {
        sim::Colour fill =
            i % 4 == 3 ? sim::Colour{0x40, 0xA0, 0xE0, 0x80} : sim::Colour{0x33, 0x66, 0xCC, 0xFF};
        picture.backToFront.push_back({{40.0 * i, 30.0 * i, 700, 450}, fill});
    }
    return picture;
}

template <class Work>
void report(const char* name, int rounds, Work work) {
    std::vector<double> ms;
    for (int i = 0; i < rounds; ++i) {
        auto start = Clock::now();
        work();
        ms.push_back(bench::secondsSince(start) * 1000);
    }
    double p50 = bench::percentile(ms, 50);
    double p99 = bench::percentile(ms, 99);
    std::printf("%-52s p50 %8.3f ms   p99 %8.3f ms   (%d rounds)\n", name, p50, p99, rounds);
}

int connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return -1;
    return fd;
}

// One request line out, one reply line in.
void roundTrip(int fd, const std::string& line, std::string& buffer) {
    if (::send(fd, line.data(), line.size(), MSG_NOSIGNAL) < 0) return;
    char chunk[65536];
    for (;;) {
        auto newline = buffer.find('\n');
        if (newline != std::string::npos) {
            buffer.erase(0, newline + 1);
            return;
        }
        ssize_t n = ::recv(fd, chunk, sizeof chunk, 0);
        if (n <= 0) return;
        buffer.append(chunk, static_cast<std::size_t>(n));
    }
}

}  // namespace

int main() {
    PixelBuffer image(3024, 1964);
    auto picture = benchPicture();
    report("render 3024 x 1964 display, 20 windows", 50,
           [&] { sim::renderPicture(picture, image); });

    std::string dir = "/tmp/brindlemar-sim-bench-" + std::to_string(::getpid());
    std::filesystem::create_directories(dir);
    std::ofstream(dir + "/scene.json") << benchScene().dump();
    auto desktop =
        sim::createSimDesktop({dir + "/scene.json", dir + "/control.sock", std::nullopt});
    if (!desktop) {
        std::fprintf(stderr, "%s\n", desktop.error().message.c_str());
        return 1;
    }
    auto& screenshots = (*desktop)->screenshots();
    report("screenshot through the seam (allocate + render)", 50, [&] {
        auto shot = screenshots.captureImage({CaptureFilterKind::Display, 1},
                                             {.width = 3024, .height = 1964});
        if (!shot) std::abort();
    });

    int fd = connectTo(dir + "/control.sock");
    if (fd < 0) return 1;
    std::string buffer;
    const std::string now = "{\"op\":\"now\"}\n";
    const std::string state = "{\"op\":\"state\"}\n";
    const std::string merge =
        "{\"op\":\"merge\",\"patch\":{\"permissions\":{\"accessibility\":true}}}\n";
    report("control round trip: now", 2000, [&] { roundTrip(fd, now, buffer); });
    report("control round trip: state (20 windows)", 500, [&] { roundTrip(fd, state, buffer); });
    report("control round trip: merge (20 windows)", 500, [&] { roundTrip(fd, merge, buffer); });
    ::close(fd);
    desktop->reset();
    std::filesystem::remove_all(dir);
    return 0;
}

// Input latency on a private Xvfb with openbox: from writing an "input_display" request to the
// helper until an X client (a plain xcb window) receives the event, and the same action done
// by spawning xdotool, in one run.

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "bench_util.h"
#include "support/x_server.h"
#include "x11/input_test_support.h"

namespace {

using namespace std::chrono_literals;
using brindlemar::ChildProcess;
using brindlemar::currentEnvironment;
using brindlemar::bench::Child;
using brindlemar::bench::percentile;
using brindlemar::testing::ProbeWindow;
using brindlemar::testing::XServer;
using Clock = std::chrono::steady_clock;

constexpr int kHelperRounds = 400;
constexpr int kXdotoolRounds = 60;
constexpr int kScreenWidth = 1920;
constexpr int kScreenHeight = 1080;

struct Figures {
    double p50 = 0;
    double p99 = 0;
};

Figures figuresOf(std::vector<double> samples) {
    return {percentile(samples, 50), percentile(samples, 99)};
}

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Waits for the next event of `type` at the probe; the time it took, in milliseconds.
double awaitEvent(ProbeWindow& probe, std::uint8_t type, Clock::time_point start) {
    for (;;) {
        for (const auto& event : probe.collect(1, 2s))
            if (event.type == type) return millisecondsSince(start);
        if (millisecondsSince(start) > 2000) return 2000;
    }
}

std::string displayRequest(const nlohmann::json& event) {
    return nlohmann::json{{"cmd", "input_display"}, {"event", event}}.dump() + "\n";
}

// Alternates between two points inside the probe so every request is a real move.
std::pair<int, int> pointOf(int round, std::pair<int, int> origin) {
    return {origin.first + 40 + (round % 2) * 100, origin.second + 60};
}

Figures helperMoves(Child& helper, ProbeWindow& probe) {
    std::vector<double> samples;
    const auto origin = probe.origin();
    for (int round = 0; round < kHelperRounds; ++round) {
        const auto [x, y] = pointOf(round, origin);
        const auto request = displayRequest({{"kind", "mouse"},
                                             {"action", "move"},
                                             {"nx", double(x) / kScreenWidth},
                                             {"ny", double(y) / kScreenHeight}});
        probe.drain();
        const auto start = Clock::now();
        helper.writeAll(request);
        samples.push_back(awaitEvent(probe, XCB_MOTION_NOTIFY, start));
        helper.readLine();
    }
    return figuresOf(samples);
}

Figures helperKeys(Child& helper, ProbeWindow& probe) {
    std::vector<double> samples;
    for (int round = 0; round < kHelperRounds; ++round) {
        const bool down = round % 2 == 0;
        const auto request =
            displayRequest({{"kind", "key"}, {"code", "KeyA"}, {"action", down ? "down" : "up"}});
        probe.drain();
        const auto start = Clock::now();
        helper.writeAll(request);
        samples.push_back(awaitEvent(probe, down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, start));
        helper.readLine();
    }
    return figuresOf(samples);
}

void runAndReap(const std::vector<std::string>& arguments) {
    auto child = ChildProcess::spawn(
        {.arguments = arguments, .environment = currentEnvironment(), .searchPath = true});
    if (!child) throw std::runtime_error(child.error().message);
    (*child)->wait();
}

Figures xdotoolMoves(ProbeWindow& probe) {
    std::vector<double> samples;
    const auto origin = probe.origin();
    for (int round = 0; round < kXdotoolRounds; ++round) {
        const auto [x, y] = pointOf(round, origin);
        probe.drain();
        const auto start = Clock::now();
        std::thread run(runAndReap, std::vector<std::string>{"xdotool", "mousemove",
                                                             std::to_string(x), std::to_string(y)});
        samples.push_back(awaitEvent(probe, XCB_MOTION_NOTIFY, start));
        run.join();
    }
    return figuresOf(samples);
}

Figures xdotoolKeys(ProbeWindow& probe) {
    std::vector<double> samples;
    for (int round = 0; round < kXdotoolRounds; ++round) {
        const bool down = round % 2 == 0;
        probe.drain();
        const auto start = Clock::now();
        std::thread run(runAndReap,
                        std::vector<std::string>{"xdotool", down ? "keydown" : "keyup", "a"});
        samples.push_back(awaitEvent(probe, down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, start));
        run.join();
    }
    return figuresOf(samples);
}

void print(const char* what, Figures helper, Figures xdotool) {
    std::printf(
        "%-12s helper p50 %.3f ms, p99 %.3f ms | xdotool p50 %.3f ms, p99 %.3f ms | "
        "%.1fx faster at p50\n",
        what, helper.p50, helper.p99, xdotool.p50, xdotool.p99,
        helper.p50 > 0 ? xdotool.p50 / helper.p50 : 0.0);
}

}  // namespace

int main() {
    XServer server;
    ::setenv("DISPLAY", server.display().c_str(), 1);
    ProbeWindow probe(server.display(), 200, 200, 400, 300);
    probe.focus();

    Child helper(BRINDLEMAR_BINARY_PATH, {{"BRINDLEMAR_BACKEND", "x11"}});
    helper.writeAll("{\"cmd\":\"ping\"}\n");
    helper.readLine();

    const auto moves = helperMoves(helper, probe);
    const auto keys = helperKeys(helper, probe);
    const auto xdoMoves = xdotoolMoves(probe);
    const auto xdoKeys = xdotoolKeys(probe);

    std::printf(
        "x11 input latency, request written -> event received by an X client "
        "(%d helper rounds, %d xdotool rounds; targets: p50 <= 1 ms, >= 5x xdotool)\n",
        kHelperRounds, kXdotoolRounds);
    print("pointer move", moves, xdoMoves);
    print("key press", keys, xdoKeys);
    return 0;
}

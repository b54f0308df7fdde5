// Figures of the protocol spine: ping round trips, pipelined requests and frame payload output.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "bench_util.h"
#include "core/output_channel.h"

namespace {

using brindlemar::bench::Child;
using brindlemar::bench::percentile;
using brindlemar::bench::secondsSince;
using Clock = std::chrono::steady_clock;

const std::map<std::string, std::string> kSimEnvironment = {{"BRINDLEMAR_BACKEND", "sim"}};

void pingLatency() {
    constexpr int kRequests = 100000;
    Child helper(BRINDLEMAR_BINARY_PATH, kSimEnvironment);
    const std::string ping = "{\"cmd\":\"ping\"}\n";
    std::vector<double> micros;
    micros.reserve(kRequests);
    for (int i = 0; i < kRequests + 1000; ++i) {
        auto start = Clock::now();
        helper.writeAll(ping);
        if (helper.readLine().empty()) throw std::runtime_error("helper ended");
        if (i >= 1000) micros.push_back(secondsSince(start) * 1e6);  // after warm-up
    }
    double p50 = percentile(micros, 50), p99 = percentile(micros, 99);
    std::printf(
        "ping round trip: p50 %.1f us, p99 %.1f us over %d requests (target p50 <= 50 us)\n", p50,
        p99, kRequests);
}

void pipelinedThroughput() {
    constexpr int kRequests = 500000;
    Child helper(BRINDLEMAR_BINARY_PATH, kSimEnvironment);
    std::string batch;
    for (int i = 0; i < 1000; ++i)
        batch += "{\"cmd\":\"ping\",\"n\":12345}\n";
    auto start = Clock::now();
    std::thread writer([&] {
        for (int i = 0; i < kRequests / 1000; ++i)
            helper.writeAll(batch);
        helper.closeInput();
    });
    int replies = 0;
    while (!helper.readLine().empty())
        ++replies;
    writer.join();
    double seconds = secondsSince(start);
    std::printf("pipelined: %d replies in %.3f s = %.0f requests/s (target >= 100000)\n", replies,
                seconds, replies / seconds);
}

void frameThroughput() {
    constexpr std::size_t kPayload = 24 * 1024 * 1024;
    constexpr int kFrames = 40;
    int fds[2];
    if (::pipe(fds) != 0) throw std::runtime_error("pipe");
    std::thread reader([&] {
        std::vector<char> sink(1 << 20);
        while (::read(fds[0], sink.data(), sink.size()) > 0) {
        }
    });
    std::vector<std::uint8_t> payload(kPayload, 0x5a);
    double seconds = 0;
    {
        brindlemar::OutputChannel channel(fds[1]);
        auto start = Clock::now();
        for (int i = 0; i < kFrames; ++i)
            channel.emitFrame(payload, 3024, 1984, 2.0, "RGBA");
        seconds = secondsSince(start);
    }
    ::close(fds[1]);
    reader.join();
    ::close(fds[0]);
    double gigabytes = static_cast<double>(kPayload) * kFrames / 1e9;
    std::printf("emitFrame 24 MB through a pipe: %.2f GB/s (%d frames, target >= 2 GB/s)\n",
                gigabytes / seconds, kFrames);
}

}  // namespace

int main() {
    pingLatency();
    pipelinedThroughput();
    frameThroughput();
    return 0;
}

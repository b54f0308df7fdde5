// Latency of input injection through the helper binary on the simulated desktop: from writing an
// "input" request to its event appearing in the desktop's journal file, and to its reply.

#include <fcntl.h>
#include <sched.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench_util.h"

namespace {

using brindlemar::bench::Child;
using brindlemar::bench::percentile;
using brindlemar::bench::secondsSince;
using Clock = std::chrono::steady_clock;

constexpr int kWarmUp = 500;
constexpr int kRequests = 20000;

const char* const kScene = R"({
  "displays": [{"id": 1, "frame": [0, 0, 1512, 982]}],
  "apps": [{"pid": 501, "name": "Editor"}, {"pid": 502, "name": "Viewer"}],
  "windows": [
    {"id": 7, "pid": 501, "title": "Report", "frame": [100, 80, 1000, 500]},
    {"id": 9, "pid": 502, "title": "Photo", "frame": [300, 200, 400, 300]}
  ]
})";

// Follows the journal file as the helper appends to it, one whole line at a time.
class JournalTail {
  public:
    explicit JournalTail(const std::string& path)
        : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (fd_ < 0) throw std::runtime_error("no journal at " + path);
    }
    ~JournalTail() { ::close(fd_); }
    JournalTail(const JournalTail&) = delete;
    JournalTail& operator=(const JournalTail&) = delete;

    // Spins until a line holding `needle` has been appended; earlier lines are skipped.
    void waitForLineWith(const std::string& needle) {
        for (;;) {
            auto newline = pending_.find('\n');
            if (newline != std::string::npos) {
                bool found = pending_.find(needle) < newline;
                pending_.erase(0, newline + 1);
                if (found) return;
                continue;
            }
            char chunk[4096];
            ssize_t n = ::read(fd_, chunk, sizeof chunk);
            if (n > 0) {
                pending_.append(chunk, static_cast<std::size_t>(n));
            } else {
                sched_yield();
            }
        }
    }

  private:
    int fd_ = -1;
    std::string pending_;
};

struct Latencies {
    std::vector<double> toJournal;
    std::vector<double> toReply;
};

// Sends requests made by `requestFor(i)` one at a time; each must journal one event. Only the
// requests for which `kept(i)` holds are counted.
Latencies measure(
    Child& helper, JournalTail& journal, const std::function<std::string(int)>& requestFor,
    const std::function<bool(int)>& kept = [](int) { return true; }) {
    Latencies result;
    result.toJournal.reserve(kRequests);
    result.toReply.reserve(kRequests);
    for (int i = 0; i < kWarmUp + kRequests; ++i) {
        std::string line = requestFor(i);
        auto start = Clock::now();
        helper.writeAll(line);
        journal.waitForLineWith("\"effect\":\"event\"");
        double journalled = secondsSince(start);
        std::string reply = helper.readLine();
        double replied = secondsSince(start);
        if (reply.find("\"ok\":true") == std::string::npos) {
            throw std::runtime_error("unexpected reply " + reply + " to " + line);
        }
        if (i < kWarmUp || !kept(i)) continue;
        result.toJournal.push_back(journalled * 1e6);
        result.toReply.push_back(replied * 1e6);
    }
    return result;
}

void report(const char* what, Latencies latencies) {
    std::printf("%-28s journal p50 %6.1f us  p99 %6.1f us | reply p50 %6.1f us  p99 %6.1f us\n",
                what, percentile(latencies.toJournal, 50), percentile(latencies.toJournal, 99),
                percentile(latencies.toReply, 50), percentile(latencies.toReply, 99));
}

std::string inputLine(const std::string& event) {
    return R"({"cmd":"input","id":7,"event":)" + event + "}\n";
}

}  // namespace

int main() {
    char dirTemplate[] = "/tmp/brindlemar-input-bench-XXXXXX";
    if (::mkdtemp(dirTemplate) == nullptr) throw std::runtime_error("mkdtemp");
    std::string dir = dirTemplate;
    std::ofstream(dir + "/scene.json") << kScene;
    std::string journalPath = dir + "/journal.jsonl";
    std::ofstream{journalPath};  // followed from its start, whenever the helper opens it
    {
        Child helper(BRINDLEMAR_BINARY_PATH, {{"BRINDLEMAR_BACKEND", "sim"},
                                              {"BRINDLEMAR_SIM_SCENE", dir + "/scene.json"},
                                              {"BRINDLEMAR_SIM_JOURNAL", journalPath}});
        JournalTail journal(journalPath);
        std::printf(
            "input latency over %d requests each, half of them for press and release (sim desktop, "
            "journal file):\n",
            kRequests);
        report("pointer move", measure(helper, journal, [](int i) {
                   return inputLine(R"({"kind":"mouse","nx":)" + std::to_string((i % 100) / 100.0) +
                                    "}");
               }));
        report("key down/up", measure(helper, journal, [](int i) {
                   return inputLine(i % 2 == 0 ? R"({"kind":"key","code":"KeyA"})"
                                               : R"({"kind":"key","code":"KeyA","action":"up"})");
               }));
        report("scroll", measure(helper, journal,
                                 [](int) { return inputLine(R"({"kind":"scroll","dy":120})"); }));
        auto pressOrRelease = [](int i) {
            return inputLine(i % 2 == 0 ? R"({"kind":"mouse","action":"down"})"
                                        : R"({"kind":"mouse","action":"up"})");
        };
        report("press (raises the window)",
               measure(helper, journal, pressOrRelease, [](int i) { return i % 2 == 0; }));
        report("release",
               measure(helper, journal, pressOrRelease, [](int i) { return i % 2 == 1; }));
    }
    std::remove((dir + "/scene.json").c_str());
    std::remove(journalPath.c_str());
    ::rmdir(dir.c_str());
    return 0;
}

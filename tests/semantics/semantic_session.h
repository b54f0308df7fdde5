#pragma once

// A helper process on a simulated desktop for the semantic and control commands, with a
// cancellation pipe, the control socket, and shorthands for snapshots and their nodes.

#include <fcntl.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/helper_process.h"
#include "support/sim_control.h"

namespace brindlemar::testing {

inline constexpr double kSceneClock = 1700000000.0;

// The daemon's end of the cancellation channel: a non-blocking pipe whose read end the helper
// inherits as PLOVEN_CONTROL_CANCEL_FD.
class CancelPipe {
  public:
    CancelPipe() {
        // The helper inherits the read end by name (HelperOptions::inheritedFds); the write end
        // must not leak into it, or closing the test's copy would not end the channel.
        EXPECT_EQ(::pipe2(fds_, O_NONBLOCK | O_CLOEXEC), 0);
    }
    ~CancelPipe() {
        closeReadEnd();
        closeWriteEnd();
    }
    CancelPipe(const CancelPipe&) = delete;
    CancelPipe& operator=(const CancelPipe&) = delete;

    int readFd() const { return fds_[0]; }
    // Writes `count` cancellation bytes; the number written (a full pipe takes fewer).
    std::size_t cancel(std::size_t count = 1) {
        std::string bytes(count, 'x');
        std::size_t written = 0;
        while (written < count) {
            ssize_t n = ::write(fds_[1], bytes.data() + written, count - written);
            if (n <= 0) break;
            written += static_cast<std::size_t>(n);
        }
        return written;
    }
    // Fills the pipe until a write would block; the number of bytes written.
    std::size_t fill() {
        std::size_t total = 0;
        std::string chunk(4096, 'x');
        for (;;) {
            ssize_t n = ::write(fds_[1], chunk.data(), chunk.size());
            if (n <= 0) return total;
            total += static_cast<std::size_t>(n);
        }
    }
    void closeWriteEnd() {
        if (fds_[1] >= 0) ::close(fds_[1]);
        fds_[1] = -1;
    }
    // Once the helper has inherited it, the test's copy of the read end is not needed.
    void closeReadEnd() {
        if (fds_[0] >= 0) ::close(fds_[0]);
        fds_[0] = -1;
    }

  private:
    int fds_[2] = {-1, -1};
};

struct SessionOptions {
    bool cancelPipe = true;
    std::map<std::string, std::string> environment;
};

class SemanticSession {
  public:
    explicit SemanticSession(const std::string& scene, SessionOptions options = {})
        : helper_(helperOptions(scene, options)), control_(helper_.socketPath()) {
        pipe_.closeReadEnd();
    }

    Json request(const Json& request) { return helper_.request(request).header; }

    // Takes a snapshot of the window with the generation; the record written in reply.
    Json snapshot(std::uint32_t window, std::int64_t generation = 1) {
        return request({{"cmd", "semantic_snapshot"},
                        {"window", window},
                        {"generation", generation},
                        {"request_id", "snap"}});
    }

    // The node of the last snapshot with that path; a null Json when there is none.
    static Json nodeAt(const Json& snapshot, const std::string& path) {
        for (const auto& node : snapshot.value("nodes", Json::array())) {
            if (node["path"] == path) return node;
        }
        return nullptr;
    }
    static std::string idAt(const Json& snapshot, const std::string& path) {
        Json node = nodeAt(snapshot, path);
        return node.is_null() ? std::string() : node["id"].get<std::string>();
    }

    // Every journal entry since the last call, and only those with that effect.
    std::vector<Json> journal() {
        auto entries = control_.journal();
        return {entries.begin(), entries.end()};
    }
    std::vector<Json> effects(const std::string& effect) {
        std::vector<Json> result;
        for (auto& entry : journal()) {
            if (entry.value("effect", "") == effect) result.push_back(entry);
        }
        return result;
    }

    HelperProcess& helper() { return helper_; }
    SimControl& control() { return control_; }
    CancelPipe& cancelPipe() { return pipe_; }

  private:
    HelperOptions helperOptions(const std::string& scene, const SessionOptions& options) {
        HelperOptions result{
            .environment = options.environment, .sceneJson = scene, .simControl = true};
        if (options.cancelPipe) {
            result.environment["PLOVEN_CONTROL_CANCEL_FD"] = std::to_string(pipe_.readFd());
            result.inheritedFds.push_back(pipe_.readFd());
        }
        return result;
    }

    CancelPipe pipe_;  // declared first: the helper inherits its read end
    HelperProcess helper_;
    SimControl control_;
};

// The semantic failure record for a reason.
inline Json semanticStatus(const std::string& reason, const std::string& requestId = "snap") {
    return {{"type", "semantic_status"},
            {"protocol", 1},
            {"request_id", requestId},
            {"granted", false},
            {"reason", reason}};
}

}  // namespace brindlemar::testing

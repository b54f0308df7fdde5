#pragma once

// The command loop running in the test's own process on a desktop the test hands it: requests go
// in one at a time and each one's output comes back, and the process state and the subsystems'
// objects are there to look at.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "command_index.h"
#include "core/command_loop.h"
#include "core/main_queue.h"
#include "core/process_state.h"
#include "platform/desktop.h"
#include "support/helper_process.h"

namespace brindlemar::testing {

class InProcessLoop {
  public:
    explicit InProcessLoop(platform::Desktop& desktop) {
        EXPECT_EQ(::pipe(fds_), 0);
        ::fcntl(fds_[0], F_SETFL, O_NONBLOCK);
        state_ = std::make_unique<ProcessState>(fds_[1], nullptr);
        loop_ = std::make_unique<CommandLoop>(buildCommandTable(subsystems_),
                                              CommandContext{*state_, desktop, queue_}, -1);
    }
    ~InProcessLoop() {
        loop_.reset();
        ::close(fds_[0]);
        ::close(fds_[1]);
    }
    InProcessLoop(const InProcessLoop&) = delete;
    InProcessLoop& operator=(const InProcessLoop&) = delete;

    // Handles one request and returns its one reply.
    Json send(const Json& request) {
        loop_->handleLine(request.dump());
        std::string output;
        char chunk[4096];
        ssize_t n;
        while ((n = ::read(fds_[0], chunk, sizeof chunk)) > 0)
            output.append(chunk, static_cast<std::size_t>(n));
        EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1) << output;
        return output.empty() ? Json() : Json::parse(output.substr(0, output.find('\n')));
    }

    ProcessState& state() { return *state_; }
    Subsystems& subsystems() { return subsystems_; }

  private:
    int fds_[2] = {-1, -1};
    std::unique_ptr<ProcessState> state_;
    MainQueue queue_;
    Subsystems subsystems_;
    std::unique_ptr<CommandLoop> loop_;
};

}  // namespace brindlemar::testing

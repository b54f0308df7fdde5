#pragma once

#include <thread>

#include "base/unique_fd.h"

namespace brindlemar {

namespace platform {
class EventPoster;
}

// A daemon stops its helper with SIGTERM (or a terminal with SIGINT, SIGHUP) as often as by
// closing its input. On a desktop where the helper's synthetic presses are real held keys and
// buttons, those must not outlive it: on such a signal this lets go of everything the helper's
// events hold, then lets the signal end the process as it would have. The handler only writes
// the signal's number to a pipe; a thread of its own does the work, outside the handler.
// Handlers fall back to their defaults in child processes that exec, so children are unaffected.
class ReleaseOnTerminate {
  public:
    explicit ReleaseOnTerminate(platform::EventPoster& events);
    ~ReleaseOnTerminate();
    ReleaseOnTerminate(const ReleaseOnTerminate&) = delete;
    ReleaseOnTerminate& operator=(const ReleaseOnTerminate&) = delete;

  private:
    void run(platform::EventPoster& events);

    UniqueFd readEnd_;
    UniqueFd writeEnd_;
    std::thread thread_;
};

}  // namespace brindlemar

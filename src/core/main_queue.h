#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <optional>

#include "base/mutex.h"

namespace brindlemar {

// The main thread's queue: work that must run on the main thread is posted here and run in
// order by `run`, which the main thread calls once and which returns after `finish`.
class MainQueue {
  public:
    void post(std::function<void()> work);
    // Serves posted work until `finish` is called; work posted before `finish` still runs.
    void run();
    void finish();

  private:
    // The next work to run, waiting for it; none once finished and drained.
    std::optional<std::function<void()>> next();

    Mutex lock_;
    std::condition_variable ready_;
    std::deque<std::function<void()>> queue_ GUARDED_BY(lock_);
    bool finished_ GUARDED_BY(lock_) = false;
};

}  // namespace brindlemar

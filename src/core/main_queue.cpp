#include "core/main_queue.h"

namespace brindlemar {

void MainQueue::post(std::function<void()> work) {
    {
        std::lock_guard guard(lock_);
        queue_.push_back(std::move(work));
    }
    ready_.notify_one();
}

void MainQueue::finish() {
    {
        std::lock_guard guard(lock_);
        finished_ = true;
    }
    ready_.notify_one();
}

void MainQueue::run() {
    std::unique_lock guard(lock_);
    for (;;) {
        ready_.wait(guard, [this] { return finished_ || !queue_.empty(); });
        if (queue_.empty()) return;
        auto work = std::move(queue_.front());
        queue_.pop_front();
        guard.unlock();
        work();
        guard.lock();
    }
}

}  // namespace brindlemar

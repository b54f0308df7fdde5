#include "core/main_queue.h"

namespace brindlemar {

void MainQueue::post(std::function<void()> work) {
    {
        MutexLock guard(lock_);
        queue_.push_back(std::move(work));
    }
    ready_.notify_one();
}

void MainQueue::finish() {
    {
        MutexLock guard(lock_);
        finished_ = true;
    }
    ready_.notify_one();
}

void MainQueue::run() {
    while (auto work = next())
        (*work)();
}

std::optional<std::function<void()>> MainQueue::next() {
    MutexLock guard(lock_);
    guard.wait(ready_, [this]() REQUIRES(lock_) { return finished_ || !queue_.empty(); });
    if (queue_.empty()) return std::nullopt;
    auto work = std::move(queue_.front());
    queue_.pop_front();
    return work;
}

}  // namespace brindlemar

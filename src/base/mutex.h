#pragma once

#include <condition_variable>
#include <mutex>

#include "base/thread_annotations.h"

namespace brindlemar {

// A std::mutex that clang's thread-safety analysis knows as a lock: members declared
// GUARDED_BY(it) may be touched only while it is held.
class CAPABILITY("mutex") Mutex {
  public:
    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }
    bool try_lock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

    // For condition variables, which wait on the underlying mutex.
    std::mutex& native() RETURN_CAPABILITY(this) { return mutex_; }

  private:
    std::mutex mutex_;
};

// Holds a Mutex for the rest of the scope.
class SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() RELEASE() { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    // Waits on `condition` with the lock held before and after, as std::condition_variable does.
    template <class Predicate>
    void wait(std::condition_variable& condition, Predicate ready) {
        std::unique_lock native(mutex_.native(), std::adopt_lock);
        condition.wait(native, ready);
        native.release();
    }
    template <class Duration, class Predicate>
    bool waitFor(std::condition_variable& condition, Duration timeout, Predicate ready) {
        std::unique_lock native(mutex_.native(), std::adopt_lock);
        bool result = condition.wait_for(native, timeout, ready);
        native.release();
        return result;
    }

  private:
    Mutex& mutex_;
};

}  // namespace brindlemar

#pragma once

#include <utility>

#include "base/mutex.h"
#include "platform/sim/journal.h"
#include "platform/sim/scene.h"

namespace brindlemar::platform::sim {

// The one scene of the simulated desktop. `lock_` guards `scene_`: the control-socket thread
// replaces and patches it, the command loop, capture and watch threads read it and apply their
// effects to it. Every access runs a function under the lock; effects record their journal
// entry inside that function, so the journal lists effects in the order they changed the
// scene. Lock order: this lock before the journal's and the element registry's, never after.
class SceneStore {
  public:
    SceneStore(Scene scene, Journal& journal) : scene_(std::move(scene)), journal_(journal) {}

    template <class Read>
    auto read(Read reader) const {
        MutexLock guard(lock_);
        return reader(std::as_const(scene_));
    }

    // `change(scene, journal)`.
    template <class Change>
    auto write(Change change) {
        MutexLock guard(lock_);
        return change(scene_, journal_);
    }

    Journal& journal() { return journal_; }

  private:
    mutable Mutex lock_;
    Scene scene_ GUARDED_BY(lock_);
    Journal& journal_;
};

}  // namespace brindlemar::platform::sim

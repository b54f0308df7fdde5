#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/error.h"
#include "base/mutex.h"

namespace brindlemar::platform::sim {

// The record of the helper's effects on the simulated desktop: every entry is appended to the
// journal file as one line with one write (so it is flushed per line), and kept until the
// control socket's "journal" operation takes it. `lock_` guards the file and the pending list,
// so entries from different threads keep the order in which they were recorded.
class Journal {
  public:
    Journal() = default;
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // Opens (creating or appending to) the journal file.
    Status openFile(const std::string& path);
    void record(nlohmann::json entry);
    // The entries recorded since the last call.
    std::vector<nlohmann::json> take();

  private:
    Mutex lock_;
    int fd_ GUARDED_BY(lock_) = -1;
    std::vector<nlohmann::json> pending_ GUARDED_BY(lock_);
};

// An entry {"effect": name, ...fields}.
nlohmann::json effect(const char* name, nlohmann::json fields);

}  // namespace brindlemar::platform::sim

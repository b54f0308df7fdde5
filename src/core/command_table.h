#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/error.h"
#include "core/fields.h"

namespace brindlemar {

namespace platform {
class Desktop;
}
class ProcessState;
class MainQueue;

// What a handler works with: the process-wide state, the desktop behind the seam, and the main
// thread's queue.
struct CommandContext {
    ProcessState& state;
    platform::Desktop& desktop;
    MainQueue& mainQueue;
};

// A command handler: reads its fields, makes its checks (writing check errors itself), runs its
// operation and writes its reply. A failed operation is returned, and the command loop turns it
// into a record.
using Handler = std::function<Status(const Fields& request, CommandContext& context)>;

// Command names and their handlers, in the loop's order of comparison.
class CommandTable {
  public:
    void add(std::string name, Handler handler);
    // Exact, case-sensitive match of the whole name; null when the name is in no row.
    const Handler* find(std::string_view name) const;
    std::vector<std::string> names() const;

  private:
    std::vector<std::pair<std::string, Handler>> rows_;
};

}  // namespace brindlemar

#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "core/command_table.h"
#include "core/output_channel.h"

namespace brindlemar {

// `serve`: reads requests line by line from the input descriptor, dispatches each to its
// handler one at a time in order, and applies the failure rule. Returns when input ends.
class CommandLoop {
  public:
    CommandLoop(CommandTable table, CommandContext context, int inputFd);

    // A step run once input has ended, before `serve` returns (e.g. stopping a running watch).
    void addEndOfInputStep(std::function<void()> step);

    void serve();
    // Handles one line as read (terminator already removed).
    void handleLine(std::string_view line);

  private:
    void dispatch(std::string_view name, const Json& request);
    void reportFailure(std::string_view name, const Fields& request, const Error& error);

    CommandTable table_;
    CommandContext context_;
    int inputFd_;
    std::vector<std::function<void()>> endOfInputSteps_;
};

}  // namespace brindlemar

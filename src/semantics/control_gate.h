#pragma once

#include <cstdint>

namespace brindlemar {
class ProcessState;
namespace platform {
class Desktop;
}
}  // namespace brindlemar

namespace brindlemar::semantics {

// The furthest ahead a guarded operation's deadline may lie, in seconds.
inline constexpr double kMaxDeadlineAhead = 3.1;

// The gate every guarded operation passes just before it acts: the cancellation channel is open
// and has not been written to since the daemon saw `epoch`, the deadline (seconds since 1970 on
// the desktop's clock) is finite, in the future and at most 3.1 seconds away, the process is
// trusted for accessibility, the login session is unlocked and on the console, and the user
// holds no modifier key and neither the left nor the right mouse button.
//
// Drains the channel as a side effect: every byte read advances controlCancelEpoch. Without a
// channel (a negative descriptor) nothing is ever current. Used by the command loop only.
bool controlCurrent(ProcessState& process, platform::Desktop& desktop, double deadline,
                    std::int64_t epoch);

// Reads every pending cancellation byte, 64 at a time, into controlCancelEpoch. False when the
// channel has ended: end of file, or a read error other than "would block", now or before.
bool drainCancelChannel(ProcessState& process);

}  // namespace brindlemar::semantics

#include "semantics/control_gate.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>

#include "core/process_state.h"
#include "platform/desktop.h"

namespace brindlemar::semantics {
namespace {

constexpr std::size_t kCancelReadBytes = 64;
// Shift, Control, Option and Command: the modifiers a user may be holding.
constexpr std::uint64_t kHeldModifierMask = 0x1E0000;

enum class ReadOutcome { Bytes, Nothing, Ended };

// One read of the channel. A descriptor that reports nothing readable is not read at all, so a
// channel handed over in blocking mode by mistake cannot stall the helper.
ReadOutcome readOnce(int fd, std::int64_t& epoch) {
    pollfd ready{fd, POLLIN, 0};
    int polled = ::poll(&ready, 1, 0);
    if (polled < 0) return errno == EINTR ? ReadOutcome::Bytes : ReadOutcome::Ended;
    if (polled == 0) return ReadOutcome::Nothing;
    if ((ready.revents & POLLNVAL) != 0) return ReadOutcome::Ended;
    char buffer[kCancelReadBytes];
    ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got > 0) {
        epoch += got;
        return ReadOutcome::Bytes;
    }
    if (got == 0) return ReadOutcome::Ended;
    if (errno == EINTR) return ReadOutcome::Bytes;  // read again
    if (errno == EAGAIN || errno == EWOULDBLOCK) return ReadOutcome::Nothing;
    return ReadOutcome::Ended;
}

bool sessionAllowsControl(platform::Desktop& desktop) {
    auto session = desktop.session().currentSession();
    if (!session) return false;
    if (session->screenIsLocked == true) return false;
    return session->onConsole == true;
}

bool userIsIdle(platform::Desktop& desktop) {
    auto& user = desktop.session();
    if ((user.heldModifierFlags() & kHeldModifierMask) != 0) return false;
    return !user.isMouseButtonHeld(0) && !user.isMouseButtonHeld(1);
}

}  // namespace

bool drainCancelChannel(ProcessState& process) {
    if (process.controlCancelEnded) return false;
    for (;;) {
        switch (readOnce(process.controlCancelFD, process.controlCancelEpoch)) {
            case ReadOutcome::Bytes:
                continue;
            case ReadOutcome::Nothing:
                return true;
            case ReadOutcome::Ended:
                process.controlCancelEnded = true;
                return false;
        }
    }
}

bool controlCurrent(ProcessState& process, platform::Desktop& desktop, double deadline,
                    std::int64_t epoch) {
    if (process.controlCancelFD < 0) return false;
    if (!drainCancelChannel(process)) return false;
    const double now = desktop.clock().now();
    if (!std::isfinite(deadline) || deadline <= now || deadline > now + kMaxDeadlineAhead) {
        return false;
    }
    if (epoch != process.controlCancelEpoch) return false;
    if (!desktop.permissions().check(platform::Permission::Accessibility)) return false;
    if (!sessionAllowsControl(desktop)) return false;
    return userIsIdle(desktop);
}

}  // namespace brindlemar::semantics

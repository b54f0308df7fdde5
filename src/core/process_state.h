#pragma once

#include <array>
#include <cstdint>

#include "base/mutex.h"
#include "base/text.h"
#include "core/output_channel.h"

namespace brindlemar {

// Parses the value of PLOVEN_CONTROL_CANCEL_FD: an optional single sign and one or more ASCII
// digits, nothing else, within signed 32 bits. Absent, empty or malformed gives -1.
std::int32_t parseCancelDescriptor(const char* value);

// Whether a file drop is under way: set by the file-drop coordinator's threads, read by the
// command loop before it performs pointer input.
class FileDropGate {
  public:
    void setActive(bool active) EXCLUDES(fileDropLock) {
        MutexLock lock(fileDropLock);
        fileDropActive = active;
    }
    bool active() EXCLUDES(fileDropLock) {
        MutexLock lock(fileDropLock);
        return fileDropActive;
    }

  private:
    Mutex fileDropLock;
    bool fileDropActive GUARDED_BY(fileDropLock) = false;
};

// The process-wide state of the protocol: exactly one instance per process, created at start-up
// before the role is chosen, its members initialised in declaration order and living until
// exit. Each subsystem keeps its own process-wide items in its own object (the input state, the
// semantic state, the active cast and watch), created once by the application.
//
// Ownership across threads: `out` serialises its own writers under its outLock; `fileDrop`
// locks itself. Every other member belongs to the command-loop thread and is touched by no other
// thread.
class ProcessState {
  public:
    // Binds the output channel to `stdoutFd` and reads the cancellation descriptor from
    // `cancelFdVariable` (the value of PLOVEN_CONTROL_CANCEL_FD, or null when unset).
    ProcessState(int stdoutFd, const char* cancelFdVariable);
    ProcessState(const ProcessState&) = delete;
    ProcessState& operator=(const ProcessState&) = delete;

    // stdout and outLock.
    OutputChannel out;

    static constexpr std::array<std::uint8_t, 4> ANNEX_B_START = {0x00, 0x00, 0x00, 0x01};

    // Limits of the semantic snapshot; semanticMaxText is also the cut of echoed request ids.
    const std::int64_t semanticMaxNodes = 512;
    const std::int64_t semanticMaxDepth = 48;
    const std::int64_t semanticMaxText = static_cast<std::int64_t>(kMaxReportedCharacters);

    // The cancellation channel of guarded work: the descriptor, the bytes consumed from it so
    // far, and whether it has ended (end of file or a read error), after which every guarded
    // operation is refused.
    const std::int32_t controlCancelFD;
    std::int64_t controlCancelEpoch = 0;
    bool controlCancelEnded = false;

    const std::int64_t watchProtocol = 1;

    const std::int64_t filesProtocolVersion = 1;
    FileDropGate fileDrop;
    std::int64_t dragPasteboardBaseline = -1;
};

}  // namespace brindlemar

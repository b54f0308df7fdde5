#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>

#include "core/output_channel.h"
#include "core/text.h"
#include "platform/geometry.h"

namespace brindlemar {

// Parses the value of PLOVEN_CONTROL_CANCEL_FD: an optional single sign and one or more ASCII
// digits, nothing else, within signed 32 bits. Absent, empty or malformed gives -1.
std::int32_t parseCancelDescriptor(const char* value);

// The process-wide state: exactly one instance per process, created at start-up before the
// role is chosen, its members initialised in declaration order and living until exit.
//
// Ownership across threads: `out` serialises its own writers under its outLock; `fileDropActive`
// is read and written only under `fileDropLock`. Every other member belongs to the command-loop
// thread and is touched by no other thread.
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

    // Synthetic pointer and keyboard state.
    std::set<std::int64_t> buttonsDown;
    std::uint64_t modFlags = 0;
    double lastClickTime = 0;
    platform::Point lastClickPos{0, 0};
    std::int64_t lastClickButton = -1;
    std::int64_t clickState = 1;
    const std::unordered_map<std::string, std::uint16_t> vkMap;

    // Limits of the semantic snapshot.
    const std::int64_t semanticMaxNodes = 512;
    const std::int64_t semanticMaxDepth = 48;
    const std::int64_t semanticMaxText = static_cast<std::int64_t>(kMaxReportedCharacters);

    // The cancellation channel of guarded work.
    const std::int32_t controlCancelFD;
    std::int64_t controlCancelEpoch = 0;

    const std::int64_t watchProtocol = 1;
    const std::unordered_map<std::uint16_t, std::string> watchKeyNames;

    const std::int64_t filesProtocolVersion = 1;
    std::mutex fileDropLock;
    bool fileDropActive = false;  // guarded by fileDropLock
    std::int64_t dragPasteboardBaseline = -1;
};

}  // namespace brindlemar

// The command loop fed whole input streams (any bytes, any line lengths, CR without LF, NUL,
// invalid UTF-8, deep nesting, every command with mutated fields) against a simulated desktop
// made afresh from a fixed scene for each input, so every input runs from the same state.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/unique_fd.h"
#include "command_index.h"
#include "core/command_loop.h"
#include "core/main_queue.h"
#include "core/process_state.h"
#include "platform/sim/sim_backend.h"

namespace {

using namespace brindlemar;

// Records go nowhere: the loop's own faults (crashes, leaks, hangs, sanitizer reports) are what
// this target looks for.
int discardedOutput() {
    static const int fd = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    return fd;
}

UniqueFd inputHolding(const std::uint8_t* data, std::size_t size) {
    UniqueFd fd(::memfd_create("requests", MFD_CLOEXEC));
    std::size_t done = 0;
    while (done < size) {
        ssize_t n = ::write(fd.get(), data + done, size - done);
        if (n <= 0) std::abort();
        done += static_cast<std::size_t>(n);
    }
    ::lseek(fd.get(), 0, SEEK_SET);
    return fd;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto desktop = platform::sim::createSimDesktop({.scenePath = BRINDLEMAR_FUZZ_SCENE});
    if (!desktop) std::abort();
    UniqueFd input = inputHolding(data, size);

    ProcessState state(discardedOutput(), nullptr);
    MainQueue mainQueue;
    Subsystems subsystems;
    CommandLoop loop(buildCommandTable(subsystems), CommandContext{state, **desktop, mainQueue},
                     input.get());
    loop.serve();
    return 0;
}

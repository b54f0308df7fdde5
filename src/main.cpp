// Process entry: sets up the process-wide state, chooses the role and the desktop backend, runs
// the command loop off the main thread while the main thread serves the main queue, and exits
// with status 0 when standard input ends.

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "command_index.h"
#include "core/command_loop.h"
#include "core/main_queue.h"
#include "core/process_state.h"
#include "platform/desktop.h"
#include "platform/sim/sim_backend.h"
#include "release_on_terminate.h"
#ifdef BRINDLEMAR_HAVE_X11
#include "platform/x11/x11_backend.h"
#endif

namespace {

using brindlemar::Expected;
using brindlemar::platform::Desktop;

constexpr int kStartupFailureStatus = 2;

std::string chosenBackend() {
    if (const char* name = std::getenv("BRINDLEMAR_BACKEND")) return name;
    if (std::getenv("BRINDLEMAR_SIM_SCENE") != nullptr) return "sim";
#ifdef __APPLE__
    return "macos";
#else
    return "x11";
#endif
}

Expected<std::unique_ptr<Desktop>> createDesktop(const std::string& backend) {
    if (backend == "sim") {
        return brindlemar::platform::sim::createSimDesktop(
            brindlemar::platform::sim::simOptionsFromEnvironment());
    }
#ifdef BRINDLEMAR_HAVE_X11
    if (backend == "x11") return brindlemar::platform::x11::createX11Desktop();
#endif
    if (backend == "x11" || backend == "macos") {
        return brindlemar::Error{"brindlemar", 0,
                                 "backend " + backend + " is not available in this build"};
    }
    return brindlemar::Error{
        "brindlemar", 0,
        "unknown BRINDLEMAR_BACKEND \"" + backend + "\" (expected sim, x11 or macos)"};
}

[[noreturn]] void runFileDropChild(int argc, char** argv) {
    (void)argc;
    (void)argv;
    std::fputs("brindlemar: the file-drop child is not available in this build\n", stderr);
    std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
    // A parent that goes away must not kill a writer thread in the middle of a record.
    std::signal(SIGPIPE, SIG_IGN);

    brindlemar::ProcessState state(STDOUT_FILENO, std::getenv("PLOVEN_CONTROL_CANCEL_FD"));

    if (argc >= 2 && std::strcmp(argv[1], "--file-drop") == 0) runFileDropChild(argc - 2, argv + 2);

    auto desktop = createDesktop(chosenBackend());
    if (!desktop) {
        std::fprintf(stderr, "brindlemar: %s\n", desktop.error().message.c_str());
        return kStartupFailureStatus;
    }

    // Held keys and buttons are released at the end of input (the desktop lets go of them when
    // it goes away) and when the helper is told to terminate.
    brindlemar::ReleaseOnTerminate releaseOnTerminate((*desktop)->events());
    brindlemar::MainQueue mainQueue;
    brindlemar::Subsystems subsystems;
    brindlemar::CommandLoop loop(brindlemar::buildCommandTable(subsystems),
                                 brindlemar::CommandContext{state, **desktop, mainQueue},
                                 STDIN_FILENO);
    std::thread commandLoop([&] {
        loop.serve();
        mainQueue.finish();
    });
    mainQueue.run();
    commandLoop.join();
    return 0;
}

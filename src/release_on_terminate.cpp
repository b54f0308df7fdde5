#include "release_on_terminate.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

#include "platform/synthetic_events.h"

namespace brindlemar {
namespace {

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};
// What the destructor writes to stop the thread: no signal has number 0.
constexpr unsigned char kStop = 0;

// The pipe the handler writes to; one instance per process, so one descriptor.
std::atomic<int> g_terminateWriteFd{-1};

extern "C" void onTerminate(int signal) {
    const int savedErrno = errno;
    const auto number = static_cast<unsigned char>(signal);
    (void)!::write(g_terminateWriteFd.load(), &number, 1);
    errno = savedErrno;
}

}  // namespace

ReleaseOnTerminate::ReleaseOnTerminate(platform::EventPoster& events) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return;
    readEnd_.reset(fds[0]);
    writeEnd_.reset(fds[1]);
    g_terminateWriteFd.store(writeEnd_.get());
    thread_ = std::thread([this, &events] { run(events); });
    struct sigaction action {};
    action.sa_handler = onTerminate;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : kSignals)
        ::sigaction(signal, &action, nullptr);
}

ReleaseOnTerminate::~ReleaseOnTerminate() {
    if (!thread_.joinable()) return;
    for (int signal : kSignals)
        std::signal(signal, SIG_DFL);
    (void)!::write(writeEnd_.get(), &kStop, 1);
    thread_.join();
    g_terminateWriteFd.store(-1);
}

void ReleaseOnTerminate::run(platform::EventPoster& events) {
    unsigned char number = kStop;
    ssize_t got = 0;
    do {
        got = ::read(readEnd_.get(), &number, 1);
    } while (got < 0 && errno == EINTR);
    if (got != 1 || number == kStop) return;
    events.releaseAllHeld();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

}  // namespace brindlemar

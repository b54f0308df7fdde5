#include "base/child_process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

extern char** environ;

namespace brindlemar {
namespace {

using SteadyClock = std::chrono::steady_clock;

Error systemError(const std::string& what, int error) {
    return Error{"posix", error, what + ": " + std::strerror(error)};
}

struct Pipe {
    UniqueFd read;
    UniqueFd write;
};

Expected<Pipe> makePipe() {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return systemError("cannot create a pipe", errno);
    return Pipe{UniqueFd(fds[0]), UniqueFd(fds[1])};
}

std::string searchPathOf(const std::vector<std::string>& environment) {
    for (const auto& entry : environment) {
        if (entry.starts_with("PATH=")) return entry.substr(5);
    }
    const char* inherited = std::getenv("PATH");
    return inherited != nullptr ? inherited : "/usr/local/bin:/usr/bin:/bin";
}

// The file to execute: the program itself when it names a path, else the first executable of
// that name in the directories of `searchPath` (an empty entry is the working directory).
Expected<std::string> resolveProgram(const std::string& program, bool search,
                                     const std::vector<std::string>& environment) {
    if (program.empty()) return systemError("cannot start an empty program name", ENOENT);
    if (!search || program.find('/') != std::string::npos) return program;
    const std::string searchPath = searchPathOf(environment);
    std::string_view directories = searchPath;
    for (;;) {
        auto colon = directories.find(':');
        std::string directory(directories.substr(0, colon));
        std::string candidate = (directory.empty() ? "." : directory) + "/" + program;
        if (::access(candidate.c_str(), X_OK) == 0) return candidate;
        if (colon == std::string_view::npos) break;
        directories.remove_prefix(colon + 1);
    }
    return systemError("cannot start " + program, ENOENT);
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    result.reserve(strings.size() + 1);
    for (auto& text : strings)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

// The descriptors of one stream: the end the child gets and the end the parent keeps.
struct StreamEnds {
    UniqueFd child;
    UniqueFd parent;
};

Expected<StreamEnds> streamEnds(ChildStream stream, bool childReads) {
    switch (stream) {
        case ChildStream::Inherit:
            return StreamEnds{};
        case ChildStream::Null: {
            int fd = ::open("/dev/null", (childReads ? O_RDONLY : O_WRONLY) | O_CLOEXEC);
            if (fd < 0) return systemError("cannot open /dev/null", errno);
            return StreamEnds{UniqueFd(fd), UniqueFd()};
        }
        case ChildStream::Pipe: {
            auto pipe = makePipe();
            if (!pipe) return std::move(pipe).takeError();
            if (childReads) return StreamEnds{std::move(pipe->read), std::move(pipe->write)};
            return StreamEnds{std::move(pipe->write), std::move(pipe->read)};
        }
    }
    return StreamEnds{};
}

// Everything the child needs after the fork, prepared before it: between fork and exec the
// child of a threaded process may only make async-signal-safe calls, so nothing is allocated
// there.
struct LaunchPlan {
    std::string path;
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    std::vector<char*> argv;
    std::vector<char*> envp;
    int streams[3] = {-1, -1, -1};
    const ChildSpec* spec = nullptr;
    pid_t parent = 0;
    int errorReport = -1;
    int highestFd = 0;
};

[[noreturn]] void failInChild(int reportFd, int error) {
    ssize_t ignored = ::write(reportFd, &error, sizeof error);
    (void)ignored;
    ::_exit(127);
}

// Runs in the child between fork and exec.
[[noreturn]] void execInChild(const LaunchPlan& plan) {
    const ChildSpec& spec = *plan.spec;
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    // A helper ignores SIGPIPE for itself; the programs it starts get the ordinary behaviour.
    struct sigaction ordinary {};
    ordinary.sa_handler = SIG_DFL;
    ::sigaction(SIGPIPE, &ordinary, nullptr);

    if (spec.ownProcessGroup) ::setpgid(0, 0);
    if (spec.parentDeathSignal != 0) {
        ::prctl(PR_SET_PDEATHSIG, spec.parentDeathSignal);
        // The parent may have gone before the request took effect.
        if (::getppid() != plan.parent) {
            ::kill(::getpid(), spec.parentDeathSignal);
            ::_exit(127);
        }
    }

    // Move the child's ends above the standard numbers first, so placing one stream cannot
    // overwrite another's source.
    int sources[3];
    for (int i = 0; i < 3; ++i) {
        sources[i] = plan.streams[i];
        if (sources[i] >= 0 && sources[i] <= 2) {
            sources[i] = ::fcntl(sources[i], F_DUPFD_CLOEXEC, 3);
            if (sources[i] < 0) failInChild(plan.errorReport, errno);
        }
    }
    for (int i = 0; i < 3; ++i) {
        if (sources[i] >= 0 && ::dup2(sources[i], i) < 0) failInChild(plan.errorReport, errno);
    }
    if (!spec.workingDirectory.empty() && ::chdir(spec.workingDirectory.c_str()) != 0) {
        failInChild(plan.errorReport, errno);
    }

    // Every descriptor above the standard ones closes on exec, except those asked for.
    if (::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC) != 0) {
        for (int fd = 3; fd <= plan.highestFd; ++fd)
            ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    for (int fd : spec.inheritedFds) {
        if (fd != plan.errorReport && ::fcntl(fd, F_SETFD, 0) != 0) {
            failInChild(plan.errorReport, errno);
        }
    }
    ::execve(plan.path.c_str(), plan.argv.data(), plan.envp.data());
    failInChild(plan.errorReport, errno);
}

ChildExit exitOf(int status) {
    if (WIFSIGNALED(status)) return ChildExit{0, WTERMSIG(status)};
    return ChildExit{WEXITSTATUS(status), 0};
}

// Waits for the child's report: end of file once exec succeeded, or the errno of the failure.
int startFailure(int reportFd) {
    int error = 0;
    std::size_t got = 0;
    while (got < sizeof error) {
        ssize_t n = ::read(reportFd, reinterpret_cast<char*>(&error) + got, sizeof error - got);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        got += static_cast<std::size_t>(n);
    }
    return got == sizeof error ? error : 0;
}

// Process descriptors through the system calls themselves: glibc 2.36 declares its wrappers
// without C linkage.
int openProcessFd(pid_t pid) {
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
}

int signalProcessFd(int processFd, int signal) {
    return static_cast<int>(::syscall(SYS_pidfd_send_signal, processFd, signal, nullptr, 0));
}

int millisecondsUntil(SteadyClock::time_point deadline) {
    auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - SteadyClock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 1 << 30));
}

}  // namespace

std::vector<std::string> currentEnvironment() {
    std::vector<std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry)
        entries.emplace_back(*entry);
    return entries;
}

std::vector<std::string> environmentWith(std::vector<std::string> base,
                                         const std::map<std::string, std::string>& settings) {
    std::erase_if(base, [&](const std::string& entry) {
        return settings.contains(entry.substr(0, entry.find('=')));
    });
    for (const auto& [name, value] : settings)
        base.push_back(name + "=" + value);
    return base;
}

Expected<std::unique_ptr<ChildProcess>> ChildProcess::spawn(const ChildSpec& spec) {
    if (spec.arguments.empty()) return systemError("cannot start a program without a name", EINVAL);
    auto path = resolveProgram(spec.arguments.front(), spec.searchPath, spec.environment);
    if (!path) return std::move(path).takeError();

    LaunchPlan plan;
    plan.path = std::move(*path);
    plan.arguments = spec.arguments;
    plan.environment = spec.environment;
    plan.argv = pointers(plan.arguments);
    plan.envp = pointers(plan.environment);
    plan.spec = &spec;
    plan.parent = ::getpid();
    plan.highestFd = static_cast<int>(std::min<long>(::sysconf(_SC_OPEN_MAX), 1 << 16));

    auto input = streamEnds(spec.standardInput, true);
    if (!input) return std::move(input).takeError();
    auto output = streamEnds(spec.standardOutput, false);
    if (!output) return std::move(output).takeError();
    auto error = streamEnds(spec.standardError, false);
    if (!error) return std::move(error).takeError();
    auto report = makePipe();
    if (!report) return std::move(report).takeError();
    plan.streams[0] = input->child.get();
    plan.streams[1] = output->child.get();
    plan.streams[2] = error->child.get();
    plan.errorReport = report->write.get();

    pid_t pid = ::fork();
    if (pid < 0) return systemError("cannot start " + spec.arguments.front(), errno);
    if (pid == 0) execInChild(plan);

    report->write.reset();
    input->child.reset();
    output->child.reset();
    error->child.reset();
    if (int failure = startFailure(report->read.get()); failure != 0) {
        ::waitpid(pid, nullptr, 0);
        return systemError("cannot start " + spec.arguments.front(), failure);
    }
    // Without process descriptors (kernels before 5.3) waits fall back to polling.
    UniqueFd processFd(openProcessFd(pid));
    return std::unique_ptr<ChildProcess>(
        new ChildProcess(pid, std::move(processFd), std::move(input->parent),
                         std::move(output->parent), std::move(error->parent)));
}

ChildProcess::ChildProcess(pid_t pid, UniqueFd processFd, UniqueFd input, UniqueFd output,
                           UniqueFd error)
    : pid_(pid),
      processFd_(std::move(processFd)),
      input_(std::move(input)),
      output_(std::move(output)),
      error_(std::move(error)) {}

ChildProcess::~ChildProcess() {
    input_.reset();
    if (!poll()) kill();
}

bool ChildProcess::signal(int signal) {
    MutexLock lock(lock_);
    if (exit_) return false;
    if (processFd_.valid()) return signalProcessFd(processFd_.get(), signal) == 0;
    return ::kill(pid_, signal) == 0;
}

std::optional<ChildExit> ChildProcess::poll() {
    MutexLock lock(lock_);
    if (exit_) return exit_;
    int status = 0;
    pid_t done;
    do {
        done = ::waitpid(pid_, &status, WNOHANG);
    } while (done < 0 && errno == EINTR);
    if (done == pid_) {
        exit_ = exitOf(status);
    } else if (done < 0) {
        exit_ = ChildExit{-1, 0};  // reaped elsewhere: the status is lost
    }
    return exit_;
}

void ChildProcess::awaitEnd(int timeoutMs) {
    if (!processFd_.valid()) {
        int step = timeoutMs < 0 ? 5 : std::min(timeoutMs, 5);
        std::this_thread::sleep_for(std::chrono::milliseconds(step));
        return;
    }
    pollfd entry{processFd_.get(), POLLIN, 0};
    ::poll(&entry, 1, timeoutMs);  // EINTR: the caller checks and waits again
}

std::optional<ChildExit> ChildProcess::wait(std::chrono::milliseconds timeout) {
    auto deadline = SteadyClock::now() + timeout;
    for (;;) {
        if (auto ended = poll()) return ended;
        if (SteadyClock::now() >= deadline) return std::nullopt;
        awaitEnd(millisecondsUntil(deadline));
    }
}

ChildExit ChildProcess::wait() {
    for (;;) {
        if (auto ended = poll()) return *ended;
        awaitEnd(-1);
    }
}

ChildExit ChildProcess::terminate(std::chrono::milliseconds grace) {
    signal(SIGTERM);
    if (auto ended = wait(grace)) return *ended;
    return kill();
}

ChildExit ChildProcess::kill() {
    signal(SIGKILL);
    return wait();
}

void ChildProcess::readOutputUntilExit(const std::function<void(std::string_view)>& sink) {
    if (!output_.valid()) return;
    char chunk[65536];
    auto readChunk = [&]() -> bool {
        ssize_t n;
        do {
            n = ::read(output_.get(), chunk, sizeof chunk);
        } while (n < 0 && errno == EINTR);
        if (n <= 0) return false;
        sink(std::string_view(chunk, static_cast<std::size_t>(n)));
        return true;
    };
    for (;;) {
        pollfd entries[2] = {{output_.get(), POLLIN, 0}, {processFd_.get(), POLLIN, 0}};
        const bool watchProcess = processFd_.valid();
        int ready = ::poll(entries, watchProcess ? 2 : 1, watchProcess ? -1 : 20);
        if (ready < 0 && errno != EINTR) return;
        if (ready > 0 && entries[0].revents != 0) {
            if (!readChunk()) return;  // closed
            continue;
        }
        const bool ended =
            watchProcess ? (ready > 0 && entries[1].revents != 0) : poll().has_value();
        if (ended) {
            // Whatever the child wrote before it ended is in the pipe already.
            pollfd pending{output_.get(), POLLIN, 0};
            while (::poll(&pending, 1, 0) > 0 && readChunk()) {
            }
            return;
        }
    }
}

}  // namespace brindlemar

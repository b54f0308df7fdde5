#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "base/mutex.h"
#include "base/unique_fd.h"

namespace brindlemar {

// How one standard stream of a child is connected.
enum class ChildStream {
    Inherit,  // the parent's own descriptor
    Pipe,     // a pipe whose other end the parent holds
    Null,     // the null device
};

// What to start and how. The program is executed directly, never through a shell, so no
// argument is ever interpreted.
struct ChildSpec {
    // argv: arguments[0] is the program, a path, or with `searchPath` a name looked up in the
    // PATH of `environment` (of the parent when `environment` has none).
    std::vector<std::string> arguments;
    // The child's whole environment as "NAME=value" entries, exactly as given.
    std::vector<std::string> environment;
    bool searchPath = false;
    ChildStream standardInput = ChildStream::Inherit;
    ChildStream standardOutput = ChildStream::Inherit;
    ChildStream standardError = ChildStream::Inherit;
    // Descriptors of the parent that the child keeps under the same numbers. Every other
    // descriptor above 2 is closed in the child, whether or not it was marked close-on-exec.
    std::vector<int> inheritedFds;
    std::string workingDirectory;  // empty: the parent's
    bool ownProcessGroup = false;  // the child leads a process group of its own
    // A signal the child receives when the thread that started it ends (PR_SET_PDEATHSIG); 0 for
    // none. It is the starting thread, not the process, whose end counts: start such a child
    // from a thread that outlives it.
    int parentDeathSignal = 0;
};

// How a child ended.
struct ChildExit {
    int code = 0;    // the exit status when it exited
    int signal = 0;  // the signal that ended it; 0 when it exited
    bool exited() const { return signal == 0; }
    // The shell's convention: the exit status, or 128 plus the signal.
    int shellStatus() const { return signal == 0 ? code : 128 + signal; }
    bool operator==(const ChildExit&) const = default;
};

// This process's environment as "NAME=value" entries.
std::vector<std::string> currentEnvironment();

// `base` with each entry of `settings` set, replacing an entry of the same name.
std::vector<std::string> environmentWith(std::vector<std::string> base,
                                         const std::map<std::string, std::string>& settings);

// A started child process. It is reaped exactly once, by whichever call first sees it end, and
// a child still running when the object goes away is killed and reaped then, so no child is
// left behind and none stays a zombie.
//
// Thread safety: signal, poll, wait, terminate and kill may be called from several threads at
// once (a worker waiting while a watchdog terminates). A signal never reaches another process:
// once the child has been reaped no signal is sent, and signals go through a process descriptor
// that names this child alone. The pipe ends are the caller's to use from one thread.
class ChildProcess {
  public:
    // Starts the child. Fails with the reason (a program that cannot be executed, a working
    // directory that cannot be entered, ...) when the program did not start; nothing is left
    // running then.
    static Expected<std::unique_ptr<ChildProcess>> spawn(const ChildSpec& spec);

    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }

    // The parent's ends of the pipes asked for; -1 for a stream that is not a pipe or has been
    // closed or taken.
    int inputFd() const { return input_.get(); }
    int outputFd() const { return output_.get(); }
    int errorFd() const { return error_.get(); }
    // Closes the child's standard input, so that it reads end of file.
    void closeInput() { input_.reset(); }
    // Hand a pipe end over to the caller.
    UniqueFd takeInput() { return std::move(input_); }
    UniqueFd takeOutput() { return std::move(output_); }
    UniqueFd takeError() { return std::move(error_); }

    // Sends `signal` unless the child has been reaped; false when it had been, or sending failed.
    bool signal(int signal) EXCLUDES(lock_);
    // The child's end if it has ended (reaping it), else none. Never blocks.
    std::optional<ChildExit> poll() EXCLUDES(lock_);
    // Waits up to `timeout` for the child to end.
    std::optional<ChildExit> wait(std::chrono::milliseconds timeout) EXCLUDES(lock_);
    // Waits for the child to end, however long it takes.
    ChildExit wait() EXCLUDES(lock_);
    // Asks the child to end (SIGTERM), and kills it (SIGKILL) if it has not ended after `grace`.
    ChildExit terminate(std::chrono::milliseconds grace) EXCLUDES(lock_);
    // Kills the child (SIGKILL) and reaps it.
    ChildExit kill() EXCLUDES(lock_);

    // Reads the standard output pipe until it closes, or until the child has ended and nothing
    // is left in the pipe: a grandchild that keeps the pipe open cannot hold the reader. Hands
    // every chunk read to `sink`.
    void readOutputUntilExit(const std::function<void(std::string_view)>& sink);

  private:
    ChildProcess(pid_t pid, UniqueFd processFd, UniqueFd input, UniqueFd output, UniqueFd error);
    // Blocks until the child has ended or `timeout` (negative: no limit) has passed.
    void awaitEnd(int timeoutMs);

    const pid_t pid_;
    // A descriptor of the process itself (pidfd): readable once the child has ended.
    const UniqueFd processFd_;
    UniqueFd input_;
    UniqueFd output_;
    UniqueFd error_;
    Mutex lock_;
    std::optional<ChildExit> exit_ GUARDED_BY(lock_);  // set once, when reaped
};

}  // namespace brindlemar

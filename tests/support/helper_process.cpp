#include "support/helper_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

extern char** environ;

namespace brindlemar::testing {
namespace {

using Clock = std::chrono::steady_clock;

int remainingMs(Clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() < 0 ? 0 : static_cast<int>(left.count());
}

// Environment variables the helper reads; they are never inherited from the test's own
// environment so that every test states what it gives.
bool isHelperVariable(std::string_view entry) {
    return entry.starts_with("BRINDLEMAR_") || entry.starts_with("PLOVEN_");
}

void makePipe(int fds[2]) {
    if (::pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
}

}  // namespace

std::string helperBinary() {
    if (const char* path = std::getenv("BRINDLEMAR_TEST_BINARY")) return path;
    return BRINDLEMAR_BINARY_PATH;
}

TempDir::TempDir() {
    std::string base = std::filesystem::temp_directory_path().string() + "/brindlemar-XXXXXX";
    if (::mkdtemp(base.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = base;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

HelperProcess::HelperProcess(HelperOptions options) {
    char dirTemplate[] = "/tmp/brindlemar-run-XXXXXX";
    if (::mkdtemp(dirTemplate) == nullptr) throw std::runtime_error("mkdtemp failed");
    workDir_ = dirTemplate;

    // Later settings replace earlier ones of the same name: the test's own environment first,
    // then what the options give.
    std::map<std::string, std::string> settings;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string_view text(*entry);
        auto equals = text.find('=');
        if (equals == std::string_view::npos || isHelperVariable(text)) continue;
        settings[std::string(text.substr(0, equals))] = std::string(text.substr(equals + 1));
    }
    if (options.simBackend) settings["BRINDLEMAR_BACKEND"] = "sim";
    if (options.sceneJson) {
        scenePath_ = workDir_ + "/scene.json";
        std::ofstream(scenePath_) << *options.sceneJson;
        settings["BRINDLEMAR_SIM_SCENE"] = scenePath_;
    }
    if (options.simControl) {
        settings["BRINDLEMAR_SIM_SOCKET"] = socketPath();
        settings["BRINDLEMAR_SIM_JOURNAL"] = journalPath();
    }
    for (const auto& [key, value] : options.environment)
        settings[key] = value;
    std::vector<std::string> env;
    for (const auto& [key, value] : settings)
        env.push_back(key + "=" + value);

    std::vector<std::string> args{helperBinary()};
    args.insert(args.end(), options.arguments.begin(), options.arguments.end());

    int in[2], out[2], err[2];
    makePipe(in);
    makePipe(out);
    makePipe(err);

    std::vector<char*> argv, envp;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    for (auto& e : env)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    pid_ = ::fork();
    if (pid_ < 0) throw std::runtime_error("fork failed");
    if (pid_ == 0) {
        ::dup2(in[0], STDIN_FILENO);
        ::dup2(out[1], STDOUT_FILENO);
        ::dup2(err[1], STDERR_FILENO);
        for (int fd : options.inheritedFds)
            ::fcntl(fd, F_SETFD, 0);
        ::chdir(workDir_.c_str());
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    stdin_ = in[1];
    stdout_ = out[0];
    stderr_ = err[0];
    ::fcntl(stdout_, F_SETFL, O_NONBLOCK);
    ::fcntl(stderr_, F_SETFL, O_NONBLOCK);
}

HelperProcess::~HelperProcess() {
    closeInput();
    if (!reaped_ && pid_ > 0) {
        if (wait(3s) < 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    if (stdout_ >= 0) ::close(stdout_);
    if (stderr_ >= 0) ::close(stderr_);
    std::error_code ignored;
    std::filesystem::remove_all(workDir_, ignored);
}

void HelperProcess::write(std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t n = ::write(stdin_, bytes.data(), bytes.size());
        if (n < 0) {
            if (errno == EINTR) continue;
            throw std::runtime_error(std::string("write to helper failed: ") +
                                     std::strerror(errno));
        }
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
}

void HelperProcess::closeInput() {
    if (stdin_ >= 0) {
        ::close(stdin_);
        stdin_ = -1;
    }
}

bool HelperProcess::fillOutput(Clock::time_point deadline) {
    for (;;) {
        pollfd fds[2] = {{stdout_, POLLIN, 0}, {stderr_, POLLIN, 0}};
        int ready = ::poll(fds, 2, remainingMs(deadline));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) return false;
        char chunk[65536];
        if (fds[1].revents != 0) {
            ssize_t n = ::read(stderr_, chunk, sizeof chunk);
            if (n > 0) errBuffer_.append(chunk, static_cast<std::size_t>(n));
        }
        if (fds[0].revents != 0) {
            ssize_t n = ::read(stdout_, chunk, sizeof chunk);
            if (n > 0) {
                outBuffer_.append(chunk, static_cast<std::size_t>(n));
                return true;
            }
            if (n == 0) return false;  // output closed
        }
    }
}

std::optional<Record> HelperProcess::parseBuffered() {
    auto newline = outBuffer_.find('\n');
    if (newline == std::string::npos) return std::nullopt;
    Json header = Json::parse(outBuffer_.substr(0, newline), nullptr, false);
    if (header.is_discarded()) {
        throw std::runtime_error("helper wrote a line that is not JSON: " +
                                 outBuffer_.substr(0, newline));
    }
    std::size_t payloadLength = 0;
    std::string type = header.is_object() ? header.value("type", "") : "";
    if ((type == "frame" || type == "nal") && header.contains("len")) {
        payloadLength = header["len"].get<std::size_t>();
    }
    if (outBuffer_.size() < newline + 1 + payloadLength) return std::nullopt;
    Record record{std::move(header), {}};
    record.payload.assign(
        outBuffer_.begin() + static_cast<std::ptrdiff_t>(newline + 1),
        outBuffer_.begin() + static_cast<std::ptrdiff_t>(newline + 1 + payloadLength));
    outBuffer_.erase(0, newline + 1 + payloadLength);
    return record;
}

std::optional<Record> HelperProcess::read(std::chrono::milliseconds timeout) {
    if (!pending_.empty()) {
        Record record = std::move(pending_.front());
        pending_.erase(pending_.begin());
        return record;
    }
    auto deadline = Clock::now() + timeout;
    for (;;) {
        if (auto record = parseBuffered()) return record;
        if (!fillOutput(deadline)) return std::nullopt;
    }
}

std::optional<Record> HelperProcess::waitFor(std::string_view type,
                                             std::chrono::milliseconds timeout) {
    for (auto it = pending_.begin(); it != pending_.end(); ++it) {
        if (it->type() == type) {
            Record record = std::move(*it);
            pending_.erase(it);
            return record;
        }
    }
    auto deadline = Clock::now() + timeout;
    for (;;) {
        std::optional<Record> record;
        while (!(record = parseBuffered())) {
            if (!fillOutput(deadline)) return std::nullopt;
        }
        if (record->type() == type) return record;
        pending_.push_back(std::move(*record));
    }
}

Record HelperProcess::request(const Json& request, std::chrono::milliseconds timeout) {
    send(request);
    auto record = read(timeout);
    if (!record) {
        throw std::runtime_error("no reply to " + request.dump() + "; stderr: " + standardError());
    }
    return std::move(*record);
}

bool HelperProcess::silentFor(std::chrono::milliseconds quiet) {
    if (!pending_.empty() || !outBuffer_.empty()) return false;
    return !fillOutput(Clock::now() + quiet) && outBuffer_.empty();
}

std::string HelperProcess::drainOutput(std::chrono::milliseconds timeout) {
    auto deadline = Clock::now() + timeout;
    while (fillOutput(deadline)) {
    }
    std::string all = std::move(outBuffer_);
    outBuffer_.clear();
    return all;
}

int HelperProcess::wait(std::chrono::milliseconds timeout) {
    if (reaped_) return exitStatus_;
    auto deadline = Clock::now() + timeout;
    for (;;) {
        int status = 0;
        pid_t done = ::waitpid(pid_, &status, WNOHANG);
        if (done == pid_) {
            reaped_ = true;
            exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            return exitStatus_;
        }
        if (Clock::now() >= deadline) return -1;
        // Keep the pipes flowing so that a helper writing much output can finish.
        fillOutput(Clock::now() + 10ms);
    }
}

std::string HelperProcess::standardError() {
    char chunk[65536];
    for (;;) {
        ssize_t n = ::read(stderr_, chunk, sizeof chunk);
        if (n <= 0) break;
        errBuffer_.append(chunk, static_cast<std::size_t>(n));
    }
    return errBuffer_;
}

}  // namespace brindlemar::testing

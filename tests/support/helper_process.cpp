#include "support/helper_process.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "base/child_process.h"

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
    for (const auto& entry : currentEnvironment()) {
        auto equals = entry.find('=');
        if (equals == std::string::npos || isHelperVariable(entry)) continue;
        settings[entry.substr(0, equals)] = entry.substr(equals + 1);
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

    std::vector<std::string> arguments{helperBinary()};
    arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
    auto child = ChildProcess::spawn({.arguments = std::move(arguments),
                                      .environment = environmentWith({}, settings),
                                      .standardInput = ChildStream::Pipe,
                                      .standardOutput = ChildStream::Pipe,
                                      .standardError = ChildStream::Pipe,
                                      .inheritedFds = options.inheritedFds,
                                      .workingDirectory = workDir_});
    if (!child) throw std::runtime_error(child.error().message);
    child_ = std::move(child).value();
    ::fcntl(child_->outputFd(), F_SETFL, O_NONBLOCK);
    ::fcntl(child_->errorFd(), F_SETFL, O_NONBLOCK);
}

HelperProcess::~HelperProcess() {
    closeInput();
    // A helper that does not end on its own within the time is killed as the child goes away.
    wait(3s);
    child_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(workDir_, ignored);
}

pid_t HelperProcess::pid() const {
    return child_->pid();
}

void HelperProcess::write(std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t n = ::write(child_->inputFd(), bytes.data(), bytes.size());
        if (n < 0) {
            if (errno == EINTR) continue;
            throw std::runtime_error(std::string("write to helper failed: ") +
                                     std::strerror(errno));
        }
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
}

void HelperProcess::closeInput() {
    child_->closeInput();
}

bool HelperProcess::fillOutput(Clock::time_point deadline) {
    for (;;) {
        pollfd fds[2] = {{child_->outputFd(), POLLIN, 0}, {child_->errorFd(), POLLIN, 0}};
        int ready = ::poll(fds, 2, remainingMs(deadline));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) return false;
        char chunk[65536];
        if (fds[1].revents != 0) {
            ssize_t n = ::read(child_->errorFd(), chunk, sizeof chunk);
            if (n > 0) errBuffer_.append(chunk, static_cast<std::size_t>(n));
        }
        if (fds[0].revents != 0) {
            ssize_t n = ::read(child_->outputFd(), chunk, sizeof chunk);
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
    auto deadline = Clock::now() + timeout;
    for (;;) {
        if (auto ended = child_->poll()) return ended->shellStatus();
        if (Clock::now() >= deadline) return -1;
        // Keep the pipes flowing so that a helper writing much output can finish.
        fillOutput(Clock::now() + 10ms);
    }
}

std::string HelperProcess::standardError() {
    char chunk[65536];
    for (;;) {
        ssize_t n = ::read(child_->errorFd(), chunk, sizeof chunk);
        if (n <= 0) break;
        errBuffer_.append(chunk, static_cast<std::size_t>(n));
    }
    return errBuffer_;
}

}  // namespace brindlemar::testing

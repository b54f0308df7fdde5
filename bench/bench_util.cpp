#include "bench_util.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

extern char** environ;

namespace brindlemar::bench {

Child::Child(const std::string& binary, const std::map<std::string, std::string>& environment)
    : buffer_(1 << 20) {
    int in[2], out[2];
    if (::pipe(in) != 0 || ::pipe(out) != 0) throw std::runtime_error("pipe");
    std::vector<std::string> env;
    for (char** e = environ; *e != nullptr; ++e) {
        if (std::strncmp(*e, "BRINDLEMAR_", 11) != 0) env.emplace_back(*e);
    }
    for (const auto& [k, v] : environment)
        env.push_back(k + "=" + v);
    std::vector<char*> envp;
    for (auto& e : env)
        envp.push_back(e.data());
    envp.push_back(nullptr);
    std::string path = binary;
    char* argv[] = {path.data(), nullptr};

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, in[1]);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    if (posix_spawn(&pid_, path.c_str(), &actions, nullptr, argv, envp.data()) != 0) {
        throw std::runtime_error("spawn failed");
    }
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    in_ = in[1];
    out_ = out[0];
}

Child::~Child() {
    closeInput();
    ::close(out_);
    ::waitpid(pid_, nullptr, 0);
}

void Child::closeInput() {
    if (in_ >= 0) ::close(in_);
    in_ = -1;
}

void Child::writeAll(const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(in_, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw std::runtime_error("write failed");
        done += static_cast<std::size_t>(n);
    }
}

bool Child::fill() {
    if (begin_ == end_) begin_ = end_ = 0;
    if (end_ == buffer_.size()) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    ssize_t n;
    do {
        n = ::read(out_, buffer_.data() + end_, buffer_.size() - end_);
    } while (n < 0 && errno == EINTR);
    if (n <= 0) return false;
    end_ += static_cast<std::size_t>(n);
    return true;
}

std::string Child::readLine() {
    for (;;) {
        auto* start = buffer_.data() + begin_;
        auto* found = static_cast<char*>(std::memchr(start, '\n', end_ - begin_));
        if (found != nullptr) {
            std::string line(start, found);
            begin_ += line.size() + 1;
            return line;
        }
        if (!fill()) return {};
    }
}

void Child::readExactly(std::size_t n, std::vector<char>& into) {
    into.clear();
    while (into.size() < n) {
        if (begin_ == end_ && !fill()) throw std::runtime_error("output ended");
        std::size_t take = std::min(n - into.size(), end_ - begin_);
        into.insert(into.end(), buffer_.data() + begin_, buffer_.data() + begin_ + take);
        begin_ += take;
    }
}

}  // namespace brindlemar::bench

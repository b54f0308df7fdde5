#include "bench_util.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace brindlemar::bench {

Child::Child(const std::string& binary, const std::map<std::string, std::string>& environment)
    : buffer_(1 << 20) {
    auto inherited = currentEnvironment();
    std::erase_if(inherited,
                  [](const std::string& entry) { return entry.starts_with("BRINDLEMAR_"); });
    auto process = ChildProcess::spawn({.arguments = {binary},
                                        .environment = environmentWith(inherited, environment),
                                        .standardInput = ChildStream::Pipe,
                                        .standardOutput = ChildStream::Pipe});
    if (!process) throw std::runtime_error(process.error().message);
    process_ = std::move(process).value();
    in_ = process_->takeInput();
    out_ = process_->takeOutput();
}

Child::~Child() {
    // The helper ends at the end of its input; output nobody reads must not hold it up.
    in_.reset();
    out_.reset();
    process_->wait();
}

void Child::writeAll(const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(in_.get(), bytes.data() + done, bytes.size() - done);
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
        n = ::read(out_.get(), buffer_.data() + end_, buffer_.size() - end_);
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

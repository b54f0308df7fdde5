#include "core/line_reader.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace brindlemar {
namespace {

// A daemon usually sends its next request within microseconds of reading a reply. Waiting for
// it briefly on a running core, before sleeping in read(), spares the wake-up of a sleeping core,
// which on virtual machines costs tens of microseconds per request. The spin is bounded, so an
// idle helper goes to sleep almost at once.
constexpr auto kSpinBeforeSleeping = std::chrono::microseconds(100);

void spinUntilReadable(int fd) {
    const auto deadline = std::chrono::steady_clock::now() + kSpinBeforeSleeping;
    pollfd request{fd, POLLIN, 0};
    do {
        if (::poll(&request, 1, 0) != 0) return;
    } while (std::chrono::steady_clock::now() < deadline);
}

}  // namespace

LineReader::LineReader(int fd, std::size_t chunkSize)
    : fd_(fd), chunkSize_(chunkSize), buffer_(chunkSize) {}

bool LineReader::fill() {
    if (begin_ > 0) {
        // Slide the pending bytes to the front; they are at most one partial line.
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    if (buffer_.size() - end_ < chunkSize_ / 2) buffer_.resize(buffer_.size() * 2);
    spinUntilReadable(fd_);
    for (;;) {
        ssize_t got = ::read(fd_, buffer_.data() + end_, buffer_.size() - end_);
        if (got > 0) {
            end_ += static_cast<std::size_t>(got);
            return true;
        }
        if (got < 0 && errno == EINTR) continue;
        return false;
    }
}

std::optional<std::string_view> LineReader::next() {
    for (;;) {
        const char* start = buffer_.data() + begin_;
        std::size_t available = end_ - begin_;
        const void* found = std::memchr(start + scanned_, '\n', available - scanned_);
        if (found != nullptr) {
            std::size_t length = static_cast<const char*>(found) - start;
            begin_ += length + 1;
            scanned_ = 0;
            if (length > 0 && start[length - 1] == '\r') --length;
            return std::string_view(start, length);
        }
        scanned_ = available;
        if (atEnd_ || !fill()) {
            atEnd_ = true;
            if (begin_ == end_) return std::nullopt;
            std::string_view last(buffer_.data() + begin_, end_ - begin_);
            begin_ = end_;
            scanned_ = 0;
            return last;
        }
    }
}

}  // namespace brindlemar

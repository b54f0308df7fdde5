#include "core/line_reader.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace brindlemar {

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

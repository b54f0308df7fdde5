#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace brindlemar {

// Reads lines from a blocking descriptor. A line ends at a line feed, with a carriage return
// directly before it belonging to the terminator; a last line without a terminator still counts.
// Every byte is scanned once, so a line of many megabytes costs linear time.
class LineReader {
  public:
    explicit LineReader(int fd, std::size_t chunkSize = 64 * 1024);

    // The next line without its terminator, valid until the next call; none at end of input.
    std::optional<std::string_view> next();

  private:
    bool fill();  // reads more bytes; false at end of input or on a read error

    int fd_;
    std::size_t chunkSize_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0;    // first byte of the pending line
    std::size_t end_ = 0;      // one past the last byte read
    std::size_t scanned_ = 0;  // bytes from begin_ already known to hold no line feed
    bool atEnd_ = false;
};

}  // namespace brindlemar

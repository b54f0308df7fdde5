#pragma once

#include "base/mutex.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "base/error.h"

namespace brindlemar {

using Json = nlohmann::json;

// The record stream to the parent. Every record is one compact JSON line; payload records
// ("frame", "nal") carry their raw bytes directly behind the line feed. A whole record is
// written under `outLock`, so records from different threads never interleave.
class OutputChannel {
  public:
    // Binds the channel to `fd`. When it is a pipe, its buffer is enlarged so that large payloads
    // cross in few writes and few context switches.
    explicit OutputChannel(int fd);
    OutputChannel(const OutputChannel&) = delete;
    OutputChannel& operator=(const OutputChannel&) = delete;

    void emitLine(const Json& record);
    // Writes one record like emitLine, but reports a record that cannot be serialised instead of
    // dropping it, for operations that pass that failure up.
    Status emitCheckedLine(const Json& record);
    void emitError(std::string_view message);
    void emitFrame(std::span<const std::uint8_t> payload, std::int64_t width, std::int64_t height,
                   double scale, std::string_view format = "PNG");
    // Writes a payload record: `header` gains "len", then the line, then the payload bytes.
    void emitPayloadRecord(Json header, std::span<const std::uint8_t> payload);

    int fd() const { return stdout_; }

  private:
    void writeLocked(std::string_view line, std::span<const std::uint8_t> payload);

    const int stdout_;
    Mutex outLock;  // held while one whole record is written to stdout_
};

// Compact serialisation; empty when the value cannot be serialised (invalid UTF-8, non-finite
// numbers), in which case the record is dropped.
std::string serialiseRecord(const Json& record);

}  // namespace brindlemar

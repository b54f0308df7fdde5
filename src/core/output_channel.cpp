#include "core/output_channel.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>

#include <cerrno>
#include <cmath>

namespace brindlemar {
namespace {

bool hasNonFiniteNumber(const Json& value) {
    switch (value.type()) {
        case Json::value_t::number_float:
            return !std::isfinite(value.get<double>());
        case Json::value_t::object:
        case Json::value_t::array:
            for (const auto& item : value) {
                if (hasNonFiniteNumber(item)) return true;
            }
            return false;
        default:
            return false;
    }
}

// Writes every byte of the vector, finishing short writes and retrying interrupted ones. A
// descriptor that fails for any other reason (the parent went away) ends the record silently.
void writeAll(int fd, iovec* parts, int count) {
    while (count > 0) {
        ssize_t written = ::writev(fd, parts, count);
        if (written < 0) {
            if (errno == EINTR) continue;
            return;
        }
        auto remaining = static_cast<std::size_t>(written);
        while (count > 0 && remaining >= parts->iov_len) {
            remaining -= parts->iov_len;
            ++parts;
            --count;
        }
        if (count > 0) {
            parts->iov_base = static_cast<char*>(parts->iov_base) + remaining;
            parts->iov_len -= remaining;
        }
    }
}

}  // namespace

OutputChannel::OutputChannel(int fd) : stdout_(fd) {
#ifdef F_SETPIPE_SZ
    // 1 MiB is the largest size an unprivileged process may ask for by default; asking for more
    // fails, and then the next smaller size is tried.
    struct stat info {};
    if (::fstat(fd, &info) == 0 && S_ISFIFO(info.st_mode)) {
        for (int size = 1 << 20; size > (1 << 16); size /= 2) {
            if (::fcntl(fd, F_SETPIPE_SZ, size) >= 0) break;
        }
    }
#endif
}

std::string serialiseRecord(const Json& record) {
    if (hasNonFiniteNumber(record)) return {};
    try {
        return record.dump();
    } catch (const Json::exception&) {
        return {};
    }
}

void OutputChannel::emitLine(const Json& record) {
    std::string line = serialiseRecord(record);
    if (line.empty()) return;
    writeLocked(line, {});
}

Status OutputChannel::emitCheckedLine(const Json& record) {
    if (hasNonFiniteNumber(record)) {
        return Error{"json", 0, "invalid number value (infinite or NaN) in a record"};
    }
    std::string line;
    try {
        line = record.dump();
    } catch (const Json::exception& failure) {
        return Error{"json", failure.id, failure.what()};
    }
    writeLocked(line, {});
    return Status::success();
}

void OutputChannel::emitError(std::string_view message) {
    emitLine(Json{{"type", "error"}, {"error", message}});
}

void OutputChannel::emitFrame(std::span<const std::uint8_t> payload, std::int64_t width,
                              std::int64_t height, double scale, std::string_view format) {
    emitPayloadRecord(
        Json{{"type", "frame"}, {"w", width}, {"h", height}, {"scale", scale}, {"format", format}},
        payload);
}

void OutputChannel::emitPayloadRecord(Json header, std::span<const std::uint8_t> payload) {
    header["len"] = payload.size();
    std::string line = serialiseRecord(header);
    if (line.empty()) return;
    writeLocked(line, payload);
}

void OutputChannel::writeLocked(std::string_view line, std::span<const std::uint8_t> payload) {
    static const char kLineFeed = '\n';
    iovec parts[3] = {
        {const_cast<char*>(line.data()), line.size()},
        {const_cast<char*>(&kLineFeed), 1},
        {const_cast<std::uint8_t*>(payload.data()), payload.size()},
    };
    int count = payload.empty() ? 2 : 3;
    MutexLock lock(outLock);
    writeAll(stdout_, parts, count);
}

}  // namespace brindlemar

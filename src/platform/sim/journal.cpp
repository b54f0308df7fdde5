#include "platform/sim/journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace brindlemar::platform::sim {
namespace {

void writeWhole(int fd, const std::string& line) {
    std::size_t done = 0;
    while (done < line.size()) {
        ssize_t n = ::write(fd, line.data() + done, line.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;  // a journal that cannot be written loses the line, not the helper
        done += static_cast<std::size_t>(n);
    }
}

}  // namespace

Journal::~Journal() {
    if (fd_ >= 0) ::close(fd_);
}

Status Journal::openFile(const std::string& path) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) {
        return Error{"sim", errno,
                     "journal " + path + ": cannot be opened: " + std::strerror(errno)};
    }
    MutexLock guard(lock_);
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
    return Status::success();
}

void Journal::record(nlohmann::json entry) {
    std::string line = entry.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    MutexLock guard(lock_);
    if (fd_ >= 0) writeWhole(fd_, line);
    pending_.push_back(std::move(entry));
}

std::vector<nlohmann::json> Journal::take() {
    MutexLock guard(lock_);
    return std::exchange(pending_, {});
}

nlohmann::json effect(const char* name, nlohmann::json fields) {
    nlohmann::json entry = {{"effect", name}};
    for (auto& [key, value] : fields.items())
        entry[key] = value;
    return entry;
}

}  // namespace brindlemar::platform::sim

#include "platform/x11/shm_pool.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/x11/connection.h"

namespace brindlemar::platform::x11 {

namespace {

// Segments grow in steps of 4 MiB, so a window that grows by a few pixels reuses its segment.
constexpr std::size_t kGranule = std::size_t{4} << 20;
// More free segments than concurrent captures need are given back.
constexpr std::size_t kMaxFreeSegments = 4;

}  // namespace

Expected<std::unique_ptr<ShmSegment>> ShmSegment::create(X11Connection& connection,
                                                         std::size_t bytes) {
    const std::size_t size = (bytes + kGranule - 1) / kGranule * kGranule;
    int shmId = ::shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
    if (shmId < 0) {
        return Error{kX11Domain, errno,
                     std::string("cannot create shared memory: ") + std::strerror(errno)};
    }
    void* address = ::shmat(shmId, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        int failure = errno;
        ::shmctl(shmId, IPC_RMID, nullptr);
        return Error{kX11Domain, failure,
                     std::string("cannot map shared memory: ") + std::strerror(failure)};
    }
    xcb_connection_t* c = connection.raw();
    xcb_shm_seg_t id = xcb_generate_id(c);
    XcbReply<xcb_generic_error_t> error(
        xcb_request_check(c, xcb_shm_attach_checked(c, id, static_cast<std::uint32_t>(shmId), 0)));
    // Marked for removal now: the segment disappears once both sides have detached, even if
    // this process dies.
    ::shmctl(shmId, IPC_RMID, nullptr);
    if (error || connection.lost()) {
        ::shmdt(address);
        return connection.requestError("the X server cannot attach shared memory", error.get());
    }
    return std::unique_ptr<ShmSegment>(
        new ShmSegment(connection, static_cast<std::uint8_t*>(address), size, id));
}

ShmSegment::~ShmSegment() {
    if (!connection_.lost()) xcb_shm_detach(connection_.raw(), id_);
    ::shmdt(data_);
}

ShmPool::Lease::~Lease() {
    if (segment_) pool_->release(std::move(segment_));
}

Expected<ShmPool::Lease> ShmPool::acquire(std::size_t bytes) {
    {
        std::lock_guard lock(lock_);
        auto fits = std::find_if(free_.begin(), free_.end(),
                                 [bytes](const auto& segment) { return segment->size() >= bytes; });
        if (fits != free_.end()) {
            auto segment = std::move(*fits);
            free_.erase(fits);
            return Lease(*this, std::move(segment));
        }
    }
    auto segment = ShmSegment::create(connection_, bytes);
    if (!segment) return std::move(segment).takeError();
    return Lease(*this, std::move(*segment));
}

void ShmPool::release(std::unique_ptr<ShmSegment> segment) {
    std::lock_guard lock(lock_);
    free_.push_back(std::move(segment));
    // Keep the largest ones: they fit every smaller capture.
    std::sort(free_.begin(), free_.end(),
              [](const auto& a, const auto& b) { return a->size() < b->size(); });
    if (free_.size() > kMaxFreeSegments) free_.erase(free_.begin());
}

}  // namespace brindlemar::platform::x11

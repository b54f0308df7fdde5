#pragma once

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "base/error.h"

namespace brindlemar::platform::x11 {

class X11Connection;

// One System V shared memory segment attached to this process and to the X server.
class ShmSegment {
  public:
    static Expected<std::unique_ptr<ShmSegment>> create(X11Connection& connection,
                                                        std::size_t bytes);
    ~ShmSegment();
    ShmSegment(const ShmSegment&) = delete;
    ShmSegment& operator=(const ShmSegment&) = delete;

    std::uint8_t* data() const { return data_; }
    std::size_t size() const { return size_; }
    xcb_shm_seg_t id() const { return id_; }

  private:
    ShmSegment(X11Connection& connection, std::uint8_t* data, std::size_t size, xcb_shm_seg_t id)
        : connection_(connection), data_(data), size_(size), id_(id) {}

    X11Connection& connection_;
    std::uint8_t* data_;
    std::size_t size_;
    xcb_shm_seg_t id_;
};

// Segments kept for reuse, so that a capture allocates no shared memory once the pool holds a
// segment large enough. A lease gives one capture sole use of a segment; `lock_` guards the
// free list.
class ShmPool {
  public:
    explicit ShmPool(X11Connection& connection) : connection_(connection) {}

    class Lease {
      public:
        Lease(ShmPool& pool, std::unique_ptr<ShmSegment> segment)
            : pool_(&pool), segment_(std::move(segment)) {}
        ~Lease();
        Lease(Lease&& other) noexcept = default;
        Lease& operator=(Lease&&) = delete;
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        ShmSegment& segment() const { return *segment_; }

      private:
        ShmPool* pool_;
        std::unique_ptr<ShmSegment> segment_;
    };

    // A segment of at least `bytes`, from the free list when one fits.
    Expected<Lease> acquire(std::size_t bytes);

  private:
    void release(std::unique_ptr<ShmSegment> segment);

    X11Connection& connection_;
    std::mutex lock_;  // guards free_
    std::vector<std::unique_ptr<ShmSegment>> free_;
};

}  // namespace brindlemar::platform::x11

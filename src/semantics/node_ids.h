#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace brindlemar::semantics {

// Node ids: each the 32 lower-case hex digits of a fresh random (version 4) UUID without its
// hyphens. The bytes come from the kernel's random source, fetched a few kilobytes at a time.
// Owned by the command loop.
class NodeIdSource {
  public:
    std::string next();

  private:
    void refill();

    static constexpr std::size_t kUuidBytes = 16;
    std::array<std::uint8_t, kUuidBytes * 256> pool_{};
    std::size_t used_ = pool_.size();
};

}  // namespace brindlemar::semantics

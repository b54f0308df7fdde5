#include "semantics/node_ids.h"

#include <sys/random.h>

#include <cerrno>
#include <random>

namespace brindlemar::semantics {

void NodeIdSource::refill() {
    std::size_t filled = 0;
    while (filled < pool_.size()) {
        ssize_t got = ::getrandom(pool_.data() + filled, pool_.size() - filled, 0);
        if (got < 0) {
            if (errno == EINTR) continue;
            break;
        }
        filled += static_cast<std::size_t>(got);
    }
    // getrandom cannot fail once the kernel's pool is ready; should it ever, the library's own
    // non-deterministic source fills the rest.
    if (filled < pool_.size()) {
        std::random_device device;
        for (std::size_t i = filled; i < pool_.size(); ++i)
            pool_[i] = static_cast<std::uint8_t>(device());
    }
    used_ = 0;
}

std::string NodeIdSource::next() {
    if (used_ + kUuidBytes > pool_.size()) refill();
    std::uint8_t* bytes = pool_.data() + used_;
    used_ += kUuidBytes;
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string id(kUuidBytes * 2, '0');
    for (std::size_t i = 0; i < kUuidBytes; ++i) {
        id[2 * i] = kDigits[bytes[i] >> 4];
        id[2 * i + 1] = kDigits[bytes[i] & 0x0F];
    }
    return id;
}

}  // namespace brindlemar::semantics

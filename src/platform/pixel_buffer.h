#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace brindlemar::platform {

// An owned RGBA image: rows top to bottom, width * 4 bytes per row with no padding, components
// R, G, B, A with colour premultiplied by alpha. The memory is not zeroed on allocation: the
// producer writes every byte, and the buffer can travel to the output channel without a copy.
class PixelBuffer {
  public:
    PixelBuffer() = default;
    PixelBuffer(std::int64_t width, std::int64_t height)
        : width_(width),
          height_(height),
          bytes_(std::make_unique_for_overwrite<std::uint8_t[]>(byteCount(width, height))) {}

    std::int64_t width() const { return width_; }
    std::int64_t height() const { return height_; }
    std::size_t size() const { return byteCount(width_, height_); }
    std::size_t stride() const { return static_cast<std::size_t>(width_) * 4; }
    std::uint8_t* data() { return bytes_.get(); }
    const std::uint8_t* data() const { return bytes_.get(); }
    std::uint8_t* row(std::int64_t y) { return data() + static_cast<std::size_t>(y) * stride(); }
    std::span<const std::uint8_t> bytes() const { return {data(), size()}; }
    bool empty() const { return width_ < 1 || height_ < 1; }

  private:
    static std::size_t byteCount(std::int64_t w, std::int64_t h) {
        return w > 0 && h > 0 ? static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4 : 0;
    }

    std::int64_t width_ = 0;
    std::int64_t height_ = 0;
    std::unique_ptr<std::uint8_t[]> bytes_;
};

}  // namespace brindlemar::platform

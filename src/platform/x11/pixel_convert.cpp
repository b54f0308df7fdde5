#include "platform/x11/pixel_convert.h"

#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>
#include <libyuv/scale_argb.h>

#include <vector>

namespace brindlemar::platform::x11 {

namespace {

// Sets every alpha byte of an RGBA buffer to 255 (opaque), from one row of 255s read with a
// stride of 0.
void makeOpaque(PixelBuffer& target) {
    static const std::vector<std::uint8_t> kOpaqueRow(1 << 15, 0xFF);
    const auto width = static_cast<int>(target.width());
    const auto stride = static_cast<int>(target.stride());
    if (static_cast<std::size_t>(width) > kOpaqueRow.size()) {
        for (std::int64_t y = 0; y < target.height(); ++y) {
            std::uint8_t* row = target.row(y);
            for (int x = 0; x < width; ++x)
                row[x * 4 + 3] = 0xFF;
        }
        return;
    }
    libyuv::ARGBCopyYToAlpha(kOpaqueRow.data(), 0, target.data(), stride, width,
                             static_cast<int>(target.height()));
}

}  // namespace

void convertToRgba(const BgrxImage& image, PixelBuffer& target) {
    const auto width = static_cast<int>(target.width());
    const auto height = static_cast<int>(target.height());
    const auto stride = static_cast<int>(target.stride());
    // libyuv calls B, G, R, A in memory "ARGB" and R, G, B, A "ABGR".
    if (width == image.width && height == image.height) {
        libyuv::ARGBToABGR(image.data, static_cast<int>(image.stride), target.data(), stride, width,
                           height);
    } else {
        libyuv::ARGBScale(image.data, static_cast<int>(image.stride), image.width, image.height,
                          target.data(), stride, width, height, libyuv::kFilterBox);
        libyuv::ARGBToABGR(target.data(), stride, target.data(), stride, width, height);
    }
    if (!image.hasAlpha) makeOpaque(target);
}

}  // namespace brindlemar::platform::x11

// BGRX to RGBA conversion with box-filtered scaling, as the x11 backend does it for every
// screenshot: libyuv (what the backend uses) against libswscale.

extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <cstdio>
#include <vector>

#include "bench_util.h"
#include "platform/pixel_buffer.h"
#include "platform/x11/pixel_convert.h"

namespace {

using brindlemar::bench::percentile;
using brindlemar::bench::secondsSince;
using brindlemar::platform::PixelBuffer;
using Clock = std::chrono::steady_clock;

constexpr int kSourceWidth = 1920;
constexpr int kSourceHeight = 1080;
constexpr int kRuns = 200;

// A screen-like image: bands of text-like noise on flat backgrounds.
std::vector<std::uint8_t> screenImage() {
    std::vector<std::uint8_t> pixels(std::size_t{kSourceWidth} * kSourceHeight * 4);
    std::uint32_t seed = 12345;
    for (int y = 0; y < kSourceHeight; ++y) {
        for (int x = 0; x < kSourceWidth; ++x) {
            auto* p = &pixels[(std::size_t(y) * kSourceWidth + x) * 4];
            seed = seed * 1664525 + 1013904223;
            const bool text = (y / 16) % 3 == 0 && (seed >> 28) < 5;
            p[0] = text ? 20 : static_cast<std::uint8_t>(200 + x % 40);
            p[1] = text ? 20 : static_cast<std::uint8_t>(180 + y % 50);
            p[2] = text ? 20 : 230;
            p[3] = 0;
        }
    }
    return pixels;
}

template <class Convert>
void report(const char* name, Convert&& convert) {
    std::vector<double> millis;
    for (int i = 0; i < kRuns + 5; ++i) {
        auto start = Clock::now();
        convert();
        if (i >= 5) millis.push_back(secondsSince(start) * 1000.0);
    }
    double p50 = percentile(millis, 50), p99 = percentile(millis, 99);
    std::printf("%-44s p50 %6.2f ms, p99 %6.2f ms\n", name, p50, p99);
}

void libyuv(const std::vector<std::uint8_t>& source, int width, int height, const char* name) {
    brindlemar::platform::x11::BgrxImage image{source.data(), std::size_t{kSourceWidth} * 4,
                                               kSourceWidth, kSourceHeight, false};
    PixelBuffer target(width, height);
    report(name, [&] { brindlemar::platform::x11::convertToRgba(image, target); });
}

void swscale(const std::vector<std::uint8_t>& source, int width, int height, int flags,
             const char* name) {
    SwsContext* context = sws_getContext(kSourceWidth, kSourceHeight, AV_PIX_FMT_BGR0, width,
                                         height, AV_PIX_FMT_RGBA, flags, nullptr, nullptr, nullptr);
    PixelBuffer target(width, height);
    const std::uint8_t* sourcePlanes[] = {source.data()};
    const int sourceStrides[] = {kSourceWidth * 4};
    std::uint8_t* targetPlanes[] = {target.data()};
    const int targetStrides[] = {static_cast<int>(target.stride())};
    report(name, [&] {
        sws_scale(context, sourcePlanes, sourceStrides, 0, kSourceHeight, targetPlanes,
                  targetStrides);
    });
    sws_freeContext(context);
}

}  // namespace

int main() {
    auto source = screenImage();
    std::printf("BGRX 1920x1080 to RGBA, %d runs each\n", kRuns);
    libyuv(source, 1920, 1080, "libyuv, same size");
    swscale(source, 1920, 1080, SWS_POINT, "libswscale, same size");
    libyuv(source, 1600, 900, "libyuv box filter to 1600x900");
    swscale(source, 1600, 900, SWS_AREA, "libswscale area filter to 1600x900");
    swscale(source, 1600, 900, SWS_BILINEAR, "libswscale bilinear to 1600x900");
    libyuv(source, 480, 270, "libyuv box filter to 480x270");
    swscale(source, 480, 270, SWS_AREA, "libswscale area filter to 480x270");
    return 0;
}

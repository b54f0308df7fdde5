// Fills rectangles of one colour (opaque ones copied, translucent ones blended source-over in
// premultiplied form); rows that look alike are composed once and copied with memcpy.

#include "platform/sim/renderer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace brindlemar::platform::sim {
namespace {

using Pixel = std::array<std::uint8_t, 4>;

std::uint8_t premultiplied(std::uint8_t channel, std::uint8_t alpha) {
    return static_cast<std::uint8_t>((channel * alpha + 127) / 255);
}

Pixel premultiply(const Colour& c) {
    return {premultiplied(c.r, c.a), premultiplied(c.g, c.a), premultiplied(c.b, c.a), c.a};
}

// A rectangle of pixels, half-open, already clipped to the image.
struct PixelSpan {
    std::int64_t x0, y0, x1, y1;
    bool empty() const { return x0 >= x1 || y0 >= y1; }
};

void copyFill(PixelBuffer& image, const PixelSpan& span, const Pixel& pixel) {
    std::vector<std::uint8_t> row(static_cast<std::size_t>(span.x1 - span.x0) * 4);
    for (std::size_t i = 0; i < row.size(); i += 4)
        std::memcpy(&row[i], pixel.data(), 4);
    for (std::int64_t y = span.y0; y < span.y1; ++y) {
        std::memcpy(image.row(y) + span.x0 * 4, row.data(), row.size());
    }
}

// Fills pixels [x0, x1) of one row with the colour, blending when it is translucent.
void fillRow(std::uint8_t* row, std::int64_t x0, std::int64_t x1, const Colour& colour) {
    if (x0 >= x1 || colour.a == 0) return;
    Pixel pixel = premultiply(colour);
    std::uint8_t* p = row + x0 * 4;
    if (colour.a == 0xFF) {
        for (std::int64_t x = x0; x < x1; ++x, p += 4)
            std::memcpy(p, pixel.data(), 4);
        return;
    }
    const unsigned keep = 255u - pixel[3];
    for (std::int64_t x = x0; x < x1; ++x, p += 4) {
        for (int c = 0; c < 4; ++c) {
            p[c] = static_cast<std::uint8_t>(pixel[c] + (p[c] * keep + 127) / 255);
        }
    }
}

// Fills a rectangle of the image, blending when the colour is translucent.
void fill(PixelBuffer& image, const PixelSpan& span, const Colour& colour) {
    if (span.empty()) return;
    for (std::int64_t y = span.y0; y < span.y1; ++y)
        fillRow(image.row(y), span.x0, span.x1, colour);
}

std::int64_t toPixel(double value, std::int64_t limit) {
    double rounded = std::round(value);
    if (!(rounded > 0)) return 0;  // also NaN
    return rounded >= static_cast<double>(limit) ? limit : static_cast<std::int64_t>(rounded);
}

// The window's frame in the display image's pixels, clipped to the image.
PixelSpan spanOf(const Rect& window, const Rect& display, const PixelBuffer& image) {
    double sx = display.width > 0 ? static_cast<double>(image.width()) / display.width : 0;
    double sy = display.height > 0 ? static_cast<double>(image.height()) / display.height : 0;
    return {toPixel((window.minX() - display.minX()) * sx, image.width()),
            toPixel((window.minY() - display.minY()) * sy, image.height()),
            toPixel((window.maxX() - display.minX()) * sx, image.width()),
            toPixel((window.maxY() - display.minY()) * sy, image.height())};
}

// Every window edge splits the image into horizontal bands in which each row looks the same:
// one row per band is composed back to front and copied to the band's other rows.
void renderDisplay(const DisplayPicture& picture, PixelBuffer& image) {
    std::vector<PixelSpan> spans;
    std::vector<std::int64_t> edges = {0, image.height()};
    for (const auto& window : picture.backToFront) {
        spans.push_back(spanOf(window.frame, picture.frame, image));
        edges.push_back(spans.back().y0);
        edges.push_back(spans.back().y1);
    }
    std::sort(edges.begin(), edges.end());
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
    const Pixel background = premultiply(picture.background);
    for (std::size_t band = 0; band + 1 < edges.size(); ++band) {
        const std::int64_t top = edges[band];
        const std::int64_t bottom = edges[band + 1];
        std::uint8_t* first = image.row(top);
        for (std::int64_t x = 0; x < image.width(); ++x)
            std::memcpy(first + x * 4, background.data(), 4);
        for (std::size_t i = 0; i < spans.size(); ++i) {
            if (spans[i].y0 <= top && spans[i].y1 >= bottom && !spans[i].empty()) {
                fillRow(first, spans[i].x0, spans[i].x1, picture.backToFront[i].fill);
            }
        }
        for (std::int64_t y = top + 1; y < bottom; ++y)
            std::memcpy(image.row(y), first, image.stride());
    }
}

}  // namespace

void renderPicture(const Picture& picture, PixelBuffer& image) {
    if (image.empty()) return;
    if (auto* display = std::get_if<DisplayPicture>(&picture)) {
        renderDisplay(*display, image);
    } else {
        PixelSpan whole{0, 0, image.width(), image.height()};
        copyFill(image, whole, premultiply(std::get<WindowPicture>(picture).fill));
    }
}

void renderStreamFrame(const Picture& picture, PixelBuffer& image, std::uint64_t frameIndex) {
    renderPicture(picture, image);
    if (image.empty()) return;
    std::int64_t side = std::max<std::int64_t>(2, std::min(image.width(), image.height()) / 16);
    side = std::min({side, image.width(), image.height()});
    std::int64_t travel = image.width() - side + 1;
    auto x = static_cast<std::int64_t>((frameIndex * static_cast<std::uint64_t>(side)) %
                                       static_cast<std::uint64_t>(travel));
    std::int64_t y = (image.height() - side) / 2;
    // Alternating colours keep successive frames different even where the square cannot move.
    Colour mark = frameIndex % 2 == 0 ? Colour{0xFF, 0xFF, 0xFF, 0xFF} : Colour{0, 0, 0, 0xFF};
    fill(image, PixelSpan{x, y, x + side, y + side}, mark);
}

}  // namespace brindlemar::platform::sim

#include "capture_scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace brindlemar::bench {
namespace {

struct Colour {
    double r, g, b;
};

Colour mix(Colour a, Colour b, double t) {
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

std::uint8_t channel(double value) {
    return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

class Canvas {
  public:
    explicit Canvas(platform::PixelBuffer& image) : image_(image) {}

    std::int64_t width() const { return image_.width(); }
    std::int64_t height() const { return image_.height(); }

    void set(std::int64_t x, std::int64_t y, Colour c) {
        if (x < 0 || y < 0 || x >= width() || y >= height()) return;
        std::uint8_t* p = image_.row(y) + x * 4;
        p[0] = channel(c.r);
        p[1] = channel(c.g);
        p[2] = channel(c.b);
        p[3] = 255;
    }
    Colour get(std::int64_t x, std::int64_t y) const {
        const std::uint8_t* p = image_.data() + static_cast<std::size_t>(y) * image_.stride() +
                                static_cast<std::size_t>(x) * 4;
        return {double(p[0]), double(p[1]), double(p[2])};
    }
    // Blends colour c over the pixel with coverage a in [0, 1].
    void blend(std::int64_t x, std::int64_t y, Colour c, double a) {
        if (x < 0 || y < 0 || x >= width() || y >= height() || a <= 0) return;
        set(x, y, mix(get(x, y), c, std::min(a, 1.0)));
    }
    void fill(std::int64_t x0, std::int64_t y0, std::int64_t w, std::int64_t h, Colour c) {
        for (std::int64_t y = y0; y < y0 + h; ++y) {
            for (std::int64_t x = x0; x < x0 + w; ++x)
                set(x, y, c);
        }
    }
    void verticalGradient(std::int64_t x0, std::int64_t y0, std::int64_t w, std::int64_t h,
                          Colour top, Colour bottom) {
        for (std::int64_t y = y0; y < y0 + h; ++y) {
            Colour c = mix(top, bottom, double(y - y0) / double(std::max<std::int64_t>(h - 1, 1)));
            for (std::int64_t x = x0; x < x0 + w; ++x)
                set(x, y, c);
        }
    }

  private:
    platform::PixelBuffer& image_;
};

// Smooth value noise in [0, 1] with a few octaves: the texture of a photograph.
class ValueNoise {
  public:
    explicit ValueNoise(std::uint32_t seed) {
        std::mt19937 random(seed);
        for (auto& v : lattice_)
            v = std::uniform_real_distribution<double>(0, 1)(random);
    }
    double at(double x, double y) const {
        double sum = 0, amplitude = 0.5, norm = 0;
        for (int octave = 0; octave < 5; ++octave) {
            sum += amplitude * smooth(x, y);
            norm += amplitude;
            x *= 2.03;
            y *= 2.03;
            amplitude *= 0.5;
        }
        return sum / norm;
    }

  private:
    double corner(std::int64_t x, std::int64_t y) const {
        auto h = static_cast<std::uint64_t>(x * 73856093 ^ y * 19349663);
        return lattice_[h % lattice_.size()];
    }
    double smooth(double x, double y) const {
        double fx = std::floor(x), fy = std::floor(y);
        auto ix = static_cast<std::int64_t>(fx), iy = static_cast<std::int64_t>(fy);
        double tx = x - fx, ty = y - fy;
        tx = tx * tx * (3 - 2 * tx);
        ty = ty * ty * (3 - 2 * ty);
        double top = corner(ix, iy) + (corner(ix + 1, iy) - corner(ix, iy)) * tx;
        double bottom = corner(ix, iy + 1) + (corner(ix + 1, iy + 1) - corner(ix, iy + 1)) * tx;
        return top + (bottom - top) * ty;
    }
    std::array<double, 4096> lattice_{};
};

void photograph(Canvas& canvas, std::int64_t x0, std::int64_t y0, std::int64_t w, std::int64_t h,
                std::uint32_t seed, double featureSize, double grainDeviation) {
    ValueNoise light(seed), hue(seed + 1);
    std::mt19937 grain(seed + 2);
    std::normal_distribution<double> sensor(0, grainDeviation);
    for (std::int64_t y = 0; y < h; ++y) {
        for (std::int64_t x = 0; x < w; ++x) {
            double l = light.at(x / featureSize, y / featureSize);
            double t = hue.at(x / (featureSize * 2.5), y / (featureSize * 2.5));
            Colour sky{70 + 120 * l, 110 + 110 * l, 150 + 100 * l};
            Colour earth{90 + 140 * l, 80 + 100 * l, 40 + 60 * l};
            Colour c = mix(sky, earth, t);
            double n = sensor(grain);
            canvas.set(x0 + x, y0 + y, {c.r + n, c.g + n, c.b + n});
        }
    }
}

// Glyph masks with anti-aliased strokes, like text rendered at twice the point size.
class Font {
  public:
    Font(int cellWidth, int cellHeight, std::uint32_t seed) : w_(cellWidth), h_(cellHeight) {
        std::mt19937 random(seed);
        for (auto& glyph : glyphs_)
            glyph = makeGlyph(random);
    }
    int advance() const { return w_; }
    int lineHeight() const { return h_ * 3 / 2; }

    void draw(Canvas& canvas, std::int64_t x0, std::int64_t y0, int glyph, Colour ink) const {
        const auto& mask = glyphs_[static_cast<std::size_t>(glyph) % glyphs_.size()];
        for (int y = 0; y < h_; ++y) {
            for (int x = 0; x < w_; ++x)
                canvas.blend(x0 + x, y0 + y, ink, mask[y * w_ + x]);
        }
    }

  private:
    std::vector<double> makeGlyph(std::mt19937& random) {
        std::vector<double> mask(static_cast<std::size_t>(w_ * h_), 0.0);
        std::uniform_real_distribution<double> px(w_ * 0.15, w_ * 0.8), py(h_ * 0.2, h_ * 0.85);
        int strokes = 2 + static_cast<int>(random() % 3);
        for (int s = 0; s < strokes; ++s) {
            double ax = px(random), ay = py(random), bx = px(random), by = py(random);
            if (random() % 2) bx = ax;  // many strokes are straight verticals
            for (int y = 0; y < h_; ++y) {
                for (int x = 0; x < w_; ++x) {
                    double d = distanceToSegment(x + 0.5, y + 0.5, ax, ay, bx, by);
                    double coverage = std::clamp(1.6 - d, 0.0, 1.0);
                    auto& m = mask[static_cast<std::size_t>(y * w_ + x)];
                    m = std::max(m, coverage);
                }
            }
        }
        return mask;
    }
    static double distanceToSegment(double x, double y, double ax, double ay, double bx,
                                    double by) {
        double dx = bx - ax, dy = by - ay;
        double len = dx * dx + dy * dy;
        double t = len > 0 ? std::clamp(((x - ax) * dx + (y - ay) * dy) / len, 0.0, 1.0) : 0;
        return std::hypot(x - (ax + t * dx), y - (ay + t * dy));
    }

    int w_, h_;
    std::array<std::vector<double>, 72> glyphs_;
};

// Lines of words with ragged ends; `palette` colours words the way syntax highlighting does.
void textBlock(Canvas& canvas, const Font& font, std::int64_t x0, std::int64_t y0, std::int64_t w,
               std::int64_t h, std::uint32_t seed, const std::vector<Colour>& palette,
               bool indented) {
    std::mt19937 random(seed);
    for (std::int64_t y = y0; y + font.lineHeight() <= y0 + h; y += font.lineHeight()) {
        if (random() % 9 == 0) continue;  // blank line
        std::int64_t x = x0 + (indented ? font.advance() * 2 * (random() % 4) : 0);
        std::int64_t end = x0 + w * (55 + random() % 45) / 100;
        while (x < end) {
            int letters = 2 + static_cast<int>(random() % 8);
            Colour ink = palette[random() % palette.size()];
            for (int i = 0; i < letters && x < end; ++i, x += font.advance()) {
                font.draw(canvas, x, y, static_cast<int>(random()), ink);
            }
            x += font.advance();
        }
    }
}

void window(Canvas& canvas, std::int64_t x, std::int64_t y, std::int64_t w, std::int64_t h,
            const Font& font, std::uint32_t seed) {
    canvas.fill(x - 2, y - 2, w + 4, h + 4, {120, 120, 120});  // border
    canvas.verticalGradient(x, y, w, 56, {236, 236, 236}, {208, 208, 208});
    for (int i = 0; i < 3; ++i) {
        Colour light[] = {{255, 95, 87}, {254, 188, 46}, {40, 200, 64}};
        canvas.fill(x + 24 + i * 40, y + 18, 24, 24, light[i]);
    }
    textBlock(canvas, font, x + w / 3, y + 16, w / 3, 30, seed, {{60, 60, 60}}, false);
    canvas.fill(x, y + 56, w, h - 56, {255, 255, 255});
}

}  // namespace

platform::PixelBuffer renderDesktop(std::int64_t width, std::int64_t height, Wallpaper wallpaper) {
    platform::PixelBuffer image(width, height);
    Canvas canvas(image);
    const Font font(14, 22, 7);
    const std::vector<Colour> code = {{30, 30, 30},  {30, 30, 30},  {175, 0, 219},
                                      {0, 112, 193}, {163, 21, 21}, {0, 128, 0}};
    const std::vector<Colour> prose = {{20, 20, 20}};

    // Wallpaper, menu bar and dock.
    if (wallpaper == Wallpaper::Photograph) {
        photograph(canvas, 0, 0, width, height, 1, 220, 1.0);
    } else {
        canvas.verticalGradient(0, 0, width, height, {40, 70, 140}, {190, 110, 150});
    }
    canvas.verticalGradient(0, 0, width, 48, {246, 246, 246}, {230, 230, 230});
    textBlock(canvas, font, 40, 12, width / 3, 36, 2, prose, false);
    canvas.verticalGradient(width / 4, height - 130, width / 2, 120, {200, 200, 210},
                            {160, 160, 175});
    for (std::int64_t x = width / 4 + 20; x + 100 < width * 3 / 4; x += 120) {
        photograph(canvas, x, height - 120, 100, 100, static_cast<std::uint32_t>(x), 30, 2.0);
    }

    // A code editor with a file sidebar.
    const std::int64_t ex = width / 30, ey = height / 16, ew = width * 55 / 100,
                       eh = height * 70 / 100;
    window(canvas, ex, ey, ew, eh, font, 3);
    canvas.fill(ex, ey + 56, ew / 5, eh - 56, {243, 243, 243});
    textBlock(canvas, font, ex + 20, ey + 76, ew / 5 - 40, eh - 96, 4, prose, true);
    textBlock(canvas, font, ex + ew / 5 + 30, ey + 76, ew * 4 / 5 - 60, eh - 96, 5, code, true);

    // A photo viewer.
    const std::int64_t px = width / 2, py = height / 7, pw = width * 45 / 100,
                       ph = height * 45 / 100;
    window(canvas, px, py, pw, ph, font, 6);
    photograph(canvas, px + 10, py + 66, pw - 20, ph - 76, 8, 90, 3.0);

    // A browser page: paragraphs beside an illustration, and buttons.
    const std::int64_t bx = width * 30 / 100, by = height * 55 / 100, bw = width * 50 / 100,
                       bh = height * 38 / 100;
    window(canvas, bx, by, bw, bh, font, 9);
    canvas.verticalGradient(bx, by + 56, bw, 80, {250, 250, 255}, {225, 230, 245});
    textBlock(canvas, font, bx + 40, by + 160, bw / 2, bh - 200, 10, prose, false);
    photograph(canvas, bx + bw * 60 / 100, by + 170, bw * 35 / 100, bh / 2, 11, 40, 3.0);
    for (int i = 0; i < 3; ++i) {
        canvas.verticalGradient(bx + bw * 60 / 100 + i * 200, by + bh - 90, 170, 50, {80, 150, 250},
                                {40, 110, 220});
    }
    return image;
}

platform::PixelBuffer resample(const platform::PixelBuffer& source, std::int64_t width,
                               std::int64_t height) {
    platform::PixelBuffer image(width, height);
    const double sx = double(source.width()) / double(width);
    const double sy = double(source.height()) / double(height);
    for (std::int64_t y = 0; y < height; ++y) {
        double fy = std::clamp((y + 0.5) * sy - 0.5, 0.0, double(source.height() - 1));
        auto y0 = static_cast<std::int64_t>(fy);
        auto y1 = std::min(y0 + 1, source.height() - 1);
        double ty = fy - double(y0);
        const std::uint8_t* r0 = source.data() + y0 * static_cast<std::int64_t>(source.stride());
        const std::uint8_t* r1 = source.data() + y1 * static_cast<std::int64_t>(source.stride());
        std::uint8_t* out = image.row(y);
        for (std::int64_t x = 0; x < width; ++x) {
            double fx = std::clamp((x + 0.5) * sx - 0.5, 0.0, double(source.width() - 1));
            auto x0 = static_cast<std::int64_t>(fx);
            auto x1 = std::min(x0 + 1, source.width() - 1);
            double tx = fx - double(x0);
            for (int c = 0; c < 4; ++c) {
                double top = r0[x0 * 4 + c] + (r0[x1 * 4 + c] - r0[x0 * 4 + c]) * tx;
                double bottom = r1[x0 * 4 + c] + (r1[x1 * 4 + c] - r1[x0 * 4 + c]) * tx;
                out[x * 4 + c] = channel(top + (bottom - top) * ty);
            }
        }
    }
    return image;
}

}  // namespace brindlemar::bench

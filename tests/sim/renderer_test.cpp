// Rendering of display and window pictures: stacking, translucency, clipping, exact sizes.

#include <gtest/gtest.h>

#include "platform/sim/renderer.h"

namespace brindlemar::platform::sim {
namespace {

using Pixel = std::array<std::uint8_t, 4>;

Pixel at(PixelBuffer& image, std::int64_t x, std::int64_t y) {
    const std::uint8_t* p = image.row(y) + x * 4;
    return {p[0], p[1], p[2], p[3]};
}

const Colour kRed{0xFF, 0, 0, 0xFF};
const Colour kBlue{0, 0, 0xFF, 0xFF};
const Colour kGrey{0x20, 0x20, 0x20, 0xFF};

TEST(Renderer, WindowsAreStackedBackToFrontOverTheBackground) {
    // A 100 x 50 point display at scale 2, red window behind a blue one overlapping it.
    DisplayPicture display{
        {0, 0, 100, 50}, kGrey, {{{10, 10, 40, 20}, kRed}, {{30, 20, 40, 20}, kBlue}}};
    PixelBuffer image(200, 100);
    renderPicture(display, image);
    struct Probe {
        std::int64_t x, y;
        Pixel expected;
    };
    const Probe probes[] = {
        {0, 0, {0x20, 0x20, 0x20, 0xFF}},    {19, 19, {0x20, 0x20, 0x20, 0xFF}},
        {20, 20, {0xFF, 0, 0, 0xFF}},        {59, 39, {0xFF, 0, 0, 0xFF}},
        {60, 40, {0, 0, 0xFF, 0xFF}},        {99, 59, {0, 0, 0xFF, 0xFF}},  // overlap: blue
        {139, 79, {0, 0, 0xFF, 0xFF}},       {140, 80, {0x20, 0x20, 0x20, 0xFF}},
        {199, 99, {0x20, 0x20, 0x20, 0xFF}},
    };
    for (const auto& probe : probes) {
        EXPECT_EQ(at(image, probe.x, probe.y), probe.expected) << probe.x << "," << probe.y;
    }
}

TEST(Renderer, WindowsAreClippedToTheDisplayInGlobalCoordinates) {
    // A second display at x = 1000; windows hanging over its left, right and bottom edges.
    DisplayPicture display{{1000, 0, 100, 100},
                           kGrey,
                           {{{950, 10, 100, 10}, kRed},
                            {{1090, 50, 500, 10}, kBlue},
                            {{1050, 95, 10, 400}, kRed},
                            {{0, 0, 500, 500}, kBlue}}};  // wholly on another display
    PixelBuffer image(100, 100);
    renderPicture(display, image);
    EXPECT_EQ(at(image, 0, 15), (Pixel{0xFF, 0, 0, 0xFF}));
    EXPECT_EQ(at(image, 49, 15), (Pixel{0xFF, 0, 0, 0xFF}));
    EXPECT_EQ(at(image, 50, 15), (Pixel{0x20, 0x20, 0x20, 0xFF}));
    EXPECT_EQ(at(image, 89, 55), (Pixel{0x20, 0x20, 0x20, 0xFF}));
    EXPECT_EQ(at(image, 99, 55), (Pixel{0, 0, 0xFF, 0xFF}));
    EXPECT_EQ(at(image, 55, 99), (Pixel{0xFF, 0, 0, 0xFF}));
    EXPECT_EQ(at(image, 5, 90), (Pixel{0x20, 0x20, 0x20, 0xFF}));
}

TEST(Renderer, TranslucentColoursArePremultipliedAndBlended) {
    DisplayPicture display{
        {0, 0, 2, 1}, Colour{0, 0, 0xFF, 0x80}, {{{1, 0, 1, 1}, Colour{0xFF, 0, 0, 0x80}}}};
    PixelBuffer image(2, 1);
    renderPicture(display, image);
    EXPECT_EQ(at(image, 0, 0), (Pixel{0, 0, 0x80, 0x80}));
    // red 0x80 over blue 0x80: 0x80 + 0x80 * 127 / 255 alpha, blue scaled the same way
    EXPECT_EQ(at(image, 1, 0), (Pixel{0x80, 0, 0x40, 0xC0}));

    PixelBuffer window(3, 2);
    renderPicture(WindowPicture{Colour{0x40, 0x80, 0xFF, 0x00}}, window);
    EXPECT_EQ(at(window, 2, 1), (Pixel{0, 0, 0, 0}));
}

TEST(Renderer, WindowPictureCoversTheWholeImageAtAnySize) {
    for (auto [w, h] : {std::pair{1, 1}, std::pair{7, 3}, std::pair{1601, 800}}) {
        PixelBuffer image(w, h);
        renderPicture(WindowPicture{kRed}, image);
        EXPECT_EQ(at(image, 0, 0), (Pixel{0xFF, 0, 0, 0xFF}));
        EXPECT_EQ(at(image, w - 1, h - 1), (Pixel{0xFF, 0, 0, 0xFF}));
    }
}

TEST(Renderer, SuccessiveStreamFramesDiffer) {
    for (auto [w, h] : {std::pair{640, 360}, std::pair{2, 2}, std::pair{1, 1}}) {
        PixelBuffer previous(w, h);
        renderStreamFrame(WindowPicture{kBlue}, previous, 0);
        for (std::uint64_t frame = 1; frame < 40; ++frame) {
            PixelBuffer next(w, h);
            renderStreamFrame(WindowPicture{kBlue}, next, frame);
            EXPECT_FALSE(
                std::equal(next.bytes().begin(), next.bytes().end(), previous.bytes().begin()))
                << w << "x" << h << " frame " << frame;
            previous = std::move(next);
        }
    }
}

}  // namespace
}  // namespace brindlemar::platform::sim

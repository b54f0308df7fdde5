// The PNG encoder in process: every setting yields a file that decodes to the same pixels, opaque
// images lose their alpha channel, and premultiplied colour is written as straight alpha.

#include <gtest/gtest.h>

#include <random>

#include "capture/png_encoder.h"
#include "capture/png_striped.h"
#include "png_decode.h"

namespace brindlemar::testing {
namespace {

using platform::PixelBuffer;

// Text-like strokes over noise and a gradient, opaque unless `translucent`.
PixelBuffer patterned(std::int64_t width, std::int64_t height, std::uint32_t seed,
                      bool translucent) {
    PixelBuffer image(width, height);
    std::mt19937 random(seed);
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            std::uint8_t* p = image.row(y) + x * 4;
            const bool stroke = (x / 3 + y / 5) % 7 == 0;
            const auto noise = static_cast<std::uint8_t>(random() % 16);
            const std::uint8_t alpha = translucent ? static_cast<std::uint8_t>(random()) : 0xFF;
            std::uint8_t straight[3] = {
                static_cast<std::uint8_t>(stroke ? 20 : 200 + noise),
                static_cast<std::uint8_t>((x * 255) / std::max<std::int64_t>(width, 1)),
                static_cast<std::uint8_t>((y * 7 + noise) & 0xFF),
            };
            for (int c = 0; c < 3; ++c) {
                p[c] = static_cast<std::uint8_t>((straight[c] * alpha + 127) / 255);
            }
            p[3] = alpha;
        }
    }
    return image;
}

std::vector<std::uint8_t> pixelsOf(const PixelBuffer& image) {
    return {image.data(), image.data() + image.size()};
}

// Premultiplies decoded straight-alpha pixels again.
std::vector<std::uint8_t> premultipliedAgain(const std::vector<std::uint8_t>& straight) {
    std::vector<std::uint8_t> out(straight.size());
    for (std::size_t i = 0; i < straight.size(); i += 4) {
        const unsigned alpha = straight[i + 3];
        for (int c = 0; c < 3; ++c)
            out[i + c] = static_cast<std::uint8_t>((straight[i + c] * alpha + 127) / 255);
        out[i + 3] = straight[i + 3];
    }
    return out;
}

TEST(PngEncoder, EverySettingDecodesToTheSamePixels) {
    const std::vector<capture::PngEncoderSettings> settings = {
        {},                              // the tuned defaults
        {6, 0, 8 | 16 | 32 | 64 | 128},  // zlib's default level, adaptive filtering
        {1, 0, 16},                      // sub
        {1, 3, 128},                     // rle, paeth
        {1, 2, 64},                      // huffman only, average
        {0, 0, 8},                       // stored
        {9, 1, 32, false},               // filtered strategy, alpha kept
        {1, 0, 32, true, 12, 9},
    };
    const std::vector<std::pair<std::int64_t, std::int64_t>> sizes = {
        {1, 1}, {3, 2}, {257, 13}, {640, 480}};
    for (const auto& [width, height] : sizes) {
        PixelBuffer image = patterned(width, height, 42, false);
        for (const auto& s : settings) {
            auto png = capture::pngData(image, s);
            ASSERT_TRUE(png) << width << "x" << height << " level " << s.compressionLevel;
            auto decoded = decodePng(png->bytes());
            ASSERT_TRUE(decoded) << width << "x" << height << " level " << s.compressionLevel;
            EXPECT_EQ(decoded->width, width);
            EXPECT_EQ(decoded->height, height);
            EXPECT_EQ(decoded->colourType, s.dropOpaqueAlpha ? 2 : 6);
            EXPECT_EQ(decoded->rgba, pixelsOf(image))
                << width << "x" << height << " level " << s.compressionLevel;
        }
    }
}

TEST(PngEncoder, TranslucentImagesAreWrittenWithStraightAlpha) {
    PixelBuffer image = patterned(300, 40, 7, true);
    auto png = capture::pngData(image);
    ASSERT_TRUE(png);
    auto decoded = decodePng(png->bytes());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->colourType, 6);
    // Straight colour rounded to the nearest value premultiplies back to the very same bytes.
    EXPECT_EQ(premultipliedAgain(decoded->rgba), pixelsOf(image));

    PixelBuffer single(2, 1);
    const std::uint8_t pixels[] = {0x80, 0x00, 0x00, 0x80, 0x00, 0x00, 0x00, 0x00};
    std::copy(std::begin(pixels), std::end(pixels), single.data());
    auto singleDecoded = decodePng(capture::pngData(single)->bytes());
    ASSERT_TRUE(singleDecoded);
    EXPECT_EQ(singleDecoded->rgba,
              (std::vector<std::uint8_t>{0xFF, 0x00, 0x00, 0x80, 0x00, 0x00, 0x00, 0x00}));
}

TEST(PngEncoder, OneTranslucentPixelKeepsTheAlphaChannel) {
    PixelBuffer image = patterned(64, 64, 3, false);
    image.row(63)[63 * 4 + 3] = 0xFE;
    auto decoded = decodePng(capture::pngData(image)->bytes());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->colourType, 6);
    EXPECT_EQ(decoded->pixel(63, 63)[3], 0xFE);
}

TEST(PngEncoder, EmptyImagesAreNotEncoded) {
    EXPECT_FALSE(capture::pngData(PixelBuffer()));
    EXPECT_FALSE(capture::pngData(PixelBuffer(0, 10)));
}

TEST(PngDecoder, RejectsATruncatedFile) {
    auto png = capture::pngData(patterned(32, 32, 1, false));
    ASSERT_TRUE(png);
    auto bytes = png->bytes();
    EXPECT_TRUE(decodePng(bytes));
    EXPECT_FALSE(decodePng(bytes.first(bytes.size() - 12)));  // without the end chunk
}

TEST(PngEncoder, RowsDeflatedInBandsDecodeToTheSameImage) {
    // Bands meet at uneven rows; each band's first row is filtered against the last row of the
    // band before it, and every band but the last ends in a sync flush.
    for (bool translucent : {false, true}) {
        PixelBuffer image = patterned(333, 257, 11, translucent);
        for (unsigned stripes : {1u, 2u, 3u, 7u, 300u}) {
            for (int windowBits : {15, 9}) {
                capture::PngEncoderSettings settings;
                settings.windowBits = windowBits;
                auto png = capture::stripedPng(image, !translucent, settings, stripes, 2);
                ASSERT_TRUE(png) << stripes;
                auto decoded = decodePng(png->bytes());
                ASSERT_TRUE(decoded) << stripes << " bands, window " << windowBits;
                auto expected = translucent ? premultipliedAgain(decoded->rgba) : decoded->rgba;
                EXPECT_EQ(expected, pixelsOf(image)) << stripes << " bands";
            }
        }
    }
}

}  // namespace
}  // namespace brindlemar::testing

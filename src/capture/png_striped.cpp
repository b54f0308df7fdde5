#include "capture/png_striped.h"

#include <zlib.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "capture/png_rows.h"

namespace brindlemar::capture {
namespace {

constexpr std::uint8_t kUpFilter = 2;
constexpr std::uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};

// One band of rows, filtered and compressed on its own thread.
struct Band {
    std::int64_t firstRow = 0;
    std::int64_t endRow = 0;
    std::vector<std::uint8_t> deflated;
    uLong adler = 1;
    std::size_t filteredSize = 0;
    bool ok = false;
};

void putBigEndian(std::uint8_t* out, std::uint32_t value) {
    out[0] = static_cast<std::uint8_t>(value >> 24);
    out[1] = static_cast<std::uint8_t>(value >> 16);
    out[2] = static_cast<std::uint8_t>(value >> 8);
    out[3] = static_cast<std::uint8_t>(value);
}

// Filters the band's rows with UP (the row above comes from the previous band when there is
// one) and deflates them as raw deflate data.
void compressBand(const platform::PixelBuffer& image, bool opaque,
                  const PngEncoderSettings& settings, bool last, Band& band) {
    const auto width = static_cast<std::size_t>(image.width());
    const std::size_t rowBytes = width * (opaque ? 3 : 4);
    std::vector<std::uint8_t> above(rowBytes, 0), current(rowBytes), filtered(rowBytes + 1);
    if (band.firstRow > 0) convertRow(image, band.firstRow - 1, opaque, above.data());

    z_stream stream{};
    if (deflateInit2(&stream, settings.compressionLevel, Z_DEFLATED, -settings.windowBits,
                     settings.memLevel, settings.strategy) != Z_OK) {
        return;
    }
    const auto rows = static_cast<std::size_t>(band.endRow - band.firstRow);
    band.filteredSize = rows * (rowBytes + 1);
    band.deflated.resize(deflateBound(&stream, band.filteredSize) + 16);
    stream.next_out = band.deflated.data();
    stream.avail_out = static_cast<uInt>(band.deflated.size());

    bool ok = true;
    for (std::int64_t y = band.firstRow; y < band.endRow && ok; ++y) {
        convertRow(image, y, opaque, current.data());
        filtered[0] = kUpFilter;
        for (std::size_t i = 0; i < rowBytes; ++i) {
            filtered[i + 1] = static_cast<std::uint8_t>(current[i] - above[i]);
        }
        band.adler = adler32(band.adler, filtered.data(), static_cast<uInt>(filtered.size()));
        stream.next_in = filtered.data();
        stream.avail_in = static_cast<uInt>(filtered.size());
        const bool finalRow = y + 1 == band.endRow;
        const int flush = !finalRow ? Z_NO_FLUSH : (last ? Z_FINISH : Z_SYNC_FLUSH);
        const int status = deflate(&stream, flush);
        ok = status == Z_OK || (flush == Z_FINISH && status == Z_STREAM_END);
        ok = ok && stream.avail_in == 0;
        current.swap(above);
    }
    band.deflated.resize(band.deflated.size() - stream.avail_out);
    deflateEnd(&stream);
    band.ok = ok;
}

// Appends a chunk whose data is already in place after its 8-byte header, then its CRC.
std::uint8_t* finishChunk(std::uint8_t* chunk, const char* type, std::uint32_t length) {
    putBigEndian(chunk, length);
    std::memcpy(chunk + 4, type, 4);
    const uLong crc = crc32(crc32(0, nullptr, 0), chunk + 4, length + 4);
    putBigEndian(chunk + 8 + length, static_cast<std::uint32_t>(crc));
    return chunk + 12 + length;
}

}  // namespace

std::optional<EncodedPng> stripedPng(const platform::PixelBuffer& image, bool opaque,
                                     const PngEncoderSettings& settings, unsigned stripes,
                                     unsigned threads) {
    if (image.empty() || stripes < 1 || threads < 1) return std::nullopt;
    stripes = static_cast<unsigned>(std::min<std::int64_t>(stripes, image.height()));

    std::vector<Band> bands(stripes);
    for (unsigned i = 0; i < stripes; ++i) {
        bands[i].firstRow = image.height() * i / stripes;
        bands[i].endRow = image.height() * (i + 1) / stripes;
    }
    {
        // Bands are taken in turn by the threads, so a band of hard content (a photograph) does
        // not keep one thread busy while the others wait.
        std::atomic<unsigned> next{0};
        auto work = [&] {
            for (unsigned i = next++; i < stripes; i = next++) {
                compressBand(image, opaque, settings, i + 1 == stripes, bands[i]);
            }
        };
        std::vector<std::jthread> helpers;
        for (unsigned t = 1; t < std::min(threads, stripes); ++t)
            helpers.emplace_back(work);
        work();
    }

    std::size_t deflatedSize = 0;
    uLong adler = 1;
    for (const auto& band : bands) {
        if (!band.ok) return std::nullopt;
        deflatedSize += band.deflated.size();
        adler = adler32_combine(adler, band.adler, static_cast<z_off_t>(band.filteredSize));
    }
    const std::size_t idatLength = 2 + deflatedSize + 4;  // zlib header, data, Adler-32
    if (idatLength > 0x7fffffff) return std::nullopt;
    const std::size_t total = sizeof kSignature + (12 + 13) + (12 + idatLength) + 12;
    auto* bytes = static_cast<std::uint8_t*>(std::malloc(total));
    if (bytes == nullptr) return std::nullopt;
    EncodedPng png(bytes, total);

    std::memcpy(bytes, kSignature, sizeof kSignature);
    std::uint8_t* chunk = bytes + sizeof kSignature;
    std::uint8_t* header = chunk + 8;
    putBigEndian(header, static_cast<std::uint32_t>(image.width()));
    putBigEndian(header + 4, static_cast<std::uint32_t>(image.height()));
    header[8] = 8;                             // bits per sample
    header[9] = opaque ? 2 : 6;                // truecolour, with or without alpha
    header[10] = header[11] = header[12] = 0;  // deflate, adaptive filtering, no interlace
    chunk = finishChunk(chunk, "IHDR", 13);

    std::uint8_t* data = chunk + 8;
    // zlib header: deflate with the window size used, no preset dictionary, and the check bits
    // that make the 16-bit header a multiple of 31.
    data[0] = static_cast<std::uint8_t>(((settings.windowBits - 8) << 4) | 8);
    data[1] = static_cast<std::uint8_t>(31 - (data[0] * 256) % 31);
    std::uint8_t* cursor = data + 2;
    for (const auto& band : bands) {
        std::memcpy(cursor, band.deflated.data(), band.deflated.size());
        cursor += band.deflated.size();
    }
    putBigEndian(cursor, static_cast<std::uint32_t>(adler));
    chunk = finishChunk(chunk, "IDAT", static_cast<std::uint32_t>(idatLength));
    finishChunk(chunk, "IEND", 0);
    return png;
}

}  // namespace brindlemar::capture

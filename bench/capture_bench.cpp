// Still capture on a 3024 x 1964 pixel display with realistic content: the PNG grab at the default
// budget, the raw grab to the last payload byte through a pipe, and the PNG encoder alone against
// libpng at its default settings. `--sweep` also measures the encoder settings it was tuned from.

#include <png.h>
#include <spng.h>
#include <unistd.h>
#include <zlib.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench_util.h"
#include "capture/png_encoder.h"
#include "capture_scene.h"
#include "command_index.h"
#include "core/command_loop.h"
#include "core/main_queue.h"
#include "core/process_state.h"
#include "platform/desktop.h"

namespace brindlemar::bench {
namespace {

using Clock = std::chrono::steady_clock;
using platform::PixelBuffer;

constexpr std::int64_t kPixelWidth = 3024;
constexpr std::int64_t kPixelHeight = 1964;

// A desktop with one 1512 x 982 point display at scale 2, whose screenshot service hands out a
// fresh buffer of the rendered desktop at the requested size (resampled once per size, then
// copied per capture as a system service delivers a new image each time).
class BenchDesktop final : public platform::Desktop,
                           platform::Clock,
                           platform::PermissionService,
                           platform::CaptureCatalogue,
                           platform::ScreenshotService,
                           platform::CodeSigning,
                           platform::Workspace,
                           platform::WindowList,
                           platform::EventPoster,
                           platform::Accessibility,
                           platform::Pasteboards,
                           platform::UserSession {
  public:
    explicit BenchDesktop(const PixelBuffer& full) : full_(full) {}

    platform::Clock& clock() override { return *this; }
    platform::PermissionService& permissions() override { return *this; }
    platform::CaptureCatalogue& captureCatalogue() override { return *this; }
    platform::ScreenshotService& screenshots() override { return *this; }
    platform::CodeSigning& codeSigning() override { return *this; }
    platform::Workspace& workspace() override { return *this; }
    platform::WindowList& windowList() override { return *this; }
    platform::EventPoster& events() override { return *this; }
    platform::Accessibility& accessibility() override { return *this; }
    platform::Pasteboards& pasteboards() override { return *this; }
    platform::UserSession& session() override { return *this; }

    Expected<platform::ShareableContent> shareableContent() override {
        platform::ShareableContent content;
        content.displays.push_back({1, {0, 0, 1512, 982}, 1512, 982});
        return content;
    }
    std::optional<std::int64_t> displayModePixelWidth(std::uint32_t) override {
        return kPixelWidth;
    }
    std::optional<std::string> displayUuid(std::uint32_t) override { return std::nullopt; }
    platform::WindowFilterGeometry windowFilterGeometry(const platform::CatalogueWindow&) override {
        return {};
    }

    Expected<PixelBuffer> captureImage(const platform::CaptureFilter&,
                                       const platform::ScreenshotConfiguration& c) override {
        auto key = std::make_pair(c.width, c.height);
        auto found = scaled_.find(key);
        if (found == scaled_.end()) {
            found = scaled_.emplace(key, resample(full_, c.width, c.height)).first;
        }
        PixelBuffer image(c.width, c.height);
        std::memcpy(image.data(), found->second.data(), image.size());
        return image;
    }

    double now() override { return 0; }
    bool check(platform::Permission) override { return true; }
    bool request(platform::Permission) override { return true; }
    std::string identityNamespace() override { return "linux"; }
    std::unique_ptr<platform::RunningCode> codeForProcess(std::int32_t) override { return {}; }
    std::optional<double> launchTime(std::int32_t) override { return std::nullopt; }
    bool activateApplication(std::int32_t) override { return false; }
    std::optional<std::int32_t> frontmostApplication() override { return std::nullopt; }
    std::optional<platform::WindowListEntry> describeWindow(std::uint32_t) override { return {}; }
    std::vector<platform::WindowListEntry> onScreenWindows() override { return {}; }
    platform::Rect displayBounds(std::uint32_t) override { return {}; }
    bool displayIsActive(std::uint32_t) override { return true; }
    std::uint32_t mainDisplayId() override { return 1; }
    Status post(const platform::SyntheticEvent&, platform::EventTarget) override {
        return Error{"bench", 1, "none"};
    }
    Expected<bool> wouldReach(const platform::SyntheticEvent&, std::uint32_t,
                              std::int32_t) override {
        return true;
    }
    void releaseIfHeld(const platform::SyntheticEvent&) override {}
    void releaseAllHeld() override {}
    platform::AXElement applicationElement(std::int32_t) override { return {}; }
    Expected<platform::AXAttributeValue> copyAttribute(const platform::AXElement&,
                                                       std::string_view) override {
        return Error{"bench", 1, "none"};
    }
    Expected<std::vector<std::string>> copyActionNames(const platform::AXElement&) override {
        return Error{"bench", 1, "none"};
    }
    Status performAction(const platform::AXElement&, std::string_view) override {
        return Error{"bench", 1, "none"};
    }
    Expected<bool> isAttributeSettable(const platform::AXElement&, std::string_view) override {
        return Error{"bench", 1, "none"};
    }
    Status setAttributeValue(const platform::AXElement&, std::string_view,
                             std::string_view) override {
        return Error{"bench", 1, "none"};
    }
    bool equal(const platform::AXElement& a, const platform::AXElement& b) override {
        return a == b;
    }
    void setMessagingTimeout(const platform::AXElement&, double) override {}
    std::optional<platform::SessionDictionary> currentSession() override { return {}; }
    std::uint64_t heldModifierFlags() override { return 0; }
    bool isMouseButtonHeld(int) override { return false; }
    std::int64_t dragPasteboardChangeCount() override { return 0; }

  private:
    const PixelBuffer& full_;
    std::map<std::pair<std::int64_t, std::int64_t>, PixelBuffer> scaled_;
};

// Reads the helper's records from the read end of its output pipe and notes when the last byte
// of each whole record arrived.
class RecordReader {
  public:
    explicit RecordReader(int fd) : fd_(fd), thread_([this] { run(); }) {}
    ~RecordReader() { thread_.join(); }

    // Waits for the next whole record; its header and the time its last byte arrived.
    std::pair<std::string, Clock::time_point> next() {
        std::unique_lock lock(lock_);
        ready_.wait(lock, [&] { return !records_.empty() || ended_; });
        if (records_.empty()) throw std::runtime_error("output ended");
        auto record = records_.front();
        records_.erase(records_.begin());
        return record;
    }
    std::size_t lastPayloadSize() {
        std::lock_guard lock(lock_);
        return lastPayload_;
    }

  private:
    void run() {
        std::vector<char> buffer(8 << 20);
        std::string header;
        std::size_t payloadLeft = 0, payloadSize = 0;
        bool inPayload = false;
        for (;;) {
            ssize_t n = ::read(fd_, buffer.data(), buffer.size());
            if (n <= 0) break;
            std::size_t i = 0, count = static_cast<std::size_t>(n);
            while (i < count) {
                if (inPayload) {
                    std::size_t take = std::min(payloadLeft, count - i);
                    payloadLeft -= take;
                    i += take;
                    if (payloadLeft == 0) {
                        inPayload = false;
                        finish(header, payloadSize);
                    }
                    continue;
                }
                const char* end =
                    static_cast<const char*>(std::memchr(&buffer[i], '\n', count - i));
                if (end == nullptr) {
                    header.append(&buffer[i], count - i);
                    break;
                }
                header.append(&buffer[i], static_cast<std::size_t>(end - &buffer[i]));
                i = static_cast<std::size_t>(end - buffer.data()) + 1;
                auto parsed = Json::parse(header);
                payloadSize = parsed.value("len", std::size_t{0});
                if (parsed.value("type", "") == "frame" && payloadSize > 0) {
                    inPayload = true;
                    payloadLeft = payloadSize;
                } else {
                    finish(header, 0);
                }
            }
        }
        std::lock_guard lock(lock_);
        ended_ = true;
        ready_.notify_all();
    }
    void finish(std::string& header, std::size_t payload) {
        std::lock_guard lock(lock_);
        records_.emplace_back(std::move(header), Clock::now());
        lastPayload_ = payload;
        header.clear();
        ready_.notify_all();
    }

    int fd_;
    std::mutex lock_;  // guards records_, lastPayload_ and ended_
    std::condition_variable ready_;
    std::vector<std::pair<std::string, Clock::time_point>> records_;
    std::size_t lastPayload_ = 0;
    bool ended_ = false;
    std::thread thread_;
};

// Processor time of every thread of the process: the encoder deflates large images on several
// threads at once, and all of their work counts.
double processCpuMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

struct GrabFigures {
    std::vector<double> milliseconds;
    std::vector<double> handlerCpuMilliseconds;  // processor time, all threads
    std::size_t payloadBytes = 0;
    std::string header;
};

// Sends one request line to the command loop `runs` times and times each from the request to
// the last payload byte read from the pipe.
GrabFigures timeRequest(BenchDesktop& desktop, const std::string& line, int runs) {
    int fds[2];
    if (::pipe(fds) != 0) throw std::runtime_error("pipe");
    GrabFigures figures;
    {
        ProcessState state(fds[1], nullptr);
        MainQueue mainQueue;
        Subsystems subsystems;
        CommandLoop loop(buildCommandTable(subsystems), CommandContext{state, desktop, mainQueue},
                         -1);
        RecordReader reader(fds[0]);
        loop.handleLine(line);  // warm-up: sizes the cached resampled image
        reader.next();
        for (int i = 0; i < runs; ++i) {
            auto start = Clock::now();
            double cpuStart = processCpuMilliseconds();
            loop.handleLine(line);
            figures.handlerCpuMilliseconds.push_back(processCpuMilliseconds() - cpuStart);
            auto [header, arrived] = reader.next();
            figures.milliseconds.push_back(
                std::chrono::duration<double, std::milli>(arrived - start).count());
            figures.header = header;
        }
        figures.payloadBytes = reader.lastPayloadSize();
        ::close(fds[1]);
    }
    ::close(fds[0]);
    return figures;
}

double millisecondsOf(const std::function<void()>& work, int runs) {
    std::vector<double> samples;
    for (int i = 0; i < runs; ++i) {
        auto start = Clock::now();
        work();
        samples.push_back(secondsSince(start) * 1000);
    }
    return percentile(samples, 50);
}

// Median processor time of the process: steadier than wall time on a shared machine.
double cpuMillisecondsOf(const std::function<void()>& work, int runs) {
    std::vector<double> samples;
    for (int i = 0; i < runs; ++i) {
        double start = processCpuMilliseconds();
        work();
        samples.push_back(processCpuMilliseconds() - start);
    }
    return percentile(samples, 50);
}

// libpng with every setting left at its default (zlib level 6, adaptive filtering), writing the
// RGBA rows as they are, or as RGB with the fourth byte stripped.
std::vector<std::uint8_t> libpngDefault(const PixelBuffer& image, bool stripAlpha) {
    std::vector<std::uint8_t> file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) throw std::runtime_error("libpng failed");
    png_set_write_fn(
        png, &file,
        [](png_structp p, png_bytep data, png_size_t length) {
            auto* out = static_cast<std::vector<std::uint8_t>*>(png_get_io_ptr(p));
            out->insert(out->end(), data, data + length);
        },
        [](png_structp) {});
    png_set_IHDR(png, info, static_cast<png_uint_32>(image.width()),
                 static_cast<png_uint_32>(image.height()), 8,
                 stripAlpha ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGBA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (stripAlpha) png_set_filler(png, 0, PNG_FILLER_AFTER);
    for (std::int64_t y = 0; y < image.height(); ++y) {
        png_write_row(png, image.data() + static_cast<std::size_t>(y) * image.stride());
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return file;
}

struct EncoderFigures {
    double milliseconds = 0;
    std::size_t bytes = 0;
};

EncoderFigures measureSpng(const PixelBuffer& image, const capture::PngEncoderSettings& settings,
                           int runs) {
    EncoderFigures figures;
    figures.milliseconds = cpuMillisecondsOf(
        [&] {
            auto png = capture::pngData(image, settings);
            if (!png) throw std::runtime_error("encode failed");
            figures.bytes = png->size();
        },
        runs);
    return figures;
}

EncoderFigures measureLibpng(const PixelBuffer& image, bool stripAlpha, int runs) {
    EncoderFigures figures;
    figures.milliseconds =
        cpuMillisecondsOf([&] { figures.bytes = libpngDefault(image, stripAlpha).size(); }, runs);
    return figures;
}

void sweepSettings(const PixelBuffer& image, const char* label) {
    struct Candidate {
        const char* name;
        capture::PngEncoderSettings settings;
    };
    const Candidate candidates[] = {
        {"level 1, default strategy, adaptive", {1, Z_DEFAULT_STRATEGY, SPNG_FILTER_CHOICE_ALL}},
        {"level 1, default strategy, none", {1, Z_DEFAULT_STRATEGY, SPNG_FILTER_CHOICE_NONE}},
        {"level 1, default strategy, sub", {1, Z_DEFAULT_STRATEGY, SPNG_FILTER_CHOICE_SUB}},
        {"level 1, default strategy, up", {1, Z_DEFAULT_STRATEGY, SPNG_FILTER_CHOICE_UP}},
        {"level 1, default strategy, paeth", {1, Z_DEFAULT_STRATEGY, SPNG_FILTER_CHOICE_PAETH}},
        {"level 1, filtered, up", {1, Z_FILTERED, SPNG_FILTER_CHOICE_UP}},
        {"level 1, rle, none", {1, Z_RLE, SPNG_FILTER_CHOICE_NONE}},
        {"level 1, rle, sub", {1, Z_RLE, SPNG_FILTER_CHOICE_SUB}},
        {"level 1, rle, up", {1, Z_RLE, SPNG_FILTER_CHOICE_UP}},
        {"level 1, rle, paeth", {1, Z_RLE, SPNG_FILTER_CHOICE_PAETH}},
        {"level 1, rle, adaptive", {1, Z_RLE, SPNG_FILTER_CHOICE_ALL}},
        {"level 1, huffman only, sub", {1, Z_HUFFMAN_ONLY, SPNG_FILTER_CHOICE_SUB}},
        {"level 1, huffman only, up", {1, Z_HUFFMAN_ONLY, SPNG_FILTER_CHOICE_UP}},
        {"level 1, huffman only, paeth", {1, Z_HUFFMAN_ONLY, SPNG_FILTER_CHOICE_PAETH}},
        {"level 2, default strategy, up", {2, Z_DEFAULT_STRATEGY, SPNG_FILTER_CHOICE_UP}},
        {"level 1, up, keep alpha", {1, Z_DEFAULT_STRATEGY, SPNG_FILTER_CHOICE_UP, false}},
        {"level 1, up, window 2^12", {1, Z_DEFAULT_STRATEGY, SPNG_FILTER_CHOICE_UP, true, 12}},
        {"level 1, up, window 2^13", {1, Z_DEFAULT_STRATEGY, SPNG_FILTER_CHOICE_UP, true, 13}},
        {"level 1, up, mem level 9", {1, Z_DEFAULT_STRATEGY, SPNG_FILTER_CHOICE_UP, true, 15, 9}},
        {"level 1, rle, up, window 2^13", {1, Z_RLE, SPNG_FILTER_CHOICE_UP, true, 13}},
        {"level 0 (stored), none", {0, Z_DEFAULT_STRATEGY, SPNG_FILTER_CHOICE_NONE}},
    };
    std::printf("encoder settings on the %lld x %lld %s image:\n",
                static_cast<long long>(image.width()), static_cast<long long>(image.height()),
                label);
    for (const auto& candidate : candidates) {
        auto figures = measureSpng(image, candidate.settings, 7);
        std::printf("  %-38s %7.1f ms %9zu bytes\n", candidate.name, figures.milliseconds,
                    figures.bytes);
    }
}

void compareEncoders(const PixelBuffer& image) {
    auto ours = measureSpng(image, {}, 15);
    auto rgba = measureLibpng(image, false, 5);
    auto rgb = measureLibpng(image, true, 5);
    std::printf("PNG encoder on the full 3024 x 1964 image: %.1f ms, %zu bytes\n",
                ours.milliseconds, ours.bytes);
    std::printf(
        "  libpng default, RGBA rows: %.1f ms, %zu bytes -> %.2fx faster, %.2fx the size "
        "(targets >= 3x, <= 1.5x)\n",
        rgba.milliseconds, rgba.bytes, rgba.milliseconds / ours.milliseconds,
        double(ours.bytes) / double(rgba.bytes));
    std::printf("  libpng default, RGB rows:  %.1f ms, %zu bytes -> %.2fx faster, %.2fx the size\n",
                rgb.milliseconds, rgb.bytes, rgb.milliseconds / ours.milliseconds,
                double(ours.bytes) / double(rgb.bytes));
}

void pngGrabFigures(BenchDesktop& desktop, const char* label) {
    auto png = timeRequest(desktop, R"({"cmd":"grab_display"})", 60);
    std::printf(
        "grab_display (budget 1600, %s): p50 %.1f ms, p99 %.1f ms, PNG %zu bytes (target "
        "p50 <= 25 ms)\n  processor time of the request, all threads, p50 %.1f ms\n  %s\n",
        label, percentile(png.milliseconds, 50), percentile(png.milliseconds, 99), png.payloadBytes,
        percentile(png.handlerCpuMilliseconds, 50), png.header.c_str());
}

void grabFigures(BenchDesktop& desktop) {
    pngGrabFigures(desktop, "photograph wallpaper");

    auto raw = timeRequest(desktop, R"({"cmd":"grab_display_pixels","id":1})", 30);
    double p50 = percentile(raw.milliseconds, 50);
    std::printf(
        "grab_display_pixels: p50 %.1f ms, p99 %.1f ms, %.2f GB/s, %zu bytes (target <= "
        "20 ms)\n  %s\n",
        p50, percentile(raw.milliseconds, 99), double(raw.payloadBytes) / p50 / 1e6,
        raw.payloadBytes, raw.header.c_str());

    // The share of the synthetic screenshot service: a fresh copy of the image per capture.
    platform::CaptureFilter filter;
    platform::ScreenshotConfiguration full{kPixelWidth, kPixelHeight, true, false};
    platform::ScreenshotConfiguration budget{1600, 1039, true, false};
    volatile std::uint8_t sink = 0;  // keeps the copies from being optimised away
    auto copyOf = [&](const platform::ScreenshotConfiguration& size) {
        return millisecondsOf(
            [&] { sink = sink + desktop.captureImage(filter, size)->data()[size.width * 4]; }, 20);
    };
    double copyFull = copyOf(full);
    double copyBudget = copyOf(budget);
    std::printf("  of which the synthetic screenshot copy: %.1f ms full size, %.1f ms at 1600\n",
                copyFull, copyBudget);
}

}  // namespace
}  // namespace brindlemar::bench

int main(int argc, char** argv) {
    using namespace brindlemar::bench;
    const bool sweep = argc > 1 && std::strcmp(argv[1], "--sweep") == 0;
    auto full = renderDesktop(kPixelWidth, kPixelHeight);
    BenchDesktop desktop(full);

    if (argc > 2 && std::strcmp(argv[1], "--save") == 0) {  // to look at the content
        auto png = brindlemar::capture::pngData(full);
        std::FILE* file = std::fopen(argv[2], "wb");
        if (!png || file == nullptr) return 1;
        std::fwrite(png->bytes().data(), 1, png->size(), file);
        std::fclose(file);
        return 0;
    }
    if (sweep) {
        sweepSettings(resample(full, 1600, 1039), "budgeted");
    }
    compareEncoders(full);
    grabFigures(desktop);
    // The same desktop over a plain gradient wallpaper: less photograph, as on many work screens.
    auto plain = renderDesktop(kPixelWidth, kPixelHeight, Wallpaper::Gradient);
    BenchDesktop plainDesktop(plain);
    pngGrabFigures(plainDesktop, "gradient wallpaper");
    return 0;
}

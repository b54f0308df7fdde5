#include "x11/x11_helper.h"

#include <spng.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace brindlemar::testing {

HelperOptions x11HelperOptions(const XServer& server) {
    // The helper inherits this process's environment before the options are added, and the
    // first DISPLAY of an environment is the one that counts: a desktop the tests run under
    // must not take the place of the private server.
    ::setenv("DISPLAY", server.display().c_str(), 1);
    HelperOptions options;
    options.simBackend = false;
    options.environment = server.environment();
    options.environment["BRINDLEMAR_BACKEND"] = "x11";
    return options;
}

std::optional<Json> listedWindow(HelperProcess& helper, std::uint32_t id) {
    auto reply = helper.request({{"cmd", "list"}});
    if (reply.type() != "windows") return std::nullopt;
    for (const auto& window : reply.header["windows"]) {
        if (window["id"] == id) return window;
    }
    return std::nullopt;
}

std::optional<Json> waitUntilListed(HelperProcess& helper, std::uint32_t id) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (auto window = listedWindow(helper, id)) return window;
        std::this_thread::sleep_for(100ms);
    }
    return std::nullopt;
}

std::vector<int> RgbaImage::at(std::int64_t x, std::int64_t y) const {
    const auto* pixel = pixels.data() + (y * width + x) * 4;
    return {pixel[0], pixel[1], pixel[2], pixel[3]};
}

RgbaImage imageOfFrame(const Record& frame) {
    RgbaImage image;
    image.width = frame.header["w"];
    image.height = frame.header["h"];
    if (frame.header["format"] == "RGBA") {
        image.pixels = frame.payload;
        return image;
    }
    std::unique_ptr<spng_ctx, decltype(&spng_ctx_free)> context(spng_ctx_new(0), &spng_ctx_free);
    spng_set_png_buffer(context.get(), frame.payload.data(), frame.payload.size());
    std::size_t size = 0;
    if (spng_decoded_image_size(context.get(), SPNG_FMT_RGBA8, &size) != 0) {
        throw std::runtime_error("not a PNG");
    }
    image.pixels.resize(size);
    if (spng_decode_image(context.get(), image.pixels.data(), size, SPNG_FMT_RGBA8, 0) != 0) {
        throw std::runtime_error("PNG does not decode");
    }
    return image;
}

std::string startTimeOfProcess(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(stat, line);
    std::istringstream fields(line.substr(line.rfind(')') + 2));
    std::string field;
    for (int index = 3; index <= 22; ++index)
        fields >> field;
    std::ifstream system("/proc/stat");
    double boot = 0;
    for (std::string key; system >> key;) {
        if (key == "btime") {
            system >> boot;
            break;
        }
    }
    const double seconds = boot + std::stod(field) / static_cast<double>(::sysconf(_SC_CLK_TCK));
    // The shortest text that reads back to the same double, with a fractional digit.
    char text[64];
    auto result = std::to_chars(text, text + sizeof text, seconds);
    std::string formatted(text, result.ptr);
    if (formatted.find('.') == std::string::npos) formatted += ".0";
    return formatted;
}

}  // namespace brindlemar::testing

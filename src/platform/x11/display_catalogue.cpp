#include "platform/x11/display_catalogue.h"

#include <openssl/evp.h>
#include <xcb/randr.h>

#include <array>
#include <cstdio>
#include <span>

#include "platform/x11/connection.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {

namespace {

CatalogueDisplay displayOfRect(std::uint32_t id, std::int64_t x, std::int64_t y, std::int64_t width,
                               std::int64_t height) {
    CatalogueDisplay display;
    display.id = id;
    display.frame = Rect{static_cast<double>(x), static_cast<double>(y), static_cast<double>(width),
                         static_cast<double>(height)};
    display.width = width;
    display.height = height;
    return display;
}

X11Display wholeScreen(X11Connection& connection) {
    const auto* screen = connection.screen();
    X11Display result;
    result.display =
        displayOfRect(connection.root(), 0, 0, screen->width_in_pixels, screen->height_in_pixels);
    result.modeWidth = screen->width_in_pixels;
    return result;
}

// The pixel width of the mode of each CRTC, looked up in the screen's resources.
std::optional<std::int64_t> modeWidthOfOutput(
    xcb_connection_t* c, const xcb_randr_get_screen_resources_current_reply_t* resources,
    xcb_randr_output_t output) {
    XcbReply<xcb_randr_get_output_info_reply_t> info(xcb_randr_get_output_info_reply(
        c, xcb_randr_get_output_info(c, output, resources->config_timestamp), nullptr));
    if (!info || info->crtc == XCB_NONE) return std::nullopt;
    XcbReply<xcb_randr_get_crtc_info_reply_t> crtc(xcb_randr_get_crtc_info_reply(
        c, xcb_randr_get_crtc_info(c, info->crtc, resources->config_timestamp), nullptr));
    if (!crtc || crtc->mode == XCB_NONE) return std::nullopt;
    const auto* modes = xcb_randr_get_screen_resources_current_modes(resources);
    int count = xcb_randr_get_screen_resources_current_modes_length(resources);
    for (int i = 0; i < count; ++i) {
        if (modes[i].id == crtc->mode) return modes[i].width;
    }
    return std::nullopt;
}

// A version 5 (SHA-1, name-based) UUID in the upper-case 8-4-4-4-12 form.
std::string nameBasedUuid(std::string_view name) {
    // The namespace of display identities: a fixed random UUID of this program.
    static constexpr std::array<unsigned char, 16> kNamespace = {0x5b, 0x1e, 0x2c, 0x8a, 0x93, 0x4d,
                                                                 0x4f, 0x61, 0xa7, 0x0e, 0x3c, 0x52,
                                                                 0xd9, 0x16, 0x77, 0x0b};
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                    &EVP_MD_CTX_free);
    EVP_DigestInit_ex(context.get(), EVP_sha1(), nullptr);
    EVP_DigestUpdate(context.get(), kNamespace.data(), kNamespace.size());
    EVP_DigestUpdate(context.get(), name.data(), name.size());
    EVP_DigestFinal_ex(context.get(), digest.data(), &length);
    digest[6] = static_cast<unsigned char>((digest[6] & 0x0f) | 0x50);
    digest[8] = static_cast<unsigned char>((digest[8] & 0x3f) | 0x80);
    std::string text;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02X", digest[static_cast<std::size_t>(i)]);
        text += pair;
    }
    return text;
}

}  // namespace

Expected<std::vector<X11Display>> listDisplays(X11Connection& connection) {
    if (auto status = connection.check(); !status) return status.error();
    if (!connection.extensions().randr15) return std::vector<X11Display>{wholeScreen(connection)};

    xcb_connection_t* c = connection.raw();
    auto monitorsCookie = xcb_randr_get_monitors(c, connection.root(), 1);
    auto resourcesCookie = xcb_randr_get_screen_resources_current(c, connection.root());
    XcbReply<xcb_randr_get_monitors_reply_t> monitors(
        xcb_randr_get_monitors_reply(c, monitorsCookie, nullptr));
    XcbReply<xcb_randr_get_screen_resources_current_reply_t> resources(
        xcb_randr_get_screen_resources_current_reply(c, resourcesCookie, nullptr));
    if (!monitors || !resources) return connection.requestError("cannot list the X monitors");

    std::vector<X11Display> displays;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(monitors.get()); it.rem > 0;
         xcb_randr_monitor_info_next(&it)) {
        const xcb_randr_monitor_info_t* info = it.data;
        if (xcb_randr_monitor_info_outputs_length(info) < 1) continue;
        X11Display entry;
        entry.output = *xcb_randr_monitor_info_outputs(info);
        entry.display = displayOfRect(entry.output, info->x, info->y, info->width, info->height);
        entry.modeWidth = modeWidthOfOutput(c, resources.get(), entry.output);
        // The primary monitor is the main display: it comes first.
        auto position = info->primary != 0 ? displays.begin() : displays.end();
        displays.insert(position, std::move(entry));
    }
    if (displays.empty()) displays.push_back(wholeScreen(connection));
    return displays;
}

std::optional<std::string> edidUuid(X11Connection& connection, std::uint32_t output) {
    xcb_atom_t edid = connection.atom("EDID");
    if (edid == XCB_ATOM_NONE || output == XCB_NONE) return std::nullopt;
    xcb_connection_t* c = connection.raw();
    XcbReply<xcb_randr_get_output_property_reply_t> reply(xcb_randr_get_output_property_reply(
        c, xcb_randr_get_output_property(c, output, edid, XCB_ATOM_ANY, 0, 32, 0, 0), nullptr));
    if (!reply) return std::nullopt;
    std::span<const std::uint8_t> bytes(
        xcb_randr_get_output_property_data(reply.get()),
        static_cast<std::size_t>(xcb_randr_get_output_property_data_length(reply.get())));
    // Bytes 8 to 15 of the base block: manufacturer, product code and serial number.
    if (bytes.size() < 16) return std::nullopt;
    char name[64];
    std::snprintf(name, sizeof name, "edid:%02x%02x:%02x%02x:%02x%02x%02x%02x", bytes[8], bytes[9],
                  bytes[10], bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
    return nameBasedUuid(name);
}

}  // namespace brindlemar::platform::x11

#include "platform/x11/keymap.h"

#include <algorithm>
#include <array>

#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {
namespace {

constexpr std::size_t kVirtualKeyCount = 128;

}  // namespace

ServerKeymap ServerKeymap::assumed(xcb_keycode_t minKeycode, xcb_keycode_t maxKeycode) {
    ServerKeymap keymap;
    keymap.minKeycode_ = minKeycode;
    keymap.maxKeycode_ = maxKeycode;
    keymap.keycodes_.assign(kVirtualKeyCount, 0);
    for (const auto& position : keyPositions()) {
        const int keycode = position.evdev + kEvdevToX11Offset;
        if (keycode >= minKeycode && keycode <= maxKeycode)
            keymap.keycodes_[position.virtualKey] = static_cast<xcb_keycode_t>(keycode);
    }
    return keymap;
}

ServerKeymap ServerKeymap::read(xcb_connection_t* connection) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    ServerKeymap keymap = assumed(setup->min_keycode, setup->max_keycode);
    const int count = setup->max_keycode - setup->min_keycode + 1;
    XcbReply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        connection,
        xcb_get_keyboard_mapping(connection, setup->min_keycode, static_cast<std::uint8_t>(count)),
        nullptr));
    if (!reply) return keymap;

    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(reply.get());
    const int perKeycode = reply->keysyms_per_keycode;
    std::vector<std::vector<xcb_keysym_t>> symbolsByKeycode(256);
    for (int i = 0; i < count; ++i) {
        auto& slot = symbolsByKeycode[static_cast<std::size_t>(setup->min_keycode + i)];
        slot.assign(symbols + i * perKeycode, symbols + (i + 1) * perKeycode);
    }
    keymap.placeAnchors(symbolsByKeycode);
    return keymap;
}

// Confirms the evdev numbering key by key: where an anchor's symbol is not at its evdev keycode
// but at exactly one other keycode, that key is taken instead.
void ServerKeymap::placeAnchors(const std::vector<std::vector<xcb_keysym_t>>& symbolsByKeycode) {
    auto carries = [&](std::size_t keycode, xcb_keysym_t keysym) {
        const auto& symbols = symbolsByKeycode[keycode];
        return std::find(symbols.begin(), symbols.end(), keysym) != symbols.end();
    };
    for (const auto& anchor : layoutIndependentKeys()) {
        const xcb_keycode_t expected = keycodes_[anchor.virtualKey];
        if (expected != 0 && carries(expected, anchor.keysym)) {
            ++anchorsConfirmed_;
            continue;
        }
        std::vector<xcb_keycode_t> found;
        for (std::size_t keycode = minKeycode_; keycode <= maxKeycode_; ++keycode)
            if (carries(keycode, anchor.keysym))
                found.push_back(static_cast<xcb_keycode_t>(keycode));
        if (found.size() == 1) {
            keycodes_[anchor.virtualKey] = found.front();
            ++anchorsMoved_;
        }
    }
}

std::optional<xcb_keycode_t> ServerKeymap::keycodeFor(std::uint16_t virtualKey) const {
    if (virtualKey >= keycodes_.size() || keycodes_[virtualKey] == 0) return std::nullopt;
    return keycodes_[virtualKey];
}

}  // namespace brindlemar::platform::x11

#include "platform/x11/keymap_text.h"

#include <xcb/xtest.h>

#include <algorithm>

#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {
namespace {

// Decodes the next UTF-8 scalar value at `text[at]` and advances `at`; none for an invalid or
// truncated sequence, of which one byte is skipped.
std::optional<char32_t> nextCodePoint(std::string_view text, std::size_t& at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    int length = lead < 0x80           ? 1
                 : (lead >> 5) == 0x6  ? 2
                 : (lead >> 4) == 0xE  ? 3
                 : (lead >> 3) == 0x1E ? 4
                                       : 0;
    if (length == 0 || at + static_cast<std::size_t>(length) > text.size()) {
        ++at;
        return std::nullopt;
    }
    char32_t value = length == 1 ? lead : lead & (0x7F >> length);
    for (int i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[at + static_cast<std::size_t>(i)]);
        if ((next & 0xC0) != 0x80) {
            ++at;
            return std::nullopt;
        }
        value = (value << 6) | (next & 0x3F);
    }
    at += static_cast<std::size_t>(length);
    return value;
}

}  // namespace

xcb_keysym_t keysymOfCodePoint(char32_t codePoint) {
    switch (codePoint) {
        case '\n':
        case '\r':
            return 0xff0d;  // Return
        case '\t':
            return 0xff09;  // Tab
        case '\b':
            return 0xff08;  // BackSpace
        default:
            break;
    }
    if ((codePoint >= 0x20 && codePoint <= 0x7e) || (codePoint >= 0xa0 && codePoint <= 0xff))
        return codePoint;
    return 0x01000000 | codePoint;
}

TextTyper::TextTyper(xcb_connection_t* connection, std::optional<xcb_keycode_t> shiftKeycode)
    : connection_(connection), shift_(shiftKeycode) {
    const xcb_setup_t* setup = xcb_get_setup(connection_);
    const int count = setup->max_keycode - setup->min_keycode + 1;
    XcbReply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        connection_,
        xcb_get_keyboard_mapping(connection_, setup->min_keycode, static_cast<std::uint8_t>(count)),
        nullptr));
    if (!reply) return;
    const int perKeycode = reply->keysyms_per_keycode;
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(reply.get());
    // Plain keys first, so that a symbol on two keys is typed without Shift where it can be.
    for (int level = 0; level < std::min(perKeycode, 2); ++level) {
        for (int i = 0; i < count; ++i) {
            const xcb_keysym_t keysym = symbols[i * perKeycode + level];
            if (keysym == 0) continue;
            strokes_.try_emplace(
                keysym, KeyStroke{static_cast<xcb_keycode_t>(setup->min_keycode + i), level == 1});
        }
    }
}

void TextTyper::fake(std::uint8_t type, xcb_keycode_t keycode) const {
    xcb_test_fake_input(connection_, type, keycode, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
}

bool TextTyper::type(std::string_view utf8) const {
    bool complete = true;
    for (std::size_t at = 0; at < utf8.size();) {
        const auto codePoint = nextCodePoint(utf8, at);
        const auto stroke =
            codePoint ? strokes_.find(keysymOfCodePoint(*codePoint)) : strokes_.end();
        if (stroke == strokes_.end() || (stroke->second.shifted && !shift_)) {
            complete = false;
            continue;
        }
        if (stroke->second.shifted) fake(XCB_KEY_PRESS, *shift_);
        fake(XCB_KEY_PRESS, stroke->second.keycode);
        fake(XCB_KEY_RELEASE, stroke->second.keycode);
        if (stroke->second.shifted) fake(XCB_KEY_RELEASE, *shift_);
    }
    return complete;
}

}  // namespace brindlemar::platform::x11

#include "platform/x11/keymap_text.h"

#include <xcb/xtest.h>

#include <algorithm>

#include "base/utf8.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {
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
        const Utf8Step step = decodeUtf8At(utf8, at);
        at += step.length;
        const auto stroke =
            step.codePoint ? strokes_.find(keysymOfCodePoint(*step.codePoint)) : strokes_.end();
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

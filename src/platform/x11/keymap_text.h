#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>

namespace brindlemar::platform::x11 {

// Types text through the keys of the server's keymap: each character is the key whose first
// level (plain) or second level (with Shift) carries its keysym. Characters that no key of the
// current layout produces are skipped, and so are bytes that are not valid UTF-8. Built from the
// core keyboard mapping as it is when constructed (the poster builds a new one when the mapping
// changes); read-only afterwards, so safe from any thread.
class TextTyper {
  public:
    TextTyper(xcb_connection_t* connection, std::optional<xcb_keycode_t> shiftKeycode);

    // Queues the key presses for `utf8`; false when some character (or an invalid UTF-8 byte)
    // had no key and was skipped. The caller flushes.
    bool type(std::string_view utf8) const;

  private:
    struct KeyStroke {
        xcb_keycode_t keycode;
        bool shifted;
    };
    void fake(std::uint8_t type, xcb_keycode_t keycode) const;

    xcb_connection_t* connection_;
    std::optional<xcb_keycode_t> shift_;
    std::map<xcb_keysym_t, KeyStroke> strokes_;
};

// The keysym of a Unicode scalar value: Latin-1 characters are their own keysym, line feed,
// tab and backspace have their keys' keysyms, everything else is 0x01000000 plus the code point.
xcb_keysym_t keysymOfCodePoint(char32_t codePoint);

}  // namespace brindlemar::platform::x11

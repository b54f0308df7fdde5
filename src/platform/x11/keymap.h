#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/x11/key_code_table.h"

namespace brindlemar::platform::x11 {

// What the server's keyboard mapping looks like, as far as key positions go: which X keycode
// presses the key at each position. Built from the core keyboard mapping of the server as it is
// when read; the poster reads it again when the server announces a change.
class ServerKeymap {
  public:
    // Reads the core keyboard mapping of the server (one round trip).
    static ServerKeymap read(xcb_connection_t* connection);
    // A keymap with the plain evdev layout and nothing checked; for a server that cannot answer.
    static ServerKeymap assumed(xcb_keycode_t minKeycode, xcb_keycode_t maxKeycode);

    // The X keycode of the key at the position of `virtualKey`; absent when the server has no
    // such key.
    std::optional<xcb_keycode_t> keycodeFor(std::uint16_t virtualKey) const;

    // Keys whose layout-independent symbol (Return, Shift_L, the arrows...) was found where the
    // evdev numbering puts it; and those found elsewhere and moved there.
    int anchorsConfirmed() const { return anchorsConfirmed_; }
    int anchorsMoved() const { return anchorsMoved_; }

  private:
    ServerKeymap() = default;
    void placeAnchors(const std::vector<std::vector<xcb_keysym_t>>& symbolsByKeycode);

    xcb_keycode_t minKeycode_ = 8;
    xcb_keycode_t maxKeycode_ = 255;
    // X keycode by virtual key code; 0 where there is none.
    std::vector<xcb_keycode_t> keycodes_;
    int anchorsConfirmed_ = 0;
    int anchorsMoved_ = 0;
};

}  // namespace brindlemar::platform::x11

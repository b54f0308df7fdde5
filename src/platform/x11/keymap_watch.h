#pragma once

#include <xcb/xcb.h>

#include <memory>
#include <string>

namespace brindlemar::platform::x11 {

// Notices when the server's keyboard mapping changes (setxkbmap, a new layout, swapped keys, a
// keyboard plugged in): the server then sends MappingNotify to every client, asked for or not.
// The watch holds a connection of its own that selects nothing, so those notifications are all
// that ever arrive on it and no other service's event reading can take them. Not thread-safe:
// the owner locks.
class KeymapWatch {
  public:
    explicit KeymapWatch(const std::string& displayName);
    ~KeymapWatch();
    KeymapWatch(const KeymapWatch&) = delete;
    KeymapWatch& operator=(const KeymapWatch&) = delete;

    // True when the mapping has changed since the last call (or the watch cannot tell, having
    // lost its own connection). Reads only what has already arrived: no round trip.
    bool changed();

  private:
    xcb_connection_t* connection_ = nullptr;
};

}  // namespace brindlemar::platform::x11

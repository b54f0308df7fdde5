#pragma once

#include <cstdint>

namespace brindlemar::platform {

class Pasteboards {
  public:
    virtual ~Pasteboards() = default;
    // Change count of the drag pasteboard; it moves whenever a drag puts data on it.
    virtual std::int64_t dragPasteboardChangeCount() = 0;
};

}  // namespace brindlemar::platform

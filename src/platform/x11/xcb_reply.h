#pragma once

#include <cstdlib>
#include <memory>

namespace brindlemar::platform::x11 {

// xcb hands out replies, errors and property values allocated with malloc; the caller frees them.
struct MallocFree {
    void operator()(void* pointer) const { std::free(pointer); }
};

// An owned xcb reply (or error); empty when the request failed.
template <class T>
using XcbReply = std::unique_ptr<T, MallocFree>;

}  // namespace brindlemar::platform::x11

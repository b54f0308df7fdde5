#pragma once

#include <cstdint>

#include "base/error.h"
#include "platform/pixel_buffer.h"

namespace brindlemar::platform {

enum class CaptureFilterKind { Window, Display };

// What one screenshot shows: a single window independent of its desktop, or a whole display
// with no window excluded.
struct CaptureFilter {
    CaptureFilterKind kind = CaptureFilterKind::Display;
    std::uint32_t id = 0;
};

struct ScreenshotConfiguration {
    std::int64_t width = 1;   // pixels, at least 1
    std::int64_t height = 1;  // pixels, at least 1
    bool showsCursor = false;
    bool ignoreShadowsSingleWindow = true;
};

class ScreenshotService {
  public:
    virtual ~ScreenshotService() = default;
    // An image of exactly the configured pixel size, or the system's error.
    virtual Expected<PixelBuffer> captureImage(const CaptureFilter& filter,
                                               const ScreenshotConfiguration& configuration) = 0;
};

}  // namespace brindlemar::platform

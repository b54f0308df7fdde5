#pragma once

#include <xcb/xcb.h>

#include "platform/screenshots.h"
#include "platform/x11/shm_pool.h"

namespace brindlemar::platform::x11 {

class X11Connection;
struct BgrxImage;

// Screenshots of an X screen: a display is an area of the root window; a window is its whole
// frame, read from its own off-screen storage through Composite (so covered parts are captured)
// when the server has it, else its area of the root. Images come through MIT-SHM segments kept
// in a pool, and are converted and scaled with libyuv.
class X11ScreenshotService final : public ScreenshotService {
  public:
    explicit X11ScreenshotService(X11Connection& connection);

    Expected<PixelBuffer> captureImage(const CaptureFilter& filter,
                                       const ScreenshotConfiguration& configuration) override;

  private:
    struct Area {
        xcb_drawable_t drawable;
        int x, y, width, height;
        int rootX, rootY;  // where the area's top left lies on the root, for the cursor
    };

    Expected<PixelBuffer> captureDisplay(std::uint32_t id,
                                         const ScreenshotConfiguration& configuration);
    Expected<PixelBuffer> captureWindow(std::uint32_t id,
                                        const ScreenshotConfiguration& configuration);
    // Reads the area and converts it into a buffer of the configured size.
    Expected<PixelBuffer> readArea(const Area& area, const ScreenshotConfiguration& configuration,
                                   bool withCursor);
    Expected<PixelBuffer> readThroughShm(const Area& area,
                                         const ScreenshotConfiguration& configuration,
                                         bool withCursor);
    Expected<PixelBuffer> readThroughGetImage(const Area& area,
                                              const ScreenshotConfiguration& configuration,
                                              bool withCursor);
    PixelBuffer finish(BgrxImage image, const Area& area,
                       const ScreenshotConfiguration& configuration, bool withCursor,
                       std::uint8_t* writable);

    X11Connection& connection_;
    ShmPool pool_;
    bool composited_ = false;  // the root's children are redirected to off-screen storage
};

}  // namespace brindlemar::platform::x11

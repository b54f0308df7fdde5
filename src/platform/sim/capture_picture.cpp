#include "platform/sim/capture_picture.h"

namespace brindlemar::platform::sim {
namespace {

const SceneWindow* capturedWindow(const Scene& scene, std::uint32_t id) {
    const SceneWindow* window = scene.findWindow(id);
    return window != nullptr && window->onScreen ? window : nullptr;
}

DisplayPicture displayPicture(const Scene& scene, const SceneDisplay& display) {
    DisplayPicture picture{display.frame, display.background, {}};
    for (auto it = scene.windows.rbegin(); it != scene.windows.rend(); ++it) {
        if (it->onScreen && it->frame.intersects(display.frame)) {
            picture.backToFront.push_back({it->frame, it->fill});
        }
    }
    return picture;
}

}  // namespace

Expected<Picture> capturePicture(const Scene& scene, const CaptureFilter& filter) {
    if (filter.kind == CaptureFilterKind::Window) {
        const SceneWindow* window = capturedWindow(scene, filter.id);
        if (window == nullptr) {
            return Error{kCaptureDomain, kCaptureNoContent,
                         "window " + std::to_string(filter.id) + " is not on screen"};
        }
        return Picture{WindowPicture{window->fill}};
    }
    const SceneDisplay* display = scene.findDisplay(filter.id);
    if (display == nullptr) {
        return Error{kCaptureDomain, kCaptureNoContent,
                     "display " + std::to_string(filter.id) + " is not available"};
    }
    return Picture{displayPicture(scene, *display)};
}

}  // namespace brindlemar::platform::sim

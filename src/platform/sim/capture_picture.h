#pragma once

#include "base/error.h"
#include "platform/screenshots.h"
#include "platform/sim/renderer.h"
#include "platform/sim/scene.h"

namespace brindlemar::platform::sim {

// Errors of the capture service, in the domain and with the codes of the system's.
inline constexpr const char* kCaptureDomain = "com.apple.ScreenCaptureKit.SCStreamErrorDomain";
inline constexpr std::int64_t kCaptureUserDeclined = -3801;
inline constexpr std::int64_t kCaptureFailedToStart = -3802;
inline constexpr std::int64_t kCaptureNoContent = -3815;

// What a capture of the filter shows now, copied out of the scene (call it under the scene
// lock, render after releasing it). Fails for a window that is not on screen or an unknown
// display. Screenshots and capture-stream frames both start from it.
Expected<Picture> capturePicture(const Scene& scene, const CaptureFilter& filter);

}  // namespace brindlemar::platform::sim

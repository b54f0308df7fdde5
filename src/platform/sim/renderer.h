#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "platform/geometry.h"
#include "platform/pixel_buffer.h"
#include "platform/sim/colour.h"

namespace brindlemar::platform::sim {

// What a capture shows, copied out of the scene so that rendering runs without the scene lock.
struct PaintedWindow {
    Rect frame;  // points, global coordinates
    Colour fill;
};

// A display: its background, then its windows from back to front, clipped to its frame.
struct DisplayPicture {
    Rect frame;
    Colour background;
    std::vector<PaintedWindow> backToFront;
};

// A single window: its colour over the whole image.
struct WindowPicture {
    Colour fill;
};

using Picture = std::variant<DisplayPicture, WindowPicture>;

// Renders the picture over every pixel of `image` (RGBA, premultiplied), scaled to its size.
void renderPicture(const Picture& picture, PixelBuffer& image);

// A capture-stream frame: the picture with a small square mark whose place depends on
// `frameIndex`, so that successive frames differ.
void renderStreamFrame(const Picture& picture, PixelBuffer& image, std::uint64_t frameIndex);

}  // namespace brindlemar::platform::sim

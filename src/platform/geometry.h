#pragma once

namespace brindlemar::platform {

// Global desktop coordinates in points, origin at the top left of the main display.
struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

struct Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double minX() const { return width >= 0 ? x : x + width; }
    double minY() const { return height >= 0 ? y : y + height; }
    double maxX() const { return width >= 0 ? x + width : x; }
    double maxY() const { return height >= 0 ? y + height : y; }
    bool empty() const { return width == 0 || height == 0; }
    // Overlap of positive area, as CGRectIntersectsRect answers it.
    bool intersects(const Rect& other) const {
        if (empty() || other.empty()) return false;
        return minX() < other.maxX() && other.minX() < maxX() && minY() < other.maxY() &&
               other.minY() < maxY();
    }
    bool operator==(const Rect&) const = default;
};

}  // namespace brindlemar::platform

#pragma once

#include <cstdint>

namespace velk::graphics {

/// Width and height in pixels.
struct Size {
    std::int32_t width = 0;
    std::int32_t height = 0;

    bool operator==(Size const&) const = default;
    bool isEmpty() const { return width <= 0 || height <= 0; }
    std::int64_t pixelCount() const { return std::int64_t {width} * height; }
};

/// Pixels with x growing to the right and y growing downwards from the top-left corner.
struct IntRect {
    std::int32_t x = 0, y = 0, width = 0, height = 0;

    bool operator==(IntRect const&) const = default;
    bool isEmpty() const { return width <= 0 || height <= 0; }
};

/// As `IntRect`, in fractions of pixels.
struct FloatRect {
    double x = 0, y = 0, width = 0, height = 0;
};

/// No image of more pixels than this is opened or made.
constexpr std::int64_t kMaximumPixelCount = std::int64_t {1} << 31;

/// Whether an image of this size may exist at all.
inline bool isPossible(Size size)
{
    return !size.isEmpty() && size.pixelCount() <= kMaximumPixelCount;
}

} // namespace velk::graphics

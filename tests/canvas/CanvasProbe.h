#pragma once

#include "canvas/Canvas.h"

#include <gtest/gtest.h>

#include <ostream>

namespace velk::test {

/// A pixel as a canvas keeps it: premultiplied.
struct Pixel {
    int red = 0, green = 0, blue = 0, alpha = 0;

    bool operator==(Pixel const&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, Pixel const& pixel)
{
    return stream << pixel.red << "," << pixel.green << "," << pixel.blue << "," << pixel.alpha;
}

constexpr Pixel kClear {};
constexpr Pixel kBlack {0, 0, 0, 255};
constexpr Pixel kWhite {255, 255, 255, 255};
constexpr Pixel kRed {255, 0, 0, 255};
constexpr Pixel kGreen {0, 255, 0, 255};
constexpr Pixel kBlue {0, 0, 255, 255};

/// The pixel in column x and row y, counted from the top-left corner.
inline Pixel pixelOf(Canvas const& canvas, int x, int y)
{
    auto const* bytes = canvas.bitmapContext()->row(y) + x * 4;
    return {bytes[0], bytes[1], bytes[2], bytes[3]};
}

inline int alphaOf(Canvas const& canvas, int x, int y)
{
    return pixelOf(canvas, x, y).alpha;
}

inline bool isBlank(Canvas const& canvas)
{
    for (int y = 0; y < canvas.height(); ++y) {
        for (int x = 0; x < canvas.width(); ++x) {
            if (pixelOf(canvas, x, y) != kClear)
                return false;
        }
    }
    return true;
}

inline std::shared_ptr<Canvas> makeCanvas(std::uint32_t width, std::uint32_t height)
{
    return std::make_shared<Canvas>(width, height);
}

} // namespace velk::test

#pragma once

#include "platform/graphics/PixelFormat.h"

#include <cstddef>
#include <cstdint>

namespace velk::graphics {

/// Pixels in memory around which the edge pixels are repeated kSampleMargin times and more, so that sampling
/// needs no bounds. 16 bytes from the begin of any of them can be read.
struct SampleSource {
    std::uint8_t const* origin; ///< the pixel at (0, 0)
    std::ptrdiff_t stride;
    PixelFormat format; ///< UInt8 or Float32
};

constexpr int kSampleMargin = 3;

/// A position and a step in pixels, with 32 fraction bits; whole numbers are the centres of pixels.
struct SampleWalk {
    std::int64_t x, y;
    std::int64_t stepX, stepY;
};

constexpr double kSampleOne = 4294967296.0;

/// Samples `count` pixels with Catmull-Rom's cubic along a walk, all of which lies between -1 and the size of
/// the source in both axes. Positions are rounded to 1/256 pixel.
void sampleCubic(SampleSource const& source, SampleWalk walk, std::size_t count, std::uint8_t* to);

} // namespace velk::graphics

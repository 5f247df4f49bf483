#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// The inner loops of gradients, with the widest vectors that the machine has. Colours are worked out for
/// every pixel: a table of them would be too coarse where stops lie close together.
namespace velk::graphics {

/// Where on the way from start to end a pixel lies. All stops lie in 0..1, so positions are limited to a
/// little more.
constexpr float kBeforeStart = -1;
constexpr float kAfterEnd = 2;
/// The position of pixels that the gradient does not reach.
constexpr float kNowhere = -2;

/// The colours from position `from` up to the next segment's: color + slope · (position - from). Red, green
/// and blue are straight, in 0..1, alpha is in 0..255; in an opaque gradient all are in 0..255.
struct GradientSegment {
    float from;
    std::array<float, 4> color;
    std::array<float, 4> slope;
};

/// In ascending order; the first begins at kNowhere, and an endless one follows the last.
struct GradientRamp {
    std::span<GradientSegment const> segments;
    bool isOpaque;
};

/// Positions start, start + step, ...
struct LinearWalk {
    float start, step;
};
void shadeLinear(GradientRamp const& ramp, LinearWalk walk, std::uint8_t* pixels, std::size_t count);

/// The circle at position t has its centre at (dx, dy) · t and the radius r0 + dr · t. A point p lies on it
/// where
///
///     a t² - 2 b t + c = 0,  a = d·d - dr²,  b = p·d + r0 dr,  c = p·p - r0²
///
/// and takes the largest t with a radius not below 0.
struct RadialCircles {
    float dx, dy;
    float r0, dr;
    float a; ///< 0 when it is too small to divide by
};
/// Points (x, y), (x, y) + (stepX, stepY), ...
struct RadialWalk {
    float x, y;
    float stepX, stepY;
};
void shadeRadial(GradientRamp const& ramp, RadialCircles const& circles, RadialWalk const& walk,
    std::uint8_t* pixels, std::size_t count);

} // namespace velk::graphics

#include "platform/graphics/drawing/GradientKernels.h"

#include <algorithm>
#include <cstring>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/graphics/drawing/GradientKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velk::graphics::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, 16>;
using Words = hn::RebindToSigned<Floats>;
using FloatVector = hn::Vec<Floats>;
using WordVector = hn::Vec<Words>;

HWY_INLINE FloatVector all(float value)
{
    return hn::Set(Floats {}, value);
}

// The bits of a number from 0 to 255 on top of this end in it, rounded to nearest.
constexpr float kRoundingPoint = 0x1p23F;

HWY_INLINE WordVector bitsOf(FloatVector value)
{
    return hn::BitCast(Words {}, value);
}

// What is not a number passes or not, as the machine has it.
HWY_INLINE FloatVector limited(FloatVector position)
{
    return hn::Min(hn::Max(position, all(kBeforeStart)), all(kAfterEnd));
}

// What is not a number lies nowhere.
HWY_INLINE FloatVector limitedNumber(FloatVector position)
{
    return hn::IfThenElse(hn::Eq(position, position), limited(position), all(kNowhere));
}

// A segment in every lane.
template <bool IsOpaque> class SegmentVectors {
public:
    HWY_INLINE SegmentVectors(std::span<GradientSegment const> segments, std::size_t index)
        : m_from(all(segments[index].from))
        , m_to(all(index + 1 < segments.size() ? segments[index + 1].from
                                               : std::numeric_limits<float>::infinity()))
        , m_red(segments[index], 0)
        , m_green(segments[index], 1)
        , m_blue(segments[index], 2)
        , m_alpha(segments[index], 3)
    {
    }

    HWY_INLINE bool contain(FloatVector position) const
    {
        auto const isInside = hn::And(hn::Ge(position, m_from), hn::Lt(position, m_to));
        return hn::AllTrue(Floats {}, isInside);
    }

    HWY_INLINE WordVector colorsAt(FloatVector position) const
    {
        auto const offset = hn::Sub(position, m_from);
        auto const top = all(kRoundingPoint);
        if constexpr (IsOpaque) {
            return packed(hn::Add(m_red.at(offset), top), hn::Add(m_green.at(offset), top),
                hn::Add(m_blue.at(offset), top), all(kRoundingPoint + 255));
        } else {
            auto const alpha = m_alpha.at(offset);
            return packed(hn::MulAdd(m_red.at(offset), alpha, top),
                hn::MulAdd(m_green.at(offset), alpha, top), hn::MulAdd(m_blue.at(offset), alpha, top),
                hn::Add(alpha, top));
        }
    }

private:
    struct Component {
        HWY_INLINE Component(GradientSegment const& segment, std::size_t index)
            : color(all(segment.color[index]))
            , slope(all(segment.slope[index]))
        {
        }
        HWY_INLINE FloatVector at(FloatVector offset) const { return hn::MulAdd(slope, offset, color); }

        FloatVector color, slope;
    };

    // All on top of the rounding point, whose own bits are shifted out.
    static HWY_INLINE WordVector packed(
        FloatVector red, FloatVector green, FloatVector blue, FloatVector alpha)
    {
        auto const lowest = hn::And(bitsOf(red), hn::Set(Words {}, 0xFF));
        auto const redGreen = hn::Or(lowest, hn::ShiftLeft<8>(bitsOf(green)));
        auto const blueAlpha = hn::Or(hn::ShiftLeft<16>(bitsOf(blue)), hn::ShiftLeft<24>(bitsOf(alpha)));
        return hn::Or(redGreen, blueAlpha);
    }

    FloatVector m_from, m_to;
    Component m_red, m_green, m_blue, m_alpha;
};

std::size_t indexOfSegment(std::span<GradientSegment const> segments, float position)
{
    auto const next = std::upper_bound(segments.begin() + 1, segments.end(), position,
        [](float value, GradientSegment const& segment) { return value < segment.from; });
    return static_cast<std::size_t>(next - segments.begin()) - 1;
}

template <bool IsOpaque>
HWY_NOINLINE WordVector shadeOneByOne(std::span<GradientSegment const> segments, FloatVector position)
{
    HWY_ALIGN std::array<float, hn::MaxLanes(Floats {})> positions;
    HWY_ALIGN std::array<std::int32_t, hn::MaxLanes(Floats {})> colors;
    hn::Store(position, Floats {}, positions.data());
    for (std::size_t i = 0; i < hn::Lanes(Floats {}); ++i) {
        SegmentVectors<IsOpaque> const segment(segments, indexOfSegment(segments, positions[i]));
        colors[i] = hn::GetLane(segment.colorsAt(all(positions[i])));
    }
    return hn::Load(Words {}, colors.data());
}

// Neighbouring pixels nearly always lie in one segment, so the one of the pixels before is tried first.
template <bool IsOpaque> class Shader {
public:
    HWY_INLINE explicit Shader(GradientRamp const& ramp)
        : m_segments(ramp.segments)
        , m_current(m_segments, 0)
    {
    }

    HWY_INLINE WordVector shade(FloatVector position)
    {
        if (!m_current.contain(position)) {
            m_current = {m_segments, indexOfSegment(m_segments, hn::GetLane(position))};
            if (!m_current.contain(position))
                return shadeOneByOne<IsOpaque>(m_segments, position);
        }
        return m_current.colorsAt(position);
    }

private:
    std::span<GradientSegment const> m_segments;
    SegmentVectors<IsOpaque> m_current;
};

// `positions` gives those of the pixels whose indices it gets.
template <bool IsOpaque, typename Positions>
void shadeRow(GradientRamp const& ramp, Positions const& positions, std::uint8_t* pixels, std::size_t count)
{
    Shader<IsOpaque> shader(ramp);
    auto const lanes = hn::Lanes(Floats {});
    auto* const words = static_cast<std::int32_t*>(static_cast<void*>(pixels));
    auto index = hn::Iota(Floats {}, 0); // takes long, but only once
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        hn::StoreU(shader.shade(positions.at(index)), Words {}, words + i);
        index = hn::Add(index, all(static_cast<float>(lanes)));
    }
    if (i == count)
        return;
    HWY_ALIGN std::array<std::int32_t, hn::MaxLanes(Floats {})> rest;
    hn::Store(shader.shade(positions.at(index)), Words {}, rest.data());
    std::memcpy(pixels + 4 * i, rest.data(), 4 * (count - i));
}

struct LinePositions {
    LinearWalk walk;

    HWY_INLINE FloatVector at(FloatVector index) const
    {
        return limited(hn::MulAdd(index, all(walk.step), all(walk.start)));
    }
};

struct CircleEquation {
    FloatVector b, discriminant;
    FloatVector c;
};

HWY_INLINE CircleEquation equationAt(RadialCircles const& circles, RadialWalk const& walk, FloatVector index)
{
    auto const x = hn::MulAdd(index, all(walk.stepX), all(walk.x));
    auto const y = hn::MulAdd(index, all(walk.stepY), all(walk.y));
    auto const b =
        hn::MulAdd(x, all(circles.dx), hn::MulAdd(y, all(circles.dy), all(circles.r0 * circles.dr)));
    auto const c = hn::MulAdd(x, x, hn::MulAdd(y, y, all(-circles.r0 * circles.r0)));
    auto discriminant = hn::NegMulAdd(all(circles.a), c, hn::Mul(b, b));
    // One circle around the other leaves no point out.
    if (circles.a < 0)
        discriminant = hn::Max(discriminant, hn::Zero(Floats {}));
    return {b, discriminant, c};
}

// Where one circle lies well within the other, every point is on exactly one circle with a radius not below
// 0: that of the larger solution while circles grow, of the smaller one while they shrink.
struct NestedCirclePositions {
    RadialCircles const& circles;
    RadialWalk const& walk;

    static bool fit(RadialCircles const& circles)
    {
        constexpr float kWellWithin = -1.0F / 16; // nearer to 0, rounding errors would show
        return circles.a < kWellWithin;
    }

    HWY_INLINE FloatVector at(FloatVector index) const
    {
        auto const [b, discriminant, c] = equationAt(circles, walk, index);
        auto const root = hn::Sqrt(discriminant);
        auto const numerator = circles.dr > 0 ? hn::Sub(b, root) : hn::Add(b, root);
        return limited(hn::Mul(numerator, all(1 / circles.a)));
    }
};

// The two solutions, neither of them by a difference of nearly equal numbers.
struct CirclePositions {
    RadialCircles const& circles;
    RadialWalk const& walk;

    HWY_INLINE FloatVector at(FloatVector index) const
    {
        auto const [b, discriminant, c] = equationAt(circles, walk, index);
        auto const sum = hn::Add(b, hn::CopySign(hn::Sqrt(discriminant), b));
        auto const quotient = hn::Div(c, sum);
        auto const far = circles.a == 0 ? quotient : hn::Mul(sum, all(1 / circles.a));
        auto const near = hn::IfThenElse(hn::Eq(quotient, quotient), quotient, far);
        auto const larger = hn::Max(near, far);
        auto const smaller = hn::Min(near, far);
        auto const second = hn::IfThenElse(isCircle(smaller), limitedNumber(smaller), all(kNowhere));
        auto const position = hn::IfThenElse(isCircle(larger), limitedNumber(larger), second);
        return hn::IfThenElse(hn::Ge(discriminant, hn::Zero(Floats {})), position, all(kNowhere));
    }

private:
    HWY_INLINE hn::Mask<Floats> isCircle(FloatVector t) const
    {
        constexpr float kRoundingError = 1e-5F; // lengths are at most about 1
        auto const radius = hn::MulAdd(t, all(circles.dr), all(circles.r0 + kRoundingError));
        return hn::Ge(radius, hn::Zero(Floats {}));
    }
};

template <typename Positions>
void shadeAny(GradientRamp const& ramp, Positions const& positions, std::uint8_t* pixels, std::size_t count)
{
    if (ramp.isOpaque)
        shadeRow<true>(ramp, positions, pixels, count);
    else
        shadeRow<false>(ramp, positions, pixels, count);
}

void shadeAnyLine(GradientRamp const& ramp, LinearWalk walk, std::uint8_t* pixels, std::size_t count)
{
    shadeAny(ramp, LinePositions {walk}, pixels, count);
}

void shadeAnyCircles(GradientRamp const& ramp, RadialCircles const& circles, RadialWalk const& walk,
    std::uint8_t* pixels, std::size_t count)
{
    if (NestedCirclePositions::fit(circles))
        shadeAny(ramp, NestedCirclePositions {circles, walk}, pixels, count);
    else
        shadeAny(ramp, CirclePositions {circles, walk}, pixels, count);
}

} // namespace velk::graphics::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velk::graphics {

HWY_EXPORT(shadeAnyLine);
HWY_EXPORT(shadeAnyCircles);

void shadeLinear(GradientRamp const& ramp, LinearWalk walk, std::uint8_t* pixels, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(shadeAnyLine)(ramp, walk, pixels, count);
}

void shadeRadial(GradientRamp const& ramp, RadialCircles const& circles, RadialWalk const& walk,
    std::uint8_t* pixels, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(shadeAnyCircles)(ramp, circles, walk, pixels, count);
}

} // namespace velk::graphics

#endif

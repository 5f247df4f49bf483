#include "platform/graphics/drawing/GradientKernels.h"

#include <algorithm>
#include <cstring>

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

// What is not a number lies nowhere.
HWY_INLINE FloatVector limited(FloatVector position)
{
    auto const inside = hn::Min(hn::Max(position, all(kBeforeStart)), all(kAfterEnd));
    return hn::IfThenElse(hn::Eq(position, position), inside, all(kNowhere));
}

// One component of the colours of a segment.
HWY_INLINE FloatVector component(GradientSegment const& segment, FloatVector offset, std::size_t index)
{
    return hn::MulAdd(all(segment.slope[index]), offset, all(segment.color[index]));
}

template <bool IsOpaque> HWY_INLINE WordVector colorsOf(GradientSegment const& segment, FloatVector position)
{
    auto const offset = hn::Sub(position, all(segment.from));
    auto const alpha = IsOpaque ? all(255) : component(segment, offset, 3);
    auto const color = [&](std::size_t index) HWY_ATTR {
        auto const value = component(segment, offset, index);
        return hn::NearestInt(IsOpaque ? value : hn::Mul(value, alpha));
    };
    auto const redGreen = hn::Or(color(0), hn::ShiftLeft<8>(color(1)));
    auto const blueAlpha = hn::Or(hn::ShiftLeft<16>(color(2)), hn::ShiftLeft<24>(hn::NearestInt(alpha)));
    return hn::Or(redGreen, blueAlpha);
}

// Neighbouring pixels nearly always lie in one segment, so the one of the pixels before is tried first.
template <bool IsOpaque> class Shader {
public:
    explicit Shader(GradientRamp const& ramp)
        : m_segments(ramp.segments)
    {
    }

    HWY_INLINE WordVector shade(FloatVector position)
    {
        if (!contains(position)) {
            m_current = find(hn::GetLane(position));
            if (!contains(position))
                return shadeOneByOne(position);
        }
        return colorsOf<IsOpaque>(m_segments[m_current], position);
    }

private:
    HWY_INLINE bool contains(FloatVector position) const
    {
        auto const isAfter = hn::Ge(position, all(m_segments[m_current].from));
        if (m_current + 1 == m_segments.size())
            return hn::AllTrue(Floats {}, isAfter);
        auto const isBefore = hn::Lt(position, all(m_segments[m_current + 1].from));
        return hn::AllTrue(Floats {}, hn::And(isAfter, isBefore));
    }

    std::size_t find(float position) const
    {
        auto const next = std::upper_bound(m_segments.begin() + 1, m_segments.end(), position,
            [](float value, GradientSegment const& segment) { return value < segment.from; });
        return static_cast<std::size_t>(next - m_segments.begin()) - 1;
    }

    HWY_NOINLINE WordVector shadeOneByOne(FloatVector position) const
    {
        HWY_ALIGN std::array<float, hn::MaxLanes(Floats {})> positions;
        HWY_ALIGN std::array<std::int32_t, hn::MaxLanes(Floats {})> colors;
        hn::Store(position, Floats {}, positions.data());
        for (std::size_t i = 0; i < hn::Lanes(Floats {}); ++i) {
            auto const& segment = m_segments[find(positions[i])];
            colors[i] = hn::GetLane(colorsOf<IsOpaque>(segment, all(positions[i])));
        }
        return hn::Load(Words {}, colors.data());
    }

    std::span<GradientSegment const> m_segments;
    std::size_t m_current = 0;
};

// `positionsAt` gives the positions of the pixels whose indices it gets.
template <bool IsOpaque, typename PositionsAt>
HWY_INLINE void shadeRow(
    GradientRamp const& ramp, PositionsAt const& positionsAt, std::uint8_t* pixels, std::size_t count)
{
    Shader<IsOpaque> shader(ramp);
    auto const lanes = hn::Lanes(Floats {});
    auto* const words = static_cast<std::int32_t*>(static_cast<void*>(pixels));
    auto const colorsFrom = [&](std::size_t first) HWY_ATTR {
        return shader.shade(positionsAt(hn::Iota(Floats {}, static_cast<float>(first))));
    };
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes)
        hn::StoreU(colorsFrom(i), Words {}, words + i);
    if (i == count)
        return;
    HWY_ALIGN std::array<std::int32_t, hn::MaxLanes(Floats {})> rest;
    hn::Store(colorsFrom(i), Words {}, rest.data());
    std::memcpy(pixels + 4 * i, rest.data(), 4 * (count - i));
}

template <bool IsOpaque>
void shadeAlongLine(GradientRamp const& ramp, LinearWalk walk, std::uint8_t* pixels, std::size_t count)
{
    auto const positionsAt = [&](FloatVector index) HWY_ATTR {
        return limited(hn::MulAdd(index, all(walk.step), all(walk.start)));
    };
    shadeRow<IsOpaque>(ramp, positionsAt, pixels, count);
}

// The two solutions, neither of them by a difference of nearly equal numbers.
HWY_INLINE FloatVector positionOnCircles(RadialCircles const& circles, FloatVector x, FloatVector y)
{
    auto const a = all(circles.a);
    auto const b =
        hn::MulAdd(x, all(circles.dx), hn::MulAdd(y, all(circles.dy), all(circles.r0 * circles.dr)));
    auto const c = hn::MulAdd(x, x, hn::MulAdd(y, y, all(-circles.r0 * circles.r0)));
    auto discriminant = hn::Sub(hn::Mul(b, b), hn::Mul(a, c));
    // One circle around the other leaves no point out.
    if (circles.a < 0)
        discriminant = hn::Max(discriminant, hn::Zero(Floats {}));
    auto const sum = hn::Add(b, hn::CopySign(hn::Sqrt(discriminant), b));
    auto const quotient = hn::Div(c, sum);
    auto const far = circles.a == 0 ? quotient : hn::Mul(sum, all(1 / circles.a));
    auto const near = hn::IfThenElse(hn::Eq(quotient, quotient), quotient, far);

    constexpr float kRoundingError = 1e-5F; // lengths are at most about 1
    auto const radius = [&](FloatVector t) HWY_ATTR {
        return hn::MulAdd(t, all(circles.dr), all(circles.r0 + kRoundingError));
    };
    auto const larger = hn::Max(near, far);
    auto const smaller = hn::Min(near, far);
    auto const zero = hn::Zero(Floats {});
    auto const second = hn::IfThenElse(hn::Ge(radius(smaller), zero), limited(smaller), all(kNowhere));
    auto const position = hn::IfThenElse(hn::Ge(radius(larger), zero), limited(larger), second);
    return hn::IfThenElse(hn::Ge(discriminant, zero), position, all(kNowhere));
}

template <bool IsOpaque>
void shadeThroughCircles(GradientRamp const& ramp, RadialCircles const& circles, RadialWalk const& walk,
    std::uint8_t* pixels, std::size_t count)
{
    auto const positionsAt = [&](FloatVector index) HWY_ATTR {
        return positionOnCircles(circles, hn::MulAdd(index, all(walk.stepX), all(walk.x)),
            hn::MulAdd(index, all(walk.stepY), all(walk.y)));
    };
    shadeRow<IsOpaque>(ramp, positionsAt, pixels, count);
}

void shadeAnyLine(GradientRamp const& ramp, LinearWalk walk, std::uint8_t* pixels, std::size_t count)
{
    auto const shade = ramp.isOpaque ? shadeAlongLine<true> : shadeAlongLine<false>;
    shade(ramp, walk, pixels, count);
}

void shadeAnyCircles(GradientRamp const& ramp, RadialCircles const& circles, RadialWalk const& walk,
    std::uint8_t* pixels, std::size_t count)
{
    auto const shade = ramp.isOpaque ? shadeThroughCircles<true> : shadeThroughCircles<false>;
    shade(ramp, circles, walk, pixels, count);
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

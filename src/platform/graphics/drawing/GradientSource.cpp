#include "platform/graphics/drawing/GradientKernels.h"
#include "platform/graphics/drawing/SpanSource.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

namespace velk::graphics {

namespace {

template <typename... Numbers> bool areFinite(Numbers... numbers)
{
    return (std::isfinite(numbers) && ...);
}

std::optional<AffineTransform> inverseOf(AffineTransform const& map)
{
    auto const determinant = map.a * map.d - map.b * map.c;
    AffineTransform inverse = {
        .a = map.d / determinant,
        .b = -map.b / determinant,
        .c = -map.c / determinant,
        .d = map.a / determinant,
    };
    inverse.tx = -(map.tx * inverse.a + map.ty * inverse.c);
    inverse.ty = -(map.tx * inverse.b + map.ty * inverse.d);
    if (!areFinite(inverse.a, inverse.b, inverse.c, inverse.d, inverse.tx, inverse.ty))
        return std::nullopt;
    return inverse;
}

// ---- Stops.

std::vector<GradientStop> sortedStops(Gradient const& gradient)
{
    auto stops = gradient.stops;
    for (auto& stop : stops)
        stop.location = std::clamp(stop.location, 0.0, 1.0);
    std::stable_sort(stops.begin(), stops.end(),
        [](GradientStop const& a, GradientStop const& b) { return a.location < b.location; });
    return stops;
}

float clampedComponent(double value)
{
    return value > 0 ? static_cast<float>(std::min(value, 1.0)) : 0;
}

class Ramp {
public:
    Ramp(std::vector<GradientStop> const& stops, bool reachesAll)
        : m_isOpaque(reachesAll && std::all_of(stops.begin(), stops.end(), [](GradientStop const& stop) {
            return stop.color.alpha >= 1;
        }))
    {
        add(kNowhere, {}, {});
        auto const first = colorOf(stops.front().color);
        add((kNowhere + kBeforeStart) / 2, first, first);
        for (std::size_t i = 0; i + 1 < stops.size(); ++i) {
            auto const length = stops[i + 1].location - stops[i].location;
            if (length > 0)
                add(static_cast<float>(stops[i].location), colorOf(stops[i].color),
                    colorOf(stops[i + 1].color), static_cast<float>(length));
        }
        auto const last = colorOf(stops.back().color);
        add(static_cast<float>(stops.back().location), last, last);
    }

    GradientRamp view() const { return {m_segments, m_isOpaque}; }
    bool isOpaque() const { return m_isOpaque; }

private:
    using Components = std::array<float, 4>;

    Components colorOf(Color const& color) const
    {
        auto const scale = m_isOpaque ? 255.0F : 1.0F;
        return {clampedComponent(color.red) * scale, clampedComponent(color.green) * scale,
            clampedComponent(color.blue) * scale, clampedComponent(color.alpha) * 255};
    }

    void add(float from, Components const& begin, Components const& end, float length = 1)
    {
        GradientSegment segment {from, begin, {}};
        for (std::size_t i = 0; i < begin.size(); ++i)
            segment.slope[i] = (end[i] - begin[i]) / length;
        m_segments.push_back(segment);
    }

    bool m_isOpaque;
    std::vector<GradientSegment> m_segments;
};

// ---- Lines.

// The position of a device pixel's centre: x · (x + 1/2) + y · (y + 1/2) + offset.
struct LinearMap {
    double x, y, offset;

    double at(std::int32_t column, std::int32_t row) const
    {
        return (column + 0.5) * x + (row + 0.5) * y + offset;
    }
};

std::optional<LinearMap> linearMap(Gradient const& gradient, AffineTransform const& deviceToUser)
{
    auto const dx = gradient.end.x - gradient.start.x;
    auto const dy = gradient.end.y - gradient.start.y;
    auto const square = dx * dx + dy * dy;
    auto const& map = deviceToUser;
    LinearMap const result = {
        .x = (map.a * dx + map.b * dy) / square,
        .y = (map.c * dx + map.d * dy) / square,
        .offset = ((map.tx - gradient.start.x) * dx + (map.ty - gradient.start.y) * dy) / square,
    };
    if (!areFinite(result.x, result.y, result.offset))
        return std::nullopt;
    return result;
}

void repeatPixel(std::uint8_t* pixels, std::int32_t count)
{
    std::uint32_t pixel;
    std::memcpy(&pixel, pixels, sizeof(pixel));
    for (std::int32_t i = 1; i < count; ++i)
        std::memcpy(pixels + 4 * static_cast<std::size_t>(i), &pixel, sizeof(pixel));
}

class LinearGradient final : public SpanSource {
public:
    LinearGradient(Ramp ramp, LinearMap const& map)
        : m_ramp(std::move(ramp))
        , m_map(map)
        , m_rowsAreEqual(std::abs(map.y) < kNegligible / kLongestSide)
    {
    }

    void prepare(IntRect const& area) override
    {
        if (m_rowsAreEqual)
            keepRow(area.x, area.y, area.width);
    }

    bool isOpaque() const override { return m_ramp.isOpaque(); }

    void span(std::int32_t x, std::int32_t y, std::int32_t count, std::uint8_t* pixels) override
    {
        if (std::abs(m_map.x) * count < kNegligible) {
            shade(x, y, 1, pixels);
            repeatPixel(pixels, count);
        } else if (m_rowsAreEqual) {
            keepRow(x, y, count);
            std::memcpy(pixels, m_row.data() + 4 * static_cast<std::size_t>(x - m_rowStart),
                4 * static_cast<std::size_t>(count));
        } else {
            shade(x, y, count, pixels);
        }
    }

private:
    // A millionth of the gradient's length is a small part of a step of 8 bits.
    static constexpr double kNegligible = 1e-6;
    static constexpr double kLongestSide = 1 << 20;
    static constexpr double kFarthest = 1e30;

    void shade(std::int32_t x, std::int32_t y, std::int32_t count, std::uint8_t* pixels) const
    {
        LinearWalk const walk = {
            static_cast<float>(std::clamp(m_map.at(x, y), -kFarthest, kFarthest)),
            static_cast<float>(std::clamp(m_map.x, -kFarthest, kFarthest)),
        };
        shadeLinear(m_ramp.view(), walk, pixels, static_cast<std::size_t>(count));
    }

    // Where all rows are equal, one is kept that holds every span so far.
    void keepRow(std::int32_t x, std::int32_t y, std::int32_t count)
    {
        auto const length = static_cast<std::int32_t>(m_row.size() / 4);
        if (length > 0 && x >= m_rowStart && x + count <= m_rowStart + length)
            return;
        auto const begin = length > 0 ? std::min(x, m_rowStart) : x;
        auto const end = length > 0 ? std::max(x + count, m_rowStart + length) : x + count;
        m_row.resize(4 * static_cast<std::size_t>(end - begin));
        m_rowStart = begin;
        shade(begin, y, end - begin, m_row.data());
    }

    Ramp m_ramp;
    LinearMap m_map;
    bool m_rowsAreEqual;
    Bytes m_row;
    std::int32_t m_rowStart = 0;
};

// ---- Circles.

// Lengths are divided by the largest one of the gradient, the start's centre is the origin.
struct CircleSetup {
    RadialCircles circles;
    AffineTransform deviceToCircles;
};

std::optional<CircleSetup> circleSetup(Gradient const& gradient, AffineTransform const& deviceToUser)
{
    auto const dx = gradient.end.x - gradient.start.x;
    auto const dy = gradient.end.y - gradient.start.y;
    auto const r0 = gradient.startRadius;
    auto const dr = gradient.endRadius - r0;
    auto const scale = 1 / std::max({std::hypot(dx, dy), std::abs(r0), std::abs(gradient.endRadius)});
    auto const isFlat = r0 == 0 && gradient.endRadius == 0;
    auto const areEqual = dx == 0 && dy == 0 && dr == 0;
    if (isFlat || areEqual || !areFinite(dx, dy, dr, scale))
        return std::nullopt;
    constexpr double kTouching = 1e-6;
    auto const a = (dx * dx * scale + dy * dy * scale - dr * dr * scale) * scale;
    auto const part = [&](double length) { return static_cast<float>(length * scale); };
    auto const map = deviceToUser * AffineTransform::translation(-gradient.start.x, -gradient.start.y)
        * AffineTransform::scale(scale, scale);
    return CircleSetup {
        {part(dx), part(dy), part(r0), part(dr), std::abs(a) < kTouching ? 0 : static_cast<float>(a)}, map};
}

class RadialGradient final : public SpanSource {
public:
    RadialGradient(Ramp ramp, CircleSetup const& setup)
        : m_ramp(std::move(ramp))
        , m_setup(setup)
    {
    }

    bool isOpaque() const override { return m_ramp.isOpaque(); }

    void span(std::int32_t x, std::int32_t y, std::int32_t count, std::uint8_t* pixels) override
    {
        auto const& map = m_setup.deviceToCircles;
        auto const from = apply(map, {x + 0.5, y + 0.5});
        RadialWalk const walk = {limited(from.x), limited(from.y), limited(map.a), limited(map.b)};
        shadeRadial(m_ramp.view(), m_setup.circles, walk, pixels, static_cast<std::size_t>(count));
    }

private:
    // Squares of it are still numbers.
    static float limited(double value)
    {
        constexpr double kFarthest = 1e15;
        return static_cast<float>(std::clamp(value, -kFarthest, kFarthest));
    }

    Ramp m_ramp;
    CircleSetup m_setup;
};

bool isFinite(Gradient const& gradient)
{
    return areFinite(gradient.start.x, gradient.start.y, gradient.end.x, gradient.end.y, gradient.startRadius,
               gradient.endRadius)
        && std::all_of(gradient.stops.begin(), gradient.stops.end(),
            [](GradientStop const& stop) { return std::isfinite(stop.location); });
}

} // namespace

std::unique_ptr<SpanSource> gradientSource(Gradient const& gradient, AffineTransform const& userToDevice)
{
    auto const deviceToUser = inverseOf(userToDevice);
    if (gradient.stops.empty() || !deviceToUser || !isFinite(gradient))
        return nullptr;
    auto const stops = sortedStops(gradient);
    if (gradient.kind == Gradient::Kind::Linear) {
        auto const map = linearMap(gradient, *deviceToUser);
        return map ? std::make_unique<LinearGradient>(Ramp(stops, true), *map) : nullptr;
    }
    auto const setup = circleSetup(gradient, *deviceToUser);
    if (!setup)
        return nullptr;
    // One circle within the other passes every point as it grows.
    return std::make_unique<RadialGradient>(Ramp(stops, setup->circles.a < 0), *setup);
}

} // namespace velk::graphics

#include "platform/graphics/drawing/SpanSource.h"
#include "support/TestSimd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>

namespace velk::test {

using namespace graphics;

namespace {

constexpr Color kRed {1, 0, 0, 1};
constexpr Color kGreen {0, 1, 0, 1};
constexpr Color kBlue {0, 0, 1, 1};
constexpr Color kClear {0, 0, 0, 0};
constexpr Color kVeil {0.9, 0.4, 0.1, 0.3};

using Components = std::array<double, 4>;

Components components(Color const& color)
{
    return {color.red, color.green, color.blue, color.alpha};
}

std::vector<GradientStop> sorted(std::vector<GradientStop> stops)
{
    std::stable_sort(
        stops.begin(), stops.end(), [](auto const& a, auto const& b) { return a.location < b.location; });
    return stops;
}

// Premultiplied, 0..255, of the position in sorted stops; after the last stop that lies there.
Components colorAt(std::vector<GradientStop> const& stops, double position)
{
    auto const next = std::upper_bound(stops.begin(), stops.end(), position,
        [](double value, auto const& stop) { return value < stop.location; });
    auto color = components(next == stops.begin() ? stops.front().color : (next - 1)->color);
    if (next != stops.begin() && next != stops.end()) {
        auto const& before = *(next - 1);
        auto const part = (position - before.location) / (next->location - before.location);
        for (std::size_t i = 0; i < 4; ++i)
            color[i] += part * (components(next->color)[i] - color[i]);
    }
    for (std::size_t i = 0; i < 3; ++i)
        color[i] *= 255 * color[3];
    color[3] *= 255;
    return color;
}

std::optional<double> linearPosition(Gradient const& gradient, Point point)
{
    auto const dx = gradient.end.x - gradient.start.x;
    auto const dy = gradient.end.y - gradient.start.y;
    return ((point.x - gradient.start.x) * dx + (point.y - gradient.start.y) * dy) / (dx * dx + dy * dy);
}

// The largest position whose circle passes the point.
std::optional<double> radialPosition(Gradient const& gradient, Point point)
{
    auto const dx = gradient.end.x - gradient.start.x;
    auto const dy = gradient.end.y - gradient.start.y;
    auto const r0 = gradient.startRadius;
    auto const dr = gradient.endRadius - r0;
    auto const x = point.x - gradient.start.x;
    auto const y = point.y - gradient.start.y;
    auto const a = dx * dx + dy * dy - dr * dr;
    auto const b = x * dx + y * dy + r0 * dr;
    auto const c = x * x + y * y - r0 * r0;
    auto const root = std::sqrt(b * b - a * c);
    auto const solutions =
        a == 0 ? std::array {c / (2 * b), c / (2 * b)} : std::array {(b + root) / a, (b - root) / a};
    std::optional<double> largest;
    for (auto const t : solutions) {
        if (r0 + t * dr >= 0 && (!largest || t > *largest))
            largest = t;
    }
    return largest;
}

std::optional<double> positionAt(Gradient const& gradient, Point point)
{
    return gradient.kind == Gradient::Kind::Linear ? linearPosition(gradient, point)
                                                   : radialPosition(gradient, point);
}

constexpr Size kArea {37, 23};

struct Rows {
    std::vector<std::uint8_t> bytes;

    Components at(std::int32_t x, std::int32_t y) const
    {
        auto const* const pixel = bytes.data() + 4 * static_cast<std::size_t>(y * kArea.width + x);
        return {double {1} * pixel[0], double {1} * pixel[1], double {1} * pixel[2], double {1} * pixel[3]};
    }
};

// Drawn in spans of different lengths and places.
Rows draw(SpanSource& source, Point from)
{
    Rows rows {std::vector<std::uint8_t>(4 * static_cast<std::size_t>(kArea.pixelCount()))};
    for (std::int32_t y = 0; y < kArea.height; ++y) {
        auto const cut = (y * 29 + 11) % kArea.width;
        auto* const row = rows.bytes.data() + 4 * static_cast<std::size_t>(y * kArea.width);
        auto const x = static_cast<std::int32_t>(from.x);
        auto const line = y + static_cast<std::int32_t>(from.y);
        source.span(x + cut, line, kArea.width - cut, row + 4 * cut);
        if (cut > 0)
            source.span(x, line, cut, row);
    }
    return rows;
}

struct Range {
    Components low {255, 255, 255, 255};
    Components high {};

    void include(Components const& color)
    {
        for (std::size_t i = 0; i < 4; ++i) {
            low[i] = std::min(low[i], color[i]);
            high[i] = std::max(high[i], color[i]);
        }
    }
    bool isFarFrom(Components const& color) const
    {
        constexpr double kJump = 30;
        for (std::size_t i = 0; i < 4; ++i) {
            if (color[i] < low[i] - kJump || color[i] > high[i] + kJump)
                return true;
        }
        return false;
    }
};

// The colours that a pixel may have: those of its centre, up to rounding, and where colours jump those within
// half a pixel.
Range rangeAt(Gradient const& gradient, std::vector<GradientStop> const& stops,
    AffineTransform const& userToDevice, Point centre)
{
    auto const& map = userToDevice;
    auto const determinant = map.a * map.d - map.b * map.c;
    auto const colorNear = [&](double dx, double dy) {
        auto const x = centre.x + dx - map.tx;
        auto const y = centre.y + dy - map.ty;
        auto const position = positionAt(
            gradient, {(x * map.d - y * map.c) / determinant, (y * map.a - x * map.b) / determinant});
        return position ? colorAt(stops, *position) : Components {};
    };
    Range range;
    for (auto const& [dx, dy] : {Point {0, 0}, {1, 1}, {1, -1}, {-1, 1}, {-1, -1}})
        range.include(colorNear(dx / 1000, dy / 1000));
    for (auto const& [dx, dy] : {Point {1, 0}, {-1, 0}, {0, 1}, {0, -1}}) {
        auto const color = colorNear(dx / 2, dy / 2);
        if (range.isFarFrom(color))
            range.include(color);
    }
    return range;
}

void expectGradient(Gradient const& gradient, AffineTransform const& userToDevice, Point from = {})
{
    auto const source = gradientSource(gradient, userToDevice);
    ASSERT_NE(nullptr, source);
    auto const stops = sorted(gradient.stops);
    std::vector<Range> ranges;
    for (std::int32_t y = 0; y < kArea.height; ++y) {
        for (std::int32_t x = 0; x < kArea.width; ++x)
            ranges.push_back(rangeAt(gradient, stops, userToDevice, {from.x + x + 0.5, from.y + y + 0.5}));
    }
    onEveryTarget([&] {
        auto const rows = draw(*source, from);
        for (std::int32_t y = 0; y < kArea.height; ++y) {
            for (std::int32_t x = 0; x < kArea.width; ++x) {
                auto const& range = ranges[static_cast<std::size_t>(y * kArea.width + x)];
                auto const found = rows.at(x, y);
                for (std::size_t i = 0; i < 4; ++i) {
                    ASSERT_GE(found[i], range.low[i] - 0.6) << x << ", " << y << ", channel " << i;
                    ASSERT_LE(found[i], range.high[i] + 0.6) << x << ", " << y << ", channel " << i;
                }
            }
        }
    });
}

Gradient linear(Point start, Point end, std::vector<GradientStop> stops)
{
    return {Gradient::Kind::Linear, start, end, 0, 0, std::move(stops)};
}

Gradient radial(Point start, double startRadius, Point end, double endRadius, std::vector<GradientStop> stops)
{
    return {Gradient::Kind::Radial, start, end, startRadius, endRadius, std::move(stops)};
}

std::vector<std::vector<GradientStop>> variousStops()
{
    std::vector<GradientStop> many;
    for (int i = 0; i <= 40; ++i)
        many.push_back({i / 40.0, i % 2 ? kVeil : kBlue});
    return {
        {{0, kRed}, {1, kBlue}},
        {{0.2, kRed}, {0.5, kClear}, {0.5, kGreen}, {0.7, kVeil}},
        {{0.9, kBlue}, {0.1, kVeil}},
        {{0.4, kVeil}},
        {{0, kRed}, {0, kGreen}, {1, kGreen}, {1, kBlue}},
        {{0.5, kRed}, {0.5004, kBlue}},
        many,
    };
}

AffineTransform turned(double degrees, double scale)
{
    auto const angle = degrees * std::numbers::pi / 180;
    return {scale * std::cos(angle), scale * std::sin(angle), -scale * std::sin(angle),
        scale * std::cos(angle), 20, 11};
}

} // namespace

TEST(GradientSource, LinesFollowTheFormulaForAnyStopsAndTransform)
{
    AffineTransform const transforms[] = {{}, {1, 0, 0, -1, 0, 41}, turned(90, 1), turned(33, 2.5),
        {0.3, 0.1, -0.7, 0.2, 40, 20}, {40, 0, 0, 40, 5, 5}};
    std::pair<Point, Point> const lines[] = {
        {{10, 5}, {50, 5}}, {{10, 30}, {10, 3}}, {{5, 5}, {45, 25}}, {{60, 30}, {59, 31}}};
    for (auto const& stops : variousStops()) {
        for (auto const& transform : transforms) {
            for (auto const& [start, end] : lines) {
                expectGradient(linear(start, end, stops), transform);
                ASSERT_FALSE(HasFailure());
            }
        }
    }
}

TEST(GradientSource, CirclesFollowTheFormulaForAnyStopsAndTransform)
{
    struct {
        char const* name;
        Point start;
        double startRadius;
        Point end;
        double endRadius;
    } const circles[] = {
        {"around a point", {30, 20}, 0, {30, 20}, 25},
        {"a ring", {30.5, 20.5}, 10, {30.5, 20.5}, 15},
        {"a ring from outside", {30, 20}, 18, {30, 20}, 4},
        {"one within the other", {25, 18}, 3, {30, 20}, 28},
        {"the first around the second", {30, 20}, 28, {25, 18}, 3},
        {"touching inside", {10, 20}, 10, {20, 20}, 20},
        {"apart and growing", {10, 20}, 3, {50, 22}, 9},
        {"apart and shrinking", {10, 20}, 9, {50, 22}, 3},
        {"apart and equal", {20, 10}, 6, {40, 20}, 6},
        {"from a point outside", {5, 5}, 0, {40, 25}, 10},
    };
    for (auto const& [name, start, startRadius, end, endRadius] : circles) {
        SCOPED_TRACE(name);
        for (auto const& stops : variousStops()) {
            for (auto const& transform : {AffineTransform {}, turned(20, 0.8)}) {
                expectGradient(radial(start, startRadius, end, endRadius, stops), transform);
                ASSERT_FALSE(HasFailure());
            }
        }
    }
}

TEST(GradientSource, KeepsItsPlaceFarFromTheOrigin)
{
    std::vector<GradientStop> const stops = {{0, kRed}, {0.5, kVeil}, {1, kBlue}};
    expectGradient(linear({-900, 4000}, {5000, 9000}, stops), {}, {2000, 6000});
    expectGradient(radial({4000, 9000}, 10, {4000, 9000}, 4000, stops), {}, {2000, 6000});
}

TEST(GradientSource, IsOpaqueOnlyWhenEveryPixelIs)
{
    std::vector<GradientStop> const opaque = {{0, kRed}, {1, kBlue}};
    struct {
        Gradient gradient;
        bool expected;
    } const cases[] = {
        {linear({0, 0}, {9, 0}, opaque), true},
        {linear({0, 0}, {9, 0}, {{0, kRed}, {1, kVeil}}), false},
        {radial({0, 0}, 0, {0, 0}, 9, opaque), true},
        {radial({0, 0}, 2, {3, 0}, 9, opaque), true},
        {radial({0, 0}, 2, {30, 0}, 9, opaque), false},
    };
    for (auto const& [gradient, expected] : cases)
        EXPECT_EQ(expected, gradientSource(gradient, {})->isOpaque());
}

TEST(GradientSource, LocationsAndColorsAreClamped)
{
    Gradient const clamped = linear({0, 0}, {60, 0}, {{0, kGreen}, {1, kRed}});
    Gradient const wild = linear({0, 0}, {60, 0}, {{-3, {-1, 7, 0, 2}}, {4, {3, -2, 0, 1}}});
    EXPECT_EQ(draw(*gradientSource(clamped, {}), {}).bytes, draw(*gradientSource(wild, {}), {}).bytes);
}

TEST(GradientSource, NothingToDrawIsNoSource)
{
    constexpr auto kNan = std::numeric_limits<double>::quiet_NaN();
    constexpr auto kInfinity = std::numeric_limits<double>::infinity();
    std::vector<GradientStop> const stops = {{0, kRed}, {1, kBlue}};
    EXPECT_EQ(nullptr, gradientSource(linear({0, 0}, {9, 0}, {}), {}));
    EXPECT_EQ(nullptr, gradientSource(linear({3, 3}, {3, 3}, stops), {}));
    EXPECT_EQ(nullptr, gradientSource(linear({kNan, 0}, {9, 0}, stops), {}));
    EXPECT_EQ(nullptr, gradientSource(linear({0, 0}, {kInfinity, 0}, stops), {}));
    EXPECT_EQ(nullptr, gradientSource(linear({0, 0}, {9, 0}, {{kNan, kRed}}), {}));
    EXPECT_EQ(nullptr, gradientSource(radial({1, 1}, 5, {1, 1}, 5, stops), {}));
    EXPECT_EQ(nullptr, gradientSource(radial({1, 1}, 0, {5, 1}, 0, stops), {}));
    EXPECT_EQ(nullptr, gradientSource(radial({1, 1}, 0, {5, 1}, kInfinity, stops), {}));
    EXPECT_EQ(nullptr, gradientSource(linear({0, 0}, {9, 0}, stops), {1, 1, 1, 1, 0, 0}));
    EXPECT_EQ(nullptr, gradientSource(linear({0, 0}, {9, 0}, stops), {.a = kNan}));
}

TEST(GradientSource, ExtremeSizesStayNumbers)
{
    std::vector<GradientStop> const stops = {{0, kRed}, {1, kBlue}};
    for (auto const length : {1e-300, 1e-30, 1e-6, 1e9, 1e30, 1e300}) {
        SCOPED_TRACE(length);
        if (auto const source = gradientSource(linear({5, 5}, {5 + length, 5}, stops), {}))
            draw(*source, {});
        auto const source = gradientSource(radial({20.5, 20.5}, 0, {20.5, 20.5}, length, stops), {});
        ASSERT_NE(nullptr, source);
        auto const corner = draw(*source, {}).at(36, 22);
        EXPECT_EQ(length < 1 ? colorAt(stops, 1) : colorAt(stops, 0), corner);
    }
}

} // namespace velk::test

#include "platform/graphics/drawing/Coverage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <numeric>

namespace velk::graphics {
namespace {

constexpr IntRect kClip {0, 0, 200, 200};
constexpr auto kPi = std::numbers::pi;

Path lines(std::initializer_list<Point> points, bool isClosed = false)
{
    Path path;
    for (auto const point : points)
        path.isEmpty() ? path.moveTo(point) : path.lineTo(point);
    if (isClosed)
        path.close();
    return path;
}

// Pixels that the stroke covers.
double strokedArea(Path const& path, StrokeStyle const& style, AffineTransform const& map = {})
{
    auto const mask = coverageOf(strokeOutline(path, style, map), kClip);
    return std::accumulate(mask.values.begin(), mask.values.end(), 0.0) / 255;
}

StrokeStyle dashed(std::vector<double> dash, double phase = 0)
{
    return {.width = 4, .dash = std::move(dash), .dashPhase = phase};
}

TEST(Stroke, EndsInItsCaps)
{
    auto const line = lines({{50, 100.5}, {150, 100.5}});
    EXPECT_NEAR(strokedArea(line, {.width = 20}), 2000, 1);
    EXPECT_NEAR(strokedArea(line, {.width = 20, .cap = LineCap::Square}), 2400, 1);
    EXPECT_NEAR(strokedArea(line, {.width = 20, .cap = LineCap::Round}), 2000 + 100 * kPi, 3);
}

TEST(Stroke, JoinsItsLines)
{
    // Two lines of length 50 and width 20 share a square of half of the width; the join fills the outer one.
    auto const corner = lines({{50, 50}, {100, 50}, {100, 100}});
    auto const bare = 2 * 50 * 20.0 - 100;
    struct Case {
        LineJoin join;
        double limit;
        double area; ///< of the join
    };
    for (auto const& [join, limit, area] : {
             Case {LineJoin::Bevel, 10, 50},
             Case {LineJoin::Round, 10, 100 * kPi / 4},
             Case {LineJoin::Miter, 10, 100},
             Case {LineJoin::Miter, 1.42, 100}, // the square root of 2 is the ratio of a right angle
             Case {LineJoin::Miter, 1.41, 50},
             Case {LineJoin::Miter, 0, 50},
         })
        EXPECT_NEAR(strokedArea(corner, {.width = 20, .join = join, .miterLimit = limit}), bare + area, 2)
            << static_cast<int>(join) << ", " << limit;
}

TEST(Stroke, ClosesWithAJoinInsteadOfCaps)
{
    auto const square = lines({{50, 50}, {150, 50}, {150, 150}, {50, 150}}, true);
    EXPECT_NEAR(strokedArea(square, {.width = 20}), 120 * 120 - 80 * 80, 1);
    EXPECT_NEAR(strokedArea(square, {.width = 20, .cap = LineCap::Square, .join = LineJoin::Bevel}),
        120 * 120 - 80 * 80 - 4 * 50, 2);
    // As wide as the square, it leaves no hole.
    EXPECT_NEAR(strokedArea(square, {.width = 100}), 40000, 1);
}

TEST(Stroke, TurnsBackOnItself)
{
    auto const turn = lines({{50, 100}, {150, 100}, {50, 100}});
    EXPECT_NEAR(strokedArea(turn, {.width = 20}), 2000, 1);
    EXPECT_NEAR(strokedArea(turn, {.width = 20, .join = LineJoin::Round}), 2000 + 50 * kPi, 3);
}

TEST(Stroke, OfCurvesHasTheirLength)
{
    Path circle;
    circle.addArc({100, 100}, 60, 0, 2 * kPi);
    circle.close();
    EXPECT_NEAR(strokedArea(circle, {.width = 10}), 2 * kPi * 60 * 10, 15);
    EXPECT_NEAR(strokedArea(circle, {.width = 80}), kPi * 100 * 100 - kPi * 20 * 20, 15);
    // A pen wider than the curve's radius sweeps over what lies behind the centre.
    Path bend;
    bend.addArc({100, 100}, 3, 0, kPi);
    EXPECT_NEAR(strokedArea(bend, {.width = 60}), kPi / 2 * (33 * 33 + 27 * 27), 25);
}

TEST(Stroke, IsDrawnByThePenOfUserSpace)
{
    auto const across = lines({{20, 100}, {180, 100}});
    auto const down = lines({{100, 20}, {100, 180}});
    AffineTransform const stretched = {.a = 3, .d = 0.5};
    EXPECT_NEAR(strokedArea(across, {.width = 10}, stretched), 160 * 5, 1);
    EXPECT_NEAR(strokedArea(down, {.width = 10}, stretched), 160 * 30, 1);
    // A round join between lines in the same direction shows the pen: an ellipse at each end.
    EXPECT_NEAR(
        strokedArea(across, {.width = 10, .cap = LineCap::Round}, stretched), 160 * 5 + kPi * 15 * 2.5, 2);
    // Mirrored and turned, it is as wide.
    EXPECT_NEAR(strokedArea(across, {.width = 10}, {.a = 0, .b = -1, .c = -1, .d = 0}), 1600, 1);
}

TEST(Stroke, IsNothingWithoutPenOrLine)
{
    auto const line = lines({{50, 100}, {150, 100}});
    auto const nan = std::nan("");
    for (auto const width : {0.0, -1.0, nan, HUGE_VAL})
        EXPECT_TRUE(strokeOutline(line, {.width = width}, {}).isEmpty()) << width;
    EXPECT_TRUE(strokeOutline(line, {}, AffineTransform::scale(0, 0)).isEmpty());
    EXPECT_TRUE(strokeOutline(line, {}, {.a = 1, .b = 2, .c = 2, .d = 4}).isEmpty());
    // Points without a line between them (HTML Canvas, tracing a path).
    for (auto const& path : {lines({{50, 50}}), lines({{50, 50}, {50, 50}}), lines({{50, 50}}, true)})
        EXPECT_TRUE(strokeOutline(path, {.width = 9, .cap = LineCap::Round}, {}).isEmpty());
}

TEST(Stroke, IgnoresRepeatedPoints)
{
    auto const plain = lines({{50, 50}, {100, 50}, {100, 100}}, true);
    auto const repeated =
        lines({{50, 50}, {50, 50}, {100, 50}, {100, 50}, {100, 100}, {100, 100}, {50, 50}, {50, 50}}, true);
    EXPECT_NEAR(strokedArea(repeated, {.width = 20}), strokedArea(plain, {.width = 20}), 0.5);
}

TEST(Stroke, FollowsItsDashes)
{
    auto const line = lines({{50, 100}, {150, 100}});
    struct Case {
        StrokeStyle style;
        double length; ///< of all dashes
    };
    for (auto const& [style, length] : {
             Case {dashed({10, 10}), 50},
             Case {dashed({10}), 50},
             Case {dashed({30, 10, 5}), 30 + 5 + 10 + 10}, // the pattern is 30, 10, 5, 30, 10, 5
             Case {dashed({10, 10}, 5), 50},
             Case {dashed({60, 30}, 30), 30 + 40},
             Case {dashed({60, 30}, -10), 60 + 0},
             Case {dashed({60, 30}, 90 * 1e6 + 30), 30 + 40},
             Case {dashed({500, 10}), 100},
             Case {dashed({0, 10}), 0},
             Case {dashed({10, 0}), 100},
             Case {dashed({1e-9, 3e-9}), 25}, // as an even tone
             Case {dashed({}), 100},
             Case {dashed({0, 0}), 100},
             Case {dashed({5, -1}), 100},
             Case {dashed({5, std::nan("")}), 100},
             Case {dashed({5, HUGE_VAL}), 100},
         })
        EXPECT_NEAR(strokedArea(line, style) / 4, length, 0.5)
            << testing::PrintToString(style.dash) << ", " << style.dashPhase;
}

TEST(Stroke, DashesGoRoundCornersAndTheEndOfAClosedLine)
{
    auto const square = lines({{50, 50}, {150, 50}, {150, 150}, {50, 150}}, true);
    auto style = dashed({30, 70}, 15);
    style.width = 20;
    // A dash of 30 around each corner, the first one included: two arms that share a quarter of the corner.
    EXPECT_NEAR(strokedArea(square, style), 4 * (2 * 15 * 20 - 100 + 100), 1);
    // Dots have caps and no length.
    StrokeStyle const dots = {.width = 10, .cap = LineCap::Round, .dash = {0, 25}};
    EXPECT_NEAR(strokedArea(lines({{50, 100}, {149, 100}}), dots), 4 * 25 * kPi, 3);
}

TEST(Stroke, DashesInUserSpace)
{
    auto const line = lines({{0, 100}, {200, 100}});
    StrokeStyle const style = {.width = 1, .dash = {2, 3}};
    EXPECT_NEAR(strokedArea(line, style, AffineTransform::scale(10, 4)), 200 * 4 * 2 / 5.0, 1);
}

TEST(Stroke, OfEndlessLinesIsDrawnWhereItIsSeen)
{
    EXPECT_NEAR(strokedArea(lines({{-1e9, 100}, {1e9, 100}}), {.width = 10}), 2000, 1);
    EXPECT_NEAR(strokedArea(lines({{100, 100}, {100, 1e9}}), {.width = 10, .cap = LineCap::Round}),
        1000 + 12.5 * kPi, 2);
    EXPECT_NEAR(strokedArea(lines({{-1e9, 0}, {1e9, 0}, {100, 1e9}}), {.width = 1e12}), 40000, 1);
}

} // namespace
} // namespace velk::graphics

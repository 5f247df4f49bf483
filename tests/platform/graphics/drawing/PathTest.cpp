#include "platform/graphics/drawing/Path.h"

#include "platform/graphics/drawing/BitmapContext.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace velk::graphics {
namespace {

constexpr auto kPi = std::numbers::pi;
auto const kNan = std::nan("");

double distance(Point a, Point b)
{
    return std::hypot(a.x - b.x, a.y - b.y);
}

std::unique_ptr<BitmapContext> context()
{
    return BitmapContext::create({100, 100}).value();
}

TEST(Path, TakesNothingBeforeAStartAndNothingThatIsNotFinite)
{
    Path path;
    path.lineTo({1, 1});
    path.quadTo({1, 1}, {2, 2});
    path.close();
    path.moveTo({kNan, 0});
    EXPECT_TRUE(path.isEmpty());
    path.moveTo({1, 2});
    path.lineTo({HUGE_VAL, 0});
    path.cubicTo({0, 0}, {kNan, 0}, {1, 1});
    path.addRect({0, 0, HUGE_VAL, 1});
    path.addArc({0, 0}, kNan, 0, 1);
    path.addArc({0, 0}, -1, 0, 1);
    EXPECT_EQ(path.verbs().size(), 1u);
    EXPECT_EQ(path.currentPoint(), (Point {1, 2}));
}

TEST(Path, GoesOnWhereAClosedSubpathBegan)
{
    Path path;
    path.moveTo({10, 10});
    path.lineTo({20, 10});
    path.close();
    EXPECT_EQ(path.currentPoint(), (Point {10, 10}));
}

TEST(Path, ContainsByTheNonZeroRuleItsEdgesIncluded)
{
    Path ring;
    ring.addArc({50, 50}, 40, 0, 2 * kPi);
    ring.close();
    ring.moveTo({70, 50});
    ring.addArc({50, 50}, 20, 0, 2 * kPi);
    Path square;
    square.addRect({10, 10, 50, 50});
    Path open;
    open.moveTo({0, 0});
    open.lineTo({10, 0});
    open.lineTo({10, 10});
    struct Case {
        Path const& path;
        Point point;
        bool isInside;
    };
    for (auto const& [path, point, isInside] : {
             Case {ring, {50, 50}, true},
             Case {ring, {50, 11}, true},
             Case {ring, {50, 9}, false},
             Case {ring, {21.8, 21.8}, true},
             Case {ring, {21.6, 21.6}, false}, // 28.28 from the centre
             Case {square, {10, 10}, true},
             Case {square, {60, 35}, true},
             Case {square, {35, 60}, true},
             Case {square, {60.001, 35}, false},
             Case {square, {9.999, 35}, false},
             Case {open, {8, 4}, true},
             Case {open, {4, 8}, false},
             Case {open, {5, 5}, true},
             Case {square, {kNan, 35}, false},
         })
        EXPECT_EQ(path.contains(point), isInside) << point.x << ", " << point.y;
}

TEST(Path, ArcsSweepInTheDirectionOfGrowingAngles)
{
    struct Case {
        double start, end;
        Point last;
        FloatRect bounds; ///< of the unit circle's part, in tenths
    };
    for (auto const& [start, end, last, bounds] : {
             Case {0, kPi / 2, {0, 1}, {0, 0, 1, 1}},
             Case {kPi / 2, 0, {1, 0}, {-1, -1, 2, 2}}, // three quarters
             Case {0, 9 * kPi, {1, 0}, {-1, -1, 2, 2}}, // one full turn
             Case {0, -kPi / 2, {0, -1}, {-1, -1, 2, 2}},
             Case {kPi, 2 * kPi, {1, 0}, {-1, -1, 2, 1}},
             Case {1, 1, {std::cos(1), std::sin(1)}, {std::cos(1), std::sin(1), 0, 0}},
         }) {
        Path path;
        path.addArc({0, 0}, 1, start, end);
        EXPECT_LT(distance(path.currentPoint(), last), 1e-12) << start << " to " << end;
        auto const found = path.controlBounds(); // of control points: up to 2 percent larger
        EXPECT_NEAR(found.x, bounds.x, 0.03) << start << " to " << end;
        EXPECT_NEAR(found.y, bounds.y, 0.03) << start << " to " << end;
        EXPECT_NEAR(found.width, bounds.width, 0.06) << start << " to " << end;
        EXPECT_NEAR(found.height, bounds.height, 0.06) << start << " to " << end;
    }
}

TEST(Path, TangentArcsTouchBothLines)
{
    struct Case {
        Point start, corner, end;
        double radius;
        Point touch, lastTouch, center;
    };
    for (auto const& [start, corner, end, radius, touch, lastTouch, center] : {
             Case {{10, 10}, {50, 10}, {50, 50}, 20, {30, 10}, {50, 30}, {30, 30}},
             Case {{10, 50}, {50, 50}, {50, 10}, 20, {30, 50}, {50, 30}, {30, 30}},
             Case {{50, 10}, {50, 50}, {10, 50}, 5, {50, 45}, {45, 50}, {45, 45}},
             Case {{60, 50}, {50, 50}, {50, 45}, 30, {80, 50}, {50, 20}, {80, 20}}, // beyond both ends
         }) {
        auto const canvas = context();
        canvas->moveTo(start.x, start.y);
        canvas->addArcTo(corner.x, corner.y, end.x, end.y, radius);
        auto const points = canvas->path().points();
        ASSERT_EQ(points.size(), 8u);
        EXPECT_LT(distance(points[1], touch), 1e-9);
        EXPECT_LT(distance(points[7], lastTouch), 1e-9);
        // A quarter of the circle in two curves, smooth in the middle.
        EXPECT_NEAR(distance(points[4], center), radius, 1e-9);
        EXPECT_NEAR(distance(points[3], points[5]), 2 * distance(points[3], points[4]), 1e-9);
        EXPECT_NEAR(distance(points[3], points[5]), 2 * distance(points[4], points[5]), 1e-9);
        EXPECT_LT(distance(points[2], points[3]), radius);
    }
}

TEST(Path, TangentArcsWithoutAnAngleAreALineToTheCorner)
{
    struct Case {
        Point corner, end;
        double radius;
    };
    for (auto const& [corner, end, radius] : {Case {{10, 10}, {50, 50}, 5}, Case {{40, 10}, {40, 10}, 5},
             Case {{40, 10}, {90, 10}, 5}, Case {{40, 10}, {20, 10}, 5}, Case {{40, 10}, {40, 50}, 0}}) {
        auto const canvas = context();
        canvas->addArcTo(corner.x, corner.y, end.x, end.y, radius);
        EXPECT_TRUE(canvas->path().isEmpty());
        canvas->moveTo(10, 10);
        canvas->addArcTo(corner.x, corner.y, end.x, end.y, radius);
        EXPECT_EQ(canvas->path().points().size(), 2u);
        EXPECT_EQ(canvas->path().currentPoint(), corner);
    }
}

TEST(Path, OfAContextLiesWhereItWasPut)
{
    auto const canvas = context();
    canvas->concatenate({.d = -1, .ty = 100});
    canvas->addRect({10, 20, 30, 40});
    canvas->concatenate(AffineTransform::scale(2, 2));
    EXPECT_EQ(canvas->path().points()[0], (Point {10, 80}));
    EXPECT_TRUE(canvas->pathContains(10, 20)); // (20, 40) on the canvas
    EXPECT_FALSE(canvas->pathContains(30, 40));
    auto const bounds = canvas->pathBounds();
    EXPECT_EQ(
        (std::array {bounds.x, bounds.y, bounds.width, bounds.height}), (std::array {5.0, 10.0, 15.0, 20.0}));
    canvas->concatenate(AffineTransform::scale(0, 0));
    EXPECT_EQ(canvas->pathBounds().width, 0);
}

} // namespace
} // namespace velk::graphics

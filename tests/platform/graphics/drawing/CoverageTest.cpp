#include "platform/graphics/drawing/Coverage.h"

#include "platform/graphics/drawing/CoverageCells.h"
#include "support/TestSimd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <numeric>
#include <random>

namespace velk::graphics {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr IntRect kHundred {0, 0, 100, 100};

Path polygon(std::initializer_list<Point> points)
{
    Path path;
    for (auto const point : points)
        path.isEmpty() ? path.moveTo(point) : path.lineTo(point);
    path.close();
    return path;
}

Path disc(Point center, double radius)
{
    Path path;
    path.addArc(center, radius, 0, 2 * std::numbers::pi);
    return path;
}

// In pixels.
double areaOf(CoverageMask const& mask)
{
    return std::accumulate(mask.values.begin(), mask.values.end(), 0.0) / 255;
}

int coverageAt(CoverageMask const& mask, std::int32_t x, std::int32_t y)
{
    auto const& bounds = mask.bounds;
    if (x < bounds.x || y < bounds.y || x >= bounds.x + bounds.width || y >= bounds.y + bounds.height)
        return 0;
    return mask.row(y)[x - bounds.x];
}

TEST(Coverage, IsTheAreaOfEachPixel)
{
    auto const mask = coverageOf(polygon({{1.5, 1}, {3, 1}, {3, 2.25}, {1.5, 2.25}}), kHundred);
    EXPECT_EQ(mask.bounds, (IntRect {1, 1, 2, 2}));
    EXPECT_THAT(mask.values, ElementsAre(128, 255, 32, 64)); // 1/2, 1, 1/8, 1/4
}

TEST(Coverage, OfADiagonalIsHalfOfThePixelsThatItHalves)
{
    auto const mask = coverageOf(polygon({{0, 0}, {3, 3}, {0, 3}}), kHundred);
    EXPECT_THAT(mask.values, ElementsAre(128, 0, 0, 255, 128, 0, 255, 255, 128));
}

TEST(Coverage, WindsNonZero)
{
    struct Case {
        char const* what;
        Path path;
        int inTheMiddle;
    };
    auto sameWay = polygon({{0, 0}, {9, 0}, {9, 9}, {0, 9}});
    auto otherWay = sameWay;
    sameWay.append(polygon({{3, 3}, {6, 3}, {6, 6}, {3, 6}}));
    otherWay.append(polygon({{3, 3}, {3, 6}, {6, 6}, {6, 3}}));
    // A pentagram's middle is wound around twice.
    Path star;
    for (int i = 0; i < 5; ++i) {
        auto const angle = i * 4 * std::numbers::pi / 5;
        Point const tip = {4.5 + 4.5 * std::sin(angle), 4.5 - 4.5 * std::cos(angle)};
        i == 0 ? star.moveTo(tip) : star.lineTo(tip);
    }
    for (auto const& [what, path, inTheMiddle] : {Case {"both squares the same way", sameWay, 255},
             Case {"a hole", otherWay, 0}, Case {"star", star, 255}})
        EXPECT_EQ(coverageAt(coverageOf(path, kHundred), 4, 4), inTheMiddle) << what;
}

TEST(Coverage, OfDiscsAddsUpToTheirArea)
{
    for (auto const radius : {0.3, 1.0, 5.0, 17.3, 45.0}) {
        auto const area = std::numbers::pi * radius * radius;
        EXPECT_NEAR(areaOf(coverageOf(disc({50.2, 49.7}, radius), kHundred)), area, 0.005 * area + 0.03)
            << radius;
    }
}

TEST(Coverage, OfAPartIsThePartOfTheCoverage)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> place(-60, 160);
    Path path;
    path.moveTo({place(random), place(random)});
    for (int i = 0; i < 40; ++i)
        path.lineTo({place(random), place(random)});
    auto const whole = coverageOf(path, {-100, -100, 400, 400});
    for (auto const part :
        {kHundred, IntRect {20, 30, 17, 5}, IntRect {0, 0, 1, 100}, IntRect {99, 3, 90, 1}}) {
        auto const mask = coverageOf(path, part);
        for (auto y = part.y; y < part.y + part.height; ++y) {
            for (auto x = part.x; x < part.x + part.width; ++x)
                ASSERT_NEAR(coverageAt(mask, x, y), coverageAt(whole, x, y), 3) << x << ", " << y;
        }
    }
}

TEST(Coverage, OfTallAndWideShapesIsSeamless)
{
    // Far more rows and columns than are worked on at a time.
    struct Case {
        IntRect clip;
        Path path;
        double area;
    };
    Case const cases[] = {
        {{0, 0, 40, 20000}, polygon({{0, 0}, {40, 20000}, {0, 20000}}), 400000},
        {{0, 0, 100000, 12}, polygon({{0, 12}, {100000, 0}, {100000, 12}}), 600000},
        {{0, 0, 2000, 1500}, disc({1000, 750}, 700), 700.0 * 700 * std::numbers::pi},
    };
    for (auto const& [clip, path, area] : cases)
        EXPECT_NEAR(areaOf(coverageOf(path, clip)), area, 1e-4 * area);
}

TEST(Coverage, OfHostileNumbersIsRightWhereItIsSeen)
{
    struct Case {
        char const* what;
        Path path;
        double area;
    };
    Path hugeCircle = disc({1e9 + 50, 50}, 1e9);
    Path hugeCurve;
    hugeCurve.moveTo({-1e300, 50});
    hugeCurve.cubicTo({-1e300, 50}, {1e300, 50}, {1e300, 50});
    hugeCurve.lineTo({1e300, 1e300});
    hugeCurve.lineTo({-1e300, 1e300});
    Case const cases[] = {
        {"everything", polygon({{-1e300, -1e300}, {1e300, -1e300}, {1e300, 1e300}, {-1e300, 1e300}}), 10000},
        {"a band", polygon({{-1e9, 20}, {1e9, 20}, {1e9, 30.5}, {-1e9, 30.5}}), 1050},
        {"below a steep line", polygon({{0, -1e9}, {100, 1e9}, {-1e9, 1e9}}), 5000},
        {"a circle's edge", hugeCircle, 5000},
        {"below a curve", hugeCurve, 5000},
        {"far away", polygon({{1e12, 1e12}, {2e12, 1e12}, {2e12, 2e12}}), 0},
        {"a point", polygon({{5, 5}, {5, 5}, {5, 5}}), 0},
        {"nothing", {}, 0},
    };
    for (auto const& [what, path, area] : cases)
        EXPECT_NEAR(areaOf(coverageOf(path, kHundred)), area, 1) << what;
}

TEST(Coverage, OfManyPointsIsTheirs)
{
    Path comb;
    comb.moveTo({0, 100});
    for (int i = 0; i < 100000; ++i) {
        comb.lineTo({i * 0.001, 50});
        comb.lineTo({i * 0.001 + 0.0005, 100});
    }
    EXPECT_NEAR(areaOf(coverageOf(comb, kHundred)), 2500, 100); // half of what lies between the teeth's ends
}

TEST(Coverage, OfCellsIsTheSameWithEveryInstructionSet)
{
    std::mt19937 random(3);
    std::uniform_int_distribution<std::int32_t> height(-2 * kFullCell, 2 * kFullCell);
    for (std::size_t const count : {8u, 16u, 24u, 1000u}) {
        std::vector<std::uint32_t> cells(count);
        for (auto& cell : cells)
            cell = static_cast<std::uint32_t>(height(random));
        std::vector<std::uint8_t> expected(count);
        std::uint32_t last = 77;
        for (std::size_t i = 0; i < count; ++i)
            expected[i] = coverageOfCells(last += cells[i]);
        test::onEveryTarget([&] {
            auto taken = cells;
            std::vector<std::uint8_t> coverage(count);
            EXPECT_EQ(takeCoverage(taken.data(), count, 77, coverage.data()), last);
            EXPECT_THAT(coverage, ElementsAreArray(expected));
            EXPECT_THAT(taken, testing::Each(0u));
        });
    }
}

} // namespace
} // namespace velk::graphics

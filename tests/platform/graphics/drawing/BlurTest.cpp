#include "platform/graphics/drawing/Blur.h"

#include "support/TestSimd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace velk::test {

using namespace graphics;

namespace {

constexpr IntRect kEverywhere {-4000, -4000, 8000, 8000};

CoverageMask filled(IntRect const& bounds)
{
    return {bounds, std::vector<std::uint8_t>(static_cast<std::size_t>(bounds.width) * bounds.height, 255)};
}

// Not symmetric, with thin and thick parts: a letter F with a pale edge.
CoverageMask letter(IntRect const& bounds)
{
    CoverageMask mask {
        bounds, std::vector<std::uint8_t>(static_cast<std::size_t>(bounds.width) * bounds.height)};
    for (std::int32_t y = 0; y < bounds.height; ++y) {
        for (std::int32_t x = 0; x < bounds.width; ++x) {
            auto const isStem = x < bounds.width / 4;
            auto const isBar = y < bounds.height / 5 || (y > bounds.height / 2 && y < bounds.height * 3 / 5);
            mask.row(bounds.y + y)[x] = isStem || isBar ? 255 : y == bounds.height - 1 ? 90 : 0;
        }
    }
    return mask;
}

int valueAt(CoverageMask const& mask, std::int32_t x, std::int32_t y)
{
    auto const& bounds = mask.bounds;
    if (x < bounds.x || x >= bounds.x + bounds.width || y < bounds.y || y >= bounds.y + bounds.height)
        return 0;
    return mask.row(y)[x - bounds.x];
}

// The weight of an input pixel at `distance`: the Gaussian over the width of a pixel.
std::vector<double> gaussian(double deviation, int reach)
{
    std::vector<double> weights;
    for (int i = 0; i <= reach; ++i)
        weights.push_back(std::exp(-0.5 * i * i / (deviation * deviation)));
    auto const sum = 2 * std::accumulate(weights.begin(), weights.end(), 0.0) - weights[0];
    for (auto& weight : weights)
        weight /= sum;
    return weights;
}

// Blurred rows of the mask as real numbers, for the columns of `area`.
std::vector<double> blurredRow(
    CoverageMask const& mask, std::int32_t y, IntRect const& area, std::vector<double> const& weights)
{
    std::vector<double> row;
    for (auto x = area.x; x < area.x + area.width; ++x) {
        double sum = 0;
        for (auto from = mask.bounds.x; from < mask.bounds.x + mask.bounds.width; ++from) {
            auto const distance = static_cast<std::size_t>(std::abs(from - x));
            sum += distance < weights.size() ? weights[distance] * valueAt(mask, from, y) : 0;
        }
        row.push_back(sum);
    }
    return row;
}

double largestError(CoverageMask const& mask, double deviation, IntRect const& area)
{
    auto const weights = gaussian(deviation, static_cast<int>(std::ceil(5 * deviation)));
    std::vector<std::vector<double>> rows;
    for (auto y = mask.bounds.y; y < mask.bounds.y + mask.bounds.height; ++y)
        rows.push_back(blurredRow(mask, y, area, weights));
    auto const result = blurred(mask, deviation, area);
    double largest = 0;
    for (auto y = area.y; y < area.y + area.height; ++y) {
        for (std::int32_t x = 0; x < area.width; ++x) {
            double sum = 0;
            for (std::size_t from = 0; from < rows.size(); ++from) {
                auto const distance =
                    static_cast<std::size_t>(std::abs(mask.bounds.y + static_cast<std::int32_t>(from) - y));
                if (distance < weights.size())
                    sum += weights[distance] * rows[from][static_cast<std::size_t>(x)];
            }
            largest = std::max(largest, std::abs(sum - valueAt(result, area.x + x, y)));
        }
    }
    return largest;
}

double massOf(CoverageMask const& mask)
{
    return std::accumulate(mask.values.begin(), mask.values.end(), 0.0);
}

} // namespace

TEST(Blur, IsCloseToAGaussian)
{
    // Three boxes come within 3 in 100 of the bell curve.
    constexpr double kTaps = 1.5;
    constexpr double kBoxes = 7.5;
    struct {
        double deviation;
        double tolerance;
    } const cases[] = {{0.2, 0.6}, {0.5, kTaps}, {1, kTaps}, {1.7, kTaps}, {2, kTaps}, {2.1, kBoxes},
        {3.3, kBoxes}, {7, kBoxes}, {19.5, kBoxes}, {47, 2.5}, {49, 2.5}, {80, 2.5}};
    auto const mask = letter({20, -10, 61, 47});
    for (auto const& [deviation, tolerance] : cases) {
        SCOPED_TRACE(deviation);
        onEveryTarget([&] { EXPECT_LT(largestError(mask, deviation, {-20, -40, 131, 100}), tolerance); });
    }
}

TEST(Blur, KeepsTheMiddleOfWhatIsLargeEnough)
{
    for (auto const deviation : {0.7, 3.0, 30.0, 100.0}) {
        SCOPED_TRACE(deviation);
        auto const result = blurred(filled({-1000, -1000, 2000, 2000}), deviation, {-5, 3, 21, 7});
        ASSERT_EQ((IntRect {-5, 3, 21, 7}), result.bounds);
        EXPECT_TRUE(
            std::all_of(result.values.begin(), result.values.end(), [](int value) { return value == 255; }));
    }
}

TEST(Blur, LosesNothingWithoutAClip)
{
    auto const mask = letter({3, 5, 200, 160});
    for (auto const deviation : {0.4, 1.0, 2.0, 2.5, 10.0, 40.0, 50.0, 70.0}) {
        SCOPED_TRACE(deviation);
        auto const result = blurred(mask, deviation, kEverywhere);
        EXPECT_NEAR(1, massOf(result) / massOf(mask), 0.01);
    }
}

TEST(Blur, IsSymmetric)
{
    for (auto const deviation : {0.8, 2.0, 3.7, 21.0, 55.0, 130.0}) {
        for (auto const size : {Size {40, 31}, Size {31, 40}}) {
            SCOPED_TRACE(deviation);
            IntRect const bounds {7, -3, size.width, size.height};
            auto const result = blurred(filled(bounds), deviation, kEverywhere);
            auto const mirroredX = [&](std::int32_t x) { return 2 * bounds.x + bounds.width - 1 - x; };
            auto const mirroredY = [&](std::int32_t y) { return 2 * bounds.y + bounds.height - 1 - y; };
            for (auto y = result.bounds.y; y < result.bounds.y + result.bounds.height; ++y) {
                for (auto x = result.bounds.x; x < result.bounds.x + result.bounds.width; ++x) {
                    ASSERT_NEAR(valueAt(result, x, y), valueAt(result, mirroredX(x), y), 1);
                    ASSERT_NEAR(valueAt(result, x, y), valueAt(result, x, mirroredY(y)), 1);
                }
            }
        }
    }
}

TEST(Blur, ReachesNoFartherThanItSays)
{
    IntRect const bounds {0, 0, 20, 20};
    for (auto const deviation : {0.3, 1.9, 2.5, 20.0, 90.0}) {
        SCOPED_TRACE(deviation);
        auto const reach = blurReach(deviation);
        auto const result = blurred(filled(bounds), deviation, kEverywhere);
        EXPECT_EQ((IntRect {-reach, -reach, 20 + 2 * reach, 20 + 2 * reach}), result.bounds);
    }
}

TEST(Blur, APartIsThatPartOfTheWhole)
{
    auto const mask = letter({0, 0, 70, 50});
    for (auto const deviation : {1.2, 6.0, 60.0}) {
        auto const whole = blurred(mask, deviation, kEverywhere);
        for (auto const& clip :
            {IntRect {10, 12, 5, 3}, IntRect {-9, 40, 30, 200}, IntRect {66, -30, 9, 31}}) {
            SCOPED_TRACE(deviation);
            auto const part = blurred(mask, deviation, clip);
            for (auto y = part.bounds.y; y < part.bounds.y + part.bounds.height; ++y) {
                for (auto x = part.bounds.x; x < part.bounds.x + part.bounds.width; ++x)
                    ASSERT_EQ(valueAt(whole, x, y), valueAt(part, x, y)) << x << ", " << y;
            }
            EXPECT_LE(part.bounds.width, clip.width);
            EXPECT_LE(part.bounds.height, clip.height);
        }
    }
}

TEST(Blur, WithoutDeviationTheMaskIsCut)
{
    auto const mask = letter({0, 0, 30, 30});
    for (auto const deviation : {0.0, -4.0}) {
        auto const result = blurred(mask, deviation, {5, 4, 100, 3});
        ASSERT_EQ((IntRect {5, 4, 25, 3}), result.bounds);
        for (std::int32_t x = 5; x < 30; ++x)
            ASSERT_EQ(valueAt(mask, x, 5), valueAt(result, x, 5));
    }
    EXPECT_TRUE(blurred(mask, 3, {200, 0, 10, 10}).isEmpty());
    EXPECT_TRUE(blurred({}, 3, {0, 0, 10, 10}).isEmpty());
    EXPECT_TRUE(blurred(mask, 3, {0, 0, 0, 10}).isEmpty());
}

TEST(Blur, AnyDeviationFadesWithinTheClip)
{
    auto const mask = letter({0, 0, 300, 200});
    for (auto const deviation : {1e-300, 5e3, 1e6, 1e9, 1e300, std::numeric_limits<double>::infinity()}) {
        SCOPED_TRACE(deviation);
        auto const result = blurred(mask, deviation, {-50, -50, 400, 300});
        EXPECT_LE(result.bounds.width, 400);
        EXPECT_LE(blurReach(deviation), 4096);
        if (deviation > 1e4) {
            EXPECT_EQ(0, massOf(result));
        }
    }
    EXPECT_EQ(0, blurReach(std::numeric_limits<double>::quiet_NaN()));
}

} // namespace velk::test

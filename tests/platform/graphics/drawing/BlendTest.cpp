#include "platform/graphics/drawing/Blend.h"

#include "support/TestSimd.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace velk::test {

using namespace graphics;

namespace {

using Pixel = std::array<std::uint8_t, 4>;
using RealPixel = std::array<double, 4>;

// What a mode gives on premultiplied components in 0..1: the source's share and the target's share.
struct Operator {
    BlendMode mode;
    char const* name;
    double (*component)(double source, double target, double sourceAlpha, double targetAlpha);
};

constexpr Operator kOperators[] = {
    {BlendMode::Normal, "Normal", [](double s, double t, double sa, double) { return s + t * (1 - sa); }},
    {BlendMode::SourceAtop, "SourceAtop",
        [](double s, double t, double sa, double ta) { return s * ta + t * (1 - sa); }},
    {BlendMode::SourceIn, "SourceIn", [](double s, double, double, double ta) { return s * ta; }},
    {BlendMode::SourceOut, "SourceOut", [](double s, double, double, double ta) { return s * (1 - ta); }},
    {BlendMode::DestinationOver, "DestinationOver",
        [](double s, double t, double, double ta) { return t + s * (1 - ta); }},
    {BlendMode::DestinationAtop, "DestinationAtop",
        [](double s, double t, double sa, double ta) { return t * sa + s * (1 - ta); }},
    {BlendMode::DestinationIn, "DestinationIn", [](double, double t, double sa, double) { return t * sa; }},
    {BlendMode::DestinationOut, "DestinationOut",
        [](double, double t, double sa, double) { return t * (1 - sa); }},
    {BlendMode::Lighten, "Lighten",
        [](double s, double t, double sa, double ta) {
            return s * (1 - ta) + t * (1 - sa) + std::max(s * ta, t * sa);
        }},
    {BlendMode::Copy, "Copy", [](double s, double, double, double) { return s; }},
    {BlendMode::Xor, "Xor",
        [](double s, double t, double sa, double ta) { return s * (1 - ta) + t * (1 - sa); }},
};

// The blend without any rounding, of a source scaled by alpha.
RealPixel blendExactly(Operator const& op, Pixel source, Pixel target, double alpha, double coverage)
{
    RealPixel result;
    for (std::size_t i = 0; i < 4; ++i) {
        auto const t = target[i] / 255.0;
        auto const blended =
            op.component(source[i] / 255.0 * alpha, t, source[3] / 255.0 * alpha, target[3] / 255.0);
        result[i] = 255 * (blended * coverage + t * (1 - coverage));
    }
    return result;
}

class Pixels {
public:
    // A mixture of any colours, and of the extremes that formulas fail at.
    Pixel next()
    {
        auto const alpha = number();
        auto const color = [&] { return static_cast<std::uint8_t>(number() * alpha / 255); };
        return {color(), color(), color(), static_cast<std::uint8_t>(alpha)};
    }
    unsigned number()
    {
        auto const bits = m_random();
        return bits % 4 == 0 ? 0 : bits % 4 == 1 ? 255 : bits >> 8 & 255;
    }
    std::vector<std::uint8_t> row(std::size_t count)
    {
        std::vector<std::uint8_t> row;
        for (std::size_t i = 0; i < count; ++i) {
            auto const pixel = next();
            row.insert(row.end(), pixel.begin(), pixel.end());
        }
        return row;
    }
    // Runs of nothing, of everything, and of edges.
    std::vector<std::uint8_t> coverage(std::size_t count)
    {
        std::vector<std::uint8_t> values;
        while (values.size() < count)
            values.insert(values.end(), m_random() % 12, static_cast<std::uint8_t>(number()));
        values.resize(count);
        return values;
    }

private:
    std::mt19937 m_random {7};
};

Pixel pixelOf(std::vector<std::uint8_t> const& row, std::size_t index)
{
    return {row[4 * index], row[4 * index + 1], row[4 * index + 2], row[4 * index + 3]};
}

void expectNear(RealPixel const& expected, Pixel const& found, double tolerance)
{
    for (std::size_t i = 0; i < 4; ++i)
        ASSERT_NEAR(expected[i], found[i], tolerance) << "channel " << i;
}

constexpr std::size_t kCounts[] = {1, 2, 3, 4, 5, 7, 8, 9, 10, 15, 16, 17, 31, 33, 100};
// Without scaling only the result is rounded.
constexpr double kOneRounding = 0.5 + 1e-9;

} // namespace

TEST(Blend, IsExactForWholePixels)
{
    Pixels random;
    for (auto const& op : kOperators) {
        SCOPED_TRACE(op.name);
        auto const source = random.row(500);
        auto const target = random.row(500);
        onEveryTarget([&] {
            auto result = target;
            blendPixels(op.mode, result.data(), source.data(), 255, nullptr, 500);
            for (std::size_t i = 0; i < 500; ++i) {
                auto const exact = blendExactly(op, pixelOf(source, i), pixelOf(target, i), 1, 1);
                ASSERT_NO_FATAL_FAILURE(expectNear(exact, pixelOf(result, i), kOneRounding));
            }
        });
    }
}

// Every alpha over every byte: a colour on a whole span has a way of its own.
TEST(Blend, IsExactForWholeSpansOfAColor)
{
    std::vector<std::uint8_t> target;
    for (unsigned byte = 0; byte < 256; ++byte)
        target.insert(target.end(), 4, static_cast<std::uint8_t>(byte));
    onEveryTarget([&] {
        for (unsigned alpha = 0; alpha < 256; ++alpha) {
            PremultipliedColor const color {0, 0, 0, static_cast<std::uint8_t>(alpha)};
            auto result = target;
            blendColor(BlendMode::Normal, result.data(), color, nullptr, 256);
            for (std::size_t i = 0; i < 256; ++i) {
                auto const exact = static_cast<double>(i) * (255 - alpha) / 255;
                ASSERT_NO_FATAL_FAILURE(
                    expectNear({exact, exact, exact, exact + alpha}, pixelOf(result, i), kOneRounding));
            }
        }
    });
}

TEST(Blend, AppliesAlphaAndCoverageToSpansOfAnyLength)
{
    Pixels random;
    for (auto const& op : kOperators) {
        SCOPED_TRACE(op.name);
        for (auto const count : kCounts) {
            auto const source = random.row(count);
            auto const target = random.row(count);
            auto const coverage = random.coverage(count);
            auto const alpha = static_cast<std::uint8_t>(random.number());
            onEveryTarget([&] {
                auto result = target;
                blendPixels(op.mode, result.data(), source.data(), alpha, coverage.data(), count);
                for (std::size_t i = 0; i < count; ++i) {
                    auto const exact = blendExactly(
                        op, pixelOf(source, i), pixelOf(target, i), alpha / 255.0, coverage[i] / 255.0);
                    ASSERT_NO_FATAL_FAILURE(expectNear(exact, pixelOf(result, i), 2));
                    if (coverage[i] == 0) {
                        ASSERT_EQ(pixelOf(target, i), pixelOf(result, i));
                    }
                }
            });
        }
    }
}

TEST(Blend, GivesTheSameBytesOnEveryTarget)
{
    Pixels random;
    for (auto const& op : kOperators) {
        SCOPED_TRACE(op.name);
        // Colours above their alpha, as scripts can write them, must not wrap around.
        std::vector<std::uint8_t> source(4 * 61);
        std::vector<std::uint8_t> target(4 * 61);
        std::generate(
            source.begin(), source.end(), [&] { return static_cast<std::uint8_t>(random.number()); });
        std::generate(
            target.begin(), target.end(), [&] { return static_cast<std::uint8_t>(random.number()); });
        auto const coverage = random.coverage(61);
        std::vector<std::uint8_t> first;
        onEveryTarget([&] {
            auto result = target;
            std::vector<std::uint8_t> results;
            for (auto const* cover : {coverage.data(), static_cast<std::uint8_t const*>(nullptr)}) {
                blendPixels(op.mode, result.data(), source.data(), 200, cover, 61);
                blendPixels(op.mode, result.data(), source.data(), 255, cover, 61);
                blendColor(op.mode, result.data(), {255, 3, 90, 100}, cover, 61);
                results.insert(results.end(), result.begin(), result.end());
            }
            if (first.empty())
                first = results;
            ASSERT_EQ(first, results);
        });
    }
}

TEST(Blend, ColorEqualsARowOfItsPixels)
{
    Pixels random;
    for (auto const& op : kOperators) {
        SCOPED_TRACE(op.name);
        for (auto const count : kCounts) {
            auto const color = random.next();
            std::vector<std::uint8_t> source;
            for (std::size_t i = 0; i < count; ++i)
                source.insert(source.end(), color.begin(), color.end());
            auto const coverage = random.coverage(count);
            // Guarded on both sides: a span ends where it ends.
            auto const target = random.row(count + 16);
            onEveryTarget([&] {
                for (auto const* cover : {static_cast<std::uint8_t const*>(nullptr), coverage.data()}) {
                    auto expected = target;
                    auto result = target;
                    blendPixels(op.mode, expected.data() + 32, source.data(), 255, cover, count);
                    blendColor(
                        op.mode, result.data() + 32, {color[0], color[1], color[2], color[3]}, cover, count);
                    ASSERT_EQ(expected, result);
                    ASSERT_TRUE(std::equal(target.begin(), target.begin() + 32, result.begin()));
                    ASSERT_TRUE(std::equal(target.end() - 32, target.end(), result.end() - 32));
                }
            });
        }
    }
}

TEST(Blend, TellsWhichModesReachBeyondTheShape)
{
    std::vector<std::string> names;
    for (auto const& op : kOperators) {
        if (changesOutside(op.mode))
            names.emplace_back(op.name);
    }
    EXPECT_THAT(
        names, testing::ElementsAre("SourceIn", "SourceOut", "DestinationAtop", "DestinationIn", "Copy"));
}

TEST(Blend, ColorsAreClampedAndPremultiplied)
{
    struct {
        Color color;
        double alpha;
        Pixel expected;
    } const cases[] = {
        {{1, 0.5, 0, 1}, 1, {255, 128, 0, 255}},
        {{1, 0.5, 0, 0.5}, 1, {128, 64, 0, 128}},
        {{1, 1, 1, 0.5}, 0.5, {64, 64, 64, 64}},
        {{2, -1, NAN, 3}, 7, {255, 0, 0, 255}},
        {{1, 1, 1, 1}, -1, {0, 0, 0, 0}},
    };
    for (auto const& [color, alpha, expected] : cases) {
        auto const found = premultiplied(color, alpha);
        EXPECT_EQ(expected, (Pixel {found.red, found.green, found.blue, found.alpha}));
    }
}

TEST(Blend, CoverageTimesMaskIsRoundedForAllPairs)
{
    std::vector<std::uint8_t> values;
    std::vector<std::uint8_t> masks;
    for (int value = 0; value < 256; ++value) {
        for (int mask = 0; mask < 256; ++mask) {
            values.push_back(static_cast<std::uint8_t>(value));
            masks.push_back(static_cast<std::uint8_t>(mask));
        }
    }
    onEveryTarget([&] {
        auto result = values;
        multiplyCoverage(result.data() + 1, masks.data() + 1, result.size() - 1);
        for (std::size_t i = 1; i < result.size(); ++i)
            ASSERT_EQ(std::lround(values[i] * masks[i] / 255.0), result[i]) << i;
    });
}

} // namespace velk::test

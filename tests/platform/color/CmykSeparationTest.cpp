#include "platform/color/CmykSeparation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace velk::color {

namespace {

// Inks that each take away their share of red, green and blue, and black of all.
Lab toyColor(Ink const& ink)
{
    auto const red = (1 - ink[0]) * (1 - ink[3]);
    auto const green = (1 - ink[1]) * (1 - ink[3]);
    auto const blue = (1 - ink[2]) * (1 - ink[3]);
    return {100 * (0.3f * red + 0.6f * green + 0.1f * blue), 100 * (red - green), 100 * (green - blue)};
}

std::vector<Lab> toyModel(std::span<Ink const> inks)
{
    std::vector<Lab> colors;
    std::transform(inks.begin(), inks.end(), std::back_inserter(colors), toyColor);
    return colors;
}

std::vector<Lab> toyGrid(float gamut)
{
    std::vector<Lab> colors;
    constexpr auto kLast = static_cast<float>(kSeparationNodes - 1);
    for (unsigned node = 0; node < kSeparationNodes * kSeparationNodes * kSeparationNodes; ++node) {
        auto const red = static_cast<float>(node / kSeparationNodes / kSeparationNodes) / kLast;
        auto const green = static_cast<float>(node / kSeparationNodes % kSeparationNodes) / kLast;
        auto const blue = static_cast<float>(node % kSeparationNodes) / kLast;
        auto color = toyColor({1 - red, 1 - green, 1 - blue, 0});
        color[1] *= gamut;
        color[2] *= gamut;
        colors.push_back(color);
    }
    return colors;
}

} // namespace

TEST(CmykSeparation, FindsInksForEveryColorThatTheyCanShow)
{
    auto const colors = toyGrid(0.9f);
    auto const inks = separate(colors, toyModel);
    ASSERT_EQ(inks.size(), colors.size());
    for (std::size_t node = 0; node < inks.size(); ++node) {
        auto const shown = toyColor(inks[node]);
        // The darkest colours would take more ink than paper does.
        if (colors[node][0] < 15)
            continue;
        for (std::size_t axis = 0; axis < 3; ++axis)
            ASSERT_NEAR(shown[axis], colors[node][axis], 2.5) << "node " << node;
    }
}

TEST(CmykSeparation, StaysWithinInkAndPaper)
{
    // Half of these colours lie outside what the inks can do.
    auto const inks = separate(toyGrid(2), toyModel);
    for (auto const& ink : inks) {
        float total = 0;
        for (auto const part : ink) {
            ASSERT_TRUE(part >= 0 && part <= 1);
            total += part;
        }
        ASSERT_LE(total, 3.001f);
    }
    EXPECT_EQ(inks.back(), (Ink {0, 0, 0, 0}));
    EXPECT_EQ(inks.front()[3], 1.0f);
    // Pure and light colours are printed without black.
    EXPECT_EQ(inks[std::size_t {kSeparationNodes} * kSeparationNodes * (kSeparationNodes - 1)][3], 0.0f);
}

} // namespace velk::color

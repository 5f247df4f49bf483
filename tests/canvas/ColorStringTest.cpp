#include "canvas/ColorString.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace velk {

using graphics::Color;

namespace {

constexpr Color kRed {1, 0, 0, 1};
constexpr Color kNone {0, 0, 0, 0};
constexpr float kInfinity = std::numeric_limits<float>::infinity();

constexpr Color gray(double value, double alpha = 1)
{
    return {value / 255, value / 255, value / 255, alpha};
}

constexpr Color bytes(int red, int green, int blue)
{
    return {red / 255.0, green / 255.0, blue / 255.0, 1};
}

struct Case {
    char const* text;
    Color color;
};

constexpr Case kNames[] = {
    {"Red", kRed},
    {" red ", kRed},
    {"[red]", kRed},
    {"RED", kRed},
    {"\t[ [red\n] ]\r", kRed},
    {"\u00A0red\u3000", kRed},
    {"aliceblue", bytes(0xF0, 0xF8, 0xFF)},
    {"yellowgreen", bytes(0x9A, 0xCD, 0x32)},
    {"darkgrey", bytes(0xA9, 0xA9, 0xA9)},
    {"lightgreen", bytes(0x90, 0xEE, 0x90)},
    {"darkgreen", bytes(0, 0x64, 0)},
    {"lightgrey", bytes(0xD3, 0xD3, 0xD3)},
    {"lightgoldenrodyellow", bytes(0xFA, 0xFA, 0xD2)},
    {"mediumpurple", bytes(0x93, 0x70, 0xD8)},
    {"palevioletred", bytes(0xD8, 0x70, 0x93)},
    {"lightslateblue", bytes(0x84, 0x70, 0xFF)},
    {"violetred", bytes(0xD0, 0x20, 0x90)},
    {"rebeccapurple", kNone},
    {"transparent", kNone},
    {"reddish", kNone},
    {"foo", kNone},
    {"red 0.5", {1, 0, 0, 0.5}},
    {"red,0.5", {1, 0, 0, 0.5}},
    {"red , , .25", {1, 0, 0, 0.25}},
    {"red 50", {1, 0, 0, 50}},
    {"red 0.2 0.5", {1, 0, 0, 0.5}},
    {"red 50%", {1, 0, 0, 50}},
    {"red foo", {1, 0, 0, 0}},
    {"red inf", {1, 0, 0, 0}},
    {"red -1e2", {1, 0, 0, -100}},
    {"red 1e99", {1, 0, 0, kInfinity}},
    {"red 1e-99", {1, 0, 0, 0}},
};

constexpr Case kHexadecimal[] = {
    {"#f00", kRed},
    {"#ff0000", kRed},
    {"#FF0000 ", kRed},
    {"#8c1", bytes(0x88, 0xCC, 0x11)},
    {"#102030", bytes(0x10, 0x20, 0x30)},
    {"#ff0000 0.5", {1, 0, 0, 0.5}},
    {"#f00,128", {1, 0, 0, 128 / 255.0}},
    {"#ff0000 128 7", {1, 0, 0, 128 / 255.0}},
    {"#ff0000 foo", {1, 0, 0, 0}},
    {"#ff00", kNone},
    {"#ff000000", kNone},
    {"#12345", kNone},
    {"#ggg", kNone},
    {"#ff000g", kNone},
    {"#", kNone},
    {"#,f00", kNone},
    {" #ff0000", kNone},
    {"[#ff0000]", kNone},
    {"##ff000", kNone},
    {"ff0000", kNone},
    {"#ffffffffffffffffffffffffffffffffff", kNone},
};

constexpr Case kFunctions[] = {
    {"rgb(255, 0, 0)", kRed},
    {"rgb(255 0 0)", kRed},
    {"RGB(1.0, 0, 0)", kRed},
    {"rgb(1, 0, 0)", kRed},
    {"rgb(2.0, 0, 0)", {2, 0, 0, 1}},
    {"rgb(0.5, 128, -3)", {0.5, 128 / 255.0, -3, 1}},
    {"rgb(100%, 0, 0)", {100 / 255.0, 0, 0, 1}},
    {"rgb(255, 0, 0", kRed},
    {"rgb(255, 0, 0) and more", kRed},
    {"rgb(x, 0, 255)", {0, 0, 1, 1}},
    {"rgb(1,2)", kNone},
    {"rgb(1,2,3,4)", kNone},
    {"rgb", kNone},
    {"rgb()", kNone},
    {"rgb( )", kNone},
    {"rgb (255, 0, 0)", kNone},
    {"cmyk(0, 0, 0, 0)", kNone},
    {"rgba(255,0,0,0.5)", {1, 0, 0, 0.5}},
    {"rgba(255,0,0,51)", {1, 0, 0, 0.2}},
    {"rgba(255,0,0)", kNone},
    {"hsl(0, 100%, 50%)", kRed},
    {"hsl(359, 100%, 50%)", kRed},
    {"hsl(120, 100%, 50%)", {0, 1, 6 * 120 / 359.0 - 2, 1}},
    {"hsl(240, 100%, 50%)", {6 * 240 / 359.0 - 4, 0, 1, 1}},
    {"hsl(0.5, 1, 0.25)", {0, 0.5, 0.5, 1}},
    {"hsl(0, 0, 50)", {0.5, 0.5, 0.5, 1}},
    {"hsl(-0.5, 1, 0.75)", {0.5, 1, 1, 1}},
    {"hsla(0, 100%, 50%, 0.25)", {1, 0, 0, 0.25}},
    {"hsla(0, 100%, 50%)", kNone},
};

constexpr Case kNumbers[] = {
    {"128", gray(128)},
    {"1", gray(255)},
    {"0.5", gray(127.5)},
    {"[0.5]", gray(127.5)},
    {"128 0.5", gray(128, 0.5)},
    {"0 1 0", {0, 1, 0, 1}},
    {"255,0,0", kRed},
    {"255 0 0 0.25", {1, 0, 0, 0.25}},
    {"255 0 0 64", {1, 0, 0, 64}},
    {"255 0 0 0.25 9 9", {1, 0, 0, 0.25}},
    {"255 0 0 x", kNone},
    {"12px", kNone},
    {"255 0 0 0x10", {1, 0, 0, 16}},
    {"inf 1", {0, 0, 0, 1}},
    {"1e3", gray(1000)},
    {"[]", kNone},
    {" ", kNone},
    {",", kNone},
    {"\xFF\xFE", kNone},
};

void expectColors(std::span<Case const> cases)
{
    constexpr double kTolerance = 1e-7;
    auto const agree = [](double a, double b) { return a == b || std::abs(a - b) < kTolerance; };
    for (auto const& [text, expected] : cases) {
        auto const color = CreateColorFromString(text);
        ASSERT_TRUE(color) << text;
        EXPECT_TRUE(agree(color->red, expected.red) && agree(color->green, expected.green)
            && agree(color->blue, expected.blue) && agree(color->alpha, expected.alpha))
            << text << " is " << color->red << " " << color->green << " " << color->blue << " "
            << color->alpha;
    }
}

} // namespace

TEST(ColorString, KnowsNames)
{
    expectColors(kNames);
}

TEST(ColorString, ReadsHexadecimalDigits)
{
    expectColors(kHexadecimal);
}

TEST(ColorString, ReadsFunctions)
{
    expectColors(kFunctions);
}

TEST(ColorString, ReadsBareNumbers)
{
    expectColors(kNumbers);
}

TEST(ColorString, GivesTheFallbackForEmptyTextOnly)
{
    EXPECT_EQ(CreateColorFromString(""), std::nullopt);
    EXPECT_EQ(CreateColorFromString("", kRed), kRed);
    EXPECT_EQ(CreateColorFromString("foo", kRed), kNone);
}

} // namespace velk

#include "modules/heif/LumaChroma.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace velk::codec::heif {

namespace {

struct Row {
    int code;
    LumaChroma meaning;
};

// ITU-T H.273, table 4.
constexpr Row kMatrices[] = {
    {0, {.kind = LumaChroma::Kind::Identity}},
    {1, {.red = 0.2126f, .blue = 0.0722f}},
    {4, {.red = 0.30f, .blue = 0.11f}},
    {7, {.red = 0.212f, .blue = 0.087f}},
    {8, {.kind = LumaChroma::Kind::YCgCo}},
    {9, {.red = 0.2627f, .blue = 0.0593f}},
    {10, {.red = 0.2627f, .blue = 0.0593f}},
};

void weightedToRgb(LumaChroma const& meaning, ChannelRows rows)
{
    auto const [red, blue] = std::pair(meaning.red, meaning.blue);
    auto const green = 1 - red - blue;
    auto const crToRed = 2 * (1 - red), cbToBlue = 2 * (1 - blue);
    auto const crToGreen = -crToRed * red / green, cbToGreen = -cbToBlue * blue / green;
    for (std::size_t i = 0; i < rows.first.size(); ++i) {
        float const y = rows.first[i], cb = rows.second[i], cr = rows.third[i];
        rows.first[i] = y + crToRed * cr;
        rows.second[i] = y + cbToGreen * cb + crToGreen * cr;
        rows.third[i] = y + cbToBlue * cb;
    }
}

void weightedFromRgb(LumaChroma const& meaning, ChannelRows rows)
{
    auto const [red, blue] = std::pair(meaning.red, meaning.blue);
    auto const green = 1 - red - blue;
    auto const toCb = 0.5f / (1 - blue), toCr = 0.5f / (1 - red);
    for (std::size_t i = 0; i < rows.first.size(); ++i) {
        float const r = rows.first[i], g = rows.second[i], b = rows.third[i];
        auto const y = red * r + green * g + blue * b;
        rows.first[i] = y;
        rows.second[i] = (b - y) * toCb;
        rows.third[i] = (r - y) * toCr;
    }
}

void ycgcoToRgb(ChannelRows rows)
{
    for (std::size_t i = 0; i < rows.first.size(); ++i) {
        float const y = rows.first[i], cg = rows.second[i], co = rows.third[i];
        rows.first[i] = y - cg + co;
        rows.second[i] = y + cg;
        rows.third[i] = y - cg - co;
    }
}

// Three channels, each in the place of another.
void moveChannels(ChannelRows from, ChannelRows to)
{
    for (std::size_t i = 0; i < from.first.size(); ++i) {
        float const first = from.first[i], second = from.second[i], third = from.third[i];
        to.first[i] = first;
        to.second[i] = second;
        to.third[i] = third;
    }
}

} // namespace

LumaChroma LumaChroma::fromCode(int matrixCoefficients)
{
    auto const found = std::ranges::find(kMatrices, matrixCoefficients, &Row::code);
    return found == std::end(kMatrices) ? LumaChroma {} : found->meaning;
}

void toRgb(LumaChroma const& meaning, ChannelRows rows)
{
    switch (meaning.kind) {
    case LumaChroma::Kind::Weighted:
        return weightedToRgb(meaning, rows);
    case LumaChroma::Kind::Identity:
        return moveChannels(rows, {.first = rows.second, .second = rows.third, .third = rows.first});
    case LumaChroma::Kind::YCgCo:
        return ycgcoToRgb(rows);
    }
}

void fromRgb(LumaChroma const& meaning, ChannelRows rows)
{
    if (meaning.kind == LumaChroma::Kind::Identity)
        moveChannels(rows, {.first = rows.third, .second = rows.first, .third = rows.second});
    else
        weightedFromRgb(meaning, rows);
}

void doubleRow(std::span<float const> half, std::span<float> full)
{
    auto const last = half.size() - 1;
    for (std::size_t i = 0; i < half.size(); ++i) {
        auto const before = half[i == 0 ? 0 : i - 1], after = half[std::min(i + 1, last)];
        full[2 * i] = 0.75f * half[i] + 0.25f * before;
        if (2 * i + 1 < full.size())
            full[2 * i + 1] = 0.75f * half[i] + 0.25f * after;
    }
}

void halveRow(std::span<float const> full, std::span<float> half)
{
    for (std::size_t i = 0; i < half.size(); ++i)
        half[i] = 0.5f * (full[2 * i] + full[std::min(2 * i + 1, full.size() - 1)]);
}

} // namespace velk::codec::heif

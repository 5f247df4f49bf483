#include "platform/color/MatrixShaper.h"

#include "platform/color/SimdKernels.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <memory>

namespace velk::color {

namespace {

using Matrix = std::array<std::array<double, 3>, 3>;

using simd::ShaperTables;

std::optional<Matrix> inverse(Matrix const& m)
{
    auto const minor = [&](std::size_t row, std::size_t column) {
        auto const r1 = (row + 1) % 3, r2 = (row + 2) % 3, c1 = (column + 1) % 3, c2 = (column + 2) % 3;
        return m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
    };
    auto const determinant = m[0][0] * minor(0, 0) + m[0][1] * minor(0, 1) + m[0][2] * minor(0, 2);
    if (!(std::abs(determinant) > 1e-6))
        return std::nullopt;
    Matrix result;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column)
            result[column][row] = minor(row, column) / determinant;
    }
    return result;
}

Matrix product(Matrix const& a, Matrix const& b)
{
    Matrix result {};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            for (std::size_t i = 0; i < 3; ++i)
                result[row][column] += a[row][i] * b[i][column];
        }
    }
    return result;
}

void fillCodes(
    std::array<std::uint8_t, ShaperTables::kCodes>& codes, std::array<double, 255> const& thresholds)
{
    std::size_t code = 0;
    for (std::size_t i = 0; i < ShaperTables::kCodes; ++i) {
        // The middle of what falls into this entry; the last holds 1 and nothing else.
        auto const half = i + 1 < ShaperTables::kCodes ? 1u << (ShaperTables::kIndexShift - 1) : 0u;
        auto const light = std::bit_cast<float>(
            ShaperTables::kFirstBits + (static_cast<std::uint32_t>(i) << ShaperTables::kIndexShift) + half);
        while (code < thresholds.size() && thresholds[code] <= static_cast<double>(light))
            ++code;
        codes[i] = static_cast<std::uint8_t>(code);
    }
}

bool isInvertible(RgbShape const& shape)
{
    return std::all_of(shape.thresholds.begin(), shape.thresholds.end(), [](auto const& channel) {
        return std::adjacent_find(channel.begin(), channel.end(), std::greater_equal<>()) == channel.end();
    });
}

} // namespace

std::optional<RowKernel> matrixShaper(
    RgbShape const& from, RgbShape const& to, int inChannels, int outChannels)
{
    auto const fromXyz = inverse(to.toXyz);
    if (!fromXyz || !isInvertible(to))
        return std::nullopt;
    auto const matrix = product(*fromXyz, from.toXyz);
    auto tables = std::make_shared<ShaperTables>();
    for (std::size_t channel = 0; channel < 3; ++channel) {
        fillCodes(tables->codes[channel], to.thresholds[channel]);
        for (std::size_t code = 0; code < 256; ++code) {
            auto& column = tables->columns[channel][code];
            for (std::size_t row = 0; row < 3; ++row)
                column[row] = static_cast<float>(matrix[row][channel] * from.linear[channel][code]);
            column[3] = 0;
        }
    }
    return [tables = std::shared_ptr<ShaperTables const>(std::move(tables)),
               step = static_cast<std::size_t>(inChannels),
               outStep = static_cast<std::size_t>(outChannels)](std::uint8_t const* in, std::uint8_t* out,
               std::size_t pixels) { simd::shapeRgb(*tables, in, out, pixels, step, outStep); };
}

} // namespace velk::color

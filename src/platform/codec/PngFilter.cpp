#include "platform/codec/PngFilter.h"

#include <algorithm>
#include <cstdlib>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/codec/PngFilter.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.h, which compiles this file once for each target.
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velk::codec {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
using Lanes = hn::ScalableTag<std::uint8_t>;
using SumLanes = hn::Repartition<std::uint64_t, Lanes>;
using Vector = hn::Vec<Lanes>;

struct Neighbours {
    Vector x, a, b, c;
};

HWY_INLINE Neighbours load(PngFilterInput const& input, std::size_t i)
{
    Lanes const d;
    return {
        hn::LoadU(d, input.row + i),
        hn::LoadU(d, input.row + i - input.pixelBytes),
        hn::LoadU(d, input.previous + i),
        hn::LoadU(d, input.previous + i - input.pixelBytes),
    };
}

HWY_INLINE Vector residualNone(Neighbours const& n)
{
    return n.x;
}

HWY_INLINE Vector residualSub(Neighbours const& n)
{
    return hn::Sub(n.x, n.a);
}

HWY_INLINE Vector residualUp(Neighbours const& n)
{
    return hn::Sub(n.x, n.b);
}

// The vector average rounds halves up, the filter's rounds down.
HWY_INLINE Vector residualAverage(Neighbours const& n)
{
    auto const odd = hn::And(hn::Xor(n.a, n.b), hn::Set(Lanes(), 1));
    return hn::Sub(n.x, hn::Sub(hn::AverageRound(n.a, n.b), odd));
}

// In bytes: |a + b - 2c| is the difference of what lies above c and what lies below it in a and b. It
// saturates only where both lie on one side, and is then the largest of the three distances anyway.
HWY_INLINE Vector residualPaeth(Neighbours const& n)
{
    auto const aAbove = hn::SaturatedSub(n.a, n.c);
    auto const aBelow = hn::SaturatedSub(n.c, n.a);
    auto const bAbove = hn::SaturatedSub(n.b, n.c);
    auto const bBelow = hn::SaturatedSub(n.c, n.b);
    auto const above = hn::SaturatedAdd(aAbove, bAbove);
    auto const below = hn::SaturatedAdd(aBelow, bBelow);
    auto const pa = hn::Or(bAbove, bBelow);
    auto const pb = hn::Or(aAbove, aBelow);
    auto const pc = hn::Or(hn::SaturatedSub(above, below), hn::SaturatedSub(below, above));
    auto const smaller = hn::Min(pb, pc);
    auto const isA = hn::Eq(hn::Min(pa, smaller), pa);
    auto const isB = hn::Eq(smaller, pb);
    return hn::Sub(n.x, hn::IfThenElse(isA, n.a, hn::IfThenElse(isB, n.b, n.c)));
}

// Eight bytes' signed magnitudes in each 64-bit lane.
HWY_INLINE hn::Vec<SumLanes> magnitudes(Vector residual)
{
    return hn::SumsOf8(hn::Min(residual, hn::Sub(hn::Zero(Lanes()), residual)));
}

struct RowSums {
    hn::Vec<SumLanes> none, sub, up, average, paeth;

    HWY_INLINE void add(Neighbours const& n, Vector counted)
    {
        none = hn::Add(none, magnitudes(hn::And(residualNone(n), counted)));
        sub = hn::Add(sub, magnitudes(hn::And(residualSub(n), counted)));
        up = hn::Add(up, magnitudes(hn::And(residualUp(n), counted)));
        average = hn::Add(average, magnitudes(hn::And(residualAverage(n), counted)));
        paeth = hn::Add(paeth, magnitudes(hn::And(residualPaeth(n), counted)));
    }
};

HWY_INLINE std::uint64_t total(hn::Vec<SumLanes> sums)
{
    SumLanes const d;
    std::uint64_t lanes[hn::MaxLanes(d)];
    hn::StoreU(sums, d, lanes);
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < hn::Lanes(d); ++i)
        sum += lanes[i];
    return sum;
}

// The last vector of a row ends where the row ends, and so overlaps the one before.
PngFilterSums sumsOfRow(PngFilterInput const& input)
{
    Lanes const d;
    auto const step = hn::Lanes(d);
    if (input.size < step)
        return scalar::pngFilterSums(input);
    auto const zero = hn::Zero(SumLanes());
    RowSums sums = {zero, zero, zero, zero, zero};
    auto const all = hn::Set(d, 0xFF);
    std::size_t i = 0;
    for (; i + step <= input.size; i += step)
        sums.add(load(input, i), all);
    if (auto const overlap = i + step - input.size; overlap < step)
        sums.add(load(input, input.size - step), hn::IfThenZeroElse(hn::FirstN(d, overlap), all));
    return {total(sums.none), total(sums.sub), total(sums.up), total(sums.average), total(sums.paeth)};
}

template <typename Residual>
HWY_INLINE void filterRow(PngFilterInput const& input, std::uint8_t* filtered, Residual residual)
{
    Lanes const d;
    auto const step = hn::Lanes(d);
    for (std::size_t i = 0; i + step <= input.size; i += step)
        hn::StoreU(residual(load(input, i)), d, filtered + i);
    hn::StoreU(residual(load(input, input.size - step)), d, filtered + input.size - step);
}

void applyToRow(PngFilter filter, PngFilterInput const& input, std::uint8_t* filtered)
{
    if (input.size < hn::Lanes(Lanes()))
        return scalar::applyPngFilter(filter, input, filtered);
    switch (filter) {
    case PngFilter::None:
        return filterRow(input, filtered, residualNone);
    case PngFilter::Sub:
        return filterRow(input, filtered, residualSub);
    case PngFilter::Up:
        return filterRow(input, filtered, residualUp);
    case PngFilter::Average:
        return filterRow(input, filtered, residualAverage);
    case PngFilter::Paeth:
        return filterRow(input, filtered, residualPaeth);
    }
}

} // namespace HWY_NAMESPACE
} // namespace velk::codec
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velk::codec {

HWY_EXPORT(sumsOfRow);
HWY_EXPORT(applyToRow);

PngFilterSums pngFilterSums(PngFilterInput const& input)
{
    return HWY_DYNAMIC_DISPATCH(sumsOfRow)(input);
}

PngFilter bestPngFilter(PngFilterSums const& sums)
{
    return static_cast<PngFilter>(std::ranges::min_element(sums) - sums.begin());
}

void applyPngFilter(PngFilter filter, PngFilterInput const& input, std::uint8_t* filtered)
{
    HWY_DYNAMIC_DISPATCH(applyToRow)(filter, input, filtered);
}

namespace scalar {

namespace {

std::uint8_t paeth(int a, int b, int c)
{
    int const pa = std::abs(b - c);
    int const pb = std::abs(a - c);
    int const pc = std::abs(a + b - 2 * c);
    return static_cast<std::uint8_t>(pa <= pb && pa <= pc ? a : pb <= pc ? b : c);
}

std::uint8_t filterByte(PngFilter filter, PngFilterInput const& input, std::size_t i)
{
    auto const* const x = input.row + i;
    auto const* const b = input.previous + i;
    auto const left = static_cast<std::ptrdiff_t>(input.pixelBytes);
    int prediction = 0;
    switch (filter) {
    case PngFilter::None:
        break;
    case PngFilter::Sub:
        prediction = x[-left];
        break;
    case PngFilter::Up:
        prediction = *b;
        break;
    case PngFilter::Average:
        prediction = (x[-left] + *b) / 2;
        break;
    case PngFilter::Paeth:
        prediction = paeth(x[-left], *b, b[-left]);
        break;
    }
    return static_cast<std::uint8_t>(*x - prediction);
}

} // namespace

PngFilterSums pngFilterSums(PngFilterInput const& input)
{
    PngFilterSums sums = {};
    for (std::size_t filter = 0; filter < kPngFilterCount; ++filter) {
        for (std::size_t i = 0; i < input.size; ++i) {
            auto const byte = filterByte(static_cast<PngFilter>(filter), input, i);
            sums[filter] += std::min<unsigned>(byte, 256u - byte);
        }
    }
    return sums;
}

void applyPngFilter(PngFilter filter, PngFilterInput const& input, std::uint8_t* filtered)
{
    for (std::size_t i = 0; i < input.size; ++i)
        filtered[i] = filterByte(filter, input, i);
}

} // namespace scalar

} // namespace velk::codec
#endif

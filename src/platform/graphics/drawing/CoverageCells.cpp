#include "platform/graphics/drawing/CoverageCells.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/graphics/drawing/CoverageCells.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velk::graphics::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

std::uint32_t take(std::uint32_t* cells, std::size_t count, std::uint32_t sum, std::uint8_t* coverage)
{
    for (std::size_t i = 0; i < count; ++i) {
        sum += cells[i];
        cells[i] = 0;
        coverage[i] = coverageOfCells(sum);
    }
    return sum;
}

#else

using Sums = hn::FixedTag<std::int32_t, 4>;
using SumVector = hn::Vec<Sums>;

// Four running sums by two shifted additions:
//
//     a     b       c         d
//     a    a+b     b+c       c+d
//     a    a+b    a+b+c    a+b+c+d
HWY_INLINE SumVector runningSums(std::int32_t const* cells)
{
    Sums const d;
    auto sums = hn::LoadU(d, cells);
    sums = hn::Add(sums, hn::ShiftLeftLanes<1>(d, sums));
    return hn::Add(sums, hn::ShiftLeftLanes<2>(d, sums));
}

HWY_INLINE SumVector coverageOfSums(SumVector sums)
{
    Sums const d;
    auto const area = hn::Min(hn::Abs(sums), hn::Set(d, kFullCell));
    auto const scaled = hn::Sub(hn::ShiftLeft<8>(area), area);
    return hn::ShiftRight<17>(hn::Add(scaled, hn::Set(d, kFullCell / 2)));
}

// Eight at a time: what reads the coverage next reads as many bytes at once, and a processor hands a stored
// value on at once only as a whole.
std::uint32_t take(std::uint32_t* cells, std::size_t count, std::uint32_t sum, std::uint8_t* coverage)
{
    Sums const d;
    hn::FixedTag<std::int16_t, 8> const dShorts;
    hn::FixedTag<std::uint8_t, 8> const dBytes;
    auto* const values = reinterpret_cast<std::int32_t*>(cells);
    auto before = hn::Set(d, static_cast<std::int32_t>(sum));
    for (std::size_t i = 0; i < count; i += 8) {
        auto const first = hn::Add(runningSums(values + i), before);
        auto const second = hn::Add(runningSums(values + i + 4), hn::Broadcast<3>(first));
        before = hn::Broadcast<3>(second);
        auto const both = hn::ReorderDemote2To(dShorts, coverageOfSums(first), coverageOfSums(second));
        hn::StoreU(hn::DemoteTo(dBytes, both), dBytes, coverage + i);
        hn::StoreU(hn::Zero(d), d, values + i);
        hn::StoreU(hn::Zero(d), d, values + i + 4);
    }
    return static_cast<std::uint32_t>(hn::GetLane(before));
}

#endif

} // namespace velk::graphics::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velk::graphics {

HWY_EXPORT(take);

std::uint32_t takeCoverage(std::uint32_t* cells, std::size_t count, std::uint32_t sum, std::uint8_t* coverage)
{
    return HWY_DYNAMIC_DISPATCH(take)(cells, count, sum, coverage);
}

} // namespace velk::graphics

#endif

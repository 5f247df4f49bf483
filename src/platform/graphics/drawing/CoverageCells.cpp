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

// Four running sums at a time, by two shifted additions:
//
//     a     b       c         d
//     a    a+b     b+c       c+d
//     a    a+b    a+b+c    a+b+c+d   + the sum before
std::uint32_t take(std::uint32_t* cells, std::size_t count, std::uint32_t sum, std::uint8_t* coverage)
{
    hn::FixedTag<std::int32_t, 4> const d;
    hn::FixedTag<std::uint8_t, 4> const dBytes;
    auto const* from = reinterpret_cast<std::int32_t*>(cells);
    auto before = hn::Set(d, static_cast<std::int32_t>(sum));
    for (std::size_t i = 0; i < count; i += 4) {
        auto sums = hn::LoadU(d, from + i);
        sums = hn::Add(sums, hn::ShiftLeftLanes<1>(d, sums));
        sums = hn::Add(sums, hn::ShiftLeftLanes<2>(d, sums));
        sums = hn::Add(sums, before);
        before = hn::Broadcast<3>(sums);
        auto const area = hn::Min(hn::Abs(sums), hn::Set(d, kFullCell));
        auto const scaled = hn::Sub(hn::ShiftLeft<8>(area), area);
        auto const rounded = hn::ShiftRight<17>(hn::Add(scaled, hn::Set(d, kFullCell / 2)));
        hn::StoreU(hn::DemoteTo(dBytes, rounded), dBytes, coverage + i);
        hn::StoreU(hn::Zero(d), d, reinterpret_cast<std::int32_t*>(cells + i));
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

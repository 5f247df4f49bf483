#include "platform/graphics/drawing/BlurKernels.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/graphics/drawing/BlurKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velk::graphics::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, kBlurAlignment>;
using Sums = hn::RebindToSigned<Floats>;
using Values = hn::Rebind<std::uint16_t, Floats>;
using Bytes8 = hn::Rebind<std::uint8_t, Values>;

constexpr int kFractionBits = 7;

void widenBytes(std::uint8_t const* in, std::uint16_t* out, std::size_t count)
{
    std::size_t i = 0;
    for (; i + hn::Lanes(Values {}) <= count; i += hn::Lanes(Values {}))
        hn::StoreU(hn::ShiftLeft<kFractionBits>(hn::PromoteTo(Values {}, hn::LoadU(Bytes8 {}, in + i))),
            Values {}, out + i);
    for (; i < count; ++i)
        out[i] = static_cast<std::uint16_t>(in[i] << kFractionBits);
}

void narrowValues(std::uint16_t const* in, std::uint8_t* out, std::size_t count)
{
    auto const half = hn::Set(Values {}, std::uint16_t {1 << (kFractionBits - 1)});
    std::size_t i = 0;
    for (; i + hn::Lanes(Values {}) <= count; i += hn::Lanes(Values {})) {
        auto const rounded = hn::ShiftRight<kFractionBits>(hn::Add(hn::LoadU(Values {}, in + i), half));
        hn::StoreU(
            hn::DemoteTo(Bytes8 {}, hn::BitCast(hn::RebindToSigned<Values> {}, rounded)), Bytes8 {}, out + i);
    }
    for (; i < count; ++i)
        out[i] =
            static_cast<std::uint8_t>(std::min((in[i] + (1 << (kFractionBits - 1))) >> kFractionBits, 255));
}

HWY_INLINE hn::Vec<Sums> load(std::uint16_t const* values)
{
    return hn::PromoteTo(Sums {}, hn::LoadU(Values {}, values));
}

HWY_INLINE hn::Vec<Floats> real(hn::Vec<Sums> sums)
{
    return hn::ConvertTo(Floats {}, sums);
}

HWY_INLINE void storeRounded(hn::Vec<Floats> values, std::uint16_t* out)
{
    hn::StoreU(hn::DemoteTo(Values {}, hn::NearestInt(values)), Values {}, out);
}

void sumRows(std::span<std::uint16_t const* const> rows, std::span<float const> weights, std::uint16_t* out,
    std::size_t count)
{
    auto const middle = weights.size() - 1;
    for (std::size_t x = 0; x < count; x += hn::Lanes(Sums {})) {
        auto sum = hn::Mul(real(load(rows[middle] + x)), hn::Set(Floats {}, weights[0]));
        for (std::size_t i = 1; i <= middle; ++i) {
            auto const pair = hn::Add(load(rows[middle - i] + x), load(rows[middle + i] + x));
            sum = hn::MulAdd(real(pair), hn::Set(Floats {}, weights[i]), sum);
        }
        storeRounded(sum, out + x);
    }
}

void addRow(std::uint16_t const* row, std::int32_t* sums, std::size_t count)
{
    for (std::size_t x = 0; x < count; x += hn::Lanes(Sums {}))
        hn::StoreU(hn::Add(hn::LoadU(Sums {}, sums + x), load(row + x)), Sums {}, sums + x);
}

void moveBoxDown(
    BoxRows const& rows, BoxWeights weights, std::int32_t* sums, std::uint16_t* out, std::size_t count)
{
    auto const inner = hn::Set(Floats {}, weights.inner);
    auto const edge = hn::Set(Floats {}, weights.edge);
    for (std::size_t x = 0; x < count; x += hn::Lanes(Sums {})) {
        auto const sum = hn::LoadU(Sums {}, sums + x);
        auto const below = load(rows.below + x);
        auto const edges = hn::Add(load(rows.above + x), below);
        storeRounded(hn::MulAdd(real(sum), inner, hn::Mul(real(edges), edge)), out + x);
        hn::StoreU(hn::Add(sum, hn::Sub(below, load(rows.leaving + x))), Sums {}, sums + x);
    }
}

#if HWY_TARGET == HWY_SCALAR

void turnTile(std::uint16_t const* in, std::size_t inStride, std::uint16_t* out, std::size_t outStride)
{
    for (std::size_t y = 0; y < 8; ++y) {
        for (std::size_t x = 0; x < 8; ++x)
            out[x * outStride + y] = in[y * inStride + x];
    }
}

#else

// Interleaving row i with row i + 4 three times over leaves the columns as rows.
void turnTile(std::uint16_t const* in, std::size_t inStride, std::uint16_t* out, std::size_t outStride)
{
    hn::FixedTag<std::uint16_t, 8> const d;
    using Row = hn::Vec<decltype(d)>;
    auto const interleave = [d](Row const(&from)[8], Row(&to)[8]) HWY_ATTR {
        for (std::size_t i = 0; i < 4; ++i) {
            to[2 * i] = hn::InterleaveLower(d, from[i], from[i + 4]);
            to[2 * i + 1] = hn::InterleaveUpper(d, from[i], from[i + 4]);
        }
    };
    Row a[8];
    Row b[8];
    for (std::size_t y = 0; y < 8; ++y)
        a[y] = hn::LoadU(d, in + y * inStride);
    interleave(a, b);
    interleave(b, a);
    interleave(a, b);
    for (std::size_t x = 0; x < 8; ++x)
        hn::StoreU(b[x], d, out + x * outStride);
}

#endif

} // namespace velk::graphics::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velk::graphics {

HWY_EXPORT(widenBytes);
HWY_EXPORT(narrowValues);
HWY_EXPORT(sumRows);
HWY_EXPORT(addRow);
HWY_EXPORT(moveBoxDown);
HWY_EXPORT(turnTile);

void widenCoverage(std::uint8_t const* in, std::uint16_t* out, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(widenBytes)(in, out, count);
}

void narrowCoverage(std::uint16_t const* in, std::uint8_t* out, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(narrowValues)(in, out, count);
}

void sumTaps(std::span<std::uint16_t const* const> rows, std::span<float const> weights, std::uint16_t* out,
    std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(sumRows)(rows, weights, out, count);
}

void addToSums(std::uint16_t const* row, std::int32_t* sums, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(addRow)(row, sums, count);
}

void moveBox(
    BoxRows const& rows, BoxWeights weights, std::int32_t* sums, std::uint16_t* out, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(moveBoxDown)(rows, weights, sums, out, count);
}

void transposeTile(std::uint16_t const* in, std::size_t inStride, std::uint16_t* out, std::size_t outStride)
{
    HWY_DYNAMIC_DISPATCH(turnTile)(in, inStride, out, outStride);
}

} // namespace velk::graphics

#endif

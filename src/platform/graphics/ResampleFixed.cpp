#include "platform/graphics/ResampleFixed.h"

#include "platform/graphics/Premultiplied.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/graphics/ResampleFixed.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef VELK_RESAMPLE_FIXED_SHARED
#define VELK_RESAMPLE_FIXED_SHARED

namespace velk::graphics {

// Fraction bits between the passes: 255 with a kernel's overshoot still fits into 16 bits.
constexpr int kSampleBits = 6;
constexpr int kRowShift = kWeightBits - kSampleBits;
constexpr int kColumnShift = kWeightBits + kSampleBits;

// Taps are padded to a multiple of this, so that every vector width goes evenly into them.
constexpr std::size_t tapStep(std::size_t channels)
{
    return channels == 1 ? 8 : 4;
}

/// What the horizontal pass reads and how.
struct ColumnFilter {
    std::int16_t const* samples;
    std::int32_t const* first; ///< of every output, in pixels
    std::int16_t const* weights; ///< `taps` for every output
    std::size_t taps;
    std::size_t outputs;
};

} // namespace velk::graphics

#endif

HWY_BEFORE_NAMESPACE();
namespace velk::graphics::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// ---- Plain C++: what a machine without vectors runs, and what the vectors are held against.
//
// The horizontal pass takes two neighbouring pixels at a time, because there is an instruction that
// multiplies pairs of 16-bit numbers and adds the products. So pixels are laid out in pairs, channel by
// channel, and three channels get an empty fourth:
//
//     R0 R1 G0 G1 B0 B1 0 0  R2 R3 G2 G3 B2 B3 0 0  ...
//
// One channel is in that order already.

#if HWY_TARGET == HWY_SCALAR

void filterRows(std::uint8_t const* const* rows, std::int16_t const* weights, std::size_t taps,
    std::size_t samples, std::int16_t* to)
{
    for (std::size_t i = 0; i < samples; ++i) {
        std::int32_t sum = 1 << (kRowShift - 1);
        for (std::size_t t = 0; t < taps; ++t)
            sum += weights[t] * rows[t][i];
        to[i] = static_cast<std::int16_t>(sum >> kRowShift);
    }
}

template <std::size_t Channels>
void pairPixels(std::int16_t const* from, std::size_t columns, std::int16_t* to)
{
    constexpr std::size_t kSlots = Channels == 3 ? 4 : Channels;
    for (std::size_t x = 0; x < columns; ++x) {
        for (std::size_t channel = 0; channel < Channels; ++channel)
            to[x / 2 * 2 * kSlots + 2 * channel + x % 2] = from[x * Channels + channel];
    }
}

template <std::size_t Channels> void filterColumns(ColumnFilter const& filter, std::uint8_t* to)
{
    constexpr std::size_t kSlots = Channels == 3 ? 4 : Channels;
    for (std::size_t i = 0; i < filter.outputs; ++i) {
        auto const first = static_cast<std::size_t>(filter.first[i]);
        auto const* weights = filter.weights + i * filter.taps;
        for (std::size_t channel = 0; channel < Channels; ++channel) {
            std::int32_t sum = 1 << (kColumnShift - 1);
            for (std::size_t t = 0; t < filter.taps; ++t) {
                auto const x = first + t;
                auto const at = Channels == 1 ? x : x / 2 * 2 * kSlots + 2 * channel + x % 2;
                sum += weights[t] * filter.samples[at];
            }
            *to++ = static_cast<std::uint8_t>(std::clamp(sum >> kColumnShift, 0, 255));
        }
    }
}

#else

// Two rows at a time, so that each pair of products is added by the multiplication:
//
//     row 0      a0 a1 a2 ...   \   a0 b0 a1 b1 ...  as 16 bits, times  w0 w1 w0 w1 ...
//     row 1      b0 b1 b2 ...   /   = a0*w0+b0*w1  a1*w0+b1*w1  ...     as 32 bits
//
// Interleaving and packing both work on 16-byte blocks, so that the order within a block comes out right.
using DBytes = hn::CappedTag<std::uint8_t, 32>;
using DShorts = hn::Repartition<std::int16_t, DBytes>;
using DWords = hn::Repartition<std::int32_t, DBytes>;
using Words = hn::Vec<DWords>;

struct RowSums {
    Words low;
    Words high; // used where the multiplication needs two sums

    template <typename V> HWY_INLINE void add(V samples, V weights)
    {
        low = hn::ReorderWidenMulAccumulate(DWords {}, samples, weights, low, high);
    }
    HWY_INLINE Words rounded() const
    {
        auto const sum = hn::RearrangeToOddPlusEven(low, high);
        return hn::ShiftRight<kRowShift>(hn::Add(sum, hn::Set(DWords {}, 1 << (kRowShift - 1))));
    }
};

template <typename V> HWY_INLINE void storeBlocksInOrder(V first, V second, std::int16_t* to)
{
    DShorts const d;
    if constexpr (hn::MaxLanes(d) == 8) {
        hn::StoreU(first, d, to);
        hn::StoreU(second, d, to + 8);
    } else {
        hn::StoreU(hn::ConcatLowerLower(d, second, first), d, to);
        hn::StoreU(hn::ConcatUpperUpper(d, second, first), d, to + 16);
    }
}

HWY_INLINE std::int32_t weightPair(std::int16_t const* weights)
{
    std::int32_t pair;
    std::memcpy(&pair, weights, sizeof(pair));
    return pair;
}

void filterRows(std::uint8_t const* const* rows, std::int16_t const* weights, std::size_t taps,
    std::size_t samples, std::int16_t* to)
{
    DBytes const d8;
    DShorts const d16;
    DWords const d32;
    auto const zero = hn::Zero(d8);
    auto const none = hn::Zero(d32);
    for (std::size_t i = 0; i < samples; i += hn::Lanes(d8)) {
        RowSums sums[] = {{none, none}, {none, none}, {none, none}, {none, none}};
        for (std::size_t t = 0; t < taps; t += 2) {
            auto const pair = hn::BitCast(d16, hn::Set(d32, weightPair(weights + t)));
            auto const row0 = hn::LoadU(d8, rows[t] + i);
            auto const row1 = hn::LoadU(d8, rows[t + 1] + i);
            auto const low = hn::InterleaveLower(d8, row0, row1);
            auto const high = hn::InterleaveUpper(d8, row0, row1);
            sums[0].add(hn::BitCast(d16, hn::InterleaveLower(d8, low, zero)), pair);
            sums[1].add(hn::BitCast(d16, hn::InterleaveUpper(d8, low, zero)), pair);
            sums[2].add(hn::BitCast(d16, hn::InterleaveLower(d8, high, zero)), pair);
            sums[3].add(hn::BitCast(d16, hn::InterleaveUpper(d8, high, zero)), pair);
        }
        storeBlocksInOrder(hn::ReorderDemote2To(d16, sums[0].rounded(), sums[1].rounded()),
            hn::ReorderDemote2To(d16, sums[2].rounded(), sums[3].rounded()), to + i);
    }
}

template <std::size_t Channels>
void pairPixels(std::int16_t const* from, std::size_t columns, std::int16_t* to)
{
    hn::CappedTag<std::int16_t, 16> const d16;
    hn::Repartition<std::uint32_t, decltype(d16)> const d32;
    constexpr std::size_t kSlots = Channels == 3 ? 4 : Channels;
    for (std::size_t x = 0; x < columns; x += hn::Lanes(d16)) {
        hn::Vec<decltype(d16)> a, b, c, d = hn::Zero(d16);
        auto const* in = from + x * Channels;
        auto* out = reinterpret_cast<std::uint32_t*>(to + x * kSlots);
        if constexpr (Channels == 2) {
            hn::LoadInterleaved2(d16, in, a, b);
            hn::StoreInterleaved2(hn::BitCast(d32, a), hn::BitCast(d32, b), d32, out);
            continue;
        } else if constexpr (Channels == 3) {
            hn::LoadInterleaved3(d16, in, a, b, c);
        } else {
            hn::LoadInterleaved4(d16, in, a, b, c, d);
        }
        hn::StoreInterleaved4(
            hn::BitCast(d32, a), hn::BitCast(d32, b), hn::BitCast(d32, c), hn::BitCast(d32, d), d32, out);
    }
}

template <> void pairPixels<1>(std::int16_t const*, std::size_t, std::int16_t*) { }

using DFour = hn::FixedTag<std::int32_t, 4>;

template <typename V> HWY_INLINE auto roundedToBytes(V sums)
{
    DFour const d32;
    auto const half = hn::Set(d32, 1 << (kColumnShift - 1));
    return hn::DemoteTo(hn::FixedTag<std::uint8_t, 4> {}, hn::ShiftRight<kColumnShift>(hn::Add(sums, half)));
}

// Four pixels of four channels: their 16 products need every weight pair four times.
template <typename D16>
HWY_INLINE hn::Vec<DFour> sumOfFourChannels(
    D16 d16, std::int16_t const* samples, std::int16_t const* weights, std::size_t taps)
{
    hn::Repartition<std::int32_t, D16> const d32;
    auto sum = hn::Zero(d32);
    auto sum1 = hn::Zero(d32);
    if constexpr (hn::MaxLanes(d16) == 16) {
        hn::Repartition<std::uint8_t, D16> const d8;
        hn::Repartition<std::uint64_t, D16> const d64;
        alignas(32) static constexpr std::uint8_t kSpread[32] = {
            0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 4, 5, 6, 7, 4, 5, 6, 7, 4, 5, 6, 7, 4, 5, 6, 7};
        auto const spread = hn::Load(d8, kSpread);
        for (std::size_t t = 0; t < taps; t += 4) {
            std::uint64_t four;
            std::memcpy(&four, weights + t, sizeof(four));
            auto const pairs = hn::TableLookupBytes(hn::BitCast(d8, hn::Set(d64, four)), spread);
            sum = hn::ReorderWidenMulAccumulate(
                d32, hn::LoadU(d16, samples + 4 * t), hn::BitCast(d16, pairs), sum, sum1);
        }
        sum = hn::RearrangeToOddPlusEven(sum, sum1);
        return hn::Add(hn::LowerHalf(sum), hn::UpperHalf(DFour {}, sum));
    } else {
        for (std::size_t t = 0; t < taps; t += 2) {
            auto const pair = hn::BitCast(d16, hn::Set(d32, weightPair(weights + t)));
            sum = hn::ReorderWidenMulAccumulate(d32, hn::LoadU(d16, samples + 4 * t), pair, sum, sum1);
        }
        return hn::RearrangeToOddPlusEven(sum, sum1);
    }
}

// Both channels of four pixels; the sums of the two pairs are joined at the end.
HWY_INLINE hn::Vec<DFour> sumOfTwoChannels(
    std::int16_t const* samples, std::int16_t const* weights, std::size_t taps)
{
    hn::FixedTag<std::int16_t, 8> const d16;
    hn::FixedTag<std::uint8_t, 16> const d8;
    hn::FixedTag<std::uint64_t, 2> const d64;
    DFour const d32;
    alignas(16) static constexpr std::uint8_t kSpread[16] = {0, 1, 2, 3, 0, 1, 2, 3, 4, 5, 6, 7, 4, 5, 6, 7};
    auto const spread = hn::Load(d8, kSpread);
    auto sum = hn::Zero(d32);
    auto sum1 = hn::Zero(d32);
    for (std::size_t t = 0; t < taps; t += 4) {
        std::uint64_t four;
        std::memcpy(&four, weights + t, sizeof(four));
        auto const pairs = hn::TableLookupBytes(hn::BitCast(d8, hn::Set(d64, four)), spread);
        sum = hn::ReorderWidenMulAccumulate(
            d32, hn::LoadU(d16, samples + 2 * t), hn::BitCast(d16, pairs), sum, sum1);
    }
    sum = hn::RearrangeToOddPlusEven(sum, sum1);
    return hn::Add(sum, hn::Shuffle1032(sum));
}

HWY_INLINE hn::Vec<DFour> sumOfOneChannel(
    std::int16_t const* samples, std::int16_t const* weights, std::size_t taps)
{
    hn::FixedTag<std::int16_t, 8> const d16;
    DFour const d32;
    auto sum = hn::Zero(d32);
    auto sum1 = hn::Zero(d32);
    for (std::size_t t = 0; t < taps; t += 8)
        sum = hn::ReorderWidenMulAccumulate(
            d32, hn::LoadU(d16, samples + t), hn::LoadU(d16, weights + t), sum, sum1);
    return hn::SumOfLanes(d32, hn::RearrangeToOddPlusEven(sum, sum1));
}

template <std::size_t Channels> void filterColumns(ColumnFilter const& filter, std::uint8_t* to)
{
    constexpr std::size_t kSlots = Channels == 3 ? 4 : Channels;
    auto const* weights = filter.weights;
    auto* const last = to + (filter.outputs - 1) * Channels;
    for (std::size_t i = 0; i < filter.outputs; ++i, weights += filter.taps, to += Channels) {
        auto const* samples = filter.samples + static_cast<std::size_t>(filter.first[i]) * kSlots;
        hn::Vec<DFour> sums;
        if constexpr (kSlots == 4)
            sums = sumOfFourChannels(hn::CappedTag<std::int16_t, 16> {}, samples, weights, filter.taps);
        else if constexpr (kSlots == 2)
            sums = sumOfTwoChannels(samples, weights, filter.taps);
        else
            sums = sumOfOneChannel(samples, weights, filter.taps);
        auto const bytes = roundedToBytes(sums);
        hn::FixedTag<std::uint8_t, 4> const d4;
        if (Channels == 4 || (Channels == 3 && to != last)) {
            hn::StoreU(bytes, d4, to);
            continue;
        }
        alignas(4) std::array<std::uint8_t, 4> pixel;
        hn::Store(bytes, d4, pixel.data());
        std::memcpy(to, pixel.data(), Channels);
    }
}

#endif

void pairAndFilterColumns(
    ColumnFilter filter, std::int16_t* paired, std::size_t columns, std::size_t channels, std::uint8_t* to)
{
    using Pair = void (*)(std::int16_t const*, std::size_t, std::int16_t*);
    using Filter = void (*)(ColumnFilter const&, std::uint8_t*);
    static constexpr Pair kPair[] = {nullptr, pairPixels<2>, pairPixels<3>, pairPixels<4>};
    static constexpr Filter kFilter[] = {
        filterColumns<1>, filterColumns<2>, filterColumns<3>, filterColumns<4>};
    if (channels > 1) {
        kPair[channels - 1](filter.samples, columns, paired);
        filter.samples = paired;
    }
    kFilter[channels - 1](filter, to);
}

} // namespace velk::graphics::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velk::graphics {

HWY_EXPORT(filterRows);
HWY_EXPORT(pairAndFilterColumns);

namespace {

std::size_t roundUp(std::size_t value, std::size_t step)
{
    return (value + step - 1) / step * step;
}

} // namespace

FixedPasses::FixedPasses(
    PixelFormat format, ResampleWeights const& horizontal, ResampleWeights const& vertical)
    : m_format(format)
    , m_firstColumn(static_cast<std::size_t>(horizontal.firstInput()))
    , m_columns(static_cast<std::size_t>(horizontal.endInput()) - m_firstColumn)
    , m_rowTaps(roundUp(static_cast<std::size_t>(vertical.taps()), 2))
    , m_columnTaps(roundUp(static_cast<std::size_t>(horizontal.taps()) + 1,
          tapStep(static_cast<std::size_t>(format.channels()))))
{
    m_rowWeights.resize(m_rowTaps * static_cast<std::size_t>(vertical.outputs()));
    for (std::int32_t i = 0; i < vertical.outputs(); ++i)
        roundWeights(vertical.weights(i), &m_rowWeights[m_rowTaps * static_cast<std::size_t>(i)]);

    auto const outputs = static_cast<std::size_t>(horizontal.outputs());
    m_columnFirst.resize(outputs);
    m_columnWeights.resize(m_columnTaps * outputs);
    for (std::size_t i = 0; i < outputs; ++i) {
        auto const first = horizontal.first(static_cast<std::int32_t>(i)) - horizontal.firstInput();
        // Pairs of pixels begin at even columns.
        auto const shift = first % 2;
        m_columnFirst[i] = first - shift;
        roundWeights(horizontal.weights(static_cast<std::int32_t>(i)),
            &m_columnWeights[m_columnTaps * i + static_cast<std::size_t>(shift)]);
    }

    // The padding of the taps and whole vectors reach behind the last column.
    auto const columns = m_columns + m_columnTaps + 32;
    m_filteredRow.resize(columns * static_cast<std::size_t>(format.channels()));
    if (format.channels() > 1)
        m_pairedRow.resize(columns * 4);
}

void FixedPasses::filter(std::span<std::uint8_t const* const> rows, std::int32_t output, std::uint8_t* to)
{
    auto const channels = static_cast<std::size_t>(m_format.channels());
    std::vector<std::uint8_t const*> pointers(m_rowTaps);
    for (std::size_t t = 0; t < m_rowTaps; ++t)
        pointers[t] = rows[std::min(t, rows.size() - 1)] + m_firstColumn * channels;
    HWY_DYNAMIC_DISPATCH(filterRows)
    (pointers.data(), &m_rowWeights[m_rowTaps * static_cast<std::size_t>(output)], m_rowTaps,
        m_columns * channels, m_filteredRow.data());
    ColumnFilter const filter = {.samples = m_filteredRow.data(),
        .first = m_columnFirst.data(),
        .weights = m_columnWeights.data(),
        .taps = m_columnTaps,
        .outputs = m_columnFirst.size()};
    HWY_DYNAMIC_DISPATCH(pairAndFilterColumns)(filter, m_pairedRow.data(), m_columns, channels, to);
    if (m_format.alpha == Alpha::Premultiplied)
        limitToAlpha(to, m_columnFirst.size(), channels);
}

} // namespace velk::graphics

#endif

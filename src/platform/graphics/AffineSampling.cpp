#include "platform/graphics/AffineSampling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/graphics/AffineSampling.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef VELK_AFFINE_SAMPLING_SHARED
#define VELK_AFFINE_SAMPLING_SHARED

namespace velk::graphics {

constexpr int kPhaseBits = 8;
constexpr std::size_t kPhases = std::size_t {1} << kPhaseBits;
// Weights have 14 fraction bits, and what the vertical sum leaves for the horizontal one has 6.
constexpr int kCubicWeightBits = 14;
constexpr int kCubicSampleBits = 6;
constexpr int kCubicShift = kCubicWeightBits + kCubicSampleBits;

/// The four weights of every phase.
struct CubicTable {
    CubicTable();

    /// As numbers, for the floating-point path.
    std::array<std::array<float, 4>, kPhases> real;
    /// In fixed point, adding up to exactly 1 << kCubicWeightBits.
    std::array<std::array<std::int16_t, 4>, kPhases> fixed;
    /// Spread for the horizontal sum: w0 w1 four times, w2 w3 four times.
    alignas(64) std::array<std::array<std::int16_t, 16>, kPhases> spread;
};

CubicTable const& cubicTable();

/// Whole pixels and phases of a position.
struct SamplePoint {
    explicit SamplePoint(SampleWalk const& walk)
        : x(walk.x >> 32)
        , y(walk.y >> 32)
        , phaseX(static_cast<std::uint32_t>(walk.x) >> (32 - kPhaseBits))
        , phaseY(static_cast<std::uint32_t>(walk.y) >> (32 - kPhaseBits))
    {
    }

    std::ptrdiff_t x, y;
    std::size_t phaseX, phaseY;
};

inline void advance(SampleWalk& walk)
{
    walk.x += walk.stepX;
    walk.y += walk.stepY;
}

} // namespace velk::graphics

#endif

HWY_BEFORE_NAMESPACE();
namespace velk::graphics::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// The first of the four by four pixels that a sample is made of.
inline std::uint8_t const* firstTap(
    SampleSource const& source, SamplePoint const& point, std::size_t pixelSize)
{
    return source.origin + (point.y - 1) * source.stride
        + (point.x - 1) * static_cast<std::ptrdiff_t>(pixelSize);
}

#if HWY_TARGET == HWY_SCALAR

// Rounds as the vectors do: the four products of a column each to 6 fraction bits, the sum of the columns
// once.
template <std::size_t Channels>
void sampleBytes(SampleSource const& source, SampleWalk walk, std::size_t count, std::uint8_t* to)
{
    auto const& table = cubicTable();
    for (std::size_t i = 0; i < count; ++i, advance(walk)) {
        SamplePoint const point(walk);
        auto const* taps = firstTap(source, point, Channels);
        for (std::size_t channel = 0; channel < Channels; ++channel) {
            std::int32_t sum = 1 << (kCubicShift - 1);
            for (std::size_t x = 0; x < 4; ++x) {
                std::int32_t column = 0;
                for (std::size_t y = 0; y < 4; ++y) {
                    auto const sample = taps[static_cast<std::ptrdiff_t>(y) * source.stride
                        + static_cast<std::ptrdiff_t>(x * Channels + channel)];
                    column += ((sample << 7) * table.fixed[point.phaseY][y] + (1 << 14)) >> 15;
                }
                sum += column * table.fixed[point.phaseX][x];
            }
            *to++ = static_cast<std::uint8_t>(std::clamp(sum >> kCubicShift, 0, 255));
        }
    }
}

#else

// Four pixels of a row are put into the order in which the horizontal sum takes them, two by two:
//
//     R0 R1 G0 G1 B0 B1 A0 A1  R2 R3 G2 G3 B2 B3 A2 A3
//
// then four rows are added with their weights as 16-bit numbers, then the pairs.
template <std::size_t Channels> constexpr std::array<std::uint8_t, 16> pairOrder()
{
    std::array<std::uint8_t, 16> order {};
    for (std::size_t i = 0; i < 16; ++i) {
        auto const pixel = i / 8 * 2 + i % 2;
        auto const channel = i % 8 / 2;
        order[i] = static_cast<std::uint8_t>(channel < Channels ? pixel * Channels + channel : 0x80);
    }
    return order;
}

using DSum = hn::FixedTag<std::int32_t, 4>;

template <std::size_t Channels, typename D16>
HWY_INLINE hn::Vec<DSum> sampleSums(D16 d16, std::uint8_t const* taps, std::ptrdiff_t stride,
    std::int16_t const* rowWeights, std::int16_t const* columnWeights,
    hn::Vec<hn::FixedTag<std::uint8_t, 16>> order)
{
    hn::FixedTag<std::uint8_t, 16> const d8;
    hn::FixedTag<std::uint8_t, 8> const half8;
    hn::Repartition<std::int32_t, D16> const d32;
    if constexpr (hn::MaxLanes(d16) == 16) {
        auto sum = hn::Zero(d16);
        for (std::ptrdiff_t y = 0; y < 4; ++y) {
            auto const row = hn::TableLookupBytesOr0(hn::LoadU(d8, taps + y * stride), order);
            auto const scaled = hn::ShiftLeft<7>(hn::PromoteTo(d16, row));
            sum = hn::Add(sum, hn::MulFixedPoint15(scaled, hn::Set(d16, rowWeights[y])));
        }
        auto rest = hn::Zero(d32);
        auto pairs =
            hn::ReorderWidenMulAccumulate(d32, sum, hn::LoadU(d16, columnWeights), hn::Zero(d32), rest);
        pairs = hn::RearrangeToOddPlusEven(pairs, rest);
        return hn::Add(hn::LowerHalf(pairs), hn::UpperHalf(DSum {}, pairs));
    } else {
        auto low = hn::Zero(d16);
        auto high = hn::Zero(d16);
        for (std::ptrdiff_t y = 0; y < 4; ++y) {
            auto const row = hn::TableLookupBytesOr0(hn::LoadU(d8, taps + y * stride), order);
            auto const weight = hn::Set(d16, rowWeights[y]);
            auto const lowRow = hn::PromoteTo(d16, hn::LowerHalf(half8, row));
            auto const highRow = hn::PromoteTo(d16, hn::UpperHalf(half8, row));
            low = hn::Add(low, hn::MulFixedPoint15(hn::ShiftLeft<7>(lowRow), weight));
            high = hn::Add(high, hn::MulFixedPoint15(hn::ShiftLeft<7>(highRow), weight));
        }
        auto rest = hn::Zero(d32);
        auto pairs =
            hn::ReorderWidenMulAccumulate(d32, low, hn::LoadU(d16, columnWeights), hn::Zero(d32), rest);
        pairs = hn::ReorderWidenMulAccumulate(d32, high, hn::LoadU(d16, columnWeights + 8), pairs, rest);
        return hn::RearrangeToOddPlusEven(pairs, rest);
    }
}

template <std::size_t Channels>
void sampleBytes(SampleSource const& source, SampleWalk walk, std::size_t count, std::uint8_t* to)
{
    alignas(16) static constexpr auto kOrder = pairOrder<Channels>();
    auto const order = hn::Load(hn::FixedTag<std::uint8_t, 16> {}, kOrder.data());
    auto const& table = cubicTable();
    DSum const d32;
    hn::FixedTag<std::uint8_t, 4> const d8x4;
    auto const half = hn::Set(d32, 1 << (kCubicShift - 1));
    for (std::size_t i = 0; i < count; ++i, advance(walk), to += Channels) {
        SamplePoint const point(walk);
        auto const sums =
            sampleSums<Channels>(hn::CappedTag<std::int16_t, 16> {}, firstTap(source, point, Channels),
                source.stride, table.fixed[point.phaseY].data(), table.spread[point.phaseX].data(), order);
        auto const bytes = hn::DemoteTo(d8x4, hn::ShiftRight<kCubicShift>(hn::Add(sums, half)));
        // The byte that is too much for three channels is overwritten by the next pixel.
        if (Channels == 4 || (Channels == 3 && i + 1 < count)) {
            hn::StoreU(bytes, d8x4, to);
            continue;
        }
        alignas(4) std::array<std::uint8_t, 4> pixel;
        hn::Store(bytes, d8x4, pixel.data());
        std::memcpy(to, pixel.data(), Channels);
    }
}

#endif

// What is rare: floating point, and CMYK with alpha.
template <typename Component>
void sampleReal(SampleSource const& source, SampleWalk walk, std::size_t count, std::uint8_t* to)
{
    auto const& table = cubicTable();
    auto const channels = static_cast<std::size_t>(source.format.channels());
    for (std::size_t i = 0; i < count; ++i, advance(walk)) {
        SamplePoint const point(walk);
        auto const* taps = firstTap(source, point, channels * sizeof(Component));
        for (std::size_t channel = 0; channel < channels; ++channel, to += sizeof(Component)) {
            float sum = 0;
            for (std::size_t y = 0; y < 4; ++y) {
                float row = 0;
                for (std::size_t x = 0; x < 4; ++x) {
                    Component sample;
                    std::memcpy(&sample,
                        taps + static_cast<std::ptrdiff_t>(y) * source.stride
                            + (x * channels + channel) * sizeof(Component),
                        sizeof(sample));
                    row += static_cast<float>(sample) * table.real[point.phaseX][x];
                }
                sum += row * table.real[point.phaseY][y];
            }
            if constexpr (!std::is_floating_point_v<Component>)
                sum = std::clamp(sum, 0.0F, 255.0F) + 0.5F;
            auto const result = static_cast<Component>(sum);
            std::memcpy(to, &result, sizeof(result));
        }
    }
}

void sampleAny(SampleSource const& source, SampleWalk walk, std::size_t count, std::uint8_t* to)
{
    using Sample = void (*)(SampleSource const&, SampleWalk, std::size_t, std::uint8_t*);
    static constexpr Sample kBytes[] = {
        sampleBytes<1>, sampleBytes<2>, sampleBytes<3>, sampleBytes<4>, sampleReal<std::uint8_t>};
    if (source.format.componentType == ComponentType::Float32)
        sampleReal<float>(source, walk, count, to);
    else
        kBytes[source.format.channels() - 1](source, walk, count, to);
}

} // namespace velk::graphics::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velk::graphics {

HWY_EXPORT(sampleAny);

CubicTable::CubicTable()
{
    for (std::size_t phase = 0; phase < kPhases; ++phase) {
        // Keys' cubic with a = -1/2 at the distances 1 + t, t, 1 - t and 2 - t.
        auto const t = static_cast<double>(phase) / kPhases;
        double const weights[4] = {
            ((-0.5 * t + 1) * t - 0.5) * t,
            (1.5 * t - 2.5) * t * t + 1,
            ((-1.5 * t + 2) * t + 0.5) * t,
            (0.5 * t - 0.5) * t * t,
        };
        double sum = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            auto const scale = static_cast<double>(1 << kCubicWeightBits);
            auto const before = std::lround(sum * scale);
            sum += weights[i];
            real[phase][i] = static_cast<float>(weights[i]);
            fixed[phase][i] = static_cast<std::int16_t>(std::lround(sum * scale) - before);
        }
        for (std::size_t i = 0; i < 16; ++i)
            spread[phase][i] = fixed[phase][i / 8 * 2 + i % 2];
    }
}

CubicTable const& cubicTable()
{
    static auto const table = std::make_unique<CubicTable const>();
    return *table;
}

void sampleCubic(SampleSource const& source, SampleWalk walk, std::size_t count, std::uint8_t* to)
{
    // From here on phases are cut off.
    constexpr std::int64_t kHalfPhase = std::int64_t {1} << (31 - kPhaseBits);
    walk.x += kHalfPhase;
    walk.y += kHalfPhase;
    HWY_DYNAMIC_DISPATCH(sampleAny)(source, walk, count, to);
}

} // namespace velk::graphics

#endif

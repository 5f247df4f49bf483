#include "platform/color/SimdKernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/color/SimdKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Every kernel works through whole vectors, then through the rest one by one with the same arithmetic.

HWY_BEFORE_NAMESPACE();
namespace velk::color::simd::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using U8 = hn::ScalableTag<std::uint8_t>;
using U8Vector = hn::Vec<U8>;
using U8Half = hn::Half<U8>;
using U16 = hn::Repartition<std::uint16_t, U8>;
using U16Vector = hn::Vec<U16>;

// x / 255 rounded to nearest, exact for every x up to 255 * 255; x comes with 128 added.
HWY_INLINE U16Vector divideBy255(U16Vector biased)
{
    return hn::ShiftRight<8>(hn::Add(biased, hn::ShiftRight<8>(biased)));
}

constexpr unsigned divideBy255(unsigned biased)
{
    return (biased + (biased >> 8)) >> 8;
}

// a * b / 255, rounded, lane by lane.
HWY_INLINE U8Vector multiply(U8Vector a, U8Vector b)
{
    U8 const d;
#if HWY_TARGET == HWY_SCALAR
    return hn::Set(d, static_cast<std::uint8_t>(divideBy255(hn::GetLane(a) * hn::GetLane(b) + 128u)));
#else
    U16 const wide;
    U8Half const half;
    auto const bias = hn::Set(wide, std::uint16_t {128});
    auto const product = [&](auto x, auto y) {
        auto const biased = hn::Add(hn::Mul(hn::PromoteTo(wide, x), hn::PromoteTo(wide, y)), bias);
        return hn::DemoteTo(half, hn::BitCast(hn::RebindToSigned<U16>(), divideBy255(biased)));
    };
    return hn::Combine(d, product(hn::UpperHalf(half, a), hn::UpperHalf(half, b)),
        product(hn::LowerHalf(half, a), hn::LowerHalf(half, b)));
#endif
}

void dropAlpha(std::uint8_t const* rgba, std::uint8_t* rgb, std::size_t pixels)
{
    U8 const d;
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= pixels; i += hn::Lanes(d)) {
        U8Vector r, g, b, a;
        hn::LoadInterleaved4(d, rgba + 4 * i, r, g, b, a);
        hn::StoreInterleaved3(r, g, b, d, rgb + 3 * i);
    }
    for (; i < pixels; ++i) {
        for (std::size_t channel = 0; channel < 3; ++channel)
            rgb[3 * i + channel] = rgba[4 * i + channel];
    }
}

void addAlpha(std::uint8_t const* rgb, std::uint8_t* rgba, std::size_t pixels)
{
    U8 const d;
    auto const opaque = hn::Set(d, std::uint8_t {255});
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= pixels; i += hn::Lanes(d)) {
        U8Vector r, g, b;
        hn::LoadInterleaved3(d, rgb + 3 * i, r, g, b);
        hn::StoreInterleaved4(r, g, b, opaque, d, rgba + 4 * i);
    }
    for (; i < pixels; ++i) {
        for (std::size_t channel = 0; channel < 3; ++channel)
            rgba[4 * i + channel] = rgb[3 * i + channel];
        rgba[4 * i + 3] = 255;
    }
}

void expandGray(std::uint8_t const* gray, std::uint8_t* rgb, std::size_t pixels)
{
    U8 const d;
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= pixels; i += hn::Lanes(d)) {
        auto const v = hn::LoadU(d, gray + i);
        hn::StoreInterleaved3(v, v, v, d, rgb + 3 * i);
    }
    for (; i < pixels; ++i)
        rgb[3 * i] = rgb[3 * i + 1] = rgb[3 * i + 2] = gray[i];
}

void premultiply(std::uint8_t const* straight, std::uint8_t* premultiplied, std::size_t pixels)
{
    U8 const d;
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= pixels; i += hn::Lanes(d)) {
        U8Vector r, g, b, a;
        hn::LoadInterleaved4(d, straight + 4 * i, r, g, b, a);
        hn::StoreInterleaved4(multiply(r, a), multiply(g, a), multiply(b, a), a, d, premultiplied + 4 * i);
    }
    for (; i < pixels; ++i) {
        auto const* const in = straight + 4 * i;
        auto* const out = premultiplied + 4 * i;
        for (std::size_t channel = 0; channel < 3; ++channel)
            out[channel] = static_cast<std::uint8_t>(divideBy255(in[channel] * in[3] + 128u));
        out[3] = in[3];
    }
}

void flatten(
    std::uint8_t const* premultiplied, std::uint8_t* rgb, std::size_t pixels, std::uint8_t const* background)
{
    U8 const d;
    U8Vector const backgrounds[3] = {
        hn::Set(d, background[0]), hn::Set(d, background[1]), hn::Set(d, background[2])};
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= pixels; i += hn::Lanes(d)) {
        U8Vector r, g, b, a;
        hn::LoadInterleaved4(d, premultiplied + 4 * i, r, g, b, a);
        auto const rest = hn::Not(a);
        hn::StoreInterleaved3(hn::SaturatedAdd(r, multiply(backgrounds[0], rest)),
            hn::SaturatedAdd(g, multiply(backgrounds[1], rest)),
            hn::SaturatedAdd(b, multiply(backgrounds[2], rest)), d, rgb + 3 * i);
    }
    for (; i < pixels; ++i) {
        auto const* const in = premultiplied + 4 * i;
        for (std::size_t channel = 0; channel < 3; ++channel) {
            auto const sum = in[channel] + divideBy255(background[channel] * (255u - in[3]) + 128u);
            rgb[3 * i + channel] = static_cast<std::uint8_t>(sum < 255 ? sum : 255);
        }
    }
}

void widen(std::uint8_t const* in, std::uint16_t* out, std::size_t components)
{
    U16 const wide;
    U8Half const half;
    std::size_t i = 0;
    for (; i + hn::Lanes(wide) <= components; i += hn::Lanes(wide)) {
        auto const v = hn::PromoteTo(wide, hn::LoadU(half, in + i));
        hn::StoreU(hn::Or(v, hn::ShiftLeft<8>(v)), wide, out + i);
    }
    for (; i < components; ++i)
        out[i] = static_cast<std::uint16_t>(in[i] * 257);
}

// v / 257 rounded to nearest is (t - (t >> 8)) >> 8 with t = v + 128; where the sum would pass 2^16, its
// limit gives the same.
void narrow(std::uint16_t const* in, std::uint8_t* out, std::size_t components)
{
    U16 const wide;
    U8Half const half;
    auto const bias = hn::Set(wide, std::uint16_t {128});
    std::size_t i = 0;
    for (; i + hn::Lanes(wide) <= components; i += hn::Lanes(wide)) {
        auto const biased = hn::SaturatedAdd(hn::LoadU(wide, in + i), bias);
        auto const rounded = hn::ShiftRight<8>(hn::Sub(biased, hn::ShiftRight<8>(biased)));
        hn::StoreU(hn::DemoteTo(half, hn::BitCast(hn::RebindToSigned<U16>(), rounded)), half, out + i);
    }
    for (; i < components; ++i) {
        auto const biased = in[i] + 128;
        out[i] = static_cast<std::uint8_t>((biased - (biased >> 8)) >> 8);
    }
}

template <std::size_t inChannels, std::size_t outChannels>
void shapePixels(ShaperTables const& tables, std::uint8_t const* in, std::uint8_t* out, std::size_t pixels)
{
    alignas(16) std::int32_t indices[4];
    for (std::size_t i = 0; i < pixels; ++i, in += inChannels, out += outChannels) {
        auto const* const red = tables.columns[0][in[0]].data();
        auto const* const green = tables.columns[1][in[1]].data();
        auto const* const blue = tables.columns[2][in[2]].data();
        // Four lanes at once, or one by one where there are no vectors.
        hn::CappedTag<float, 4> const d;
        hn::RebindToSigned<decltype(d)> const integers;
        auto const first = hn::Set(integers, static_cast<std::int32_t>(ShaperTables::kFirstBits));
        for (std::size_t lane = 0; lane < 4; lane += hn::Lanes(d)) {
            auto const sum = hn::Add(
                hn::Add(hn::Load(d, red + lane), hn::Load(d, green + lane)), hn::Load(d, blue + lane));
            auto const light = hn::Min(hn::Max(sum, hn::Set(d, ShaperTables::kDarkest)), hn::Set(d, 1.0f));
            auto const bits = hn::Sub(hn::BitCast(integers, light), first);
            hn::Store(hn::ShiftRight<ShaperTables::kIndexShift>(bits), integers, indices + lane);
        }
        for (std::size_t channel = 0; channel < 3; ++channel)
            out[channel] = tables.codes[channel][static_cast<std::size_t>(indices[channel])];
    }
}

void shapeRgb(ShaperTables const& tables, std::uint8_t const* in, std::uint8_t* out, std::size_t pixels,
    std::size_t inChannels, std::size_t outChannels)
{
    if (inChannels == 3 && outChannels == 3)
        shapePixels<3, 3>(tables, in, out, pixels);
    else if (inChannels == 4 && outChannels == 4)
        shapePixels<4, 4>(tables, in, out, pixels);
    else if (inChannels == 3)
        shapePixels<3, 4>(tables, in, out, pixels);
    else
        shapePixels<4, 3>(tables, in, out, pixels);
}

} // namespace velk::color::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velk::color::simd {

HWY_EXPORT(dropAlpha);
HWY_EXPORT(addAlpha);
HWY_EXPORT(expandGray);
HWY_EXPORT(premultiply);
HWY_EXPORT(flatten);
HWY_EXPORT(widen);
HWY_EXPORT(narrow);
HWY_EXPORT(shapeRgb);

void dropAlpha(std::uint8_t const* rgba, std::uint8_t* rgb, std::size_t pixels)
{
    HWY_DYNAMIC_DISPATCH(dropAlpha)(rgba, rgb, pixels);
}
void addAlpha(std::uint8_t const* rgb, std::uint8_t* rgba, std::size_t pixels)
{
    HWY_DYNAMIC_DISPATCH(addAlpha)(rgb, rgba, pixels);
}
void expandGray(std::uint8_t const* gray, std::uint8_t* rgb, std::size_t pixels)
{
    HWY_DYNAMIC_DISPATCH(expandGray)(gray, rgb, pixels);
}
void premultiply(std::uint8_t const* straight, std::uint8_t* premultiplied, std::size_t pixels)
{
    HWY_DYNAMIC_DISPATCH(premultiply)(straight, premultiplied, pixels);
}
void flatten(std::uint8_t const* premultiplied, std::uint8_t* rgb, std::size_t pixels,
    std::uint8_t const background[3])
{
    HWY_DYNAMIC_DISPATCH(flatten)(premultiplied, rgb, pixels, background);
}
void widen(std::uint8_t const* in, std::uint16_t* out, std::size_t components)
{
    HWY_DYNAMIC_DISPATCH(widen)(in, out, components);
}
void narrow(std::uint16_t const* in, std::uint8_t* out, std::size_t components)
{
    HWY_DYNAMIC_DISPATCH(narrow)(in, out, components);
}
void shapeRgb(ShaperTables const& tables, std::uint8_t const* in, std::uint8_t* out, std::size_t pixels,
    std::size_t inChannels, std::size_t outChannels)
{
    HWY_DYNAMIC_DISPATCH(shapeRgb)(tables, in, out, pixels, inChannels, outChannels);
}

} // namespace velk::color::simd
#endif

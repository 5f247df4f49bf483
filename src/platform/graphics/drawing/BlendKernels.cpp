#include "platform/graphics/drawing/BlendKernels.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/graphics/drawing/BlendKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velk::graphics::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

constexpr unsigned divideBy255(unsigned value)
{
    return (value + 127) / 255;
}

constexpr unsigned valueOf(BlendFactor factor, unsigned alpha)
{
    switch (factor) {
    case BlendFactor::Zero:
        return 0;
    case BlendFactor::One:
        return 255;
    case BlendFactor::Alpha:
        return alpha;
    case BlendFactor::OneMinusAlpha:
        return 255 - alpha;
    }
    return 0;
}

template <BlendMode Mode>
void blendPixel(std::uint8_t* target, std::uint8_t const* pixel, unsigned alpha, unsigned coverage)
{
    constexpr auto kLerps = emptySourceCounts(Mode);
    auto const scale = kLerps ? alpha : divideBy255(alpha * coverage);
    std::array<unsigned, 4> source;
    for (std::size_t i = 0; i < 4; ++i)
        source[i] = divideBy255(pixel[i] * scale);
    unsigned const targetAlpha = target[3];
    auto const sourceFactor = valueOf(blendFactors(Mode).source, targetAlpha);
    auto const targetFactor = valueOf(blendFactors(Mode).target, source[3]);
    for (std::size_t i = 0; i < 4; ++i) {
        auto sum = source[i] * sourceFactor + target[i] * targetFactor;
        if (Mode == BlendMode::Lighten)
            sum += std::max(source[i] * targetAlpha, target[i] * source[3]);
        auto result = divideBy255(std::min(sum, 255U * 255U));
        if (kLerps)
            result = divideBy255(result * coverage + target[i] * (255 - coverage));
        target[i] = static_cast<std::uint8_t>(result);
    }
}

template <BlendMode Mode> void blendRun(BlendSpan const& span)
{
    for (std::size_t i = 0; i < span.count; ++i)
        blendPixel<Mode>(span.target + 4 * i, span.pixels + (span.isSolid ? 0 : 4 * i), span.alpha,
            span.coverage ? span.coverage[i] : 255);
}

void multiplyBytes(std::uint8_t* values, std::uint8_t const* mask, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        values[i] = static_cast<std::uint8_t>(divideBy255(unsigned {values[i]} * mask[i]));
}

#else

// 8 pixels at a time, or 4 where vectors are short: spans are seldom long enough for more.
using Bytes8 = hn::CappedTag<std::uint8_t, 32>;
using Words = hn::Repartition<std::uint16_t, Bytes8>;
using Pixels = hn::Repartition<std::uint32_t, Bytes8>;
using ByteVector = hn::Vec<Bytes8>;
using WordVector = hn::Vec<Words>;

constexpr std::size_t kPixels = hn::MaxLanes(Pixels {});
static_assert(kPixels == 4 || kPixels == 8);
constexpr std::uint64_t kFullCoverage = kPixels == 8 ? ~std::uint64_t {0} : 0xFFFFFFFF;

// Bytes are multiplied as 16-bit words, which takes no more to split than a mask and a shift:
//
//     bytes:  R G B A      even:  R . B .      odd:  G . A .
//
struct Split {
    WordVector even, odd;
};

HWY_INLINE Split split(ByteVector bytes)
{
    auto const words = hn::BitCast(Words {}, bytes);
    return {hn::And(words, hn::Set(Words {}, std::uint16_t {0xFF})), hn::ShiftRight<8>(words)};
}

// Divides by 255, rounded to nearest; exact for every product of two bytes.
HWY_INLINE WordVector divided(WordVector product)
{
    return hn::MulHigh(
        hn::Add(product, hn::Set(Words {}, std::uint16_t {128})), hn::Set(Words {}, std::uint16_t {257}));
}

HWY_INLINE ByteVector joined(Split products)
{
    auto const odd = hn::ShiftLeft<8>(divided(products.odd));
    return hn::BitCast(Bytes8 {}, hn::Or(divided(products.even), odd));
}

HWY_INLINE Split product(ByteVector bytes, WordVector factor)
{
    auto const [even, odd] = split(bytes);
    return {hn::Mul(even, factor), hn::Mul(odd, factor)};
}

// Sums of products can pass 255 * 255 where colours lie above their alpha, as scripts may write them.
HWY_INLINE WordVector limitedSum(WordVector a, WordVector b)
{
    return hn::Min(hn::SaturatedAdd(a, b), hn::Set(Words {}, std::uint16_t {255 * 255}));
}

HWY_INLINE Split limitedSum(Split a, Split b)
{
    return {limitedSum(a.even, b.even), limitedSum(a.odd, b.odd)};
}

HWY_INLINE WordVector complement(WordVector factor)
{
    return hn::Xor(factor, hn::Set(Words {}, std::uint16_t {0xFF}));
}

// The alpha of each pixel in both of its words.
HWY_INLINE WordVector alphaOf(ByteVector pixels)
{
    alignas(16) static constexpr std::uint8_t kOrder[16] = {
        3, 0x80, 3, 0x80, 7, 0x80, 7, 0x80, 11, 0x80, 11, 0x80, 15, 0x80, 15, 0x80};
    return hn::BitCast(Words {}, hn::TableLookupBytesOr0(pixels, hn::LoadDup128(Bytes8 {}, kOrder)));
}

// Coverage in both words of each pixel, from one byte a pixel.
HWY_INLINE WordVector spread(std::uint64_t coverage)
{
    alignas(32) static constexpr std::uint8_t kOrder[32] = {0, 0x80, 0, 0x80, 1, 0x80, 1, 0x80, 2, 0x80, 2,
        0x80, 3, 0x80, 3, 0x80, 4, 0x80, 4, 0x80, 5, 0x80, 5, 0x80, 6, 0x80, 6, 0x80, 7, 0x80, 7, 0x80};
    auto const everywhere = hn::Set(hn::Repartition<std::uint64_t, Bytes8> {}, coverage);
    return hn::BitCast(
        Words {}, hn::TableLookupBytesOr0(hn::BitCast(Bytes8 {}, everywhere), hn::Load(Bytes8 {}, kOrder)));
}

template <BlendFactor Factor> HWY_INLINE Split scaled(ByteVector bytes, WordVector alpha)
{
    static_assert(Factor != BlendFactor::One);
    if constexpr (Factor == BlendFactor::Zero)
        return {hn::Zero(Words {}), hn::Zero(Words {})};
    else
        return product(bytes, Factor == BlendFactor::Alpha ? alpha : complement(alpha));
}

HWY_INLINE Split larger(Split a, Split b)
{
    return {hn::Max(a.even, b.even), hn::Max(a.odd, b.odd)};
}

template <BlendMode Mode> HWY_INLINE ByteVector blended(ByteVector source, ByteVector target)
{
    constexpr auto kFactors = blendFactors(Mode);
    auto const sourceAlpha = alphaOf(source);
    auto const targetAlpha = alphaOf(target);
    if constexpr (Mode == BlendMode::Copy) {
        return source;
    } else if constexpr (kFactors.source == BlendFactor::One) {
        return hn::SaturatedAdd(source, joined(scaled<kFactors.target>(target, sourceAlpha)));
    } else if constexpr (kFactors.target == BlendFactor::One) {
        return hn::SaturatedAdd(target, joined(scaled<kFactors.source>(source, targetAlpha)));
    } else {
        auto sum = limitedSum(
            scaled<kFactors.source>(source, targetAlpha), scaled<kFactors.target>(target, sourceAlpha));
        if constexpr (Mode == BlendMode::Lighten)
            sum = limitedSum(sum, larger(product(source, targetAlpha), product(target, sourceAlpha)));
        return joined(sum);
    }
}

template <BlendMode Mode>
HWY_INLINE ByteVector blendedPartly(
    ByteVector source, ByteVector target, std::uint64_t coverage, std::uint8_t alpha)
{
    auto scale = hn::Set(Words {}, std::uint16_t {alpha});
    if constexpr (!emptySourceCounts(Mode)) {
        if (coverage != kFullCoverage)
            scale = divided(hn::Mul(spread(coverage), scale));
        return blended<Mode>(joined(product(source, scale)), target);
    } else {
        auto const result = blended<Mode>(joined(product(source, scale)), target);
        auto const part = spread(coverage);
        return joined(limitedSum(product(result, part), product(target, complement(part))));
    }
}

// Where a span's pixels come from.
struct SolidColor {
    explicit SolidColor(std::uint8_t const* pixel)
    {
        std::uint32_t bits;
        std::memcpy(&bits, pixel, sizeof(bits));
        color = hn::BitCast(Bytes8 {}, hn::Set(Pixels {}, bits));
        isOpaque = pixel[3] == 255;
    }
    HWY_INLINE ByteVector load(std::size_t) const { return color; }
    HWY_INLINE ByteVector loadSome(std::size_t, std::size_t) const { return color; }
    HWY_INLINE bool replaces(ByteVector) const { return isOpaque; }

    ByteVector color;
    bool isOpaque;
};

#if HWY_TARGET <= HWY_AVX2

HWY_INLINE ByteVector loadSome(std::uint8_t const* pixels, std::size_t count)
{
    Pixels const d;
    auto const* const words = static_cast<std::uint32_t const*>(static_cast<void const*>(pixels));
    return hn::BitCast(Bytes8 {}, hn::MaskedLoad(hn::FirstN(d, count), d, words));
}

HWY_INLINE void storeSome(ByteVector vector, std::uint8_t* pixels, std::size_t count)
{
    Pixels const d;
    auto* const words = static_cast<std::uint32_t*>(static_cast<void*>(pixels));
    hn::BlendedStore(hn::BitCast(d, vector), hn::FirstN(d, count), d, words);
}

#else

HWY_INLINE ByteVector loadSome(std::uint8_t const* pixels, std::size_t count)
{
    alignas(32) std::array<std::uint8_t, 4 * kPixels> copy {};
    std::memcpy(copy.data(), pixels, 4 * count);
    return hn::Load(Bytes8 {}, copy.data());
}

HWY_INLINE void storeSome(ByteVector vector, std::uint8_t* pixels, std::size_t count)
{
    alignas(32) std::array<std::uint8_t, 4 * kPixels> copy;
    hn::Store(vector, Bytes8 {}, copy.data());
    std::memcpy(pixels, copy.data(), 4 * count);
}

#endif

struct PixelRun {
    explicit PixelRun(std::uint8_t const* first)
        : pixels(first)
    {
    }
    HWY_INLINE ByteVector load(std::size_t at) const { return hn::LoadU(Bytes8 {}, pixels + 4 * at); }
    HWY_INLINE ByteVector loadSome(std::size_t at, std::size_t count) const
    {
        return HWY_NAMESPACE::loadSome(pixels + 4 * at, count);
    }
    HWY_INLINE bool replaces(ByteVector source) const
    {
        auto const opaque = hn::Set(Pixels {}, std::uint32_t {0xFF000000});
        return hn::AllTrue(Pixels {}, hn::Eq(hn::And(hn::BitCast(Pixels {}, source), opaque), opaque));
    }

    std::uint8_t const* pixels;
};

HWY_INLINE std::uint64_t loadCoverage(std::uint8_t const* coverage)
{
    std::conditional_t<kPixels == 8, std::uint64_t, std::uint32_t> bits;
    std::memcpy(&bits, coverage, sizeof(bits));
    return bits;
}

// Fewer bytes than make a vector; the missing ones are 0.
HWY_INLINE std::uint64_t loadSomeCoverage(std::uint8_t const* coverage, std::size_t count)
{
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < count; ++i)
        bits |= std::uint64_t {coverage[i]} << (8 * i);
    return bits;
}

template <BlendMode Mode, typename Source>
HWY_INLINE void blendVector(Source const& source, BlendSpan const& span, std::size_t at)
{
    Bytes8 const d;
    auto* const to = span.target + 4 * at;
    auto const coverage = span.coverage ? loadCoverage(span.coverage + at) : kFullCoverage;
    if (coverage == 0)
        return;
    auto const pixels = source.load(at);
    if (coverage != kFullCoverage || span.alpha != 255)
        hn::StoreU(blendedPartly<Mode>(pixels, hn::LoadU(d, to), coverage, span.alpha), d, to);
    else if (Mode == BlendMode::Normal && source.replaces(pixels))
        hn::StoreU(pixels, d, to);
    else
        hn::StoreU(blended<Mode>(pixels, hn::LoadU(d, to)), d, to);
}

template <BlendMode Mode, typename Source>
HWY_INLINE void blendRest(Source const& source, BlendSpan const& span, std::size_t at)
{
    auto const count = span.count - at;
    auto* const to = span.target + 4 * at;
    auto const coverage = span.coverage ? loadSomeCoverage(span.coverage + at, count) : kFullCoverage;
    auto const result =
        blendedPartly<Mode>(source.loadSome(at, count), loadSome(to, count), coverage, span.alpha);
    storeSome(result, to, count);
}

// What (255 - alpha) / 255 leaves of a byte, in 8.8 fixed point, is the upper half of its product with this.
// Rounding the factor moves the result by less than half of the lowest bit, and no quotient by 255 comes that
// close to where rounding turns: the bytes are as exact as those of divided().
constexpr std::uint16_t remainderFactor(unsigned alpha)
{
    return static_cast<std::uint16_t>(((255 - alpha) * 65536 + 127) / 255);
}

// Lays a translucent colour over whole vectors of the span; the number of pixels that it has done.
HWY_INLINE std::size_t coverWithColor(SolidColor const& source, BlendSpan const& span)
{
    Bytes8 const d;
    auto const factor = hn::Set(Words {}, remainderFactor(span.pixels[3]));
    auto const half = hn::Set(Words {}, std::uint16_t {128});
    auto const highBytes = hn::Set(Words {}, std::uint16_t {0xFF00});
    auto const remainder = [&](WordVector byte) HWY_ATTR { return hn::Add(hn::MulHigh(byte, factor), half); };
    std::size_t at = 0;
    for (; at + kPixels <= span.count; at += kPixels) {
        auto* const to = span.target + 4 * at;
        auto const words = hn::BitCast(Words {}, hn::LoadU(d, to));
        auto const even = hn::ShiftRight<8>(remainder(hn::ShiftLeft<8>(words)));
        auto const odd = hn::And(remainder(hn::And(words, highBytes)), highBytes);
        hn::StoreU(hn::SaturatedAdd(source.color, hn::BitCast(Bytes8 {}, hn::Or(even, odd))), d, to);
    }
    return at;
}

template <BlendMode Mode, typename Source>
HWY_INLINE void blendFrom(Source const& source, BlendSpan const& span)
{
    std::size_t at = 0;
    if constexpr (Mode == BlendMode::Normal && std::is_same_v<Source, SolidColor>) {
        auto const isTranslucent = span.pixels[3] > 0 && span.pixels[3] < 255;
        if (isTranslucent && span.alpha == 255 && !span.coverage)
            at = coverWithColor(source, span);
    }
    for (; at + kPixels <= span.count; at += kPixels)
        blendVector<Mode>(source, span, at);
    if (at < span.count)
        blendRest<Mode>(source, span, at);
}

template <BlendMode Mode> void blendRun(BlendSpan const& span)
{
    if (span.isSolid)
        blendFrom<Mode>(SolidColor(span.pixels), span);
    else
        blendFrom<Mode>(PixelRun(span.pixels), span);
}

void multiplyBytes(std::uint8_t* values, std::uint8_t const* mask, std::size_t count)
{
    Bytes8 const d;
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= count; i += hn::Lanes(d)) {
        auto const a = split(hn::LoadU(d, values + i));
        auto const b = split(hn::LoadU(d, mask + i));
        hn::StoreU(joined({hn::Mul(a.even, b.even), hn::Mul(a.odd, b.odd)}), d, values + i);
    }
    for (; i < count; ++i)
        values[i] = static_cast<std::uint8_t>((values[i] * mask[i] + 127) / 255);
}

#endif

void blendAnySpan(BlendMode mode, BlendSpan const& span)
{
    using Run = void (*)(BlendSpan const&);
    static constexpr Run kRuns[] = {
        blendRun<BlendMode::Normal>,
        blendRun<BlendMode::SourceAtop>,
        blendRun<BlendMode::SourceIn>,
        blendRun<BlendMode::SourceOut>,
        blendRun<BlendMode::DestinationOver>,
        blendRun<BlendMode::DestinationAtop>,
        blendRun<BlendMode::DestinationIn>,
        blendRun<BlendMode::DestinationOut>,
        blendRun<BlendMode::Lighten>,
        blendRun<BlendMode::Copy>,
        blendRun<BlendMode::Xor>,
    };
    kRuns[static_cast<std::size_t>(mode)](span);
}

} // namespace velk::graphics::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velk::graphics {

HWY_EXPORT(blendAnySpan);
HWY_EXPORT(multiplyBytes);

void blendSpan(BlendMode mode, BlendSpan const& span)
{
    HWY_DYNAMIC_DISPATCH(blendAnySpan)(mode, span);
}

void multiplyCoverage(std::uint8_t* values, std::uint8_t const* mask, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(multiplyBytes)(values, mask, count);
}

} // namespace velk::graphics

#endif

#include "platform/color/PixelKernels.h"

#include "platform/color/SimdKernels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace velk::color {

using namespace graphics;

namespace {

template <typename T> constexpr T kOpaque = std::numeric_limits<T>::max();
template <> constexpr float kOpaque<float> = 1;

template <typename T> T const* componentsAt(std::uint8_t const* data)
{
    return reinterpret_cast<T const*>(data);
}
template <typename T> T* componentsAt(std::uint8_t* data)
{
    return reinterpret_cast<T*>(data);
}

// Calls `make` with a value of the component's C++ type.
template <typename Make> RowKernel forComponentType(ComponentType type, Make const& make)
{
    switch (type) {
    case ComponentType::UInt8:
        return make(std::uint8_t {});
    case ComponentType::UInt16:
        return make(std::uint16_t {});
    case ComponentType::Float32:
        break;
    }
    return make(float {});
}

// a * b with both in the range of their type, rounded to nearest.
std::uint8_t product(std::uint8_t a, std::uint8_t b)
{
    unsigned const biased = unsigned {a} * b + 128;
    return static_cast<std::uint8_t>((biased + (biased >> 8)) >> 8);
}
std::uint16_t product(std::uint16_t a, std::uint16_t b)
{
    std::uint32_t const biased = std::uint32_t {a} * b + 0x8000;
    return static_cast<std::uint16_t>((biased + (biased >> 16)) >> 16);
}
float product(float a, float b)
{
    return a * b;
}

// a / b, cut to the range; nothing is left where nothing shines through.
template <typename T> T quotient(T a, T b)
{
    if (b == 0)
        return 0;
    if constexpr (std::is_floating_point_v<T>)
        return a / b;
    else
        return static_cast<T>(
            std::min<std::uint32_t>((std::uint32_t {a} * kOpaque<T> + b / 2u) / b, kOpaque<T>));
}

// color * alpha + background * (1 - alpha), rounded once.
template <typename T> T mixed(T color, T background, T alpha)
{
    if constexpr (std::is_floating_point_v<T>) {
        return color * alpha + background * (1 - alpha);
    } else {
        auto const sum =
            std::uint64_t {color} * alpha + std::uint64_t {background} * static_cast<T>(kOpaque<T> - alpha);
        return static_cast<T>((sum + kOpaque<T> / 2) / kOpaque<T>);
    }
}

template <typename T> T sum(T a, T b)
{
    if constexpr (std::is_floating_point_v<T>)
        return a + b;
    else
        return static_cast<T>(std::min<std::uint32_t>(std::uint32_t {a} + b, kOpaque<T>));
}

// A loop over pixels of `in` channels that makes such of `out` channels, each from one call of `convert`.
template <typename T, typename Convert> RowKernel perPixel(int in, int out, Convert convert)
{
    return [=](std::uint8_t const* from, std::uint8_t* to, std::size_t pixels) {
        auto const* source = componentsAt<T>(from);
        auto* target = componentsAt<T>(to);
        for (std::size_t i = 0; i < pixels; ++i, source += in, target += out)
            convert(source, target);
    };
}

template <typename T> RowKernel premultiply(int colors)
{
    return perPixel<T>(colors + 1, colors + 1, [colors](T const* in, T* out) {
        for (int i = 0; i < colors; ++i)
            out[i] = product(in[i], in[colors]);
        out[colors] = in[colors];
    });
}

template <typename T> RowKernel unpremultiply(int colors)
{
    return perPixel<T>(colors + 1, colors + 1, [colors](T const* in, T* out) {
        for (int i = 0; i < colors; ++i)
            out[i] = quotient(in[i], in[colors]);
        out[colors] = in[colors];
    });
}

template <typename T> RowKernel addAlpha(int colors)
{
    return perPixel<T>(colors, colors + 1, [colors](T const* in, T* out) {
        std::copy_n(in, colors, out);
        out[colors] = kOpaque<T>;
    });
}

constexpr int kMaximumColors = 4;

template <typename T> RowKernel flatten(int colors, bool isPremultiplied, Bytes const& background)
{
    std::array<T, kMaximumColors> ground {};
    std::memcpy(ground.data(), background.data(), static_cast<std::size_t>(colors) * sizeof(T));
    if (isPremultiplied) {
        return perPixel<T>(colors + 1, colors, [colors, ground](T const* in, T* out) {
            auto const rest = static_cast<T>(kOpaque<T> - in[colors]);
            for (int i = 0; i < colors; ++i)
                out[i] = sum(in[i], product(ground[static_cast<std::size_t>(i)], rest));
        });
    }
    return perPixel<T>(colors + 1, colors, [colors, ground](T const* in, T* out) {
        for (int i = 0; i < colors; ++i)
            out[i] = mixed(in[i], ground[static_cast<std::size_t>(i)], in[colors]);
    });
}

bool isRgba8(PixelFormat format)
{
    return format.componentType == ComponentType::UInt8 && format.model == ColorModel::RGB;
}

RowKernel premultiplyKernel(PixelFormat from)
{
    if (isRgba8(from))
        return simd::premultiply;
    return forComponentType(
        from.componentType, [&]<typename T>(T) { return premultiply<T>(from.colorChannels()); });
}

RowKernel unpremultiplyKernel(PixelFormat from)
{
    return forComponentType(
        from.componentType, [&]<typename T>(T) { return unpremultiply<T>(from.colorChannels()); });
}

RowKernel addAlphaKernel(PixelFormat from)
{
    if (isRgba8(from))
        return simd::addAlpha;
    return forComponentType(
        from.componentType, [&]<typename T>(T) { return addAlpha<T>(from.colorChannels()); });
}

RowKernel flattenKernel(PixelFormat from, Bytes const& background)
{
    bool const isPremultiplied = from.alpha == Alpha::Premultiplied;
    if (isRgba8(from) && isPremultiplied) {
        // What is premultiplied lies on black as it is.
        if (std::all_of(background.begin(), background.end(), [](auto byte) { return byte == 0; }))
            return simd::dropAlpha;
        return [ground = background](std::uint8_t const* in, std::uint8_t* out, std::size_t pixels) {
            simd::flatten(in, out, pixels, ground.data());
        };
    }
    return forComponentType(from.componentType,
        [&]<typename T>(T) { return flatten<T>(from.colorChannels(), isPremultiplied, background); });
}

// How a channel's float relates to its integers: float = integer / range * scale + offset.
struct FloatRange {
    float scale = 1;
    float offset = 0;
};

constexpr FloatRange kLabRanges[] = {{100, 0}, {255, -128}, {255, -128}, {1, 0}};

std::array<FloatRange, 5> floatRanges(PixelFormat format)
{
    std::array<FloatRange, 5> ranges {};
    if (format.model == ColorModel::Lab)
        std::copy(std::begin(kLabRanges), std::end(kLabRanges), ranges.begin());
    return ranges;
}

template <typename T> RowKernel toFloat(PixelFormat from)
{
    auto ranges = floatRanges(from);
    for (auto& range : ranges)
        range.scale /= kOpaque<T>;
    return [ranges, channels = static_cast<std::size_t>(from.channels())](
               std::uint8_t const* in, std::uint8_t* out, std::size_t pixels) {
        auto const* source = componentsAt<T>(in);
        auto* target = componentsAt<float>(out);
        for (std::size_t i = 0; i < pixels; ++i) {
            for (std::size_t channel = 0; channel < channels; ++channel)
                *target++ = static_cast<float>(*source++) * ranges[channel].scale + ranges[channel].offset;
        }
    };
}

// NaN counts as 0.
template <typename T> T fromUnit(float value)
{
    auto const scaled = value * kOpaque<T> + 0.5f;
    if (!(scaled > 0))
        return 0;
    return scaled >= kOpaque<T> ? kOpaque<T> : static_cast<T>(scaled);
}

template <typename T> RowKernel fromFloat(PixelFormat from)
{
    return [ranges = floatRanges(from), channels = static_cast<std::size_t>(from.channels())](
               std::uint8_t const* in, std::uint8_t* out, std::size_t pixels) {
        auto const* source = componentsAt<float>(in);
        auto* target = componentsAt<T>(out);
        for (std::size_t i = 0; i < pixels; ++i) {
            for (std::size_t channel = 0; channel < channels; ++channel)
                *target++ = fromUnit<T>((*source++ - ranges[channel].offset) / ranges[channel].scale);
        }
    };
}

} // namespace

RowKernel convertComponents(PixelFormat from, ComponentType to)
{
    using enum ComponentType;
    auto const channels = static_cast<std::size_t>(from.channels());
    if (to == Float32)
        return from.componentType == UInt8 ? toFloat<std::uint8_t>(from) : toFloat<std::uint16_t>(from);
    if (from.componentType == Float32)
        return to == UInt8 ? fromFloat<std::uint8_t>(from) : fromFloat<std::uint16_t>(from);
    if (to == UInt16) {
        return [channels](std::uint8_t const* in, std::uint8_t* out, std::size_t pixels) {
            simd::widen(in, componentsAt<std::uint16_t>(out), pixels * channels);
        };
    }
    return [channels](std::uint8_t const* in, std::uint8_t* out, std::size_t pixels) {
        simd::narrow(componentsAt<std::uint16_t>(in), out, pixels * channels);
    };
}

RowKernel convertAlpha(PixelFormat from, Alpha to, Bytes background)
{
    if (from.alpha == Alpha::None)
        return addAlphaKernel(from);
    if (to == Alpha::None)
        return flattenKernel(from, background);
    return to == Alpha::Premultiplied ? premultiplyKernel(from) : unpremultiplyKernel(from);
}

RowKernel expandGray(PixelFormat from)
{
    bool const hasAlpha = from.hasAlpha();
    if (from.componentType == ComponentType::UInt8 && !hasAlpha)
        return simd::expandGray;
    return forComponentType(from.componentType, [&]<typename T>(T) {
        return perPixel<T>(1 + hasAlpha, 3 + hasAlpha, [hasAlpha](T const* in, T* out) {
            out[0] = out[1] = out[2] = in[0];
            if (hasAlpha)
                out[3] = in[1];
        });
    });
}

RowKernel lookUp(Bytes table, std::size_t bytesPerPixel)
{
    return [table = std::move(table), bytesPerPixel](
               std::uint8_t const* in, std::uint8_t* out, std::size_t pixels) {
        auto const copy = [&](auto size) {
            for (std::size_t i = 0; i < pixels; ++i)
                std::memcpy(out + i * size, table.data() + in[i] * size, size);
        };
        // The usual sizes as constants: a copy of few bytes is then a move or two.
        if (bytesPerPixel == 3)
            copy(std::integral_constant<std::size_t, 3> {});
        else if (bytesPerPixel == 4)
            copy(std::integral_constant<std::size_t, 4> {});
        else
            copy(bytesPerPixel);
    };
}

RowKernel copyAlpha(PixelFormat from, PixelFormat to)
{
    PixelFormat const alphaOnly {from.componentType, ColorModel::Gray, Alpha::None};
    auto const sameType = from.componentType == to.componentType;
    auto const convert = sameType ? RowKernel() : convertComponents(alphaOnly, to.componentType);
    auto const step = from.bytesPerPixel();
    auto const targetStep = to.bytesPerPixel();
    auto const size = componentSize(from.componentType);
    auto const targetSize = componentSize(to.componentType);
    return [=](std::uint8_t const* in, std::uint8_t* out, std::size_t pixels) {
        for (std::size_t i = 0; i < pixels; ++i) {
            auto const* const source = in + (i + 1) * step - size;
            auto* const target = out + (i + 1) * targetStep - targetSize;
            if (convert)
                convert(source, target, 1);
            else
                std::memcpy(target, source, size);
        }
    };
}

RowKernel fillAlpha(PixelFormat format)
{
    return forComponentType(format.componentType, [&]<typename T>(T) {
        return RowKernel([channels = static_cast<std::size_t>(format.channels())](
                             std::uint8_t const*, std::uint8_t* out, std::size_t pixels) {
            auto* const target = componentsAt<T>(out);
            for (std::size_t i = 0; i < pixels; ++i)
                target[(i + 1) * channels - 1] = kOpaque<T>;
        });
    });
}

} // namespace velk::color

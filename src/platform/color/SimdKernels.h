#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

/// The commonest conversions of pixels with the widest vectors that the machine has.
namespace velk::color::simd {

/// RGBA to RGB, alpha dropped.
void dropAlpha(std::uint8_t const* rgba, std::uint8_t* rgb, std::size_t pixels);
/// RGB to opaque RGBA.
void addAlpha(std::uint8_t const* rgb, std::uint8_t* rgba, std::size_t pixels);
/// Grey to RGB.
void expandGray(std::uint8_t const* gray, std::uint8_t* rgb, std::size_t pixels);
/// Straight RGBA to premultiplied RGBA, rounded to nearest.
void premultiply(std::uint8_t const* straight, std::uint8_t* premultiplied, std::size_t pixels);
/// Premultiplied RGBA over an opaque background, to RGB.
void flatten(std::uint8_t const* premultiplied, std::uint8_t* rgb, std::size_t pixels,
    std::uint8_t const background[3]);
/// 8-bit components to 16 bits (v * 257).
void widen(std::uint8_t const* in, std::uint16_t* out, std::size_t components);
/// 16-bit components to 8 bits, rounded to nearest.
void narrow(std::uint16_t const* in, std::uint8_t* out, std::size_t components);

/// Tables that take 8-bit RGB through tone curves, a matrix, and tone curves. Each code picks a column of the
/// matrix, already multiplied with the code's linear light; the three add up to the target's linear light:
///
///     red table [r]     ( m00 r'  m10 r'  m20 r'  0 )
///   + green table [g]   ( m01 g'  m11 g'  m21 g'  0 )
///   + blue table [b]    ( m02 b'  m12 b'  m22 b'  0 )
///
/// That is cut to kDarkest..1, and the upper bits of the float (its exponent and the first mantissa bits) are
/// the index of the target's code. So the steps of the table grow with the light, as codes do, and a table of
/// 9217 entries is finer than 8 bits need anywhere.
struct ShaperTables {
    static constexpr int kExponents = 18;
    static constexpr int kMantissaBits = 9;
    static constexpr int kIndexShift = 23 - kMantissaBits;
    static constexpr std::size_t kCodes = (std::size_t {kExponents} << kMantissaBits) + 1;
    static constexpr float kDarkest = 1.0f / (1 << kExponents);
    static constexpr std::uint32_t kFirstBits = std::bit_cast<std::uint32_t>(kDarkest);

    alignas(16) std::array<std::array<std::array<float, 4>, 256>, 3> columns;
    std::array<std::array<std::uint8_t, kCodes>, 3> codes;
};

/// Converts the first three of `inChannels` bytes into the first three of `outChannels` bytes.
void shapeRgb(ShaperTables const& tables, std::uint8_t const* in, std::uint8_t* out, std::size_t pixels,
    std::size_t inChannels, std::size_t outChannels);

} // namespace velk::color::simd

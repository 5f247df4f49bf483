#pragma once

#include <cstddef>
#include <cstdint>

namespace velk::codec {

/// `value` of 0..`maximum` on the scale 0..`full`, rounded to nearest; larger values count as `maximum`.
constexpr std::uint32_t scaleSample(std::uint32_t value, std::uint32_t maximum, std::uint32_t full)
{
    if (value >= maximum)
        return full;
    return static_cast<std::uint32_t>((std::uint64_t {value} * full + maximum / 2) / maximum);
}

/// Spreads `count` samples of 1, 2, 4 or 8 bits, most significant bits first, over one byte each.
void unpackSamples(std::uint8_t const* packed, int bits, std::size_t count, std::uint8_t* samples);
/// Packs the low `bits` (1, 2, 4 or 8) of each sample, most significant bits first; unused bits are zero.
void packSamples(std::uint8_t const* samples, int bits, std::size_t count, std::uint8_t* packed);
/// Brings samples of 1, 2, 4 or 8 bits to the range 0..255, in place.
void expandToFullRange(std::uint8_t* samples, int bits, std::size_t count);
/// Brings samples of 0..255 to `bits` (1, 2, 4 or 8), rounded to nearest.
void reduceFromFullRange(std::uint8_t const* full, int bits, std::size_t count, std::uint8_t* samples);

/// Bytes that `count` samples of `bits` take when packed.
constexpr std::uint64_t packedBytes(std::uint64_t count, int bits)
{
    return (count * static_cast<unsigned>(bits) + 7) / 8;
}

/// Turns big-endian components of 1, 2 or 4 bytes into the machine's order or back.
void swapBigEndian(std::uint8_t const* from, std::size_t count, std::size_t size, std::uint8_t* to);

/// Copies `count` components of 1, 2 or 4 bytes between rows that hold a component at every n-th place.
struct Spacing {
    std::size_t from = 1;
    std::size_t to = 1;
};
void copySpaced(
    std::uint8_t const* from, std::uint8_t* to, std::size_t count, std::size_t size, Spacing spacing);

/// Replaces every component v of 8 or 16 bits by full range - v, or of 32 bits (floating point) by 1 - v.
void invertComponents(std::uint8_t* components, std::size_t count, std::size_t size);

/// Reverses the order of the `count` pixels of a row, each of `pixelBytes`.
void mirrorRow(std::uint8_t* row, std::size_t count, std::size_t pixelBytes);

} // namespace velk::codec

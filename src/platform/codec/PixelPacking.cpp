#include "platform/codec/PixelPacking.h"

#include "base/Bytes.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace velk::codec {

namespace {

// A component as it lies in memory, whatever its alignment.
template <typename T> T loadNative(std::uint8_t const* from)
{
    T value;
    std::memcpy(&value, from, sizeof(T));
    return value;
}

template <typename T> void storeNative(std::uint8_t* to, T value)
{
    std::memcpy(to, &value, sizeof(T));
}

template <typename T> void swapRow(std::uint8_t const* from, std::size_t count, std::uint8_t* to)
{
    for (std::size_t i = 0; i < count; ++i)
        storeNative(to + i * sizeof(T), loadInteger<T>(from + i * sizeof(T), ByteOrder::Big));
}

template <typename T>
void copyRow(std::uint8_t const* from, std::uint8_t* to, std::size_t count, Spacing spacing)
{
    for (std::size_t i = 0; i < count; ++i)
        std::memcpy(to + i * spacing.to * sizeof(T), from + i * spacing.from * sizeof(T), sizeof(T));
}

template <typename T> void invertRow(std::uint8_t* row, std::size_t count, T full)
{
    for (std::size_t i = 0; i < count; ++i)
        storeNative(row + i * sizeof(T), static_cast<T>(full - loadNative<T>(row + i * sizeof(T))));
}

} // namespace

void unpackSamples(std::uint8_t const* packed, int bits, std::size_t count, std::uint8_t* samples)
{
    if (bits == 8) {
        std::memcpy(samples, packed, count);
        return;
    }
    auto const perByte = static_cast<std::size_t>(8 / bits);
    auto const mask = (1u << bits) - 1;
    for (std::size_t i = 0; i < count; ++packed) {
        unsigned const byte = *packed;
        auto const end = std::min(count, i + perByte);
        for (int shift = 8 - bits; i < end; shift -= bits)
            samples[i++] = static_cast<std::uint8_t>(byte >> shift & mask);
    }
}

void packSamples(std::uint8_t const* samples, int bits, std::size_t count, std::uint8_t* packed)
{
    if (bits == 8) {
        std::memcpy(packed, samples, count);
        return;
    }
    auto const perByte = static_cast<std::size_t>(8 / bits);
    auto const mask = (1u << bits) - 1;
    for (std::size_t i = 0; i < count; ++packed) {
        unsigned byte = 0;
        auto const end = std::min(count, i + perByte);
        for (int shift = 8 - bits; i < end; shift -= bits)
            byte |= (samples[i++] & mask) << shift;
        *packed = static_cast<std::uint8_t>(byte);
    }
}

void expandToFullRange(std::uint8_t* samples, int bits, std::size_t count)
{
    if (bits == 8)
        return;
    auto const factor = 255u / ((1u << bits) - 1);
    for (std::size_t i = 0; i < count; ++i)
        samples[i] = static_cast<std::uint8_t>(samples[i] * factor);
}

void reduceFromFullRange(std::uint8_t const* full, int bits, std::size_t count, std::uint8_t* samples)
{
    auto const maximum = (1u << bits) - 1;
    for (std::size_t i = 0; i < count; ++i)
        samples[i] = static_cast<std::uint8_t>((full[i] * maximum + 127) / 255);
}

void swapBigEndian(std::uint8_t const* from, std::size_t count, std::size_t size, std::uint8_t* to)
{
    if (size == 1)
        std::memmove(to, from, count);
    else if (size == 2)
        swapRow<std::uint16_t>(from, count, to);
    else
        swapRow<std::uint32_t>(from, count, to);
}

void copySpaced(
    std::uint8_t const* from, std::uint8_t* to, std::size_t count, std::size_t size, Spacing spacing)
{
    if (size == 1)
        copyRow<std::uint8_t>(from, to, count, spacing);
    else if (size == 2)
        copyRow<std::uint16_t>(from, to, count, spacing);
    else
        copyRow<std::uint32_t>(from, to, count, spacing);
}

void invertComponents(std::uint8_t* components, std::size_t count, std::size_t size)
{
    if (size == 1)
        invertRow<std::uint8_t>(components, count, 255);
    else if (size == 2)
        invertRow<std::uint16_t>(components, count, 65535);
    else
        invertRow<float>(components, count, 1);
}

void mirrorRow(std::uint8_t* row, std::size_t count, std::size_t pixelBytes)
{
    if (count == 0)
        return;
    auto* left = row;
    for (auto* right = row + (count - 1) * pixelBytes; left < right; left += pixelBytes, right -= pixelBytes)
        std::swap_ranges(left, left + pixelBytes, right);
}

} // namespace velk::codec

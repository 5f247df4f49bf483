#pragma once

#include "base/Files.h"
#include "platform/codec/Resolution.h"
#include "platform/graphics/ColorSpace.h"
#include "platform/graphics/Geometry.h"

#include <array>
#include <optional>
#include <string_view>

namespace velk::codec {

// Sizes of the information headers that say what a header holds.
constexpr std::uint32_t kBmpCoreHeaderSize = 12;
constexpr std::uint32_t kBmpInfoHeaderSize = 40;
constexpr std::uint32_t kBmpV4HeaderSize = 108;
constexpr std::uint32_t kBmpV5HeaderSize = 124;
constexpr std::uint32_t kBmpFileHeaderSize = 14;

// Values of bV5CSType.
constexpr std::uint32_t kBmpSrgb = 0x73524742; ///< 'sRGB'
constexpr std::uint32_t kBmpProfileEmbedded = 0x4D424544; ///< 'MBED'

enum class BmpCompression : std::uint8_t { None, Rle4, Rle8, Rle24 };

/// The bits of a 16- or 32-bit pixel that hold one component.
struct BmpField {
    std::uint32_t mask = 0;
    int shift = 0;
    int bits = 0;

    static BmpField of(std::uint32_t mask);
    std::uint32_t value(std::uint32_t pixel) const { return (pixel & mask) >> shift; }
    std::uint32_t maximum() const { return bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1; }
};

/// What the headers of a Windows or OS/2 bitmap file say.
struct BmpHeader {
    std::uint32_t headerSize = 0;
    graphics::Size size;
    bool topDown = false;
    int bitsPerPixel = 0;
    BmpCompression compression = BmpCompression::None;
    /// Red, green, blue and alpha of 16- and 32-bit pixels; an alpha mask of zero means opaque.
    std::array<BmpField, 4> fields;
    /// Set where the alpha mask is one that the header should not have: some writers leave the bytes zero.
    bool alphaIsDoubtful = false;
    graphics::Palette palette;
    std::optional<Resolution> resolution;
    SharedBytes profile;
    bool isLabelledSrgb = false;
    std::uint64_t pixelOffset = 0;

    bool isIndexed() const { return bitsPerPixel <= 8; }
    /// Bytes of an uncompressed row with and without its padding.
    std::uint64_t rowBytes() const
    {
        return (static_cast<std::uint64_t>(size.width) * static_cast<unsigned>(bitsPerPixel) + 7) / 8;
    }
    std::uint64_t stride() const { return (rowBytes() + 3) / 4 * 4; }
};

/// Reads the headers, the palette and the profile.
Result<BmpHeader> readBmpHeader(InputFile const& file);

} // namespace velk::codec

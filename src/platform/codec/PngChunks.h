#pragma once

#include "base/AtomicFile.h"
#include "base/FourCC.h"
#include "platform/graphics/Geometry.h"

#include <array>
#include <string>
#include <vector>

namespace velk::codec {

/// The eight bytes that every PNG file starts with (PNG, third edition, 5.2).
constexpr std::array<std::uint8_t, 8> kPngSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

/// Chunk types (PNG, third edition, 11).
namespace pngType {
constexpr FourCC kHeader("IHDR"), kPalette("PLTE"), kData("IDAT"), kEnd("IEND");
constexpr FourCC kTransparency("tRNS"), kResolution("pHYs"), kExif("eXIf");
constexpr FourCC kGamma("gAMA"), kChromaticities("cHRM"), kSrgb("sRGB"), kProfile("iCCP");
constexpr FourCC kCodingPoints("cICP");
constexpr FourCC kText("tEXt"), kCompressedText("zTXt"), kInternationalText("iTXt");
constexpr FourCC kAnimation("acTL"), kFrame("fcTL");
constexpr FourCC kPrivateVariant("CgBI");
} // namespace pngType

/// What a chunk is good for, as far as velk edits it. Only its content tells this of a text chunk.
enum class PngRole : std::uint8_t { Other, Profile, Exif, Xmp, Iptc, Text };

/// One chunk of a file, or a run of consecutive IDAT chunks taken as one.
struct PngChunk {
    FourCC type;
    /// Offset of the chunk's first byte, which is that of its length field.
    std::uint64_t offset = 0;
    /// Bytes in the file: data and 12 bytes of frame; for a run all of it, less when the file ends inside.
    std::uint64_t size = 0;
    PngRole role = PngRole::Other;
    /// Keyword of a text chunk, in UTF-8.
    std::string keyword;

    /// Ancillary chunks may be ignored (PNG, third edition, 5.4: bit 5 of the first letter).
    bool isAncillary() const { return type.code & 0x20000000; }
    /// Whether it stays true when pixels change (bit 5 of the last letter).
    bool isSafeToCopy() const { return type.code & 0x20; }
};

/// The chunks of a file in their order. What follows them (nothing in a sound file) lies from `end` on.
struct PngChunkList {
    std::vector<PngChunk> chunks;
    std::uint64_t end = 0;

    /// The first chunk of this type, or null.
    PngChunk const* first(FourCC type) const;
};

/// Walks the chunks without reading the pixel data. A broken chunk ends the list. Errors: no PNG signature.
Result<PngChunkList> listPngChunks(InputFile const& file);

/// A chunk's data; `isIntact` tells whether the checksum agrees.
struct PngChunkData {
    Bytes bytes;
    bool isIntact = false;
};
/// Reads one chunk; an error when it is larger than any chunk but IDAT has reason to be.
Result<PngChunkData> readPngChunk(InputFile const& file, PngChunk const& chunk);

/// Appends a whole chunk: length, type, data and checksum.
void appendPngChunk(Bytes& to, FourCC type, ByteSpan data);
Result<void> writePngChunk(AtomicFile& output, FourCC type, ByteSpan data);

/// Colour types (PNG, third edition, 11.2.1): bit 0 palette, bit 1 colour, bit 2 alpha.
enum class PngColorType : std::uint8_t { Gray = 0, Rgb = 2, Indexed = 3, GrayAlpha = 4, Rgba = 6 };

/// The image header, IHDR.
struct PngHeader {
    graphics::Size size;
    int bitDepth = 8;
    PngColorType colorType = PngColorType::Rgb;
    bool isInterlaced = false;

    /// Samples of a pixel, alpha included.
    int channels() const;
    /// Bytes of a row of `width` pixels as the file packs it.
    std::uint64_t packedRowBytes() const;
    std::array<std::uint8_t, 13> bytes() const;

    /// Checks everything that the standard limits, and that the image is possible.
    static Result<PngHeader> parse(ByteSpan data);
};

} // namespace velk::codec

#pragma once

#include "base/AtomicFile.h"
#include "base/Files.h"
#include "base/FourCC.h"
#include "platform/graphics/Geometry.h"

#include <optional>
#include <span>
#include <variant>
#include <vector>

namespace velk::codec {

/// The chunks that a WebP file is made of (RFC 9649, 2).
namespace webp {

constexpr FourCC kLossy {"VP8 "};
constexpr FourCC kLossless {"VP8L"};
constexpr FourCC kExtended {"VP8X"};
constexpr FourCC kAlpha {"ALPH"};
constexpr FourCC kProfile {"ICCP"};
constexpr FourCC kExif {"EXIF"};
constexpr FourCC kXmp {"XMP "};
constexpr FourCC kAnimation {"ANIM"};
constexpr FourCC kFrame {"ANMF"};

/// Flags in the first byte of VP8X.
constexpr std::uint8_t kHasAnimation = 0x02;
constexpr std::uint8_t kHasXmp = 0x04;
constexpr std::uint8_t kHasExif = 0x08;
constexpr std::uint8_t kHasAlpha = 0x10;
constexpr std::uint8_t kHasProfile = 0x20;

/// Longest side that the bitstreams can hold.
constexpr std::int32_t kLargestSide = 16383;

} // namespace webp

/// Where the payload of a chunk lies in its file. In a truncated file `size` is what is left of it.
struct WebpChunk {
    FourCC id;
    std::uint64_t offset = 0;
    std::uint32_t size = 0;
};

/// One coded picture: its bitstream chunk with the alpha chunk before it, headers included.
struct WebpBitstream {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    graphics::Size size;
    bool isLossless = false;
    bool hasAlpha = false;
};

/// What a WebP file holds, without its pixels.
struct WebpContents {
    std::vector<WebpChunk> chunks;
    /// Where the RIFF container ends, at most the end of the file.
    std::uint64_t end = 0;
    graphics::Size canvas;
    bool isAnimated = false;
    int frameCount = 1;
    int loopCount = 0;
    /// The still image or the first frame, and where it lies on the canvas.
    WebpBitstream picture;
    graphics::IntRect pictureArea;

    /// The first chunk of this kind, or null.
    WebpChunk const* find(FourCC id) const;
};

Result<WebpContents> readWebpContents(InputFile const& file);

/// A chunk to write: bytes in memory, or a chunk that is copied from a source file.
struct WebpPiece {
    FourCC id;
    std::variant<Bytes, WebpChunk> payload;

    std::uint64_t size() const;
};

/// The payload of VP8X.
Bytes webpExtendedHeader(std::uint8_t flags, graphics::Size canvas);

/// Writes the RIFF container around `pieces`; `source` is where those come from that are copied.
Result<void> writeWebp(std::span<WebpPiece const> pieces, InputFile const* source, AtomicFile& output);

} // namespace velk::codec

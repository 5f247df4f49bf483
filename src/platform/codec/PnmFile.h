#pragma once

#include "base/Files.h"
#include "platform/graphics/Geometry.h"

#include <optional>

namespace velk::codec {

/// How the samples of a PNM file are written down.
enum class PnmCoding : std::uint8_t {
    TextBits, ///< P1: '0' is white
    Text, ///< P2, P3
    PackedBits, ///< P4: 0 is white
    Binary, ///< P5, P6, P7: one byte, or two with the most significant first
    Floats, ///< Pf, PF: rows from the bottom
};

enum class PnmColors : std::uint8_t { Gray, RGB, CMYK };

/// The header of one image of a portable bitmap, graymap, pixmap, anymap or floatmap file.
struct PnmHeader {
    PnmCoding coding = PnmCoding::Binary;
    PnmColors colors = PnmColors::Gray;
    bool hasAlpha = false;
    graphics::Size size;
    int storedChannels = 1; ///< a PAM file may have more than its tuple type needs
    std::uint32_t maximum = 255;
    ByteOrder floatOrder = ByteOrder::Big;
    std::uint64_t dataOffset = 0;

    std::size_t sampleBytes() const { return coding == PnmCoding::Floats ? 4 : maximum > 255 ? 2 : 1; }
    bool isText() const { return coding == PnmCoding::TextBits || coding == PnmCoding::Text; }
    /// Bytes of a row once it is read: as in the file, or as binary samples when that is text.
    std::uint64_t rowBytes() const;
    /// Bytes of all pixels in the file; nothing when that is text.
    std::optional<std::uint64_t> dataBytes() const;
};

/// Whether `head` starts like a file that `readPnmHeader` reads.
bool startsLikePnm(ByteSpan head);
/// Reads one header from where `reader` stands and leaves it at the data.
Result<PnmHeader> readPnmHeader(BufferedReader& reader);
/// The number of images that follow each other in the file, the first of which is `first`.
int countPnmImages(InputFile const& file, PnmHeader const& first);

} // namespace velk::codec

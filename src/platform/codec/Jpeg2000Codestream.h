#pragma once

#include "base/Files.h"
#include "platform/graphics/Geometry.h"

#include <vector>

namespace velk::codec {

/// A rectangle of the reference grid; x1 and y1 are outside. Wide enough for every value that the markers
/// hold.
struct GridRect {
    std::int64_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;

    std::int64_t width() const { return x1 - x0; }
    std::int64_t height() const { return y1 - y0; }
    bool operator==(GridRect const&) const = default;
};

struct Jpeg2000Component {
    int bits = 8;
    bool isSigned = false;
    /// A sample stands for this many grid points.
    int stepX = 1, stepY = 1;
};

/// What the main header of a JPEG 2000 codestream says (ISO/IEC 15444-1, annex A).
struct Jpeg2000Codestream {
    std::uint64_t offset = 0;
    std::uint64_t length = 0; ///< as far as it is in the file
    GridRect image;
    /// Tile (0, 0), unclipped.
    GridRect firstTile;
    std::vector<Jpeg2000Component> components;
    /// Number of times that every component can be halved.
    int levels = 0;
    bool isReversible = false;

    std::int64_t tileColumns() const;
    std::int64_t tileRows() const;
    /// The part of the image in a tile.
    GridRect tile(std::int64_t column, std::int64_t row) const;
    /// Grid points from one pixel to the next: 1, unless all components are subsampled.
    int pixelStepX() const;
    int pixelStepY() const;
    graphics::Size pixelSize() const;
};

constexpr std::int64_t ceilDivide(std::int64_t value, std::int64_t divisor)
{
    return (value + divisor - 1) / divisor;
}

/// Whether a codestream starts with these bytes: SOC and SIZ.
bool startsJpeg2000Codestream(ByteSpan bytes);

/// Reads the main header; refuses what cannot be decoded here: impossible sizes, samples of more than 16
/// bits.
Result<Jpeg2000Codestream> readJpeg2000Codestream(
    InputFile const& file, std::uint64_t offset, std::uint64_t length);

} // namespace velk::codec

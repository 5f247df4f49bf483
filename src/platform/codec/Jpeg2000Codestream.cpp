#include "platform/codec/Jpeg2000Codestream.h"

#include <algorithm>
#include <array>
#include <limits>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::uint16_t kStartOfCodestream = 0xFF4F;
constexpr std::uint16_t kImageSize = 0xFF51;
constexpr std::uint16_t kCodingStyle = 0xFF52;
constexpr std::uint16_t kComponentCodingStyle = 0xFF53;
constexpr std::uint16_t kStartOfTilePart = 0xFF90;

constexpr std::size_t kSizeFixedLength = 36;
constexpr std::size_t kMaximumComponents = 64;
constexpr int kMaximumBits = 16;
constexpr int kMaximumLevels = 32;
constexpr std::int64_t kMaximumTiles = 65535;
// SOT and SOD.
constexpr std::uint64_t kSmallestTilePart = 14;
constexpr std::int64_t kLargestCoordinate = std::numeric_limits<std::int32_t>::max();

Result<void> readComponents(ByteSpan fields, Jpeg2000Codestream& codestream)
{
    std::size_t const count = loadBE16(&fields[kSizeFixedLength - 2]);
    if (count > kMaximumComponents)
        return fail("images of {} components are not supported", count);
    if (count == 0 || fields.size() < kSizeFixedLength + 3 * count)
        return fail("the JPEG 2000 header is damaged");
    for (std::size_t i = 0; i < count; ++i) {
        auto const* field = &fields[kSizeFixedLength + 3 * i];
        Jpeg2000Component const component {.bits = (field[0] & 0x7F) + 1,
            .isSigned = (field[0] & 0x80) != 0,
            .stepX = field[1],
            .stepY = field[2]};
        if (component.bits > kMaximumBits)
            return fail("components of {} bits are not supported", component.bits);
        if (component.stepX == 0 || component.stepY == 0)
            return fail("the JPEG 2000 header is damaged");
        codestream.components.push_back(component);
    }
    return {};
}

// SIZ (A.5.1), behind its length field.
Result<void> readSize(ByteSpan fields, Jpeg2000Codestream& codestream)
{
    if (fields.size() < kSizeFixedLength)
        return fail("the JPEG 2000 header is damaged");
    auto const field = [&](std::size_t index) { return std::int64_t {loadBE32(&fields[2 + 4 * index])}; };
    codestream.image = {field(2), field(3), field(0), field(1)};
    codestream.firstTile = {field(6), field(7), field(6) + field(4), field(7) + field(5)};
    TRY(readComponents(fields, codestream));

    auto const& image = codestream.image;
    auto const& tile = codestream.firstTile;
    bool const isConsistent = image.x0 < image.x1 && image.y0 < image.y1 && tile.width() > 0
        && tile.height() > 0 && tile.x0 <= image.x0 && tile.y0 <= image.y0 && tile.x1 > image.x0
        && tile.y1 > image.y0;
    if (!isConsistent)
        return fail("the JPEG 2000 header is damaged");
    if (image.x1 > kLargestCoordinate || image.y1 > kLargestCoordinate || !isPossible(codestream.pixelSize()))
        return fail("an image of {} x {} pixels is not possible", image.width(), image.height());
    auto const tiles = codestream.tileColumns() * codestream.tileRows();
    // Every tile has memory set aside before the first is read.
    if (tiles > kMaximumTiles
        || (tiles > 1024 && static_cast<std::uint64_t>(tiles) > codestream.length / kSmallestTilePart))
        return fail("the JPEG 2000 image has more tiles than can be");
    return {};
}

// COD (A.6.1): style, progression, layers, component transformation, then the parameters of all components:
// decomposition levels, code-block width, height and style, transformation (1 = 5-3 reversible).
void readCodingStyle(ByteSpan fields, Jpeg2000Codestream& codestream)
{
    if (fields.size() < 10)
        return;
    codestream.levels = std::min<int>(fields[5], kMaximumLevels);
    codestream.isReversible = fields[9] == 1;
}

// COC (A.6.2): component, style, and the same parameters for this component.
void readComponentCodingStyle(ByteSpan fields, Jpeg2000Codestream& codestream)
{
    auto const at = std::size_t {codestream.components.size() < 257 ? 2u : 3u};
    if (fields.size() < at + 5)
        return;
    codestream.levels = std::min<int>(codestream.levels, fields[at]);
    codestream.isReversible = codestream.isReversible && fields[at + 4] == 1;
}

bool hasParameters(std::uint16_t marker)
{
    // FF30 to FF3F stand alone (A.1).
    return marker < 0xFF30 || marker > 0xFF3F;
}

Result<void> readSegment(std::uint16_t marker, ByteSpan fields, Jpeg2000Codestream& codestream)
{
    if (marker == kImageSize)
        return readSize(fields, codestream);
    if (marker == kCodingStyle)
        readCodingStyle(fields, codestream);
    if (marker == kComponentCodingStyle)
        readComponentCodingStyle(fields, codestream);
    return {};
}

} // namespace

std::int64_t Jpeg2000Codestream::tileColumns() const
{
    return ceilDivide(image.x1 - firstTile.x0, firstTile.width());
}

std::int64_t Jpeg2000Codestream::tileRows() const
{
    return ceilDivide(image.y1 - firstTile.y0, firstTile.height());
}

GridRect Jpeg2000Codestream::tile(std::int64_t column, std::int64_t row) const
{
    auto const x = firstTile.x0 + column * firstTile.width();
    auto const y = firstTile.y0 + row * firstTile.height();
    return {std::max(x, image.x0), std::max(y, image.y0), std::min(x + firstTile.width(), image.x1),
        std::min(y + firstTile.height(), image.y1)};
}

int Jpeg2000Codestream::pixelStepX() const
{
    return std::ranges::min(components, {}, &Jpeg2000Component::stepX).stepX;
}

int Jpeg2000Codestream::pixelStepY() const
{
    return std::ranges::min(components, {}, &Jpeg2000Component::stepY).stepY;
}

Size Jpeg2000Codestream::pixelSize() const
{
    return {static_cast<int>(ceilDivide(image.x1, pixelStepX()) - ceilDivide(image.x0, pixelStepX())),
        static_cast<int>(ceilDivide(image.y1, pixelStepY()) - ceilDivide(image.y0, pixelStepY()))};
}

bool startsJpeg2000Codestream(ByteSpan bytes)
{
    return bytes.size() >= 4 && loadBE16(&bytes[0]) == kStartOfCodestream
        && loadBE16(&bytes[2]) == kImageSize;
}

Result<Jpeg2000Codestream> readJpeg2000Codestream(
    InputFile const& file, std::uint64_t offset, std::uint64_t length)
{
    Jpeg2000Codestream codestream {.offset = offset, .length = length};
    BufferedReader reader(file, offset + 2, 4096);
    for (;;) {
        std::array<std::uint8_t, 4> header;
        TRY(reader.readExactly(header));
        auto const marker = loadBE16(&header[0]);
        auto const size = loadBE16(&header[2]);
        if (marker == kStartOfTilePart)
            break;
        if (marker < 0xFF00 || !hasParameters(marker) || size < 2)
            return fail("the JPEG 2000 header is damaged");
        Bytes fields(size - 2u);
        TRY(reader.readExactly(fields));
        TRY(readSegment(marker, fields, codestream));
    }
    if (codestream.components.empty())
        return fail("the JPEG 2000 header is damaged");
    return codestream;
}

} // namespace velk::codec

#pragma once

#include "base/Files.h"
#include "base/FourCC.h"
#include "platform/codec/Jpeg2000Codestream.h"
#include "platform/codec/Resolution.h"
#include "platform/graphics/PixelFormat.h"

#include <array>
#include <optional>
#include <span>

namespace velk::codec {

/// Types of boxes (ISO/IEC 15444-1, annex I).
namespace jp2 {

constexpr FourCC kSignature {"jP  "};
constexpr FourCC kFileType {"ftyp"};
constexpr FourCC kHeader {"jp2h"};
constexpr FourCC kImageHeader {"ihdr"};
constexpr FourCC kBitsPerComponent {"bpcc"};
constexpr FourCC kColor {"colr"};
constexpr FourCC kPalette {"pclr"};
constexpr FourCC kComponentMapping {"cmap"};
constexpr FourCC kChannelDefinition {"cdef"};
constexpr FourCC kResolution {"res "};
constexpr FourCC kCaptureResolution {"resc"};
constexpr FourCC kDisplayResolution {"resd"};
constexpr FourCC kUuid {"uuid"};
constexpr FourCC kCodestream {"jp2c"};

using Uuid = std::array<std::uint8_t, 16>;

// "JpgTiffExif->JP2"
constexpr Uuid kExifUuid = {
    0x4A, 0x70, 0x67, 0x54, 0x69, 0x66, 0x66, 0x45, 0x78, 0x69, 0x66, 0x2D, 0x3E, 0x4A, 0x50, 0x32};
constexpr Uuid kIptcUuid = {
    0x33, 0xC7, 0xA4, 0xD2, 0xB8, 0x1D, 0x47, 0x23, 0xA0, 0xBA, 0xF1, 0xA3, 0xE0, 0x97, 0xAD, 0x38};
constexpr Uuid kXmpUuid = {
    0xBE, 0x7A, 0xCF, 0xCB, 0x97, 0xA9, 0x42, 0xE8, 0x9C, 0x71, 0x99, 0x94, 0x91, 0xE3, 0xAF, 0xAC};

/// Enumerated colour spaces (ISO/IEC 15444-1, table I.10; ISO/IEC 15444-2, table M.25).
constexpr std::uint32_t kCmyk = 12;
constexpr std::uint32_t kCieLab = 14;
constexpr std::uint32_t kSrgb = 16;
constexpr std::uint32_t kGrey = 17;
constexpr std::uint32_t kSycc = 18;

} // namespace jp2

/// Where a box lies; `length` counts its header and is what is left of it in a truncated file.
struct Jp2Box {
    FourCC type;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    std::uint64_t headerLength = 8;
    /// Only of uuid boxes.
    jp2::Uuid uuid = {};

    std::uint64_t payload() const { return offset + headerLength; }
    std::uint64_t payloadLength() const { return length - headerLength; }
};

/// pclr: columns of up to 1024 values.
struct Jp2Palette {
    struct Column {
        int bits = 8;
        std::vector<int> values;
    };
    std::vector<Column> columns;
};

/// cmap: a channel is a component as it is, or a column of the palette looked up with it.
struct Jp2Channel {
    int component = 0;
    std::optional<int> paletteColumn;
};

/// cdef: what a channel means.
struct Jp2ChannelDefinition {
    enum Type : std::uint16_t { Color = 0, Opacity = 1, PremultipliedOpacity = 2 };

    int channel = 0;
    int type = Color;
    int association = 0; ///< 0 = the whole image, 1 = the first colour, ...
};

/// How CIELab is coded: range and offset of L, a and b (ISO/IEC 15444-2, M.11.7.4.1).
struct Jp2LabRange {
    double range = 100;
    double offset = 0;
};

/// What the boxes say about the pixels of a file.
struct Jp2Contents {
    /// The whole file is one codestream without boxes.
    bool isRaw = false;
    std::vector<Jp2Box> boxes;
    std::vector<Jp2Box> headerBoxes;
    Jpeg2000Codestream codestream;
    int codestreamCount = 1;

    std::optional<std::uint32_t> enumeratedSpace;
    std::optional<std::array<Jp2LabRange, 3>> labRanges;
    Bytes profile;
    std::optional<Jp2Palette> palette;
    std::vector<Jp2Channel> channels;
    std::vector<Jp2ChannelDefinition> definitions;
    std::optional<Resolution> resolution;

    Jp2Box const* find(FourCC type) const;
    Jp2Box const* findUuid(jp2::Uuid const& uuid) const;
};

Result<Jp2Contents> readJp2Contents(InputFile const& file);
/// The boxes from `offset` to `end`, up to where they stop making sense.
Result<std::vector<Jp2Box>> readJp2Boxes(InputFile const& file, std::uint64_t offset, std::uint64_t end);
/// The payload of a small box.
Result<Bytes> readJp2Payload(InputFile const& file, Jp2Box const& box);

} // namespace velk::codec

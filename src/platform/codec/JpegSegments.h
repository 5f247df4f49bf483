#pragma once

#include "base/Files.h"
#include "platform/graphics/Geometry.h"

#include <optional>
#include <string>
#include <vector>

/// The marker segments of a JPEG file (ISO/IEC 10918-1, annex B) up to its first scan.
namespace velk::codec::jpeg {

namespace marker {
constexpr std::uint8_t kStartOfImage = 0xD8;
constexpr std::uint8_t kEndOfImage = 0xD9;
constexpr std::uint8_t kStartOfScan = 0xDA;
constexpr std::uint8_t kApp0 = 0xE0;
constexpr std::uint8_t kApp1 = 0xE1;
constexpr std::uint8_t kApp2 = 0xE2;
constexpr std::uint8_t kApp13 = 0xED;
constexpr std::uint8_t kApp14 = 0xEE;
constexpr std::uint8_t kApp15 = 0xEF;
constexpr std::uint8_t kComment = 0xFE;
} // namespace marker

/// What a segment holds, in the order in which new ones are put into a file.
enum class SegmentKind : std::uint8_t {
    Jfif,
    Jfxx,
    Exif,
    Xmp,
    ExtendedXmp,
    Photoshop,
    Icc,
    Mpf, ///< CIPA DC-007 multi-picture format
    Adobe,
    OtherApplication,
    Comment,
    Coding, ///< frame, tables and everything else that decoding needs
};
constexpr std::size_t kSegmentKindCount = 12;

/// The text that an application segment of this kind starts with, zeros included; empty for the last three.
std::string_view signatureOf(SegmentKind kind);
/// Most bytes that a segment holds after its length.
constexpr std::size_t kMaximumPayload = 65533;

struct Segment {
    SegmentKind kind = SegmentKind::Coding;
    std::uint8_t marker = 0;
    /// Where it starts, with any stray and fill bytes before the marker, and the bytes from there to its end.
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint64_t strayBytes = 0; ///< of those, the ones before the marker
    /// The payload after the signature.
    std::uint64_t dataOffset = 0;
    std::size_t dataSize = 0;
};

struct FrameComponent {
    int identifier = 0;
    int horizontalSampling = 1;
    int verticalSampling = 1;
};

/// The frame header (SOFn).
struct Frame {
    std::uint8_t marker = 0; ///< 0 = none seen
    graphics::Size size;
    std::vector<FrameComponent> components;

    bool isProgressive() const { return (marker & 3) == 2; }
    /// Largest sampling factors; 1 x 1 when there is only one component.
    graphics::Size blocksPerUnit() const;
    /// Size of the unit (iMCU) that scans with all components are made of, in pixels.
    graphics::Size unitSize() const;
};

/// Pixel density as JFIF writes it (JFIF 1.02, APP0): unit 0 gives an aspect ratio only, 1 counts per inch,
/// 2 per centimetre.
struct Jfif {
    int majorVersion = 1, minorVersion = 1;
    int unit = 0;
    int xDensity = 1, yDensity = 1;
};

struct Header {
    std::vector<Segment> segments;
    Frame frame;
    std::optional<Jfif> jfif;
    std::optional<int> adobeTransform;
    /// Where the first scan begins, stray bytes before it included.
    std::uint64_t scanOffset = 0;

    bool has(SegmentKind kind) const;
    /// Whether the colours are what JFIF says they are (grey or YCbCr), so that there may be a JFIF segment.
    bool isJfifColor() const;
};

/// Reads the segments between start of image and first scan. Errors: no JPEG file, damaged before the first
/// scan, or a process that is not supported (12-bit, lossless, hierarchical).
Result<Header> readHeader(InputFile const& file);

/// The data of one segment.
Result<Bytes> readData(InputFile const& file, Segment const& segment);
/// The data of all segments of a kind, one after the other.
Result<Bytes> readData(InputFile const& file, Header const& header, SegmentKind kind);
/// The Exif block (a TIFF structure), also when it is spread over several segments; empty when there is none.
Result<Bytes> readExif(InputFile const& file, Header const& header);
/// The ICC profile put together from its chunks (ICC.1:2022, B.4); null when there is none or parts of it are
/// missing.
Result<SharedBytes> readProfile(InputFile const& file, Header const& header);

/// Appends a whole segment: marker, length, the kind's signature, data.
void appendSegment(Bytes& to, std::uint8_t marker, SegmentKind kind, ByteSpan data);

} // namespace velk::codec::jpeg

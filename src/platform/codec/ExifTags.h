#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace velk::codec {

/// The directories of an Exif block that velk knows: IFD0, the Exif, GPS and interoperability directories
/// below it, and IFD1 with the preview.
enum class ExifDirectory : std::uint8_t { Image, Photo, Gps, Interop, Preview };
constexpr std::size_t kExifDirectoryCount = 5;

/// Field types of TIFF 6.0, section 2, and of its first supplement (Ifd).
enum class ExifType : std::uint16_t {
    Byte = 1,
    Ascii,
    Short,
    Long,
    Rational,
    SignedByte,
    Undefined,
    SignedShort,
    SignedLong,
    SignedRational,
    Float,
    Double,
    Ifd,
};

/// Bytes of one component; 0 for a type that does not exist.
constexpr std::size_t exifTypeSize(ExifType type)
{
    constexpr std::uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
    auto const index = static_cast<std::size_t>(type);
    return index < std::size(kSizes) ? kSizes[index] : 0;
}

/// How the bytes of a tag are to be understood beyond their type.
enum class ExifMeaning : std::uint8_t {
    Plain,
    Version, ///< digits in Undefined bytes, such as "0232"
    Numbers, ///< Undefined bytes that count as small numbers
    Comment, ///< eight bytes that name the character code, then the text (Exif 2.32, 4.6.5, UserComment)
    Utf16, ///< little-endian UTF-16 in Byte fields
};

/// A tag that has a key in the property dictionary.
struct ExifTag {
    ExifDirectory directory;
    std::uint16_t tag;
    std::string_view name;
    ExifType type;
    /// Number of components; 0 = any.
    std::uint8_t count = 1;
    ExifMeaning meaning = ExifMeaning::Plain;
};

/// All of them, by directory and tag.
std::span<ExifTag const> exifTags();
/// The row of a tag, or null.
ExifTag const* exifTag(ExifDirectory directory, std::uint16_t tag);
/// The row of a key of {TIFF} (`Image`), {Exif} (`Photo`) or {GPS} (`Gps`), or null.
ExifTag const* exifTag(ExifDirectory directory, std::string_view name);

/// Tag numbers that the code itself speaks of.
namespace tag {
constexpr std::uint16_t kImageWidth = 0x0100;
constexpr std::uint16_t kImageLength = 0x0101;
constexpr std::uint16_t kCompression = 0x0103;
constexpr std::uint16_t kMake = 0x010F;
constexpr std::uint16_t kOrientation = 0x0112;
constexpr std::uint16_t kXResolution = 0x011A;
constexpr std::uint16_t kYResolution = 0x011B;
constexpr std::uint16_t kResolutionUnit = 0x0128;
constexpr std::uint16_t kPreviewOffset = 0x0201;
constexpr std::uint16_t kPreviewLength = 0x0202;
constexpr std::uint16_t kRelatedImageWidth = 0x1001;
constexpr std::uint16_t kRelatedImageLength = 0x1002;
constexpr std::uint16_t kCopyright = 0x8298;
constexpr std::uint16_t kExifPointer = 0x8769;
constexpr std::uint16_t kGpsPointer = 0x8825;
constexpr std::uint16_t kExifVersion = 0x9000;
constexpr std::uint16_t kMakerNote = 0x927C;
constexpr std::uint16_t kPixelXDimension = 0xA002;
constexpr std::uint16_t kPixelYDimension = 0xA003;
constexpr std::uint16_t kInteropPointer = 0xA005;
constexpr std::uint16_t kGpsVersion = 0x0000;
} // namespace tag

} // namespace velk::codec

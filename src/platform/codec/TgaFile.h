#pragma once

#include "base/Files.h"
#include "platform/graphics/ColorSpace.h"
#include "platform/graphics/Geometry.h"

#include <array>
#include <optional>
#include <string>

namespace velk::codec {

constexpr std::size_t kTgaHeaderSize = 18;
constexpr std::size_t kTgaFooterSize = 26;
constexpr std::size_t kTgaExtensionSize = 495;
/// Follows the two offsets in the footer of a TGA 2.0 file; the zero that ends it counts.
constexpr std::string_view kTgaSignature("TRUEVISION-XFILE.\0", 18);

enum class TgaKind : std::uint8_t { ColorMapped = 1, TrueColor = 2, Gray = 3 };

/// The 18 bytes that a TGA file starts with.
struct TgaHeader {
    std::size_t idLength = 0;
    bool hasColorMap = false;
    TgaKind kind = TgaKind::TrueColor;
    bool isRunLengthCoded = false;
    std::uint32_t mapFirst = 0;
    std::uint32_t mapLength = 0;
    int mapBits = 0;
    graphics::Size size;
    int bitsPerPixel = 0;
    int attributeBits = 0;
    bool rightToLeft = false;
    bool topDown = false;

    std::uint64_t mapOffset() const { return kTgaHeaderSize + idLength; }
    std::uint64_t mapEntryBytes() const { return (static_cast<unsigned>(mapBits) + 7) / 8; }
    std::uint64_t pixelOffset() const
    {
        return mapOffset() + (hasColorMap ? mapLength * mapEntryBytes() : 0);
    }
    std::size_t pixelBytes() const { return (static_cast<unsigned>(bitsPerPixel) + 7) / 8; }
    std::uint64_t rowBytes() const { return static_cast<std::uint64_t>(size.width) * pixelBytes(); }
};

/// The header in `bytes`; nothing unless every field makes sense.
std::optional<TgaHeader> parseTgaHeader(ByteSpan bytes);

/// What the fourth component of a pixel is, from the extension area of TGA 2.0.
enum class TgaAttributes : std::uint8_t {
    None = 0,
    UndefinedIgnore = 1,
    UndefinedRetain = 2,
    Alpha = 3,
    PremultipliedAlpha = 4,
};

/// The extension area of TGA 2.0.
struct TgaExtension {
    std::string author, comments, dateTime, jobName, software, softwareVersion;
    double gamma = 0; ///< 0 = not given
    TgaAttributes attributes = TgaAttributes::None;
};

/// Whether the file ends with the footer of TGA 2.0.
bool hasTgaFooter(InputFile const& file);
/// The extension area, when the file has a footer that leads to one.
std::optional<TgaExtension> readTgaExtension(InputFile const& file);
/// The 495 bytes of an extension area.
Bytes serializeTgaExtension(TgaExtension const& extension);

} // namespace velk::codec

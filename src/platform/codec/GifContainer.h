#pragma once

#include "base/Files.h"
#include "platform/graphics/ColorSpace.h"
#include "platform/graphics/Geometry.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velk::codec {

/// The parts of a GIF89a data stream that stand behind the global colour table.
enum class GifBlockKind : std::uint8_t { Image, GraphicControl, Comment, PlainText, Application, Unknown };

/// Where a block lies, introducer and terminator included.
struct GifBlock {
    GifBlockKind kind = GifBlockKind::Unknown;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    /// Identifier and authentication code of an application extension, 11 characters.
    std::string application;
};

/// An image with the graphic control that belongs to it.
struct GifFrame {
    std::uint64_t offset = 0; ///< of the image descriptor
    graphics::IntRect area;
    std::optional<graphics::Palette> palette; ///< the local one
    std::optional<int> transparentIndex;
    std::optional<int> delay; ///< hundredths of a second
    bool isInterlaced = false;
    int codeSize = 8; ///< LZW minimum code size, 1 to 8
};

/// What a GIF file holds, without its pixels.
struct GifContents {
    graphics::Size screen;
    std::optional<graphics::Palette> globalPalette;
    std::uint64_t headerEnd = 0; ///< end of the global colour table
    std::vector<GifBlock> blocks;
    /// The first frame, and their number.
    GifFrame frame;
    int frameCount = 0;
    /// How often the animation runs; 0 = for ever. Not set without a looping extension.
    std::optional<int> loopCount;
    std::string comment;
    std::string xmp;
    Bytes profile;
};

constexpr std::string_view kGifXmpApplication = "XMP DataXMP";
constexpr std::string_view kGifProfileApplication = "ICCRGBG1012";
constexpr std::string_view kGifLoopApplication = "NETSCAPE2.0";

Result<GifContents> readGifContents(InputFile const& file);

/// Whole extension blocks; nothing for empty input, and for a packet with zeros in it.
Bytes gifXmpExtension(std::string_view packet);
Bytes gifProfileExtension(ByteSpan profile);
Bytes gifCommentExtension(std::string_view text);
Bytes gifLoopExtension(std::uint16_t count);

/// Size and layout of a GIF header (GIF89a, 17 and 18).
constexpr std::size_t kGifHeaderSize = 13;

} // namespace velk::codec

#pragma once

#include "base/Files.h"
#include "platform/codec/Resolution.h"
#include "platform/graphics/Geometry.h"

#include <optional>
#include <vector>

namespace velk::codec {

/// Colour modes of a Photoshop file, as its header numbers them.
enum class PsdMode : std::uint16_t {
    Bitmap = 0,
    Gray = 1,
    Indexed = 2,
    RGB = 3,
    CMYK = 4,
    Multichannel = 7,
    Duotone = 8,
    Lab = 9,
};

/// How the rows of the flattened picture are coded.
enum class PsdCompression : std::uint16_t { None = 0, PackBits = 1, Zip = 2, ZipWithPrediction = 3 };

/// Identifiers of image resources.
namespace psd {
constexpr std::uint16_t kResolution = 1005;
constexpr std::uint16_t kIptc = 1028;
constexpr std::uint16_t kProfile = 1039;
constexpr std::uint16_t kUntaggedProfile = 1041;
constexpr std::uint16_t kIndexedColorCount = 1046;
constexpr std::uint16_t kTransparentIndex = 1047;
constexpr std::uint16_t kVersionInfo = 1057;
constexpr std::uint16_t kExif = 1058;
constexpr std::uint16_t kXmp = 1060;
constexpr std::uint16_t kIptcDigest = 1061;

constexpr std::size_t kPaletteBytes = 768;
constexpr std::size_t kHeaderSize = 26;
} // namespace psd

/// One image resource, where it lies in the file.
struct PsdResource {
    std::uint16_t id = 0;
    std::uint64_t start = 0; ///< of its signature
    std::uint64_t end = 0; ///< of its data with the padding
    std::uint64_t dataOffset = 0;
    std::uint32_t dataSize = 0;
};

/// The sections of a Photoshop document (PSD, or PSB when `isLarge`); offsets are those of their contents.
struct PsdFile {
    bool isLarge = false;
    int channels = 1;
    graphics::Size size;
    int depth = 8;
    PsdMode mode = PsdMode::RGB;
    std::uint64_t modeDataOffset = 0;
    std::uint32_t modeDataSize = 0;
    std::uint64_t resourcesOffset = 0;
    std::uint64_t resourcesEnd = 0;
    std::vector<PsdResource> resources;
    std::uint64_t resourcesParsedEnd = 0; ///< what lies from here to `resourcesEnd` was not understood
    std::uint64_t layersOffset = 0;
    std::uint64_t layersEnd = 0;
    int layerCount = 0;
    bool hasMergedAlpha = false; ///< the first channel after the colours is the picture's transparency
    PsdCompression compression = PsdCompression::None;
    std::uint64_t pixelOffset = 0;

    std::size_t rowBytes() const
    {
        return (static_cast<std::size_t>(size.width) * static_cast<unsigned>(depth) + 7) / 8;
    }
    PsdResource const* resource(std::uint16_t id) const;
};

/// Reads the structure of a file; no resource data, layers or pixels.
Result<PsdFile> readPsdFile(InputFile const& file);
/// The data of a resource; empty when there is none, or it is larger than `limit` or cut off.
Bytes readPsdResource(
    InputFile const& file, PsdFile const& psd, std::uint16_t id, std::size_t limit = 64 * 1024 * 1024);

/// Appends a whole resource with an empty name.
void appendPsdResource(Bytes& section, std::uint16_t id, ByteSpan data);
/// A ResolutionInfo structure to pixels per inch and back. `previous` gives the units for display.
std::optional<Resolution> parsePsdResolution(ByteSpan data);
Bytes psdResolution(Resolution resolution, ByteSpan previous = {});

} // namespace velk::codec

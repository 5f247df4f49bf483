#pragma once

#include "platform/codec/TiffDirectory.h"
#include "platform/codec/TiffTags.h"
#include "platform/graphics/Geometry.h"

#include <array>
#include <vector>

namespace velk::codec::tiff {

enum class SampleFormat : int { Unsigned = 1, Signed = 2, Float = 3, Undefined = 4 };

/// How the pixels of one directory are stored: its structural entries with their defaults filled in.
struct Structure {
    graphics::Size size;
    int bitsPerSample = 1;
    int samplesPerPixel = 1;
    SampleFormat sampleFormat = SampleFormat::Unsigned;
    Photometric photometric = Photometric::MinIsBlack;
    int compression = compression::kNone;
    bool isPlanar = false;
    bool isBitReversed = false;
    int inkCount = 4;
    /// Meaning of the last samples: 1 associated alpha, 2 unassociated alpha, other values nothing known.
    std::vector<int> extraSamples;

    bool isTiled = false;
    std::int32_t tileWidth = 0;
    std::int32_t tileHeight = 0;
    std::int32_t rowsPerStrip = 0;
    std::array<int, 2> subsampling = {2, 2};

    /// Samples of a pixel that lie side by side in one plane.
    int samplesPerPlane() const { return isPlanar ? 1 : samplesPerPixel; }
    /// Bytes of `width` pixels of one plane.
    std::uint64_t rowBytes(std::int32_t width) const
    {
        auto const bits = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(samplesPerPlane())
            * static_cast<std::uint64_t>(bitsPerSample);
        return (bits + 7) / 8;
    }
};

/// Reads and checks the structure that a directory describes. Errors: no size, an impossible one, or a layout
/// that makes no sense.
Result<Structure> readStructure(DirectoryReader const& reader, Directory const& directory);

/// Whether a tag says how pixels are stored or coded, rather than what the picture is: such tags do not move
/// from one file to another.
bool isStructural(std::uint16_t tag);

} // namespace velk::codec::tiff

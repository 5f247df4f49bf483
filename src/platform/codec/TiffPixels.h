#pragma once

#include "platform/codec/TiffStructure.h"
#include "platform/graphics/ColorSpace.h"
#include "platform/graphics/PixelFormat.h"

#include <array>
#include <optional>
#include <vector>

namespace velk::codec::tiff {

/// What the samples that come out of the decoder are, where they are not simply those of the file.
enum class DecodedSamples : std::uint8_t {
    AsStored,
    Rgb, ///< YCbCr, turned into 8-bit RGB
    Luminance, ///< LogL, as 32-bit float Y
    Xyz, ///< LogLuv, as 32-bit float X, Y, Z
};

/// What has to be done to a stored sample to make it a component.
enum class SampleMeaning : std::uint8_t {
    Plain,
    Inverted, ///< largest value is none: min-is-white
    Index,
    PaletteRed,
    PaletteGreen,
    PaletteBlue,
    CieLightness,
    CieChroma, ///< a or b with a sign, 1/256 of the range a unit
    IccLightness, ///< 16-bit: 0xFF00 is 100
    IccChroma, ///< a or b offset by half the range
    ItuLightness,
    ItuA,
    ItuB,
};

/// How the pixels of a directory are delivered.
struct PixelPlan {
    graphics::PixelFormat format;
    int bitsPerComponent = 8;
    /// Of indexed images.
    std::optional<graphics::Palette> palette;

    DecodedSamples decoded = DecodedSamples::AsStored;
    /// For every channel, the stored sample that gives it and what that means.
    struct Channel {
        int sample = 0;
        SampleMeaning meaning = SampleMeaning::Plain;
    };
    std::vector<Channel> channels;
    /// Samples of a pixel that lie side by side in a decoded row, their depth and format.
    int samplesPerPlane = 1;
    int bitsPerSample = 8;
    SampleFormat sampleFormat = SampleFormat::Unsigned;
    /// TIFF colour map, 16 bits a value: all reds, all greens, all blues.
    std::vector<std::uint16_t> colorMap;
    /// Range of L, a and b of ITU Lab: lowest and highest of each.
    std::array<double, 6> decodeRange {};
};

/// Decides how to deliver an image. Errors: a colour model, depth or sample format that is not supported.
Result<PixelPlan> planPixels(
    DirectoryReader const& reader, Directory const& directory, Structure const& structure);

} // namespace velk::codec::tiff

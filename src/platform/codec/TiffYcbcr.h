#pragma once

#include "platform/codec/TiffDirectory.h"
#include "platform/graphics/Geometry.h"

#include <array>

namespace velk::codec::tiff {

/// Turns 8-bit YCbCr as TIFF stores it into RGB. Samples lie in units of the subsampling's size (TIFF 6.0,
/// section 21), here 2 x 2:
///
///     Y00 Y10 Y01 Y11 Cb Cr | Y20 Y30 Y21 Y31 Cb Cr | ...
class YcbcrConverter {
public:
    /// Subsampling factors are 1, 2 or 4.
    static Result<YcbcrConverter> create(
        DirectoryReader const& reader, Directory const& directory, std::array<int, 2> subsampling);

    /// Bytes of the units that hold an area; units at its right and bottom edge are complete.
    std::uint64_t unitBytes(graphics::Size area) const;
    /// Converts the top left `area` of units that are laid out for `width` pixels into rows of RGB, `stride`
    /// bytes apart.
    void convert(std::uint8_t const* units, graphics::Size area, std::int32_t width, std::uint8_t* to,
        std::uint64_t stride) const;

private:
    struct Tables {
        std::array<float, 256> luma, redFromCr, greenFromCr, greenFromCb, blueFromCb;
    };

    std::array<int, 2> m_subsampling {};
    Tables m_tables;
};

} // namespace velk::codec::tiff

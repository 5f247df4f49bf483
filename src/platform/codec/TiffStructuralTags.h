#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace velk::codec {

struct TagRange {
    std::uint16_t first, last;
};

/// Tags of IFD0 that are about this file's pixels and not about the picture: TIFF 6.0, TIFF/EP, DNG 1.6 and
/// the private tags of image editors.
inline constexpr TagRange kStructuralTags[] = {
    {0x00FE, 0x0109}, // NewSubfileType to CellLength
    {0x010A, 0x010A}, // FillOrder
    {0x0111, 0x0111}, // StripOffsets
    {0x0115, 0x0119}, // SamplesPerPixel to MaxSampleValue
    {0x011C, 0x011C}, // PlanarConfiguration
    {0x0120, 0x0125}, // FreeOffsets to T6Options
    {0x0129, 0x0129}, // PageNumber
    {0x012C, 0x012D}, // ColorResponseUnit, TransferFunction
    {0x013D, 0x013D}, // Predictor
    {0x0140, 0x015B}, // ColorMap to JPEGTables
    {0x0190, 0x01B5}, // GlobalParametersIFD to JPEGTables of other makers
    {0x0200, 0x0209}, // JPEGProc to JPEGACTables
    {0x0211, 0x022F}, // YCbCrCoefficients to StripRowCounts
    {0x02BC, 0x02BC}, // XMP
    {0x80A4, 0x80BB}, // WangAnnotation to the SGI tags
    {0x80E3, 0x80E6}, // Matteing to ImageDepth
    {0x828D, 0x828E}, // CFARepeatPatternDim, CFAPattern
    {0x83BB, 0x83BB}, // IPTC
    {0x8649, 0x8649}, // Photoshop resources
    {0x8769, 0x8769}, // Exif pointer
    {0x8773, 0x8773}, // ICC profile
    {0x8825, 0x8825}, // GPS pointer
    {0x9216, 0x9217}, // TIFF/EP standard, sensing method
    {0x935C, 0x935C}, // Photoshop layers
    {0xC612, 0xC7FF}, // DNG
    {0xCD2D, 0xCD4B}, // DNG 1.6 and later
};

inline bool isStructural(std::uint16_t tag)
{
    return std::any_of(std::begin(kStructuralTags), std::end(kStructuralTags),
        [&](TagRange range) { return tag >= range.first && tag <= range.last; });
}

} // namespace velk::codec

#pragma once

#include <string_view>

/// The keys of the dictionary in which an image source describes itself and a destination is told what to
/// write.
namespace velk::codec::key {

// Entries of the top level.
constexpr std::string_view kPixelWidth = "PixelWidth";
constexpr std::string_view kPixelHeight = "PixelHeight";
constexpr std::string_view kDepth = "Depth";
constexpr std::string_view kHasAlpha = "HasAlpha";
constexpr std::string_view kDpiWidth = "DPIWidth";
constexpr std::string_view kDpiHeight = "DPIHeight";
constexpr std::string_view kColorModel = "ColorModel";
constexpr std::string_view kProfileName = "ProfileName";
constexpr std::string_view kOrientation = "Orientation";

// Sub-dictionaries; their keys are the standards' tag names.
constexpr std::string_view kTiff = "{TIFF}";
constexpr std::string_view kExif = "{Exif}";
constexpr std::string_view kGps = "{GPS}";
constexpr std::string_view kIptc = "{IPTC}";
constexpr std::string_view kPng = "{PNG}";
constexpr std::string_view kJfif = "{JFIF}";
constexpr std::string_view kGif = "{GIF}";

// Entries of {PNG} beside the text keywords, which stand under their own names.
constexpr std::string_view kPngGamma = "Gamma"; ///< number: the encoding gamma, such as 0.45455
constexpr std::string_view kPngSrgbIntent = "sRGBIntent"; ///< integer 0 to 3
constexpr std::string_view kPngChromaticities =
    "Chromaticities"; ///< eight numbers: white, red, green, blue x and y
constexpr std::string_view kPngInterlaceType = "InterlaceType"; ///< integer: 0 none, 1 Adam7

// Encoder options, read by a destination from the top level.
constexpr std::string_view kLossyCompressionQuality = "LossyCompressionQuality"; ///< float 0 to 1
constexpr std::string_view kChromaSubsamplingX = "ChromaSubsamplingX"; ///< integer 1: no subsampling
constexpr std::string_view kChromaSubsamplingY = "ChromaSubsamplingY"; ///< integer 1: no subsampling
constexpr std::string_view kOptimizeColorForSharing = "OptimizeColorForSharing"; ///< boolean
constexpr std::string_view kMaximumPixelSize = "MaximumPixelSize"; ///< integer: longest side
constexpr std::string_view kExcludeProfile = "ExcludeProfile"; ///< boolean: write no ICC profile

} // namespace velk::codec::key

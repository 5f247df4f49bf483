#pragma once

#include <cstdint>

/// Tags and values of TIFF 6.0, its supplements and Exif 2.32 that the TIFF room knows by name.
namespace velk::codec::tiff {

namespace tag {

constexpr std::uint16_t kNewSubfileType = 254;
constexpr std::uint16_t kSubfileType = 255;
constexpr std::uint16_t kImageWidth = 256;
constexpr std::uint16_t kImageLength = 257;
constexpr std::uint16_t kBitsPerSample = 258;
constexpr std::uint16_t kCompression = 259;
constexpr std::uint16_t kPhotometric = 262;
constexpr std::uint16_t kFillOrder = 266;
constexpr std::uint16_t kImageDescription = 270;
constexpr std::uint16_t kMake = 271;
constexpr std::uint16_t kModel = 272;
constexpr std::uint16_t kStripOffsets = 273;
constexpr std::uint16_t kOrientation = 274;
constexpr std::uint16_t kSamplesPerPixel = 277;
constexpr std::uint16_t kRowsPerStrip = 278;
constexpr std::uint16_t kStripByteCounts = 279;
constexpr std::uint16_t kXResolution = 282;
constexpr std::uint16_t kYResolution = 283;
constexpr std::uint16_t kPlanarConfiguration = 284;
constexpr std::uint16_t kResolutionUnit = 296;
constexpr std::uint16_t kSoftware = 305;
constexpr std::uint16_t kDateTime = 306;
constexpr std::uint16_t kArtist = 315;
constexpr std::uint16_t kHostComputer = 316;
constexpr std::uint16_t kPredictor = 317;
constexpr std::uint16_t kWhitePoint = 318;
constexpr std::uint16_t kPrimaryChromaticities = 319;
constexpr std::uint16_t kColorMap = 320;
constexpr std::uint16_t kTileWidth = 322;
constexpr std::uint16_t kTileLength = 323;
constexpr std::uint16_t kTileOffsets = 324;
constexpr std::uint16_t kTileByteCounts = 325;
constexpr std::uint16_t kSubIfds = 330;
constexpr std::uint16_t kInkSet = 332;
constexpr std::uint16_t kNumberOfInks = 334;
constexpr std::uint16_t kExtraSamples = 338;
constexpr std::uint16_t kSampleFormat = 339;
constexpr std::uint16_t kDecode = 433;
constexpr std::uint16_t kJpegInterchangeFormat = 513;
constexpr std::uint16_t kJpegInterchangeFormatLength = 514;
constexpr std::uint16_t kYCbCrCoefficients = 529;
constexpr std::uint16_t kYCbCrSubsampling = 530;
constexpr std::uint16_t kReferenceBlackWhite = 532;
constexpr std::uint16_t kXmp = 700;
constexpr std::uint16_t kCopyright = 33432;
constexpr std::uint16_t kIptc = 33723;
constexpr std::uint16_t kPhotoshop = 34377;
constexpr std::uint16_t kExifIfd = 34665;
constexpr std::uint16_t kIccProfile = 34675;
constexpr std::uint16_t kGpsIfd = 34853;
constexpr std::uint16_t kMakerNote = 37500;
constexpr std::uint16_t kInteroperabilityIfd = 40965;

} // namespace tag

enum class Photometric : int {
    MinIsWhite = 0,
    MinIsBlack = 1,
    Rgb = 2,
    Palette = 3,
    Mask = 4,
    Separated = 5,
    YCbCr = 6,
    CieLab = 8,
    IccLab = 9,
    ItuLab = 10,
    ColorFilterArray = 32803,
    LogL = 32844,
    LogLuv = 32845,
    LinearRaw = 34892,
};

namespace compression {

constexpr int kNone = 1;
constexpr int kCcittRle = 2;
constexpr int kCcittFax3 = 3;
constexpr int kCcittFax4 = 4;
constexpr int kLzw = 5;
constexpr int kOldJpeg = 6;
constexpr int kJpeg = 7;
constexpr int kAdobeDeflate = 8;
constexpr int kPackBits = 32773;
constexpr int kDeflate = 32946;
constexpr int kJbig = 34661;
constexpr int kSgiLog = 34676;
constexpr int kSgiLog24 = 34677;
constexpr int kLzma = 34925;
constexpr int kZstd = 50000;
constexpr int kWebp = 50001;

} // namespace compression

} // namespace velk::codec::tiff

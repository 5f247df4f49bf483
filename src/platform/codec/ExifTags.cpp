#include "platform/codec/ExifTags.h"

#include <algorithm>

namespace velk::codec {

namespace {

using enum ExifDirectory;
using enum ExifType;
using enum ExifMeaning;

// TIFF 6.0, Exif 2.32 (4.6.4 to 4.6.6), DCF 2.0, and the rating and XP tags that desktop software writes.
constexpr ExifTag kTags[] = {
    {Image, 0x000B, "ProcessingSoftware", Ascii, 0},
    {Image, 0x010D, "DocumentName", Ascii, 0},
    {Image, 0x010E, "ImageDescription", Ascii, 0},
    {Image, 0x010F, "Make", Ascii, 0},
    {Image, 0x0110, "Model", Ascii, 0},
    {Image, 0x0112, "Orientation", Short},
    {Image, 0x011A, "XResolution", Rational},
    {Image, 0x011B, "YResolution", Rational},
    {Image, 0x011D, "PageName", Ascii, 0},
    {Image, 0x0128, "ResolutionUnit", Short},
    {Image, 0x0131, "Software", Ascii, 0},
    {Image, 0x0132, "DateTime", Ascii, 0},
    {Image, 0x013B, "Artist", Ascii, 0},
    {Image, 0x013C, "HostComputer", Ascii, 0},
    {Image, 0x013E, "WhitePoint", Rational, 2},
    {Image, 0x013F, "PrimaryChromaticities", Rational, 6},
    {Image, 0x0211, "YCbCrCoefficients", Rational, 3},
    {Image, 0x0213, "YCbCrPositioning", Short},
    {Image, 0x0214, "ReferenceBlackWhite", Rational, 6},
    {Image, 0x4746, "Rating", Short},
    {Image, 0x4749, "RatingPercent", Short},
    {Image, 0x8298, "Copyright", Ascii, 0},
    {Image, 0x9C9B, "XPTitle", Byte, 0, Utf16},
    {Image, 0x9C9C, "XPComment", Byte, 0, Utf16},
    {Image, 0x9C9D, "XPAuthor", Byte, 0, Utf16},
    {Image, 0x9C9E, "XPKeywords", Byte, 0, Utf16},
    {Image, 0x9C9F, "XPSubject", Byte, 0, Utf16},

    {Photo, 0x829A, "ExposureTime", Rational},
    {Photo, 0x829D, "FNumber", Rational},
    {Photo, 0x8822, "ExposureProgram", Short},
    {Photo, 0x8824, "SpectralSensitivity", Ascii, 0},
    {Photo, 0x8827, "ISOSpeedRatings", Short, 0},
    {Photo, 0x8828, "OECF", Undefined, 0},
    {Photo, 0x8830, "SensitivityType", Short},
    {Photo, 0x8831, "StandardOutputSensitivity", Long},
    {Photo, 0x8832, "RecommendedExposureIndex", Long},
    {Photo, 0x8833, "ISOSpeed", Long},
    {Photo, 0x8834, "ISOSpeedLatitudeyyy", Long},
    {Photo, 0x8835, "ISOSpeedLatitudezzz", Long},
    {Photo, 0x9000, "ExifVersion", Undefined, 4, Version},
    {Photo, 0x9003, "DateTimeOriginal", Ascii, 0},
    {Photo, 0x9004, "DateTimeDigitized", Ascii, 0},
    {Photo, 0x9010, "OffsetTime", Ascii, 0},
    {Photo, 0x9011, "OffsetTimeOriginal", Ascii, 0},
    {Photo, 0x9012, "OffsetTimeDigitized", Ascii, 0},
    {Photo, 0x9101, "ComponentsConfiguration", Undefined, 4, Numbers},
    {Photo, 0x9102, "CompressedBitsPerPixel", Rational},
    {Photo, 0x9201, "ShutterSpeedValue", SignedRational},
    {Photo, 0x9202, "ApertureValue", Rational},
    {Photo, 0x9203, "BrightnessValue", SignedRational},
    {Photo, 0x9204, "ExposureBiasValue", SignedRational},
    {Photo, 0x9205, "MaxApertureValue", Rational},
    {Photo, 0x9206, "SubjectDistance", Rational},
    {Photo, 0x9207, "MeteringMode", Short},
    {Photo, 0x9208, "LightSource", Short},
    {Photo, 0x9209, "Flash", Short},
    {Photo, 0x920A, "FocalLength", Rational},
    {Photo, 0x9214, "SubjectArea", Short, 0},
    {Photo, 0x9286, "UserComment", Undefined, 0, Comment},
    {Photo, 0x9290, "SubsecTime", Ascii, 0},
    {Photo, 0x9291, "SubsecTimeOriginal", Ascii, 0},
    {Photo, 0x9292, "SubsecTimeDigitized", Ascii, 0},
    {Photo, 0x9400, "Temperature", SignedRational},
    {Photo, 0x9401, "Humidity", Rational},
    {Photo, 0x9402, "Pressure", Rational},
    {Photo, 0x9403, "WaterDepth", SignedRational},
    {Photo, 0x9404, "Acceleration", Rational},
    {Photo, 0x9405, "CameraElevationAngle", SignedRational},
    {Photo, 0xA000, "FlashpixVersion", Undefined, 4, Version},
    {Photo, 0xA001, "ColorSpace", Short},
    {Photo, 0xA002, "PixelXDimension", Long},
    {Photo, 0xA003, "PixelYDimension", Long},
    {Photo, 0xA004, "RelatedSoundFile", Ascii, 0},
    {Photo, 0xA20B, "FlashEnergy", Rational},
    {Photo, 0xA20C, "SpatialFrequencyResponse", Undefined, 0},
    {Photo, 0xA20E, "FocalPlaneXResolution", Rational},
    {Photo, 0xA20F, "FocalPlaneYResolution", Rational},
    {Photo, 0xA210, "FocalPlaneResolutionUnit", Short},
    {Photo, 0xA214, "SubjectLocation", Short, 2},
    {Photo, 0xA215, "ExposureIndex", Rational},
    {Photo, 0xA217, "SensingMethod", Short},
    {Photo, 0xA300, "FileSource", Undefined, 1, Numbers},
    {Photo, 0xA301, "SceneType", Undefined, 1, Numbers},
    {Photo, 0xA302, "CFAPattern", Undefined, 0},
    {Photo, 0xA401, "CustomRendered", Short},
    {Photo, 0xA402, "ExposureMode", Short},
    {Photo, 0xA403, "WhiteBalance", Short},
    {Photo, 0xA404, "DigitalZoomRatio", Rational},
    {Photo, 0xA405, "FocalLengthIn35mmFilm", Short},
    {Photo, 0xA406, "SceneCaptureType", Short},
    {Photo, 0xA407, "GainControl", Short},
    {Photo, 0xA408, "Contrast", Short},
    {Photo, 0xA409, "Saturation", Short},
    {Photo, 0xA40A, "Sharpness", Short},
    {Photo, 0xA40B, "DeviceSettingDescription", Undefined, 0},
    {Photo, 0xA40C, "SubjectDistanceRange", Short},
    {Photo, 0xA420, "ImageUniqueID", Ascii, 0},
    {Photo, 0xA430, "CameraOwnerName", Ascii, 0},
    {Photo, 0xA431, "BodySerialNumber", Ascii, 0},
    {Photo, 0xA432, "LensSpecification", Rational, 4},
    {Photo, 0xA433, "LensMake", Ascii, 0},
    {Photo, 0xA434, "LensModel", Ascii, 0},
    {Photo, 0xA435, "LensSerialNumber", Ascii, 0},
    {Photo, 0xA460, "CompositeImage", Short},
    {Photo, 0xA461, "SourceImageNumberOfCompositeImage", Short, 2},
    {Photo, 0xA462, "SourceExposureTimesOfCompositeImage", Undefined, 0},
    {Photo, 0xA500, "Gamma", Rational},

    {Gps, 0x0000, "GPSVersionID", Byte, 4},
    {Gps, 0x0001, "GPSLatitudeRef", Ascii, 0},
    {Gps, 0x0002, "GPSLatitude", Rational, 3},
    {Gps, 0x0003, "GPSLongitudeRef", Ascii, 0},
    {Gps, 0x0004, "GPSLongitude", Rational, 3},
    {Gps, 0x0005, "GPSAltitudeRef", Byte},
    {Gps, 0x0006, "GPSAltitude", Rational},
    {Gps, 0x0007, "GPSTimeStamp", Rational, 3},
    {Gps, 0x0008, "GPSSatellites", Ascii, 0},
    {Gps, 0x0009, "GPSStatus", Ascii, 0},
    {Gps, 0x000A, "GPSMeasureMode", Ascii, 0},
    {Gps, 0x000B, "GPSDOP", Rational},
    {Gps, 0x000C, "GPSSpeedRef", Ascii, 0},
    {Gps, 0x000D, "GPSSpeed", Rational},
    {Gps, 0x000E, "GPSTrackRef", Ascii, 0},
    {Gps, 0x000F, "GPSTrack", Rational},
    {Gps, 0x0010, "GPSImgDirectionRef", Ascii, 0},
    {Gps, 0x0011, "GPSImgDirection", Rational},
    {Gps, 0x0012, "GPSMapDatum", Ascii, 0},
    {Gps, 0x0013, "GPSDestLatitudeRef", Ascii, 0},
    {Gps, 0x0014, "GPSDestLatitude", Rational, 3},
    {Gps, 0x0015, "GPSDestLongitudeRef", Ascii, 0},
    {Gps, 0x0016, "GPSDestLongitude", Rational, 3},
    {Gps, 0x0017, "GPSDestBearingRef", Ascii, 0},
    {Gps, 0x0018, "GPSDestBearing", Rational},
    {Gps, 0x0019, "GPSDestDistanceRef", Ascii, 0},
    {Gps, 0x001A, "GPSDestDistance", Rational},
    {Gps, 0x001B, "GPSProcessingMethod", Undefined, 0, Comment},
    {Gps, 0x001C, "GPSAreaInformation", Undefined, 0, Comment},
    {Gps, 0x001D, "GPSDateStamp", Ascii, 0},
    {Gps, 0x001E, "GPSDifferential", Short},
    {Gps, 0x001F, "GPSHPositioningError", Rational},
};

template <typename Predicate> ExifTag const* findTag(Predicate const& matches)
{
    auto const* const found = std::find_if(std::begin(kTags), std::end(kTags), matches);
    return found == std::end(kTags) ? nullptr : found;
}

} // namespace

std::span<ExifTag const> exifTags()
{
    return kTags;
}

ExifTag const* exifTag(ExifDirectory directory, std::uint16_t tag)
{
    return findTag([&](ExifTag const& row) { return row.directory == directory && row.tag == tag; });
}

ExifTag const* exifTag(ExifDirectory directory, std::string_view name)
{
    return findTag([&](ExifTag const& row) { return row.directory == directory && row.name == name; });
}

} // namespace velk::codec

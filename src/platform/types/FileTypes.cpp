#include "platform/types/FileTypes.h"

#include <strings.h>

#include <algorithm>
#include <array>

namespace velk::types {

namespace {

using Extension = std::string_view;

constexpr Extension kAvif[] = {"avif", "avifs"};
constexpr Extension kBmp[] = {"bmp", "dib"};
constexpr Extension kCameraRaw[] = {"nef", "cr2", "cr3", "crw", "arw", "srf", "sr2", "nrw", "pef", "orf",
    "rw2", "rwl", "raf", "erf", "3fr", "fff", "iiq", "kdc", "dcr", "mos", "mrw", "srw", "x3f", "raw"};
constexpr Extension kDng[] = {"dng"};
constexpr Extension kExr[] = {"exr"};
constexpr Extension kGif[] = {"gif"};
constexpr Extension kHdr[] = {"hdr", "rgbe", "pic"};
constexpr Extension kHeic[] = {"heic", "heics"};
constexpr Extension kHeif[] = {"heif", "heifs", "hif"};
constexpr Extension kIco[] = {"ico", "cur"};
constexpr Extension kJpeg[] = {"jpeg", "jpg", "jpe", "jfif"};
constexpr Extension kJpeg2000[] = {"jp2", "j2k", "jpf", "jpx", "j2c"};
constexpr Extension kJpegXl[] = {"jxl"};
constexpr Extension kPbm[] = {"pbm", "pgm", "ppm", "pnm", "pam"};
constexpr Extension kPdf[] = {"pdf"};
constexpr Extension kPng[] = {"png"};
constexpr Extension kPsd[] = {"psd"};
constexpr Extension kSgi[] = {"sgi", "rgb", "rgba", "bw"};
constexpr Extension kSvg[] = {"svg", "svgz"};
constexpr Extension kTga[] = {"tga"};
constexpr Extension kTiff[] = {"tiff", "tif"};
constexpr Extension kWebp[] = {"webp"};

constexpr FileType kFileTypes[] = {
    {"com.adobe.pdf", kPdf},
    {"com.adobe.photoshop-image", kPsd},
    {"com.adobe.raw-image", kDng},
    {"com.compuserve.gif", kGif},
    {"com.ilm.openexr-image", kExr},
    {"com.microsoft.bmp", kBmp},
    {"com.microsoft.ico", kIco},
    {"com.sgi.sgi-image", kSgi},
    {"com.truevision.tga-image", kTga},
    {"org.webmproject.webp", kWebp},
    {"public.avif", kAvif},
    {"public.camera-raw-image", kCameraRaw},
    {"public.heic", kHeic},
    {"public.heif", kHeif},
    {"public.jpeg", kJpeg},
    {"public.jpeg-2000", kJpeg2000},
    {"public.jpeg-xl", kJpegXl},
    {"public.pbm", kPbm},
    {"public.png", kPng},
    {"public.radiance", kHdr},
    {"public.svg-image", kSvg},
    {"public.tiff", kTiff},
};

bool equalIgnoringCase(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

} // namespace

std::span<FileType const> fileTypes()
{
    return kFileTypes;
}

FileType const* fileTypeWithIdentifier(std::string_view identifier)
{
    auto const found = std::ranges::find(kFileTypes, identifier, &FileType::identifier);
    return found == std::end(kFileTypes) ? nullptr : found;
}

FileType const* fileTypeWithExtension(std::string_view extension)
{
    auto const found =
        std::ranges::find_if(kFileTypes, [&](auto& type) { return hasExtension(type, extension); });
    return found == std::end(kFileTypes) ? nullptr : found;
}

bool hasExtension(FileType const& type, std::string_view extension)
{
    return std::ranges::any_of(
        type.extensions, [&](auto known) { return equalIgnoringCase(known, extension); });
}

} // namespace velk::types

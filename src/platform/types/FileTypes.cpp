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
constexpr Extension kPbm[] = {"pbm", "pgm", "ppm", "pnm", "pam", "pfm"};
constexpr Extension kPdf[] = {"pdf"};
constexpr Extension kPng[] = {"png"};
constexpr Extension kPsd[] = {"psd", "psb"};
constexpr Extension kSgi[] = {"sgi", "rgb", "rgba", "bw"};
constexpr Extension kSvg[] = {"svg", "svgz"};
constexpr Extension kTga[] = {"tga"};
constexpr Extension kTiff[] = {"tiff", "tif"};
constexpr Extension kWebp[] = {"webp"};

constexpr FileType kFileTypes[] = {
    {"com.adobe.pdf", "application/pdf", kPdf},
    {"com.adobe.photoshop-image", "image/vnd.adobe.photoshop", kPsd},
    {"com.adobe.raw-image", "image/x-adobe-dng", kDng},
    {"com.compuserve.gif", "image/gif", kGif},
    {"com.ilm.openexr-image", "image/x-exr", kExr},
    {"com.microsoft.bmp", "image/bmp", kBmp},
    {"com.microsoft.ico", "image/vnd.microsoft.icon", kIco},
    {"com.sgi.sgi-image", "image/x-sgi", kSgi},
    {"com.truevision.tga-image", "image/x-tga", kTga},
    {"org.webmproject.webp", "image/webp", kWebp},
    {"public.avif", "image/avif", kAvif},
    {"public.camera-raw-image", "image/x-dcraw", kCameraRaw},
    {"public.heic", "image/heic", kHeic},
    {"public.heif", "image/heif", kHeif},
    {"public.jpeg", "image/jpeg", kJpeg},
    {"public.jpeg-2000", "image/jp2", kJpeg2000},
    {"public.jpeg-xl", "image/jxl", kJpegXl},
    {"public.pbm", "image/x-portable-anymap", kPbm},
    {"public.png", "image/png", kPng},
    {"public.radiance", "image/vnd.radiance", kHdr},
    {"public.svg-image", "image/svg+xml", kSvg},
    {"public.tiff", "image/tiff", kTiff},
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

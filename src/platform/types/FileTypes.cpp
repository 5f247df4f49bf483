#include "platform/types/FileTypes.h"

#include <strings.h>

#include <algorithm>
#include <array>

namespace velk::types {

namespace {

using Extension = std::string_view;

constexpr Extension kBmp[] = {"bmp", "dib"};
constexpr Extension kGif[] = {"gif"};
constexpr Extension kJpeg[] = {"jpeg", "jpg", "jpe", "jfif"};
constexpr Extension kJpeg2000[] = {"jp2", "j2k", "jpf", "jpx", "j2c"};
constexpr Extension kPbm[] = {"pbm", "pgm", "ppm", "pnm", "pam", "pfm"};
constexpr Extension kPng[] = {"png"};
constexpr Extension kPsd[] = {"psd", "psb"};
constexpr Extension kSgi[] = {"sgi", "rgb", "rgba", "bw"};
constexpr Extension kTga[] = {"tga"};
constexpr Extension kTiff[] = {"tiff", "tif"};
constexpr Extension kWebp[] = {"webp"};

constexpr FileType kFileTypes[] = {
    {"com.adobe.photoshop-image", "image/vnd.adobe.photoshop", kPsd},
    {"com.compuserve.gif", "image/gif", kGif},
    {"com.microsoft.bmp", "image/bmp", kBmp},
    {"com.sgi.sgi-image", "image/x-sgi", kSgi},
    {"com.truevision.tga-image", "image/x-tga", kTga},
    {"org.webmproject.webp", "image/webp", kWebp},
    {"public.jpeg", "image/jpeg", kJpeg},
    {"public.jpeg-2000", "image/jp2", kJpeg2000},
    {"public.pbm", "image/x-portable-anymap", kPbm},
    {"public.png", "image/png", kPng},
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

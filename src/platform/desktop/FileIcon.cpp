#include "platform/desktop/FileIcon.h"

#include "base/AtomicFile.h"
#include "base/Md5.h"
#include "platform/codec/Codec.h"
#include "platform/codec/ImageWriter.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/desktop/FileUri.h"
#include "platform/graphics/Render.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace velk::desktop {

using namespace graphics;

namespace {

struct IconSize {
    std::string_view directory;
    std::int32_t longestSide;
};
constexpr IconSize kIconSizes[] = {
    {"normal", 128},
    {"large", 256},
    {"x-large", 512},
    {"xx-large", kLargestIcon},
};

// The user's cache (XDG Base Directory Specification 0.8): a relative XDG_CACHE_HOME does not count.
Result<std::string> cacheDirectory()
{
    auto const absolute = [](char const* variable) {
        auto const* const path = std::getenv(variable);
        return path && path[0] == '/' ? path : nullptr;
    };
    if (auto const* const cache = absolute("XDG_CACHE_HOME"))
        return std::string(cache);
    if (auto const* const home = absolute("HOME"))
        return std::string(home) + "/.cache";
    return fail("there is no home directory to keep icons in");
}

// Makes the directory and those above it that are missing, for the user alone.
Result<void> makePrivateDirectory(std::string const& path)
{
    constexpr mode_t kOwnerOnly = 0700;
    if (::mkdir(path.c_str(), kOwnerOnly) == 0 || errno == EEXIST)
        return {};
    auto const parent = path.substr(0, path.find_last_of('/'));
    if (errno != ENOENT || parent.empty())
        return fail("cannot make the directory {}: {}", path, systemMessage(errno));
    TRY(makePrivateDirectory(parent));
    if (::mkdir(path.c_str(), kOwnerOnly) == 0 || errno == EEXIST)
        return {};
    return fail("cannot make the directory {}: {}", path, systemMessage(errno));
}

Size sizeWithin(Size size, std::int32_t longestSide)
{
    auto const scale = std::min(1.0, static_cast<double>(longestSide) / std::max(size.width, size.height));
    auto const scaled = [&](std::int32_t side) {
        return std::max(1, static_cast<std::int32_t>(std::lround(side * scale)));
    };
    return {scaled(size.width), scaled(size.height)};
}

Result<Image> scaledTo(Image const& picture, Size size)
{
    auto const from = picture.size();
    return render(picture,
        {.transform = AffineTransform::scale(
             static_cast<double>(size.width) / from.width, static_cast<double>(size.height) / from.height),
            .size = size,
            .alpha = picture.hasAlpha(),
            .drawingSpace = picture.space(),
            .tagSpace = picture.space()});
}

// What an icon says of its file, by which a program tells whether it still fits.
PropertyDictionary descriptionOf(IconSubject const& subject, std::string const& uri)
{
    PropertyDictionary properties;
    auto& png = subDictionary(properties, codec::key::kPng);
    set(png, "Thumb::URI", uri);
    set(png, "Thumb::MTime", subject.modificationTime);
    set(png, "Thumb::Size", static_cast<std::int64_t>(subject.size));
    set(png, "Thumb::Mimetype", subject.mimeType);
    set(png, "Thumb::Image::Width", subject.pixelSize.width);
    set(png, "Thumb::Image::Height", subject.pixelSize.height);
    set(png, "Software", "velk");
    set(png, codec::key::kPngSrgbIntent, 0);
    return properties;
}

Result<void> writeIcon(Image const& icon, PropertyDictionary const& properties, std::string const& path)
{
    auto file = TRY(AtomicFile::createPrivate(path));
    TRY(codec::writeImage(
        *codec::codecForType("public.png"), {.image = icon, .properties = properties}, file));
    return file.commit(path);
}

} // namespace

Result<void> setFileIcon(Image const& picture, IconSubject const& subject)
{
    auto const uri = fileUri(subject.path);
    auto const properties = descriptionOf(subject, uri);
    auto const name = hexadecimal(md5(asBytes(uri))) + ".png";
    auto const thumbnails = TRY(cacheDirectory()) + "/thumbnails/";
    for (auto const& [directory, longestSide] : kIconSizes) {
        auto const path = thumbnails + std::string(directory);
        TRY(makePrivateDirectory(path));
        auto const icon = TRY(scaledTo(picture, sizeWithin(picture.size(), longestSide)));
        TRY(writeIcon(icon, properties, path + "/" + name));
    }
    return {};
}

} // namespace velk::desktop

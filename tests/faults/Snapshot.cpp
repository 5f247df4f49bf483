#include "faults/Snapshot.h"

#include "support/TestImages.h"

#include <sys/stat.h>

#include <set>
#include <stdexcept>

namespace velk::test {

namespace {

constexpr unsigned kPrivate = 0640;

void encodeOrThrow(std::string_view type, graphics::Size size, std::string const& path)
{
    if (auto const encoded = encode(type, photoLike(size, {.model = graphics::ColorModel::RGB}), path);
        !encoded)
        throw std::runtime_error(encoded.error().message);
}

} // namespace

Snapshot takeSnapshot(TemporaryDirectory const& directory)
{
    Snapshot snapshot;
    for (auto const& name : directory.names()) {
        struct stat status = {};
        ::stat((directory / name).c_str(), &status);
        snapshot[name] = {readBytes(directory / name), status.st_mode & 07777};
    }
    return snapshot;
}

void restore(Snapshot const& snapshot, TemporaryDirectory const& directory)
{
    for (auto const& name : directory.names()) {
        if (!snapshot.contains(name))
            std::filesystem::remove(directory / name);
    }
    auto const now = takeSnapshot(directory);
    for (auto const& [name, state] : snapshot) {
        if (now.contains(name) && now.at(name) == state)
            continue;
        writeBytes(directory / name, state.bytes);
        ::chmod((directory / name).c_str(), state.mode);
    }
}

std::string differences(Snapshot const& before, Snapshot const& now)
{
    std::set<std::string> names;
    for (auto const& [name, state] : before)
        names.insert(name);
    for (auto const& [name, state] : now)
        names.insert(name);
    std::string text;
    for (auto const& name : names) {
        if (!now.contains(name))
            text += name + " is gone; ";
        else if (!before.contains(name))
            text += name + " is new; ";
        else if (now.at(name).bytes != before.at(name).bytes)
            text += name + " has other bytes; ";
        else if (now.at(name).mode != before.at(name).mode)
            text += name + " has other permissions; ";
    }
    return text;
}

void makeFiles(TemporaryDirectory const& directory)
{
    writeBytes(directory / "photo.jpg", readBytes(dataFile("Canon_PowerShot_S40.jpg")));
    encodeOrThrow("public.png", {300, 200}, directory / "drawing.png");
    encodeOrThrow("public.tiff", {60, 40}, directory / "scan.tif");
    encodeOrThrow("org.webmproject.webp", {60, 40}, directory / "film.webp");
    encodeOrThrow("public.jpeg-2000", {60, 40}, directory / "map.jp2");
    encodeOrThrow("com.compuserve.gif", {60, 40}, directory / "logo.gif");
    encodeOrThrow("com.adobe.photoshop-image", {60, 40}, directory / "layers.psd");
    encodeOrThrow("com.truevision.tga-image", {60, 40}, directory / "texture.tga");
    writeBytes(directory / "screen.icc", readBytes(dataFile("DisplayP3-v4.icc")));
    auto profile = readBytes(dataFile("DisplayP3-v4.icc"));
    constexpr std::size_t kIlluminant = 68;
    profile[kIlluminant] = 1;
    writeBytes(directory / "wrong.icc", profile);
    for (auto const& name : directory.names())
        ::chmod((directory / name).c_str(), kPrivate);
}

} // namespace velk::test

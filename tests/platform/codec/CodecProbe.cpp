#include "platform/codec/CodecProbe.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace velk::test {

using namespace graphics;

namespace {

// All pixels, or the first rows of a picture that a damaged header has made huge.
Result<PixelBufferPointer> decodeSome(std::string const& path)
{
    constexpr std::int64_t kEnough = 1 << 20;
    auto const source = TRY(codec::openImage(path));
    auto const rows = TRY(source->image().rows());
    if (rows->size().pixelCount() <= kEnough)
        return std::make_shared<PixelBuffer>(TRY(PixelBuffer::collect(*rows)));
    auto layout = rows->layout();
    layout.size.height =
        static_cast<int>(std::clamp<std::int64_t>(kEnough / layout.size.width, 1, rows->rowsLeft()));
    auto buffer = TRY(PixelBuffer::create(layout));
    TRY(rows->read(buffer.rows(0, layout.size.height)));
    return std::make_shared<PixelBuffer>(std::move(buffer));
}

} // namespace

Probe probe(ByteSpan file)
{
    TemporaryDirectory const directory;
    writeBytes(directory / "image", file);
    testing::internal::CaptureStderr();
    auto decoded = decodeSome(directory / "image");
    Probe result;
    result.warnings = testing::internal::GetCapturedStderr();
    if (decoded)
        result.pixels = *decoded;
    else
        result.error = decoded.error().message;
    return result;
}

std::vector<Bytes> hostileVersions(Bytes const& good, std::size_t headerLength)
{
    std::vector<Bytes> versions = {{}};
    for (std::size_t tenth = 1; tenth < 10; ++tenth)
        versions.emplace_back(
            good.begin(), good.begin() + static_cast<std::ptrdiff_t>(good.size() * tenth / 10));
    auto const step = std::max<std::size_t>(1, (good.size() - headerLength) / 60);
    for (std::size_t at = 0; at < good.size(); at += at < headerLength ? 1 : step) {
        for (std::uint8_t const value : {0x00, 0xFF}) {
            versions.push_back(good);
            versions.back()[at] = value;
        }
    }
    versions.emplace_back(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(headerLength));
    for (int i = 0; i < 3000; ++i)
        versions.back().push_back(static_cast<std::uint8_t>(i * 7919 >> 3));
    return versions;
}

Result<void> rewrite(
    std::string const& path, std::string const& target, std::function<void(codec::RewriteJob&)> const& edit)
{
    auto const source = TRY(codec::openImage(path));
    codec::RewriteJob job {.source = *source, .metadata = std::as_const(*source).metadata()};
    edit(job);
    auto const* codec = codec::codecForType(source->type().identifier);
    if (!codec->canRewrite(job))
        return fail("cannot be rewritten");
    auto output = TRY(AtomicFile::create(target));
    TRY(codec->rewrite(job, output));
    return output.commit(target);
}

Bytes encoded(std::string_view type, PixelBufferPointer const& pixels, EncodeExtras const& extras)
{
    TemporaryDirectory const directory;
    auto const result = encode(type, pixels, directory / "image", extras);
    EXPECT_TRUE(result) << result.error().message;
    return result ? readBytes(directory / "image") : Bytes();
}

std::vector<std::array<std::uint8_t, 4>> colorsOf(PixelBuffer const& pixels)
{
    std::vector<std::array<std::uint8_t, 4>> colors;
    auto const* palette = pixels.layout().space.palette();
    auto const format = pixels.format();
    auto const step = format.bytesPerPixel();
    for (int y = 0; y < pixels.size().height; ++y) {
        auto const* pixel = pixels.row(y);
        for (int x = 0; x < pixels.size().width; ++x, pixel += step) {
            if (palette) {
                colors.push_back(palette->entries.at(*pixel));
                continue;
            }
            bool const isGray = format.model == ColorModel::Gray;
            colors.push_back({pixel[0], pixel[isGray ? 0 : 1], pixel[isGray ? 0 : 2],
                format.hasAlpha() ? pixel[step - 1] : std::uint8_t {255}});
        }
    }
    return colors;
}

SharedBytes profileFor(std::string_view space)
{
    Bytes profile(132);
    profile[3] = 132;
    std::ranges::copy(space, profile.begin() + 16);
    std::ranges::copy(std::string_view("acsp"), profile.begin() + 36);
    return shareBytes(profile);
}

bool holds(ByteSpan whole, ByteSpan part)
{
    return !std::ranges::search(whole, part).empty();
}

} // namespace velk::test

#include "platform/codec/RawCodecSupport.h"

#include <algorithm>

namespace velk::test {

using namespace graphics;

Bytes bytesOf(std::initializer_list<int> values)
{
    Bytes bytes;
    for (auto const value : values)
        bytes.push_back(static_cast<std::uint8_t>(value));
    return bytes;
}

Bytes operator+(Bytes left, ByteSpan right)
{
    append(left, right);
    return left;
}

Result<std::shared_ptr<codec::ImageSource const>> openBytes(ByteSpan file, std::string const& name)
{
    TemporaryDirectory const directory;
    writeBytes(directory / name, file);
    return std::shared_ptr<codec::ImageSource const>(TRY(codec::openImage(directory / name)));
}

Result<PixelBufferPointer> decodeBytes(ByteSpan file, std::string const& name)
{
    auto const source = TRY(openBytes(file, name));
    auto const rows = TRY(source->image().rows());
    return std::make_shared<PixelBuffer>(TRY(PixelBuffer::collect(*rows)));
}

Bytes encodeToBytes(std::string_view type, PixelBufferPointer const& pixels, EncodeExtras const& extras)
{
    TemporaryDirectory const directory;
    auto const result = encode(type, pixels, directory / "encoded", extras);
    EXPECT_TRUE(result) << (result ? "" : result.error().message);
    return result ? readBytes(directory / "encoded") : Bytes();
}

std::vector<int> rowOf(PixelBufferPointer const& pixels, int y)
{
    auto const* row = pixels->row(y);
    return {row, row + pixels->layout().rowBytes()};
}

void expectExactRoundTrip(std::string_view type, PixelBufferPointer const& pixels, int bits,
    std::string const& name, EncodeExtras extras)
{
    extras.bitsPerComponent = bits;
    auto const file = encodeToBytes(type, pixels, extras);
    auto const source = openBytes(file, name);
    ASSERT_TRUE(source) << source.error().message;
    auto const& info = (*source)->description().info;
    EXPECT_EQ((*source)->type().identifier, type);
    EXPECT_EQ(info.bitsPerComponent, bits);
    EXPECT_TRUE(info.layout.format == pixels->format());
    EXPECT_TRUE(info.layout.space.base().model() == pixels->layout().space.base().model());
    if (auto const* palette = pixels->layout().space.palette()) {
        ASSERT_TRUE(info.layout.space.palette());
        auto entries = info.layout.space.palette()->entries;
        ASSERT_GE(entries.size(), palette->entries.size());
        entries.resize(palette->entries.size());
        EXPECT_EQ(entries, palette->entries);
    }
    auto const rows = (*source)->image().rows();
    ASSERT_TRUE(rows) << rows.error().message;
    auto const decoded = PixelBuffer::collect(**rows);
    ASSERT_TRUE(decoded) << decoded.error().message;
    EXPECT_EQ(largestDifference(*decoded, *pixels), 0);
}

namespace {

// Reads what there is, but no more than a test has time for.
void readSomeRows(codec::ImageSource const& source)
{
    constexpr std::int64_t kMostPixels = 1 << 22;
    auto const rows = source.image().rows();
    if (!rows || (*rows)->size().width > kMostPixels)
        return;
    Bytes row((*rows)->rowBytes());
    auto left = std::min<std::int64_t>((*rows)->size().height, kMostPixels / (*rows)->size().width + 1);
    while (left-- > 0 && (*rows)->read({row.data(), row.size(), 1})) { }
    [[maybe_unused]] auto const properties = source.properties();
}

void openAndRead(Bytes const& file, std::string const& path)
{
    writeBytes(path, file);
    auto const source = codec::openImage(path);
    if (source)
        readSomeRows(**source);
    else
        EXPECT_FALSE(source.error().message.empty());
}

} // namespace

void expectToSurviveDamage(Bytes const& good, std::size_t headerBytes, std::string const& name)
{
    TemporaryDirectory const directory;
    auto const path = directory / name;
    ::testing::internal::CaptureStderr();
    for (std::size_t tenth = 0; tenth < 10; ++tenth)
        openAndRead(
            {good.begin(), good.begin() + static_cast<std::ptrdiff_t>(good.size() * tenth / 10)}, path);
    for (std::size_t at = 0; at < std::min(headerBytes, good.size()); ++at) {
        for (int const value : {0, 0x7F, 0xFF}) {
            auto damaged = good;
            damaged[at] = static_cast<std::uint8_t>(value);
            openAndRead(damaged, path);
            std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(at),
                std::min<std::size_t>(4, good.size() - at), static_cast<std::uint8_t>(value));
            openAndRead(damaged, path);
        }
    }
    // The body of another format, deterministic noise and runs without end.
    for (int pattern = 0; pattern < 6; ++pattern) {
        auto damaged = good;
        std::uint32_t state = 12345;
        for (auto at = std::min(headerBytes, good.size()); at < damaged.size(); ++at) {
            state = state * 1664525 + 1013904223;
            damaged[at] = static_cast<std::uint8_t>(pattern == 0 ? state >> 24 : pattern * 51);
        }
        openAndRead(damaged, path);
    }
    ::testing::internal::GetCapturedStderr();
}

} // namespace velk::test

#include "platform/codec/TiffTestFiles.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

namespace velk::codec {

using namespace graphics;
using namespace test;

namespace {

struct Outcome {
    bool isOpened = false;
    std::string error;
    std::string warnings;
    std::int32_t rows = 0;
};

// Opens a file and reads its rows; an image that only claims to be large is left after a few.
Outcome readThrough(std::string const& path)
{
    Outcome outcome;
    testing::internal::CaptureStderr();
    auto const source = openImage(path);
    if (!source) {
        outcome.error = source.error().message;
    } else {
        outcome.isOpened = true;
        auto rows = (*source)->image().rows();
        if (!rows)
            outcome.error = rows.error().message;
        constexpr std::size_t kMostBytes = 64 << 20;
        if (rows && (*rows)->rowBytes() < kMostBytes) {
            Bytes row((*rows)->rowBytes());
            while ((*rows)->rowsLeft() > 0 && outcome.rows < 500 && outcome.error.empty()) {
                auto const done = (*rows)->read({row.data(), row.size(), 1});
                outcome.error = done ? "" : done.error().message;
                outcome.rows += done ? 1 : 0;
            }
        }
    }
    outcome.warnings = testing::internal::GetCapturedStderr();
    return outcome;
}

int countLines(std::string const& text)
{
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

// Files of many kinds, small.
std::vector<std::pair<std::string, Bytes>> samples()
{
    TemporaryDirectory const directory;
    auto const path = directory / "sample.tif";
    std::vector<std::pair<std::string, Bytes>> files;
    for (auto const compression : {1, 5, 7, 8, 32773, 34925, 50000, 50001}) {
        EncodeExtras extras;
        extras.options.tiffCompression = compression;
        EXPECT_TRUE(encode("public.tiff", photoLike({60, 50}, {}), path, extras));
        files.emplace_back(fmt::format("compression {}", compression), readBytes(path));
    }
    EncodeExtras fax {.bitsPerComponent = 1};
    fax.options.tiffCompression = 4;
    EXPECT_TRUE(encode("public.tiff",
        paint({60, 50}, {.model = ColorModel::Gray}, [](int x, int y, int) { return (x ^ y) & 1 ? 1 : 0; }),
        path, fax));
    files.emplace_back("fax", readBytes(path));
    EXPECT_TRUE(encode("public.tiff", indexedImage({60, 50}, 16, false), path));
    files.emplace_back("palette", readBytes(path));
    for (auto const isPlanar : {false, true}) {
        writeWithLibtiff(path, isPlanar ? "w8" : "wb", [&](TIFF* tiff) {
            TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 40);
            TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 40);
            TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
            TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
            TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
            TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, isPlanar ? 2 : 1);
            TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 16);
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, 16);
            Bytes tile(TIFFTileSize(tiff), 3);
            for (std::uint32_t i = 0; i < TIFFNumberOfTiles(tiff); ++i)
                TIFFWriteEncodedTile(tiff, i, tile.data(), static_cast<tmsize_t>(tile.size()));
        });
        files.emplace_back(isPlanar ? "planar BigTIFF tiles" : "big-endian tiles", readBytes(path));
    }
    Bytes units(15 * 25 * 6, 99);
    files.emplace_back("YCbCr",
        handMade({.width = 30, .height = 50, .samples = 3, .photometric = 6, .pixels = std::move(units)}));
    return files;
}

} // namespace

TEST(TiffHostile, CutOffAnywhere)
{
    TemporaryDirectory const directory;
    auto const path = directory / "cut.tif";
    for (auto const& [name, bytes] : samples()) {
        SCOPED_TRACE(name);
        for (std::size_t i = 0; i <= 20; ++i) {
            writeBytes(path, ByteSpan(bytes).first(bytes.size() * i / 20));
            auto const outcome = readThrough(path);
            EXPECT_LE(countLines(outcome.warnings), 1);
            EXPECT_EQ(outcome.error.empty(), i == 20) << outcome.error;
        }
    }
}

TEST(TiffHostile, RandomDamageEndsInRowsOrAnError)
{
    TemporaryDirectory const directory;
    auto const path = directory / "damaged.tif";
    std::minstd_rand random(12345);
    for (auto const& [name, bytes] : samples()) {
        SCOPED_TRACE(name);
        for (int round = 0; round < 150; ++round) {
            auto damaged = bytes;
            // Mostly the directory, which is at the end, and the header.
            for (int i = 0; i < 1 + round % 4; ++i) {
                auto const from = round % 3 ? bytes.size() - std::min<std::size_t>(bytes.size(), 300) : 0;
                damaged[from + random() % (bytes.size() - from)] = static_cast<std::uint8_t>(random() >> 8);
            }
            writeBytes(path, damaged);
            auto const outcome = readThrough(path);
            EXPECT_LE(countLines(outcome.warnings), 1) << outcome.warnings;
        }
    }
}

TEST(TiffHostile, ImpossibleStructuresAreRefused)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    auto const huge = 0xFFFFFFFFu;
    struct Row {
        std::string_view name;
        std::vector<Integers> integers;
    };
    for (auto const& [name, integers] :
        {Row {"no width", {{tag::kImageWidth, {0}}}}, Row {"no height", {{tag::kImageLength, {0}}}},
            Row {"too many pixels", {{tag::kImageWidth, {65536}}, {tag::kImageLength, {65536}}}},
            Row {"width beyond 31 bits", {{tag::kImageWidth, {huge}}}},
            Row {"no samples", {{tag::kSamplesPerPixel, {0}}}}, Row {"no bits", {{tag::kBitsPerSample, {0}}}},
            Row {"too many bits", {{tag::kBitsPerSample, {65}}}},
            Row {"20 bits", {{tag::kBitsPerSample, {20}}}},
            Row {"bits differ", {{tag::kBitsPerSample, {5, 6, 5}}}},
            Row {"complex numbers", {{tag::kSampleFormat, {6}}}},
            Row {"too few samples", {{tag::kPhotometric, {2}}}},
            Row {"unknown colours", {{tag::kPhotometric, {77}}}},
            Row {"sensor data", {{tag::kPhotometric, {32803}}}},
            Row {"no palette", {{tag::kPhotometric, {3}}}},
            Row {"six inks",
                {{tag::kPhotometric, {5}}, {tag::kSamplesPerPixel, {6}}, {tag::kNumberOfInks, {6}}}},
            Row {"YCbCr planes",
                {{tag::kPhotometric, {6}}, {tag::kSamplesPerPixel, {3}}, {tag::kPlanarConfiguration, {2}}}},
            Row {"YCbCr units of 3",
                {{tag::kPhotometric, {6}}, {tag::kSamplesPerPixel, {3}}, {tag::kYCbCrSubsampling, {3, 2}}}},
            Row {"tiles without width", {{tag::kTileWidth, {0}}, {tag::kTileLength, {16}}}},
            Row {"enormous tiles", {{tag::kTileWidth, {65536}}, {tag::kTileLength, {65520}}}},
            Row {"large tiles",
                {{tag::kTileWidth, {32768}}, {tag::kTileLength, {32768}}, {tag::kTileOffsets, {8}},
                    {tag::kTileByteCounts, {9}}}},
            Row {"unknown compression", {{tag::kCompression, {4711}}}},
            Row {"rows of a gigabyte", {{tag::kImageWidth, {30'000'000}}, {tag::kSamplesPerPixel, {1000}}}},
            Row {"strip outside", {{tag::kStripOffsets, {huge}}}},
            Row {"empty strip", {{tag::kStripOffsets, {0}}}}}) {
        SCOPED_TRACE(name);
        writeBytes(path, handMade({.width = 16, .height = 16, .integers = integers, .pixels = Bytes(256)}));
        auto const outcome = readThrough(path);
        EXPECT_FALSE(outcome.error.empty());
        EXPECT_EQ(outcome.warnings, "");
    }
}

TEST(TiffHostile, MissingStripsStayBlankWithOneWarning)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    constexpr int kRows = 64;
    for (auto const compression : {1, 5, 8, 32773}) {
        SCOPED_TRACE(compression);
        writeWithLibtiff(path, "w", [&](TIFF* tiff) {
            TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 32);
            TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kRows);
            TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
            TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
            TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 8);
            Bytes row(32, 200);
            for (std::uint32_t y = 0; y < kRows; ++y)
                TIFFWriteScanline(tiff, row.data(), y, 0);
        });
        // The first and the fourth strip point nowhere.
        auto bytes = readBytes(path);
        auto const reader = tiff::DirectoryReader::open(ByteSpan(bytes)).value();
        auto const first = reader.directory(reader.firstDirectory()).value();
        auto const offsets = reader.outside(*first.find(tag::kStripOffsets)).value();
        for (auto const strip : {0, 3})
            storeInteger(bytes.data() + offsets.offset + 4 * static_cast<std::size_t>(strip), 0x7FFFFFF0u,
                ByteOrder::Little);
        writeBytes(path, bytes);

        testing::internal::CaptureStderr();
        auto const source = openImage(path).value();
        auto const image = PixelBuffer::collect(*source->image().rows().value());
        auto const again = PixelBuffer::collect(*source->image().rows().value());
        auto const warnings = testing::internal::GetCapturedStderr();
        ASSERT_TRUE(image) << image.error().message;
        EXPECT_EQ(countLines(warnings), 1) << warnings;
        EXPECT_NE(warnings.find(path), std::string::npos);
        for (int y = 0; y < kRows; ++y)
            EXPECT_EQ(image->row(y)[31], y / 8 == 0 || y / 8 == 3 ? 0 : 200) << y;
    }
}

TEST(TiffHostile, ACutOffStripIsReadAsFarAsItGoes)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    constexpr int kSide = 200;
    for (auto const compression : {5, 8, 32773}) {
        SCOPED_TRACE(compression);
        // The directory comes first, so that only pixels are missing.
        auto const image = photoLike({kSide, kSide}, {});
        Bytes coded;
        {
            writeWithLibtiff(path, "w", [&](TIFF* tiff) {
                TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kSide);
                TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kSide);
                TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
                TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
                TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
                TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
                TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kSide);
                for (std::uint32_t y = 0; y < kSide; ++y) {
                    Bytes row(image->row(static_cast<int>(y)), image->row(static_cast<int>(y)) + kSide * 3);
                    TIFFWriteScanline(tiff, row.data(), y, 0);
                }
            });
            coded = codedData(path).at(0);
        }
        tiff::DirectoryBuilder directoryBuilder(kLittle);
        for (auto const& [tag, value] : {std::pair<std::uint16_t, std::uint32_t> {tag::kImageWidth, kSide},
                 {tag::kImageLength, kSide}, {tag::kCompression, static_cast<std::uint32_t>(compression)},
                 {tag::kPhotometric, 2}, {tag::kSamplesPerPixel, 3}, {tag::kStripOffsets, 400},
                 {tag::kStripByteCounts, static_cast<std::uint32_t>(coded.size())}})
            directoryBuilder.set(tiff::longField(tag, value, ByteOrder::Little));
        directoryBuilder.set(tiff::shortField(tag::kBitsPerSample, {8, 8, 8}, ByteOrder::Little));
        auto file = tiff::fileHeader(kLittle, 0);
        auto const layout = directoryBuilder.serialise(8, 0);
        append(file, ByteSpan(layout.bytes));
        std::ranges::copy(tiff::fileHeader(kLittle, layout.directoryOffset), file.begin());
        file.resize(400);
        append(file, ByteSpan(coded).first(coded.size() / 2));
        writeBytes(path, file);

        testing::internal::CaptureStderr();
        auto const decoded = decode(path);
        auto const warnings = testing::internal::GetCapturedStderr();
        ASSERT_TRUE(decoded) << decoded.error().message;
        EXPECT_EQ(countLines(warnings), 1) << warnings;
        for (int y = 0; y < kSide / 4; ++y)
            EXPECT_EQ(std::memcmp(image->row(y), (*decoded)->row(y), kSide * 3), 0) << y;
    }
}

TEST(TiffHostile, OtherContentBehindTheSignature)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    for (auto const header : {std::string_view("II\x2A\0\x08\0\0\0", 8),
             std::string_view("MM\0\x2B\0\x08\0\0\0\0\0\0\0\0\0\x10", 16)}) {
        Bytes bytes(header.begin(), header.end());
        append(bytes, std::string_view("\x89PNG\r\n\x1A\n and so on, nothing that a directory could be"));
        writeBytes(path, bytes);
        EXPECT_FALSE(readThrough(path).error.empty());
    }
}

} // namespace velk::codec

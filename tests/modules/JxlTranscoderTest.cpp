#include "platform/codec/CodecProbe.h"
#include "platform/codec/ImageWriter.h"
#include "platform/codec/ModuleCodecs.h"
#include "platform/codec/PropertyKeys.h"

#include <gtest/gtest.h>

namespace velk::test {

using namespace codec;
using namespace graphics;

namespace {

constexpr std::string_view kJxl = "public.jpeg-xl";

class JxlTranscoder : public testing::Test {
protected:
    void SetUp() override
    {
        if (!isInstalled(*codecForType(kJxl)))
            GTEST_SKIP() << "the module was not built";
    }

    using Edit = std::function<void(Image& image, PropertyDictionary& properties)>;

    /// Writes the picture in `from` to `to` with some changes.
    void convert(std::string const& from, std::string const& to, Edit const& edit = nullptr)
    {
        auto const source = openImage(from).value();
        auto image = source->image();
        auto properties = source->properties();
        if (edit)
            edit(image, properties);
        auto output = AtomicFile::create(to).value();
        auto const written = writeImage(
            *codecForType(kJxl), {.image = image, .source = source.get(), .properties = properties}, output);
        ASSERT_TRUE(written) << written.error().message;
        ASSERT_TRUE(output.commit(to));
    }

    std::string const m_photo = dataFile("Canon_PowerShot_S40.jpg");
    TemporaryDirectory m_directory;
};

bool hasReconstruction(std::string const& path)
{
    return holds(readBytes(path), asBytes("jbrd"));
}

void setArtist(Image&, PropertyDictionary& properties)
{
    set(subDictionary(properties, key::kTiff), "Artist", "Ada");
}

std::string artistIn(std::string const& path)
{
    auto const properties = openImage(path).value()->properties();
    auto const* tiff = findDictionary(properties, key::kTiff);
    auto const* artist = tiff ? find(*tiff, "Artist") : nullptr;
    return artist && artist->asString() ? *artist->asString() : "";
}

} // namespace

TEST_F(JxlTranscoder, KeepsTheCoefficientsOfAJpeg)
{
    convert(m_photo, m_directory / "a.jxl");
    EXPECT_TRUE(hasReconstruction(m_directory / "a.jxl"));
    EXPECT_LT(readBytes(m_directory / "a.jxl").size(), readBytes(m_photo).size());
    auto const before = decode(m_photo).value(), after = decode(m_directory / "a.jxl").value();
    EXPECT_GT(psnr(*before, *after), 40);
    auto const source = openImage(m_directory / "a.jxl").value();
    EXPECT_EQ(source->metadata().exif(), openImage(m_photo).value()->metadata().exif());
}

TEST_F(JxlTranscoder, PutsEditsIntoTheJpegThatCanBeHadBack)
{
    convert(m_photo, m_directory / "a.jxl", setArtist);
    EXPECT_TRUE(hasReconstruction(m_directory / "a.jxl"));
    EXPECT_EQ(artistIn(m_directory / "a.jxl"), "Ada");
    auto const profile = shareBytes(readBytes(dataFile("DisplayP3-v4.icc")));
    convert(m_photo, m_directory / "b.jxl", [&](Image& image, PropertyDictionary&) {
        image = image.withColorSpace(ColorSpace::withProfile(ColorModel::RGB, profile));
    });
    EXPECT_TRUE(hasReconstruction(m_directory / "b.jxl"));
    EXPECT_TRUE(equalBytes(openImage(m_directory / "b.jxl").value()->image().space().profile(), profile));
}

TEST_F(JxlTranscoder, CodesAnewWhereThatIsAskedFor)
{
    convert(m_photo, m_directory / "a.jxl");
    convert(m_photo, m_directory / "b.jxl",
        [](Image&, PropertyDictionary& properties) { set(properties, key::kLossyCompressionQuality, 0.5f); });
    EXPECT_FALSE(hasReconstruction(m_directory / "b.jxl"));
    EXPECT_LT(readBytes(m_directory / "b.jxl").size(), readBytes(m_directory / "a.jxl").size());
}

TEST_F(JxlTranscoder, KeepsTheCodestreamWhenOnlyMetadataChanges)
{
    for (auto const format : {PixelFormat {}, PixelFormat {.model = ColorModel::Gray}}) {
        ASSERT_TRUE(encode(kJxl, photoLike({50, 40}, format), m_directory / "a.jxl"));
        convert(m_directory / "a.jxl", m_directory / "b.jxl", setArtist);
        EXPECT_EQ(artistIn(m_directory / "b.jxl"), "Ada");
        EXPECT_TRUE(holds(readBytes(m_directory / "b.jxl"), readBytes(m_directory / "a.jxl")));
        convert(m_directory / "b.jxl", m_directory / "c.jxl", [](Image&, PropertyDictionary& properties) {
            subDictionary(properties, key::kTiff).erase("Artist");
        });
        EXPECT_EQ(artistIn(m_directory / "c.jxl"), "");
        EXPECT_TRUE(holds(readBytes(m_directory / "c.jxl"), readBytes(m_directory / "a.jxl")));
        EXPECT_EQ(
            largestDifference(*decode(m_directory / "a.jxl").value(), *decode(m_directory / "c.jxl").value()),
            0);
    }
}

TEST_F(JxlTranscoder, DropsWhatNoLongerFitsChangedMetadata)
{
    convert(m_photo, m_directory / "a.jxl");
    convert(m_directory / "a.jxl", m_directory / "b.jxl", setArtist);
    EXPECT_FALSE(hasReconstruction(m_directory / "b.jxl"));
    EXPECT_EQ(artistIn(m_directory / "b.jxl"), "Ada");
    convert(m_directory / "a.jxl", m_directory / "c.jxl");
    EXPECT_EQ(readBytes(m_directory / "c.jxl"), readBytes(m_directory / "a.jxl"));
}

TEST_F(JxlTranscoder, KeepsFloatsAndSmallDepths)
{
    constexpr PixelFormat kFloat = {ComponentType::Float32, ColorModel::RGB, Alpha::Straight};
    EncodeExtras extras {.options = {.quality = 1}};
    auto const wide = paint({40, 30}, kFloat, [](int x, int y, int channel) {
        return channel == 3 ? 1 - y / 40.0 : (x - 10) / 20.0 + channel * 0.01;
    });
    auto const result = probe(encoded(kJxl, wide, extras));
    ASSERT_TRUE(result.pixels) << result.error;
    EXPECT_EQ(result.pixels->format(), kFloat);
    EXPECT_EQ(largestDifference(*wide, *result.pixels), 0);

    for (int const bits : {1, 2, 4}) {
        auto const largest = (1 << bits) - 1;
        auto const shallow = paint({19, 11}, {.model = ColorModel::Gray},
            [&](int x, int y, int) { return (x + y) % (largest + 1) / static_cast<double>(largest); });
        extras.bitsPerComponent = bits;
        ASSERT_TRUE(encode(kJxl, shallow, m_directory / "a.jxl", extras));
        EXPECT_EQ(openImage(m_directory / "a.jxl").value()->image().info().bitsPerComponent, bits);
        EXPECT_EQ(largestDifference(*shallow, *decode(m_directory / "a.jxl").value()), 0) << bits;
    }
}

} // namespace velk::test

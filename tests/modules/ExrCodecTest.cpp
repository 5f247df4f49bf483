#include "modules/ModuleTesting.h"
#include "platform/codec/DescriptiveTags.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/color/LinearLight.h"

#include <cmath>
#include <limits>

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kExr = "com.ilm.openexr-image";

PixelFormat floats(ColorModel model, Alpha alpha = Alpha::None)
{
    return {ComponentType::Float32, model, alpha};
}

// An uncompressed scanline file whose windows and channels can be anything.
struct TestExr {
    struct Window {
        int left = 0, top = 0, right = 0, bottom = 0;

        int width() const { return right - left + 1; }
        int height() const { return bottom - top + 1; }
    };
    Window display, data;
    /// In the order of the alphabet.
    std::vector<std::string> channels = {"B", "G", "R"};
    Bytes moreAttributes;
    /// A channel's value at a place.
    std::function<float(std::size_t channel, int x, int y)> value;

    static Bytes attribute(std::string const& name, std::string const& type, Bytes const& content)
    {
        Bytes bytes;
        append(bytes, name + '\0' + type + '\0');
        appendLE32(bytes, static_cast<std::uint32_t>(content.size()));
        return bytes + content;
    }

    static Bytes floatBytes(std::vector<float> const& values)
    {
        Bytes bytes;
        for (auto const number : values)
            appendLE32(bytes, std::bit_cast<std::uint32_t>(number));
        return bytes;
    }

    static Bytes windowBytes(Window const& window)
    {
        Bytes bytes;
        for (int const edge : {window.left, window.top, window.right, window.bottom})
            appendLE32(bytes, static_cast<std::uint32_t>(edge));
        return bytes;
    }

    Bytes header() const
    {
        Bytes list;
        for (auto const& name : channels) {
            append(list, name + '\0');
            for (std::uint32_t const word : {2, 0, 1, 1}) // FLOAT, not linear, no subsampling
                appendLE32(list, word);
        }
        list.push_back(0);
        auto bytes = bytesOf({0x76, 0x2F, 0x31, 0x01, 2, 0, 0, 0});
        append(bytes, attribute("channels", "chlist", list));
        append(bytes, attribute("compression", "compression", {0}));
        append(bytes, attribute("dataWindow", "box2i", windowBytes(data)));
        append(bytes, attribute("displayWindow", "box2i", windowBytes(display)));
        append(bytes, attribute("lineOrder", "lineOrder", {0}));
        append(bytes, attribute("pixelAspectRatio", "float", floatBytes({1})));
        append(bytes, attribute("screenWindowCenter", "v2f", floatBytes({0, 0})));
        append(bytes, attribute("screenWindowWidth", "float", floatBytes({1})));
        append(bytes, moreAttributes);
        bytes.push_back(0);
        return bytes;
    }

    Bytes file() const
    {
        auto bytes = header();
        auto const rowBytes = 4 * channels.size() * static_cast<std::size_t>(data.width());
        auto offset = bytes.size() + 8 * static_cast<std::size_t>(data.height());
        for (int y = 0; y < data.height(); ++y, offset += 8 + rowBytes)
            append(bytes, std::uint64_t {offset}, ByteOrder::Little);
        for (int y = data.top; y <= data.bottom; ++y) {
            appendLE32(bytes, static_cast<std::uint32_t>(y));
            appendLE32(bytes, static_cast<std::uint32_t>(rowBytes));
            for (std::size_t channel = 0; channel < channels.size(); ++channel) {
                for (int x = data.left; x <= data.right; ++x)
                    append(bytes, floatBytes({value ? value(channel, x, y) : 0.5f}));
            }
        }
        return bytes;
    }
};

TestExr small()
{
    return {.display = {0, 0, 3, 2}, .data = {0, 0, 3, 2}};
}

} // namespace

TEST(ExrCodec, RoundTripsFloats)
{
    VELK_NEEDS_MODULE(kExr);
    auto const rgb = color::linearRgbSpace(color::kRec709);
    auto const gray = color::linearGraySpace();
    auto const wild = [](int x, int y, int channel) { return std::ldexp(x - 9.7 + channel, y - 12); };
    auto const halves = [](int x, int y, int channel) { return (x * 7 + y * 3 + channel) % 1024 / 512.0; };
    for (auto const size : {Size {1, 1}, Size {70, 45}}) {
        expectExactRoundTrip(kExr, paint(size, floats(ColorModel::RGB), wild, &rgb), 32, "a.exr");
        expectExactRoundTrip(kExr, paint(size, floats(ColorModel::Gray), wild, &gray), 32, "a.exr");
        expectExactRoundTrip(kExr, paint(size, floats(ColorModel::RGB), halves, &rgb), 16, "a.exr");
        expectExactRoundTrip(
            kExr, paint(size, floats(ColorModel::RGB, Alpha::Premultiplied), halves, &rgb), 16, "a.exr");
        expectExactRoundTrip(
            kExr, paint(size, floats(ColorModel::Gray, Alpha::Premultiplied), halves, &gray), 32, "a.exr");
    }
}

TEST(ExrCodec, KeepsHalfPrecisionInItsRange)
{
    VELK_NEEDS_MODULE(kExr);
    auto const rgb = color::linearRgbSpace(color::kRec709);
    auto const bright = paint(
        {2, 1}, floats(ColorModel::RGB), [](int, int, int) { return 1e6; }, &rgb);
    auto const decoded = *decodeBytes(encodeToBytes(kExr, bright, {.bitsPerComponent = 16}), "a.exr");
    EXPECT_EQ(component(*decoded, 0, 0, 0), 65504);
}

TEST(ExrCodec, ShowsTheDisplayWindow)
{
    VELK_NEEDS_MODULE(kExr);
    struct Case {
        char const* name;
        TestExr::Window display, data;
    };
    Case const cases[] = {
        {"data inside", {0, 0, 9, 7}, {3, 2, 6, 5}},
        {"data around", {10, 10, 14, 13}, {5, 8, 20, 19}},
        {"overlapping", {-3, -2, 4, 4}, {0, 0, 8, 9}},
        {"apart", {0, 0, 3, 3}, {10, 10, 12, 12}},
        {"below zero", {-8, -9, -2, -3}, {-8, -9, -2, -3}},
    };
    auto const valueAt = [](std::size_t channel, int x, int y) {
        return static_cast<float>(100 + 10 * y + x) + static_cast<float>(channel) / 4;
    };
    for (auto const& [name, display, data] : cases) {
        TestExr const exr = {
            .display = display, .data = data, .channels = {"A", "B", "G", "R"}, .value = valueAt};
        auto const decoded = decodeBytes(exr.file(), "a.exr");
        ASSERT_TRUE(decoded) << name << ": " << decoded.error().message;
        ASSERT_EQ((*decoded)->size(), (Size {display.width(), display.height()})) << name;
        for (int y = display.top; y <= display.bottom; ++y) {
            for (int x = display.left; x <= display.right; ++x) {
                bool const isThere = x >= data.left && x <= data.right && y >= data.top && y <= data.bottom;
                for (int channel = 0; channel < 4; ++channel) {
                    auto const stored = static_cast<std::size_t>(3 - channel);
                    EXPECT_EQ(
                        component(**decoded, x - display.left, y - display.top, channel == 3 ? 3 : channel),
                        isThere ? static_cast<double>(valueAt(channel == 3 ? 0 : stored, x, y)) : 0)
                        << name << ' ' << x << ' ' << y;
                }
            }
        }
    }
}

TEST(ExrCodec, FindsThePictureAmongTheChannels)
{
    VELK_NEEDS_MODULE(kExr);
    struct Case {
        std::vector<std::string> channels;
        ColorModel model;
        bool hasAlpha;
        std::vector<double> first; ///< numbers of the channels that the pixel's components come from
    };
    Case const cases[] = {
        {{"B", "G", "R", "Z"}, ColorModel::RGB, false, {2, 1, 0}},
        {{"A", "Y"}, ColorModel::Gray, true, {1, 0}},
        {{"Z"}, ColorModel::Gray, false, {0}},
        {{"G", "R"}, ColorModel::RGB, false, {1, 0, 0}},
        {{"left.A", "left.B", "left.G", "left.R"}, ColorModel::RGB, true, {3, 2, 1, 0}},
    };
    for (auto const& [channels, model, hasAlpha, first] : cases) {
        auto exr = small();
        exr.channels = channels;
        exr.value = [](std::size_t channel, int, int) { return static_cast<float>(channel); };
        auto const decoded = decodeBytes(exr.file(), "a.exr");
        ASSERT_TRUE(decoded) << channels[0] << ": " << decoded.error().message;
        EXPECT_EQ((*decoded)->format(), floats(model, hasAlpha ? Alpha::Premultiplied : Alpha::None))
            << channels[0];
        for (std::size_t i = 0; i < first.size(); ++i)
            EXPECT_EQ(component(**decoded, 1, 1, static_cast<int>(i)), first[i]) << channels[0];
    }
}

TEST(ExrCodec, DescribesColorsAndResolution)
{
    VELK_NEEDS_MODULE(kExr);
    auto exr = small();
    EXPECT_EQ((*openBytes(exr.file(), "a.exr"))->image().space(), color::linearRgbSpace(color::kRec709));
    exr.moreAttributes =
        TestExr::attribute("chromaticities", "chromaticities",
            TestExr::floatBytes({0.68f, 0.32f, 0.265f, 0.69f, 0.15f, 0.06f, 0.3127f, 0.329f}))
        + TestExr::attribute("xDensity", "float", TestExr::floatBytes({300}));
    auto const source = *openBytes(exr.file(), "a.exr");
    auto const found = color::chromaticitiesOf(source->image().space());
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->isLike(color::kDisplayP3));
    EXPECT_TRUE(color::isLinear(source->image().space()));
    EXPECT_EQ(source->resolution(), (codec::Resolution {300, 300}));

    // Another way round, with what else the file says.
    exr.moreAttributes = exr.moreAttributes + TestExr::attribute("shot", "string", bytesOf({'m', 'e'}));
    TemporaryDirectory const directory;
    writeBytes(directory / "a.exr", exr.file());
    auto const original = *codec::openImage(directory / "a.exr");
    auto const properties = original->properties();
    auto const again = *openBytes(
        writeAs(kExr, {.image = original->image(), .source = original.get(), .properties = properties}),
        "b.exr");
    EXPECT_TRUE(color::chromaticitiesOf(again->image().space())->isLike(color::kDisplayP3));
    EXPECT_EQ(again->resolution(), (codec::Resolution {300, 300}));
    auto const* dictionary = findDictionary(again->description().formatProperties, "{OpenEXR}");
    ASSERT_TRUE(dictionary && find(*dictionary, "shot"));
    EXPECT_EQ(*find(*dictionary, "shot")->asString(), "me");
}

TEST(ExrCodec, SaysWhatACameraSays)
{
    VELK_NEEDS_MODULE(kExr);
    auto exr = small();
    exr.moreAttributes = TestExr::attribute("aperture", "float", TestExr::floatBytes({2.8f}))
        + TestExr::attribute("capDate", "string", bytesOf({'2', '0', '2', '6'}))
        + TestExr::attribute("expTime", "float", TestExr::floatBytes({0.004f}))
        + TestExr::attribute("isoSpeed", "string", bytesOf({'?'}))
        + TestExr::attribute("owner", "string", bytesOf({'m', 'e'}));
    TemporaryDirectory const directory;
    writeBytes(directory / "a.exr", exr.file());
    EXPECT_EQ(runVelk({"-s", "artist", "Somebody", "-d", "copyright", directory / "a.exr"}).status, 0);
    auto const properties = (*codec::openImage(directory / "a.exr"))->properties();
    auto const number = [&](std::string_view key) {
        return codec::numberIn(properties, codec::key::kExif, key).value_or(0);
    };
    EXPECT_NEAR(number("FNumber"), 2.8, 1e-6);
    EXPECT_NEAR(number("ExposureTime"), 0.004, 1e-7);
    EXPECT_EQ(number("ISOSpeedRatings"), 0);
    EXPECT_EQ(codec::textIn(properties, codec::key::kTiff, "DateTime"), "2026");
    EXPECT_EQ(codec::textIn(properties, codec::key::kTiff, "Artist"), "Somebody");
    EXPECT_EQ(codec::textIn(properties, codec::key::kTiff, "Copyright"), "");
    EXPECT_EQ(codec::textIn(properties, "{OpenEXR}", "owner"), "");
}

TEST(ExrCodec, HoldsLightWhateverWentIn)
{
    VELK_NEEDS_MODULE(kExr);
    auto const level = 188 / 255.0;
    for (auto const model : {ColorModel::RGB, ColorModel::Gray}) {
        Image const image(
            paint({4, 4}, {ComponentType::UInt8, model, Alpha::None}, [=](int, int, int) { return level; }));
        auto const decoded = *decodeBytes(writeAs(kExr, image), "a.exr");
        EXPECT_NEAR(component(*decoded, 2, 2, 0), 0.5, 0.005);
    }
    // Half-transparent white stays premultiplied light, and comes back as what it was.
    Image const glass(
        paint({4, 4}, {.alpha = Alpha::Straight}, [=](int, int, int c) { return c == 3 ? 0.4 : level; }));
    auto const file = writeAs(kExr, glass);
    auto const decoded = *decodeBytes(file, "a.exr");
    EXPECT_NEAR(component(*decoded, 0, 0, 0), 0.2, 0.005);
    EXPECT_NEAR(component(*decoded, 0, 0, 3), 0.4, 0.005);
    TemporaryDirectory const directory;
    writeBytes(directory / "a.exr", file);
    auto const png =
        *decodeBytes(writeAs("public.png", (*codec::openImage(directory / "a.exr"))->image()), "a.png");
    EXPECT_NEAR(component(*png, 0, 0, 0), level, 0.005);
    EXPECT_NEAR(component(*png, 0, 0, 3), 0.4, 0.005);
}

TEST(ExrCodec, RefusesWhatIsNoPicture)
{
    VELK_NEEDS_MODULE(kExr);
    auto huge = small();
    huge.data = huge.display = {0, 0, 2000000000, 2000000000};
    EXPECT_FALSE(openBytes(huge.header(), "a.exr"));
    auto empty = small();
    empty.display = {0, 0, -1, -1};
    EXPECT_FALSE(openBytes(empty.file(), "a.exr"));
}

TEST(ExrCodec, SurvivesDamage)
{
    VELK_NEEDS_MODULE(kExr);
    auto const plain = small().file();
    expectToSurviveDamage(plain, 120, "a.exr");
    auto const rgb = color::linearRgbSpace(color::kRec709);
    auto const pixels = paint(
        {40, 40}, floats(ColorModel::RGB), [](int x, int y, int) { return x * y; }, &rgb);
    expectToSurviveDamage(encodeToBytes(kExr, pixels), 30, "a.exr");
}

} // namespace velk::test

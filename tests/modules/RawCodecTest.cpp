#include "modules/ModuleTesting.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/color/LinearLight.h"

#include <cmath>

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kDng = "com.adobe.raw-image";
constexpr int kWidth = 128, kHeight = 96;
constexpr std::size_t kColors = 3;

// Linear red, green and blue of a scene: dark red on the left, below it grey; white on the right.
std::array<double, kColors> scene(int x, int y)
{
    if (x >= kWidth / 2)
        return {1, 1, 1};
    return y < kHeight / 2 ? std::array<double, kColors> {0.5, 0.1, 0.1}
                           : std::array<double, kColors> {0.5, 0.5, 0.5};
}

// A digital negative (DNG 1.4) of a camera whose sensor sees the primaries of sRGB through a Bayer pattern of
// red, green, green and blue; uncompressed.
class TestNegative {
public:
    int orientation = 1;
    std::array<double, kColors> neutral = {1, 1, 1}; ///< what the sensor sees of white

    Bytes file() const
    {
        std::vector<Field> fields = {
            {254, 4, {0}},
            {256, 4, {kWidth}},
            {257, 4, {kHeight}},
            {258, 3, {16}},
            {259, 3, {1}},
            {262, 3, {32803}},
            {271, 2, {}, "Velk"},
            {272, 2, {}, "Pinhole"},
            {273, 4, {0}}, // set below
            {274, 3, {static_cast<std::uint32_t>(orientation)}},
            {277, 3, {1}},
            {278, 4, {kHeight}},
            {279, 4, {kWidth * kHeight * 2}},
            {306, 2, {}, "2024:05:06 07:08:09"},
            {315, 2, {}, "Nobody"},
            {33421, 3, {2, 2}},
            {33422, 1, {0, 1, 1, 2}},
            {50706, 1, {1, 4, 0, 0}},
            {50708, 2, {}, "Velk Pinhole"},
            {50717, 4, {65535}},
            {50721, 10,
                fractions({3.2404542, -1.5371385, -0.4985314, -0.9692660, 1.8760108, 0.0415560, 0.0556434,
                    -0.2040259, 1.0572252})},
            {50728, 5, fractions(neutral)},
            {50778, 3, {21}},
        };
        // Values that do not fit into their field lie behind the directory, then come the pixels.
        std::uint32_t end = 8 + 2 + 12 * static_cast<std::uint32_t>(fields.size()) + 4;
        for (auto const& field : fields)
            end +=
                field.bytes().size() > 4 ? (static_cast<std::uint32_t>(field.bytes().size()) + 1) / 2 * 2 : 0;
        fields[8].values = {end};
        return withDirectory(fields) + pixels();
    }

private:
    struct Field {
        std::uint16_t tag, type;
        std::vector<std::uint32_t> values;
        std::string text;

        std::uint32_t count() const
        {
            if (type == 2)
                return static_cast<std::uint32_t>(text.size()) + 1;
            return static_cast<std::uint32_t>(values.size() / (type == 5 || type == 10 ? 2 : 1));
        }
        Bytes bytes() const
        {
            Bytes result;
            append(result, text);
            if (type == 2)
                result.push_back(0);
            for (auto const value : values) {
                if (type == 1)
                    result.push_back(static_cast<std::uint8_t>(value));
                else if (type == 3)
                    appendLE16(result, static_cast<std::uint16_t>(value));
                else
                    appendLE32(result, value);
            }
            return result;
        }
    };

    template <typename Numbers> static std::vector<std::uint32_t> fractions(Numbers const& numbers)
    {
        std::vector<std::uint32_t> result;
        for (auto const number : numbers) {
            result.push_back(static_cast<std::uint32_t>(std::lround(number * 1e6)));
            result.push_back(1000000);
        }
        return result;
    }
    static std::vector<std::uint32_t> fractions(std::initializer_list<double> numbers)
    {
        return fractions(std::vector(numbers));
    }

    static Bytes withDirectory(std::vector<Field> const& fields)
    {
        auto file = bytesOf({'I', 'I', 42, 0, 8, 0, 0, 0});
        appendLE16(file, static_cast<std::uint16_t>(fields.size()));
        Bytes outside;
        auto const outsideOffset = 8 + 2 + 12 * fields.size() + 4;
        for (auto const& field : fields) {
            appendLE16(file, field.tag);
            appendLE16(file, field.type);
            appendLE32(file, field.count());
            auto value = field.bytes();
            if (value.size() > 4) {
                appendLE32(file, static_cast<std::uint32_t>(outsideOffset + outside.size()));
                value.resize((value.size() + 1) / 2 * 2);
                append(outside, value);
            } else {
                value.resize(4);
                append(file, value);
            }
        }
        appendLE32(file, 0);
        return file + outside;
    }

    Bytes pixels() const
    {
        Bytes result;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                auto const color = static_cast<std::size_t>(x % 2 + y % 2);
                auto const seen = scene(x, y)[color] * neutral[color];
                appendLE16(result, static_cast<std::uint16_t>(std::lround(seen * 65535)));
            }
        }
        return result;
    }
};

double srgbCurve(double light)
{
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

// What the scene's colour is in Display P3.
std::array<double, kColors> expected(int x, int y)
{
    auto const toP3 = color::linearConversion(color::kRec709, color::kDisplayP3);
    auto const light = scene(x, y);
    std::array<double, kColors> result;
    for (std::size_t i = 0; i < kColors; ++i)
        result[i] = srgbCurve(toP3[i][0] * light[0] + toP3[i][1] * light[1] + toP3[i][2] * light[2]);
    return result;
}

} // namespace

TEST(RawCodec, DevelopsToDisplayP3)
{
    VELK_NEEDS_MODULE(kDng);
    for (auto const neutral :
        {std::array<double, kColors> {1, 1, 1}, std::array<double, kColors> {0.5, 1, 0.7}}) {
        auto const source = openBytes(TestNegative {.neutral = neutral}.file(), "a.dng");
        ASSERT_TRUE(source) << source.error().message;
        auto const& layout = (*source)->description().info.layout;
        EXPECT_TRUE(color::chromaticitiesOf(layout.space)->isLike(color::kDisplayP3));
        EXPECT_EQ(layout.format, (PixelFormat {ComponentType::UInt16, ColorModel::RGB, Alpha::None}));
        ASSERT_EQ(layout.size, (Size {kWidth, kHeight}));
        auto const pixels = *decodeBytes(TestNegative {.neutral = neutral}.file(), "a.dng");
        for (auto const& [x, y] : {std::pair(20, 20), std::pair(20, 70), std::pair(100, 50)}) {
            for (int channel = 0; channel < 3; ++channel)
                EXPECT_NEAR(component(*pixels, x, y, channel),
                    expected(x, y)[static_cast<std::size_t>(channel)], 0.02)
                    << x << ' ' << y << ' ' << channel;
        }
    }
}

TEST(RawCodec, TurnsThePictureOnce)
{
    VELK_NEEDS_MODULE(kDng);
    TestNegative const negative = {.orientation = 6};
    auto const source = *openBytes(negative.file(), "a.dng");
    EXPECT_EQ(source->image().size(), (Size {kHeight, kWidth}));
    EXPECT_EQ(source->metadata().orientation(), 1);
    auto const pixels = *decodeBytes(negative.file(), "a.dng");
    ASSERT_EQ(pixels->size(), (Size {kHeight, kWidth}));
    // White was on the right and is below; grey was at the lower left and is at the upper left.
    EXPECT_NEAR(component(*pixels, 50, 100, 1), 1, 0.02);
    EXPECT_NEAR(component(*pixels, 20, 20, 1), expected(20, 70)[1], 0.02);
    EXPECT_NEAR(component(*pixels, 80, 20, 1), expected(20, 20)[1], 0.02);
}

TEST(RawCodec, DevelopsHalfTheSizeWhereThatIsEnough)
{
    VELK_NEEDS_MODULE(kDng);
    TemporaryDirectory const directory;
    writeBytes(directory / "a.dng", TestNegative {}.file());
    auto const source = *codec::openImage(directory / "a.dng");
    auto const reduced = openReduced(*source, 0.4);
    EXPECT_EQ(reduced.rows->size(), (Size {kWidth / 2, kHeight / 2}));
    EXPECT_EQ(reduced.area.width, kWidth);
    auto const pixels = *PixelBuffer::collect(*reduced.rows);
    EXPECT_NEAR(component(pixels, 10, 10, 0), expected(20, 20)[0], 0.02);
    EXPECT_EQ(openReduced(*source, 0.6).rows->size(), (Size {kWidth, kHeight}));
}

TEST(RawCodec, KeepsExif)
{
    VELK_NEEDS_MODULE(kDng);
    auto const source = *openBytes(TestNegative {}.file(), "a.dng");
    auto const properties = source->properties();
    auto const* tiff = findDictionary(properties, codec::key::kTiff);
    ASSERT_TRUE(tiff);
    for (auto const& [key, value] : {std::pair("Make", "Velk"), std::pair("Model", "Pinhole"),
             std::pair("Artist", "Nobody"), std::pair("DateTime", "2024:05:06 07:08:09")}) {
        ASSERT_TRUE(find(*tiff, key)) << key;
        EXPECT_EQ(*find(*tiff, key)->asString(), value);
    }
}

TEST(RawCodec, SurvivesDamage)
{
    VELK_NEEDS_MODULE(kDng);
    expectToSurviveDamage(TestNegative {}.file(), 40, "a.dng");
}

} // namespace velk::test

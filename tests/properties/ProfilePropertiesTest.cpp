#include "properties/ProfileProperties.h"

#include "support/TestFiles.h"
#include "support/TestProfiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velk {

using test::runVelk;
using test::TemporaryDirectory;
using testing::HasSubstr;
using testing::Not;

namespace {

class ProfileQuery : public testing::Test {
protected:
    std::string write(test::ProfileBuilder const& builder, std::string const& name = "p.icc") const
    {
        test::writeBytes(directory / name, builder.bytes());
        return directory / name;
    }

    /// The text or number under `key` as the query would print it, or "<nil>".
    std::string shown(test::ProfileBuilder const& builder, std::string_view key) const
    {
        auto const properties = profileProperties(write(builder));
        EXPECT_TRUE(properties);
        auto const* value = find(*properties, key);
        if (!value)
            return "<nil>";
        return value->asString() ? *value->asString() : std::to_string(*value->asInteger());
    }

    TemporaryDirectory const directory;
};

} // namespace

TEST_F(ProfileQuery, AllPrintsEveryKeyInItsOwnOrder)
{
    auto const path = write(test::matrixProfile(0x02210000)
                                .word(4, FourCC("lcms").code)
                                .word(40, 1)
                                .word(44, 0x0001FFFF)
                                .word(48, FourCC("IEC ").code)
                                .word(52, FourCC("abcd").code)
                                .word(56, 0x80000000)
                                .word(60, 5)
                                .word(64, 0x00010002)
                                .word(80, 0x61620000));
    auto const result = runVelk({"-g", "all", path}, ".", [] { ::setenv("LC_ALL", "C", 1); });
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, path + R"(
  size: 456
  cmm: lcms
  version: 2.2.1
  class: mntr
  space: RGB
  pcs: XYZ
  creation: 2003:07:01 12:34:56
  platform: 0x00000001
  quality: draft
  deviceManufacturer: IEC
  deviceModel: 1633837924
  deviceAttributes0: -2147483648
  deviceAttributes1: 5
  renderingIntent: saturation
  creator: ab
  md5: DF1D9ECABE13D04ECB7195E640EEF5F6
  description: Test profile
  copyright: Nobody
)");
}

TEST_F(ProfileQuery, NamedKeysAndXml)
{
    auto const path = write(test::grayProfile().without("cprt"));
    EXPECT_EQ(
        runVelk({"-1", "-g", "space", "-g", "copyright", "-g", "path", "-g", "pixelWidth", path}).output,
        path + "|  space: GRAY|  copyright: <nil>|  path: " + path + "|  pixelWidth: <nil>|\n");
    auto const xml = runVelk({"-g", "allxml", path}).output;
    EXPECT_TRUE(xml.starts_with("<?xml"));
    EXPECT_THAT(xml, HasSubstr("<key>path</key>\n\t<string>" + path));
    EXPECT_THAT(xml, HasSubstr("<key>deviceModel</key>\n\t<integer>0</integer>"));
    EXPECT_THAT(xml, Not(HasSubstr("copyright")));
}

TEST_F(ProfileQuery, ShowsHeaderFieldsThatNobodyShouldWrite)
{
    auto const header = test::matrixProfile();
    auto const with = [&](std::size_t offset, std::uint32_t value) {
        return test::ProfileBuilder(header).word(offset, value);
    };
    struct {
        std::size_t offset;
        std::uint32_t value;
        std::string_view key, expected;
    } const cases[] = {
        {0, 0xFFFFFFFF, "size", "-1"},
        {4, 0, "cmm", "0"},
        {8, 0x0AFFABCD, "version", ":.?.?"},
        {8, 0xFF000000, "version", "\u012F.0.0"},
        {24, 0xFFFFFFFF, "creation", "65535:65535:01 12:34:56"},
        {44, 0x00020000, "quality", "best"},
        {44, 0x00030000, "quality", "<nil>"},
        {64, 0xFFFFFFFF, "renderingIntent", "absolute"},
    };
    for (auto const& row : cases)
        EXPECT_EQ(shown(with(row.offset, row.value), row.key), row.expected) << row.key;
}

TEST_F(ProfileQuery, CopyrightOfEveryKind)
{
    auto const type = [](std::string_view text) { return Bytes(asBytes(text).begin(), asBytes(text).end()); };
    struct {
        Bytes element;
        std::string_view expected;
    } const cases[] = {
        {test::textElement("(c) me"), "(c) me"},
        {type(std::string_view("text\0\0\0\0no zero", 15)), "no zero"},
        {type(std::string_view("text\0\0\0\0cut\0here", 16)), "cut"},
        {test::textElement("Caf\xC3\xA9"), "<nil>"},
        {test::textElement(""), ""},
        {type("text"), "<nil>"},
        {{}, "<nil>"},
        {test::localizedElement({{"enUS", u"© me"}}), "© me"},
        {test::localizedElement({}), "<nil>"},
        {test::descriptionElement("described"), "described"},
    };
    for (auto const& row : cases)
        EXPECT_EQ(shown(test::matrixProfile().tag("cprt", row.element), "copyright"), row.expected);
}

TEST_F(ProfileQuery, SaysWhyABrokenProfileIsNone)
{
    auto const broken = write(test::matrixProfile().entry("gone", 4000, 1));
    auto const result = runVelk({"-g", "all", broken});
    EXPECT_EQ(result.status, 13);
    EXPECT_EQ(result.output, broken + "\n");
    EXPECT_THAT(result.errors,
        HasSubstr("Warning: " + broken
            + ": a tag reaches beyond the end of the profile\nError: Error querying file\n"));
}

} // namespace velk

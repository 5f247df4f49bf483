#include "platform/color/ProfileText.h"

#include "platform/color/IccProfile.h"
#include "support/TestFiles.h"
#include "support/TestProfiles.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace velk::color {

using test::descriptionElement;
using test::ProfileBuilder;

namespace {

Bytes localized(std::vector<test::LocalizedRecord> const& records)
{
    return test::localizedElement(records);
}

class ProfileText : public testing::Test {
protected:
    void SetUp() override { setLocale("", "", "C"); }
    void TearDown() override { setLocale("", "", ""); }

    static void setLocale(char const* all, char const* messages, char const* lang)
    {
        setenv("LC_ALL", all, 1);
        setenv("LC_MESSAGES", messages, 1);
        setenv("LANG", lang, 1);
    }
};

} // namespace

TEST_F(ProfileText, TellsItsNameInTheLanguageOfTheUser)
{
    auto const bytes =
        ProfileBuilder()
            .tag("dscm",
                localized({{"frFR", u"Écran"}, {"enGB", u"Telly"}, {"enUS", u"Display"},
                    {"deDE", u"Bildschirm"}, {"deCH", u"Bildschirm \xD83D\xDE00"}, {"it", u"Schermo"}}))
            .bytes();
    struct {
        char const *all, *messages, *lang, *expected;
    } const cases[] = {
        {"", "", "", "Display"},
        {"", "", "C.UTF-8", "Display"},
        {"", "", "en_GB.UTF-8", "Telly"},
        {"", "", "de_DE.UTF-8", "Bildschirm"},
        {"", "de_CH", "fr_FR.UTF-8", "Bildschirm \xF0\x9F\x98\x80"},
        {"fr", "de_CH", "en_US", "Écran"},
        {"", "", "de_AT@euro", "Bildschirm"},
        {"", "", "it", "Schermo"},
        {"", "", "ja_JP.UTF-8", "Telly"},
        {"", "", "gsw_CH", "Display"},
    };
    for (auto const& row : cases) {
        setLocale(row.all, row.messages, row.lang);
        EXPECT_EQ(profileDescription(bytes), row.expected) << row.all << row.messages << row.lang;
    }
    auto const without =
        ProfileBuilder().tag("desc", localized({{"jaJP", u"画面"}, {"frFR", u"Écran"}})).bytes();
    EXPECT_EQ(profileDescription(without), "画面");
}

TEST_F(ProfileText, TakesTheNameFromWhereItIs)
{
    auto const described = ProfileBuilder().tag("desc", descriptionElement("Adobe RGB (1998)"));
    auto const withLocalized = [&](Bytes element) {
        return ProfileBuilder(described).tag("dscm", std::move(element)).bytes();
    };
    // The Unicode part of a description without ASCII text: language, count, units.
    auto unicodeOnly = descriptionElement("");
    unicodeOnly.resize(13);
    for (auto const word : {0u, 2u, 0x00C4006Eu})
        appendBE32(unicodeOnly, word);

    EXPECT_EQ(profileDescription(described.bytes()), "Adobe RGB (1998)");
    EXPECT_EQ(profileDescription(withLocalized(localized({{"enUS", u"new "}}))), "new ");
    // Set to nothing is set; no record, or one whose text is elsewhere, is not.
    EXPECT_EQ(profileDescription(withLocalized(localized({{"enUS", u""}}))), "");
    EXPECT_EQ(profileDescription(withLocalized(localized({}))), "Adobe RGB (1998)");
    auto outside = localized({{"enUS", u"x"}});
    outside[27] = 200;
    EXPECT_EQ(profileDescription(withLocalized(outside)), "Adobe RGB (1998)");
    EXPECT_EQ(profileDescription(ProfileBuilder().tag("desc", unicodeOnly).bytes()), "Än");
    EXPECT_EQ(profileDescription(ProfileBuilder().tag("desc", test::textElement("plain")).bytes()), "plain");
    EXPECT_EQ(profileDescription(ProfileBuilder().bytes()), std::nullopt);
    EXPECT_EQ(profileDescription(asBytes("no profile")), std::nullopt);
    EXPECT_EQ(profileDescription(test::readBytes(test::dataFile("DisplayP3-v4.icc"))), "Display P3");
}

TEST_F(ProfileText, ReadsBackWhatItWrites)
{
    std::vector<LocalizedText> const texts = {
        {{"de", "AT"}, "Größe \xF0\x9F\x98\x80"}, {{"ja", ""}, ""}, {{"en", "US"}, "Size"}};
    auto const element = localizedElement(texts);
    for (auto const& [locale, text] : texts) {
        setLocale("", "", locale.identifier().c_str());
        EXPECT_EQ(elementText(element), text);
    }
}

TEST_F(ProfileText, ReadsNoFurtherThanTheBytesGo)
{
    auto const whole = ProfileBuilder()
                           .tag("desc", descriptionElement("name"))
                           .tag("dscm", localized({{"enUS", u"Display"}}))
                           .bytes();
    for (std::size_t length = 0; length < whole.size(); ++length)
        (void)profileDescription(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    for (std::size_t i = 128; i < whole.size(); ++i) {
        auto broken = whole;
        broken[i] = 0xFF;
        (void)profileDescription(broken);
    }
}

} // namespace velk::color

#include "platform/color/IccProfile.h"

#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace velk::color {

namespace {

struct Text {
    char const* code;
    std::u16string text;
};

Bytes localized(std::vector<Text> const& texts)
{
    Bytes element;
    append(element, "mluc");
    appendBE32(element, 0);
    appendBE32(element, static_cast<std::uint32_t>(texts.size()));
    appendBE32(element, 12);
    auto offset = static_cast<std::uint32_t>(16 + 12 * texts.size());
    for (auto const& [code, text] : texts) {
        append(element, code);
        appendBE32(element, static_cast<std::uint32_t>(2 * text.size()));
        appendBE32(element, offset);
        offset += static_cast<std::uint32_t>(2 * text.size());
    }
    for (auto const& text : texts) {
        for (auto const unit : text.text)
            appendBE16(element, static_cast<std::uint16_t>(unit));
    }
    return element;
}

Bytes described(std::string_view ascii)
{
    Bytes element;
    append(element, "desc");
    appendBE32(element, 0);
    appendBE32(element, static_cast<std::uint32_t>(ascii.size() + 1));
    append(element, ascii);
    element.push_back(0);
    return element;
}

Bytes profile(std::vector<std::pair<char const*, Bytes>> const& tags)
{
    Bytes bytes(128);
    std::copy_n("mntrRGB ", 8, bytes.begin() + 12);
    std::copy_n("acsp", 4, bytes.begin() + 36);
    appendBE32(bytes, static_cast<std::uint32_t>(tags.size()));
    auto offset = static_cast<std::uint32_t>(132 + 12 * tags.size());
    for (auto const& [signature, element] : tags) {
        append(bytes, signature);
        appendBE32(bytes, offset);
        appendBE32(bytes, static_cast<std::uint32_t>(element.size()));
        offset += static_cast<std::uint32_t>(element.size());
    }
    for (auto const& tag : tags)
        append(bytes, tag.second);
    return bytes;
}

class IccProfile : public testing::Test {
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

TEST_F(IccProfile, TellsItsNameInTheLanguageOfTheUser)
{
    auto const bytes = profile({{"dscm",
        localized({{"frFR", u"Écran"}, {"enUS", u"Display"}, {"deDE", u"Bildschirm"},
            {"deCH", u"Bildschirm \xD83D\xDE00"}})}});
    struct {
        char const *all, *messages, *lang, *expected;
    } const cases[] = {
        {"", "", "", "Display"},
        {"", "", "C.UTF-8", "Display"},
        {"", "", "de_DE.UTF-8", "Bildschirm"},
        {"", "de_CH", "fr_FR.UTF-8", "Bildschirm \xF0\x9F\x98\x80"},
        {"fr", "de_CH", "en_US", "Écran"},
        {"", "", "de_AT@euro", "Bildschirm"},
        {"", "", "ja_JP.UTF-8", "Display"},
        {"", "", "gsw_CH", "Display"},
    };
    for (auto const& row : cases) {
        setLocale(row.all, row.messages, row.lang);
        EXPECT_EQ(profileDescription(bytes), row.expected) << row.all << row.messages << row.lang;
    }
    auto const without = profile({{"desc", localized({{"jaJP", u"画面"}, {"frFR", u"Écran"}})}});
    EXPECT_EQ(profileDescription(without), "画面");
}

TEST_F(IccProfile, TakesTheNameFromWhereItIs)
{
    EXPECT_EQ(profileDescription(profile({{"desc", described("Adobe RGB (1998)")}})), "Adobe RGB (1998)");
    EXPECT_EQ(
        profileDescription(profile({{"desc", described("old")}, {"dscm", localized({{"enUS", u"new"}})}})),
        "new");
    EXPECT_EQ(profileDescription(profile({{"dscm", localized({})}, {"desc", described("old")}})), "old");
    EXPECT_EQ(profileDescription(profile({})), std::nullopt);
    EXPECT_EQ(profileDescription(asBytes("no profile")), std::nullopt);
    EXPECT_EQ(profileDescription(test::readBytes(test::dataFile("DisplayP3-v4.icc"))), "sP3");
}

TEST_F(IccProfile, ReadsNoFurtherThanTheBytesGo)
{
    auto whole = profile({{"desc", described("name")}, {"dscm", localized({{"enUS", u"Display"}})}});
    for (std::size_t length = 0; length < whole.size(); ++length)
        (void)profileDescription(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    for (std::size_t i = 128; i < whole.size(); ++i) {
        auto broken = whole;
        broken[i] = 0xFF;
        (void)profileDescription(broken);
    }
}

} // namespace velk::color

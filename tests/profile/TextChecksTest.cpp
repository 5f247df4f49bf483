#include "profile/CheckedProfile.h"

#include <gtest/gtest.h>

namespace velk::test {

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

struct DescriptionParts {
    std::uint32_t asciiCount = 6;
    std::string_view ascii = "Hello\0"sv;
    std::uint32_t unicodeCount = 0;
    std::string_view unicode = ""sv;
    std::uint8_t macintoshCount = 0;
    std::string_view macintosh = ""sv;
    std::size_t macintoshField = 67;
    std::uint32_t language = 0;
};

Bytes description(DescriptionParts const& parts)
{
    Bytes element;
    append(element, "desc\0\0\0\0"sv);
    appendBE32(element, parts.asciiCount);
    append(element, parts.ascii);
    appendBE32(element, parts.language);
    appendBE32(element, parts.unicodeCount);
    append(element, parts.unicode);
    appendBE16(element, 7);
    element.push_back(parts.macintoshCount);
    append(element, parts.macintosh);
    element.resize(element.size() + parts.macintoshField - parts.macintosh.size());
    return element;
}

Bytes cutBehind(Bytes element, std::size_t size)
{
    element.resize(size);
    return element;
}

constexpr char const* kSize = "Tag size is not correct. ";
constexpr char const* kAscii = "Description tag has a bad ASCII string. ";
constexpr char const* kUnicode = "Description tag has a bad Unicode string. ";
constexpr char const* kMacintosh = "Description tag has a bad Macintosh string. ";

// A multi-localized text whose records and texts are given as they lie in the element.
Bytes localized(std::uint32_t count, std::uint32_t recordSize,
    std::vector<std::pair<std::uint32_t, std::uint32_t>> const& extents, std::string_view texts)
{
    Bytes element;
    append(element, "mluc\0\0\0\0"sv);
    appendBE32(element, count);
    appendBE32(element, recordSize);
    for (auto const& [length, offset] : extents) {
        append(element, "enUS"sv);
        appendBE32(element, length);
        appendBE32(element, offset);
        element.resize(element.size() + std::max(recordSize, 12u) - 12);
    }
    append(element, texts);
    return element;
}

} // namespace

TEST(DescriptionCheck, RebuildsWhatIsWrong)
{
    struct {
        char const* name;
        Bytes element;
        std::vector<ReportLine> lines;
        DescriptionParts saved;
    } const cases[] = {
        {"sound", description({}), {}, {}},
        {"terminator too early", description({.asciiCount = 8, .ascii = "Hello\0xy"sv}), {{kAscii, kFixed}},
            {}},
        {"no terminator", description({.asciiCount = 5, .ascii = "Hello"sv, .language = 0x01000000}),
            {{kAscii, kFixed}}, {}},
        {"terminator behind the count", description({.asciiCount = 5, .ascii = "Hello"sv}),
            {{kAscii, kFixed}}, {}},
        {"Macintosh text for an empty one",
            description({.asciiCount = 0, .ascii = ""sv, .macintoshCount = 3, .macintosh = "Mac"sv}),
            {{kAscii, kFixed}, {kMacintosh, kFixed}},
            {.asciiCount = 4, .ascii = "Mac\0"sv, .macintoshCount = 4, .macintosh = "Mac\0"sv}},
        {"Unicode sound", description({.unicodeCount = 2, .unicode = "\0H\0\0"sv}), {},
            {.unicodeCount = 2, .unicode = "\0H\0\0"sv}},
        {"Unicode ends early", description({.unicodeCount = 3, .unicode = "\0H\0\0\0x"sv}),
            {{kUnicode, kFixed}}, {.unicodeCount = 2, .unicode = "\0H\0\0"sv}},
        {"Unicode without terminator", description({.unicodeCount = 1, .unicode = "\0H"sv}),
            {{kUnicode, kFixed}}, {.unicodeCount = 2, .unicode = "\0H\0\0"sv}},
        {"Unicode is ASCII again", description({.unicodeCount = 3, .unicode = "Hello\0"sv}),
            {{kUnicode, kFixed}}, {}},
        {"Unicode beside an empty ASCII text",
            description({.asciiCount = 1, .ascii = "\0"sv, .unicodeCount = 2, .unicode = "\0H\0\0"sv}), {},
            {.asciiCount = 1, .ascii = "\0"sv, .unicodeCount = 2, .unicode = "\0H\0\0"sv}},
        {"Unicode past the end", description({.unicodeCount = 0xFFFFFFFF}),
            {{kSize, kUnfixed}, {kUnicode, kFixed}}, {}},
        {"Macintosh text ends early", description({.macintoshCount = 5, .macintosh = "Mac\0x"sv}),
            {{kMacintosh, kFixed}}, {.macintoshCount = 4, .macintosh = "Mac\0"sv}},
        {"Macintosh count too large", description({.macintoshCount = 68}),
            {{kSize, kUnfixed}, {kMacintosh, kFixed}}, {}},
        {"Macintosh field cut",
            description({.macintoshCount = 4, .macintosh = "Mac\0"sv, .macintoshField = 5}),
            {{kSize, kFixed}, {kMacintosh, kFixed}}, {.macintoshCount = 4, .macintosh = "Mac\0"sv}},
        {"all after the ASCII text cut", cutBehind(description({}), 18),
            {{kSize, kUnfixed}, {kUnicode, kFixed}}, {}},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.name);
        auto const saved = expectTagReport(soundProfile().tag("dmdd", row.element), "dmdd", row.lines);
        auto expected = description(row.saved);
        // The ScriptCode is kept where its place is known.
        if (!saved.empty() && row.lines.size() > 0 && row.lines.back().text == kUnicode
            && row.saved.unicodeCount == 0)
            expected[expected.size() - 69] = 0;
        EXPECT_EQ(saved, expected);
    }
}

TEST(DescriptionCheck, FallsBackOnThePath)
{
    for (auto const& element :
        {description({.asciiCount = 0xFFFFFFF0}), description({.asciiCount = 0, .ascii = ""sv})}) {
        CheckedProfile const checked(soundProfile().tag("desc", element).bytes());
        EXPECT_NE(checked.repair().find(std::string(kAscii) + "Fixed."), std::string::npos);
        auto const saved = elementOf(checked.bytes(), "desc");
        auto const text = checked.path().substr(0, 63);
        ASSERT_EQ(saved.size(), 90 + text.size() + 2);
        EXPECT_EQ(loadBE32(saved.data() + 8), text.size() + 2);
        EXPECT_EQ(asText(ByteSpan(saved).subspan(12, text.size() + 2)), text + std::string(2, '\0'));
        // The second zero goes, and then all is well.
        (void)checked.repair();
        EXPECT_EQ(checked.verify(), "");
    }
}

TEST(TextCheck, EndsTheTextAndKeepsItAscii)
{
    auto const element = [](std::string_view text) {
        Bytes bytes;
        append(bytes, "text\0\0\0\0"sv);
        append(bytes, text);
        return bytes;
    };
    ReportLine const length {"Text tag has an incorrect length. ", kFixed};
    ReportLine const characters {"Text contains invalid characters. ", kFixed};
    struct {
        Bytes element;
        std::vector<ReportLine> lines;
        Bytes saved;
    } const cases[] = {
        {element("me\0"sv), {}, element("me\0"sv)},
        {element("me"), {length}, element("me\0"sv)},
        {element("\xE9t\xE9\0"sv), {characters}, element("?t?\0"sv)},
        {element("\xE9"), {length, characters}, element("?\0"sv)},
        {element(""), {}, element("")},
    };
    for (auto const& row : cases)
        EXPECT_EQ(expectTagReport(soundProfile().tag("cprt", row.element), "cprt", row.lines), row.saved);
}

TEST(LocalizedTextCheck, SharesTextsAndDropsWhatOverruns)
{
    ReportLine const overrun {"Text extends past end of tag. ", kFixed};
    ReportLine const identical {"Identical text could share the same data. ", kFixed};
    auto const zeros = [](std::size_t count) { return std::string(count, '\0'); };
    struct {
        char const* name;
        Bytes element;
        std::vector<ReportLine> lines;
        Bytes saved;
    } const cases[] = {
        {"none", localized(0, 12, {}, ""), {}, localized(0, 12, {}, "")},
        {"sharing", localized(2, 12, {{2, 40}, {2, 40}}, "\0A"sv), {},
            localized(2, 12, {{2, 40}, {2, 40}}, "\0A"sv)},
        {"different", localized(2, 12, {{2, 40}, {2, 42}}, "\0A\0B"sv), {},
            localized(2, 12, {{2, 40}, {2, 42}}, "\0A\0B"sv)},
        {"identical", localized(2, 12, {{2, 40}, {2, 42}}, "\0A\0A"sv), {identical},
            localized(2, 12, {{2, 40}, {2, 40}}, "\0A"s + zeros(2 + 4))},
        {"larger records", localized(2, 16, {{2, 48}, {2, 50}}, "\0A\0A"sv), {identical},
            localized(2, 16, {{2, 48}, {2, 48}}, "\0A"s + zeros(2 + 4))},
        {"past the end", localized(2, 12, {{2, 40}, {2, 41}}, "\0A"sv), {overrun},
            localized(1, 12, {{2, 28}}, "\0A"s + zeros(12 + 4))},
        {"far past the end", localized(2, 12, {{0xFFFFFFFF, 0xFFFFFFFF}, {2, 40}}, "\0A"sv), {overrun},
            localized(1, 12, {{2, 28}}, "\0A"s + zeros(12 + 4))},
        {"records past the end", localized(0xFFFFFFFF, 12, {{2, 16}}, ""), {overrun},
            localized(1, 12, {{2, 28}}, "en"s + zeros(4))},
        {"empty texts", localized(2, 12, {{0, 16}, {0, 17}}, ""), {identical},
            localized(2, 12, {}, zeros(24 + 4))},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(expectTagReport(soundProfile().tag("dscm", row.element), "dscm", row.lines), row.saved);
    }
}

TEST(LocalizedTextCheck, SharesWithTheFirstOfMany)
{
    std::vector<LocalizedRecord> records;
    for (auto const* const code : {"enUS", "deDE", "frFR", "itIT", "esES", "ptPT"})
        records.push_back({code, records.size() % 2 == 0 ? u"Monitor" : u"Anzeige"});
    auto const saved = expectTagReport(soundProfile().tag("dscm", localizedElement(records)), "dscm",
        {{"Identical text could share the same data. ", kFixed}});
    ASSERT_EQ(saved.size(), 16u + 6 * (12 + 14) + 4);
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_EQ(loadBE32(saved.data() + 16 + 12 * i + 8), 16u + 72 + (i % 2) * 14);
}

} // namespace velk::test

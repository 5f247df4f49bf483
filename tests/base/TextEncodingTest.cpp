#include "base/TextEncoding.h"

#include <gtest/gtest.h>

namespace velk {

using namespace std::string_view_literals;

TEST(TextEncoding, TellsUtf8FromOtherBytes)
{
    for (auto const text :
        {""sv, "plain"sv, "ä"sv, "€"sv, "\xF0\x9F\x98\x80"sv, "\xEF\xBF\xBD"sv, "\xF4\x8F\xBF\xBF"sv})
        EXPECT_TRUE(isUtf8(text)) << text;
    for (auto const text :
        {"\x80"sv, "\xE4"sv, "a\xC3"sv, "\xC0\x80"sv, "\xC1\xBF"sv, "\xE0\x9F\xBF"sv, "\xED\xA0\x80"sv,
            "\xF0\x8F\xBF\xBF"sv, "\xF4\x90\x80\x80"sv, "\xF5\x80\x80\x80"sv, "\xFF"sv, "\xE2\x28\xA1"sv})
        EXPECT_FALSE(isUtf8(text));
    EXPECT_EQ(utf8FromUndeclared(asBytes("na\xEFve")), "naïve");
    EXPECT_EQ(utf8FromUndeclared(asBytes("naïve")), "naïve");
}

TEST(TextEncoding, ReadsAndWritesUtf16)
{
    constexpr auto kText = "aß€😀"sv;
    for (auto const order : {ByteOrder::Little, ByteOrder::Big}) {
        auto const units = utf16FromUtf8(kText, order);
        EXPECT_EQ(units.size(), 10u);
        EXPECT_EQ(utf8FromUtf16(units, order), kText);
    }
    // A byte-order mark wins; halves of a pair and an odd byte are no characters.
    EXPECT_EQ(utf8FromUtf16(asBytes("\xFE\xFF\0a"sv), ByteOrder::Little), "a");
    EXPECT_EQ(utf8FromUtf16(asBytes("\xD8\x3D\0a\xDE\0"sv), ByteOrder::Big),
        "\xEF\xBF\xBD"
        "a\xEF\xBF\xBD");
    EXPECT_EQ(utf8FromUtf16(asBytes("\xD8\x3D"sv), ByteOrder::Big), "\xEF\xBF\xBD");
    EXPECT_EQ(utf8FromUtf16(asBytes("a\0b"sv), ByteOrder::Little), "a");
}

TEST(TextEncoding, TrimsOnlyTheEnd)
{
    for (auto const& [before, after] :
        {std::pair {" a b \r\n\0\0"sv, " a b"sv}, {"  \0"sv, ""sv}, {"x"sv, "x"sv}}) {
        std::string text(before);
        trimEnd(text);
        EXPECT_EQ(text, after);
    }
}

} // namespace velk

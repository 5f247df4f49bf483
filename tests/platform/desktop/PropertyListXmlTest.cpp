#include "platform/desktop/PropertyListXml.h"

#include <gtest/gtest.h>

#include <limits>

namespace velk::desktop {

namespace {

std::string valueXml(PropertyValue value)
{
    auto const xml = propertyListXml({{"k", std::move(value)}});
    std::string_view const before = "<dict>\n\t<key>k</key>\n";
    std::string_view const after = "</dict>\n</plist>\n";
    auto const start = xml.find(before) + before.size();
    return xml.substr(start, xml.size() - after.size() - start);
}

} // namespace

TEST(PropertyListXml, WritesEveryKindOfValue)
{
    Bytes const data = {0xFF, 0x00, 0x3E, 0x10};
    PropertyDictionary const dictionary {
        {"array", PropertyArray {1, "two", PropertyArray {}}},
        {"boolean", true},
        {"data", shareBytes(data)},
        {"date", PropertyDate {2024, 2, 29, 23, 59, 7}},
        {"dictionary", PropertyDictionary {{"empty", PropertyDictionary {}}, {"no", false}}},
        {"integer", std::numeric_limits<std::int64_t>::min()},
        {"string", "text"},
    };
    EXPECT_EQ(propertyListXml(dictionary), R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
	<key>array</key>
	<array>
		<integer>1</integer>
		<string>two</string>
		<array/>
	</array>
	<key>boolean</key>
	<true/>
	<key>data</key>
	<data>
	/wA+EA==
	</data>
	<key>date</key>
	<date>2024-02-29T23:59:07Z</date>
	<key>dictionary</key>
	<dict>
		<key>empty</key>
		<dict/>
		<key>no</key>
		<false/>
	</dict>
	<key>integer</key>
	<integer>-9223372036854775808</integer>
	<key>string</key>
	<string>text</string>
</dict>
</plist>
)");
}

TEST(PropertyListXml, RealsReadBackAsTheyWere)
{
    using Limits = std::numeric_limits<double>;
    EXPECT_EQ(valueXml(72.0f), "\t<real>72</real>\n");
    EXPECT_EQ(valueXml(0.45455f), "\t<real>0.45455</real>\n");
    EXPECT_EQ(valueXml(0.1), "\t<real>0.1</real>\n");
    EXPECT_EQ(valueXml(static_cast<double>(0.1f)), "\t<real>0.10000000149011612</real>\n");
    EXPECT_EQ(valueXml(-1e300), "\t<real>-1e+300</real>\n");
    EXPECT_EQ(valueXml(-Limits::infinity()), "\t<real>-inf</real>\n");
    EXPECT_EQ(valueXml(-Limits::quiet_NaN()), "\t<real>nan</real>\n");
}

TEST(PropertyListXml, TextIsAlwaysWellFormed)
{
    using namespace std::literals;
    struct Case {
        std::string_view text;
        std::string_view xml;
    };
    for (auto const& [text, xml] : {
             Case {"a<b>&\"c\"", "a&lt;b&gt;&amp;\"c\""},
             Case {"tab\tline\nreturn\r", "tab\tline\nreturn&#13;"},
             Case {"nul\0bell\a"sv, "nul\uFFFDbell\uFFFD"},
             Case {"\u00E9 \u20AC \U0001F4F7", "\u00E9 \u20AC \U0001F4F7"},
             Case {"\uFFFE", "\uFFFD"},
             Case {"latin\xE9 ", "latin\uFFFD "},
             Case {"cut \xE2\x82", "cut \uFFFD\uFFFD"},
             Case {"overlong \xC0\x80", "overlong \uFFFD\uFFFD"},
             Case {"surrogate \xED\xA0\x80", "surrogate \uFFFD\uFFFD\uFFFD"},
             Case {"beyond \xF4\x90\x80\x80", "beyond \uFFFD\uFFFD\uFFFD\uFFFD"},
         })
        EXPECT_EQ(valueXml(text), "\t<string>" + std::string(xml) + "</string>\n");
    auto const keyed = propertyListXml({{"<&\x01>", 1}});
    EXPECT_NE(keyed.find("<key>&lt;&amp;\uFFFD&gt;</key>"), std::string::npos);
}

TEST(PropertyListXml, DatesOutsideTheCalendarBecomeText)
{
    EXPECT_EQ(valueXml(PropertyDate {2023, 2, 29, 0, 0, 0}), "\t<string>2023-02-29T00:00:00Z</string>\n");
    EXPECT_EQ(valueXml(PropertyDate {0, 0, 0, 0, 0, 0}), "\t<string>0000-00-00T00:00:00Z</string>\n");
    EXPECT_EQ(valueXml(PropertyDate {2023, 1, 257, 0, 0, 0}), "\t<string>2023-01-257T00:00:00Z</string>\n");
    EXPECT_EQ(valueXml(PropertyDate {2023, 1, 1, 24, 0, 0}), "\t<string>2023-01-01T24:00:00Z</string>\n");
}

TEST(PropertyListXml, LongDataIsBrokenIntoLines)
{
    Bytes const zeros(50);
    EXPECT_EQ(valueXml(shareBytes(zeros)), "\t<data>\n\t" + std::string(64, 'A') + "\n\tAAA=\n\t</data>\n");
    EXPECT_EQ(valueXml(shareBytes({})), "\t<data>\n\t</data>\n");
}

} // namespace velk::desktop

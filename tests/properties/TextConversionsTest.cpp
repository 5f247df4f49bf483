#include "properties/TextConversions.h"

#include <gtest/gtest.h>

#include <limits>

namespace velk {

TEST(TextConversions, IntegersKeepZeroApartFromNoNumber)
{
    struct Case {
        std::string_view text;
        std::int32_t value;
    };
    for (auto const& [text, value] : std::initializer_list<Case> {
             {"0", 0},
             {"", -1},
             {"00", -1},
             {"+0", -1},
             {"abc", -1},
             {"-", -1},
             {"12px", 12},
             {" \t+7", 7},
             {"-40", -40},
             {"- 4", -1},
             {"1.9", 1},
             {"0x10", -1},
             {"2147483647", std::numeric_limits<std::int32_t>::max()},
             {"99999999999999999999999", std::numeric_limits<std::int32_t>::max()},
             {"-99999999999999999999999", std::numeric_limits<std::int32_t>::min()},
         })
        EXPECT_EQ(parseInteger(text), value) << '"' << text << '"';
}

TEST(TextConversions, SignaturesAreReadFromCharactersOrHexadecimal)
{
    struct Case {
        std::string_view text;
        FourCC code;
    };
    for (auto const& [text, code] : std::initializer_list<Case> {
             {"0", FourCC(0)},
             {"desc", FourCC("desc")},
             {"RGB ", FourCC("RGB ")},
             {"RGB", kNoFourCC},
             {"0000", FourCC("0000")},
             {"0x1F2e3D4c", FourCC(0x1F2E3D4C)},
             {"0X1F2E3D4C", kNoFourCC},
             {"0x1F2E3D4", kNoFourCC},
             {"0x1F2E3D4g", kNoFourCC},
             {"0x-1F2E3D4", kNoFourCC},
             {"1234567890", kNoFourCC},
             {"", kNoFourCC},
             {"d\xC3\xA9s", kNoFourCC},
         })
        EXPECT_EQ(parseSignature(text).code, code.code) << '"' << text << '"';
}

TEST(TextConversions, SignaturesAreWrittenAsTheyCanBeRead)
{
    struct Case {
        FourCC code;
        std::string_view text;
    };
    for (auto const& [code, text] : std::initializer_list<Case> {
             {FourCC(0), "0"},
             {FourCC("RGB "), "RGB"},
             {FourCC("AB C"), "AB C"},
             {FourCC("A   "), "A  "},
             {FourCC(0x41420000), "AB"},
             {FourCC(0x41420020), "AB"},
             {FourCC(0x41004243), "0x41004243"},
             {FourCC(0x01020304), "0x01020304"},
             {FourCC(0x41FF4243), "0x41FF4243"},
             {FourCC(0x7F414243), "0x7F414243"},
         })
        EXPECT_EQ(formatSignature(code), text);
}

} // namespace velk

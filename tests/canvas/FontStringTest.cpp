#include "canvas/FontString.h"

#include <gtest/gtest.h>

namespace velk {

TEST(FontString, ReadsSizeAndFamily)
{
    struct Case {
        char const* text;
        FontRequest request;
    };
    Case const cases[] = {
        {"12pt Helvetica", {"Helvetica", 12}},
        {"16px Arial", {"Arial", 16}},
        {"16PX Arial", {"Arial", 16}},
        {"2cm Helvetica", {"Helvetica", 144 / 2.54}},
        {"2CM Helvetica", {"Helvetica", 144 / 2.54}},
        {"3em Arial", {"Arial", 3}},
        {"12.5pt Arial", {"Arial", 12}},
        {"12 Helvetica", {"Helvetica", 0}},
        {"pt Helvetica", {"Helvetica", 0}},
        {"12\tpt Arial", {"Arial", 0}},
        {"-3px Arial", {"Arial", -3}},
        {"+3px Arial", {"Arial", 3}},
        {"99999999999px Arial", {"Arial", 2147483647}},
        {"Helvetica", {"Helvetica", 12}},
        {"12pt Times New Roman", {"Roman", 12}},
        {"bold 16px Arial", {"Arial", 12}},
        {"16px  Arial", {"Arial", 12}},
        {"16px ", {"", 16}},
        {" Arial", {"Arial", 0}},
        {" ", {"", 0}},
    };
    for (auto const& [text, request] : cases)
        EXPECT_EQ(parseFontString(text), request) << text;
}

} // namespace velk

#include "platform/desktop/Locale.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace velk::desktop {

TEST(Locale, ComesFromTheEnvironment)
{
    struct {
        char const *name, *identifier;
    } const cases[] = {
        {"", "en_US"},
        {"C", "en_US"},
        {"C.UTF-8", "en_US"},
        {"POSIX", "en_US"},
        {"de", "de"},
        {"de_AT", "de_AT"},
        {"de_AT.UTF-8@euro", "de_AT"},
        {"pt@BR", "pt"},
        {"es_419", "es"},
        {"gsw_CH.UTF-8", "en_US"},
        {"_DE", "en_US"},
        {"D_", "en_US"},
    };
    ::setenv("LC_ALL", "", 1);
    ::setenv("LC_MESSAGES", "", 1);
    for (auto const& row : cases) {
        ::setenv("LANG", row.name, 1);
        EXPECT_EQ(currentLocale().identifier(), row.identifier) << row.name;
    }
    ::setenv("LC_MESSAGES", "fr_CA", 1);
    EXPECT_EQ(currentLocale().identifier(), "fr_CA");
    ::setenv("LC_ALL", "C", 1);
    EXPECT_EQ(currentLocale().identifier(), "en_US");
    for (auto const* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"})
        ::unsetenv(variable);
    EXPECT_EQ(currentLocale().identifier(), "en_US");
}

} // namespace velk::desktop

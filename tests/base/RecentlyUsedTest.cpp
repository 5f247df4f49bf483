#include "base/RecentlyUsed.h"

#include <gtest/gtest.h>

#include <string>

namespace velk {

TEST(RecentlyUsed, ForgetsWhatWasNotUsedForLongest)
{
    RecentlyUsed<std::string, int> values(3);
    values.add("a", 1);
    values.add("b", 2);
    values.add("c", 3);
    EXPECT_EQ(*values.find("a"), 1);
    values.add("d", 4, 2);
    EXPECT_FALSE(values.find("b"));
    EXPECT_FALSE(values.find("c"));
    EXPECT_EQ(*values.find("a"), 1);
    EXPECT_EQ(*values.find("d"), 4);
    EXPECT_EQ(values.add("huge", 5, 1000), 5);
    EXPECT_FALSE(values.find("a"));
    values.add("e", 6);
    EXPECT_FALSE(values.find("huge"));
    EXPECT_EQ(*values.find("e"), 6);
}

} // namespace velk

#include "platform/codec/Jpeg2000Sandbox.h"

#include "base/Bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

namespace velk::test {

TEST(Jpeg2000Sandbox, BringsBackResultsAndSurvivesEverythingElse)
{
    Bytes result(100'000, 1);
    struct {
        bool (*end)();
        bool isDone;
    } const cases[] = {
        {[] { return true; }, true},
        {[] { return false; }, false},
        {[]() -> bool {
             std::raise(SIGSEGV);
             return true;
         },
            false},
        {[]() -> bool {
             std::raise(SIGKILL);
             return true;
         },
            false},
        {[]() -> bool { std::_Exit(7); }, false},
    };
    for (auto const& [end, isDone] : cases) {
        std::ranges::fill(result, std::uint8_t {1});
        EXPECT_EQ(codec::runInSandbox(result,
                      [&] {
                          result.back() = 2;
                          return end();
                      }),
            isDone);
        EXPECT_EQ(result.back(), isDone ? 2 : 1);
        EXPECT_EQ(result.front(), 1);
    }
}

} // namespace velk::test

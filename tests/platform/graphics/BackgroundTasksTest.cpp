#include "platform/graphics/BackgroundTasks.h"

#include <gtest/gtest.h>

#include <vector>

namespace velk::test {

using graphics::BackgroundTasks;

TEST(BackgroundTasks, AreDoneInOrderAndAllOfThem)
{
    constexpr int kCount = 1000;
    std::vector<int> done;
    {
        BackgroundTasks tasks;
        tasks.finish(0);
        BackgroundTasks::Number middle = 0;
        for (int i = 0; i < kCount; ++i) {
            auto const number = tasks.add([&done, i] { done.push_back(i); });
            if (i == kCount / 2)
                middle = number;
        }
        tasks.finish(middle);
        tasks.finish(middle); // once more, for what is long done
    }
    ASSERT_EQ(done.size(), std::size_t {kCount});
    for (int i = 0; i < kCount; ++i)
        EXPECT_EQ(done[static_cast<std::size_t>(i)], i);
}

TEST(BackgroundTasks, LetTheGiverReadWhatAFinishedTaskWrote)
{
    BackgroundTasks tasks;
    std::vector<int> squares(200);
    for (int i = 0; i < 200; ++i) {
        tasks.finish(tasks.add([&squares, i] { squares[static_cast<std::size_t>(i)] = i * i; }));
        EXPECT_EQ(squares[static_cast<std::size_t>(i)], i * i);
    }
}

} // namespace velk::test

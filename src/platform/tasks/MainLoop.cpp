#include "platform/tasks/MainLoop.h"

#include <condition_variable>
#include <deque>
#include <mutex>

namespace velk::tasks {

namespace {

struct MainLoop {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::function<void()>> work;
    bool isWoken = false;
};

MainLoop& mainLoop()
{
    static MainLoop loop;
    return loop;
}

} // namespace

void performOnMainThread(std::function<void()> work)
{
    auto& loop = mainLoop();
    {
        std::lock_guard const lock(loop.mutex);
        loop.work.push_back(std::move(work));
    }
    loop.changed.notify_all();
}

void wakeMainLoop()
{
    auto& loop = mainLoop();
    {
        std::lock_guard const lock(loop.mutex);
        loop.isWoken = true;
    }
    loop.changed.notify_all();
}

void runMainLoop(std::chrono::milliseconds duration, std::function<bool()> const& isDone)
{
    auto& loop = mainLoop();
    auto const end = std::chrono::steady_clock::now() + duration;
    std::unique_lock lock(loop.mutex);
    for (;;) {
        while (!loop.work.empty()) {
            auto const work = std::move(loop.work.front());
            loop.work.pop_front();
            lock.unlock();
            work();
            lock.lock();
        }
        loop.isWoken = false;
        lock.unlock();
        bool const finished = isDone && isDone();
        lock.lock();
        if (finished && loop.work.empty())
            return;
        if (!loop.changed.wait_until(lock, end, [&] { return loop.isWoken || !loop.work.empty(); }))
            return;
    }
}

} // namespace velk::tasks

#include "platform/graphics/BackgroundTasks.h"

#include <system_error>

namespace velk::graphics {

BackgroundTasks::~BackgroundTasks()
{
    {
        std::lock_guard const lock(m_mutex);
        m_stopped = true;
    }
    m_taskGiven.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

BackgroundTasks::Number BackgroundTasks::add(std::function<void()> task)
{
    if (!m_started)
        start();
    if (!m_thread.joinable()) {
        task();
        return m_done = ++m_given;
    }
    std::unique_lock lock(m_mutex);
    m_tasks.push_back(std::move(task));
    auto const number = ++m_given;
    lock.unlock();
    m_taskGiven.notify_one();
    return number;
}

void BackgroundTasks::finish(Number task)
{
    std::unique_lock lock(m_mutex);
    m_taskDone.wait(lock, [&] { return m_done >= task; });
}

void BackgroundTasks::start()
{
    m_started = true;
    if (std::thread::hardware_concurrency() == 1)
        return;
    try {
        m_thread = std::thread([this] { work(); });
    } catch (std::system_error const&) {
        return; // tasks are done as they are given
    }
}

void BackgroundTasks::work()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_taskGiven.wait(lock, [this] { return m_stopped || !m_tasks.empty(); });
        if (m_tasks.empty())
            return;
        auto const task = std::move(m_tasks.front());
        m_tasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
        ++m_done;
        m_taskDone.notify_one();
    }
}

} // namespace velk::graphics

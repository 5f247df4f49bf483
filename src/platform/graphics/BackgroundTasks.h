#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace velk::graphics {

/// Does tasks in the order in which they are given, on a thread beside the one that gives them. On a machine
/// with one processor, and where no thread can be had, each is done as it is given.
class BackgroundTasks {
public:
    /// Counts the tasks from 1 on.
    using Number = std::uint64_t;

    BackgroundTasks() = default;
    /// Does all that was given before.
    ~BackgroundTasks();
    BackgroundTasks(BackgroundTasks const&) = delete;
    BackgroundTasks& operator=(BackgroundTasks const&) = delete;

    /// The task must not throw.
    Number add(std::function<void()> task);
    /// Returns when this task and those before it are done; at once for 0.
    void finish(Number task);

private:
    void start();
    void work();

    std::thread m_thread;
    bool m_started = false;

    std::mutex m_mutex;
    std::condition_variable m_taskGiven;
    std::condition_variable m_taskDone;
    std::deque<std::function<void()>> m_tasks;
    Number m_given = 0;
    Number m_done = 0;
    bool m_stopped = false;
};

} // namespace velk::graphics

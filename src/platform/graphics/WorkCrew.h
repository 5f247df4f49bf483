#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace velk::graphics {

/// A few threads that share the parts of a job with the one that gives it. On a machine with one processor,
/// and where no thread can be had, the giver does it alone.
class WorkCrew {
public:
    WorkCrew() = default;
    ~WorkCrew();
    WorkCrew(WorkCrew const&) = delete;
    WorkCrew& operator=(WorkCrew const&) = delete;

    /// Calls `part` for every number below `count`, in any order and on several threads; returns when all are
    /// done.
    void run(std::size_t count, std::function<void(std::size_t)> const& part);

private:
    void start();
    void help();
    void takeParts();

    std::vector<std::thread> m_helpers;
    bool m_started = false;

    std::mutex m_mutex;
    std::condition_variable m_jobGiven;
    std::condition_variable m_partsDone;
    std::function<void(std::size_t)> const* m_part = nullptr;
    std::size_t m_count = 0;
    std::size_t m_next = 0;
    std::size_t m_done = 0;
    bool m_stopped = false;
};

} // namespace velk::graphics

#include "platform/tasks/OperationQueue.h"

#include "platform/tasks/MainLoop.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace velk::tasks {

struct Operation {
    std::function<void()> run;
    std::size_t weight;
};

class OperationQueue::Implementation {
public:
    ~Implementation()
    {
        cancelWaiting();
        {
            std::lock_guard const lock(m_mutex);
            m_isEnding = true;
        }
        m_changed.notify_all();
        for (auto& worker : m_workers)
            worker.join();
    }

    void add(Operation operation)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_weight == 0 || m_weight + operation.weight <= kMaximumWeight; });
        m_weight += operation.weight;
        ++m_count;
        m_waiting.push_back(std::move(operation));
        auto const cores = std::max(1U, std::thread::hardware_concurrency());
        if (m_workers.size() < std::min<std::size_t>(cores, m_count))
            m_workers.emplace_back([this] { work(); });
        m_changed.notify_all();
    }

    void cancelWaiting()
    {
        std::deque<Operation> dropped;
        {
            std::lock_guard const lock(m_mutex);
            dropped.swap(m_waiting);
            m_count -= dropped.size();
            for (auto const& operation : dropped)
                m_weight -= operation.weight;
        }
        m_changed.notify_all();
    }

    std::size_t count() const
    {
        std::lock_guard const lock(m_mutex);
        return m_count;
    }

private:
    void work()
    {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return m_isEnding || !m_waiting.empty(); });
            if (m_isEnding)
                return;
            auto operation = std::move(m_waiting.front());
            m_waiting.pop_front();
            lock.unlock();
            operation.run();
            // What the operation held goes before it counts as done.
            operation.run = nullptr;
            lock.lock();
            --m_count;
            m_weight -= operation.weight;
            m_changed.notify_all();
            wakeMainLoop();
        }
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Operation> m_waiting;
    std::vector<std::thread> m_workers;
    /// Of all operations that wait or run.
    std::size_t m_count = 0, m_weight = 0;
    bool m_isEnding = false;
};

OperationQueue::OperationQueue()
    : m_implementation(std::make_unique<Implementation>())
{
}

OperationQueue::~OperationQueue() = default;

void OperationQueue::add(std::function<void()> operation, std::size_t weight)
{
    m_implementation->add({std::move(operation), weight});
}

void OperationQueue::cancelWaiting()
{
    m_implementation->cancelWaiting();
}

std::size_t OperationQueue::operationCount() const
{
    return m_implementation->count();
}

} // namespace velk::tasks

#include "platform/graphics/WorkCrew.h"

#include <algorithm>
#include <system_error>

namespace velk::graphics {

namespace {

constexpr unsigned kMostHelpers = 3;

} // namespace

WorkCrew::~WorkCrew()
{
    {
        std::lock_guard const lock(m_mutex);
        m_stopped = true;
    }
    m_jobGiven.notify_all();
    for (auto& helper : m_helpers)
        helper.join();
}

void WorkCrew::run(std::size_t count, std::function<void(std::size_t)> const& part)
{
    if (!m_started)
        start();
    {
        std::lock_guard const lock(m_mutex);
        m_part = &part;
        m_count = count;
        m_next = 0;
        m_done = 0;
    }
    m_jobGiven.notify_all();
    takeParts();
    std::unique_lock lock(m_mutex);
    m_partsDone.wait(lock, [this] { return m_done == m_count; });
}

void WorkCrew::start()
{
    m_started = true;
    auto const processors = std::max(1U, std::thread::hardware_concurrency());
    try {
        for (unsigned i = 0; i < std::min(processors - 1, kMostHelpers); ++i)
            m_helpers.emplace_back([this] { help(); });
    } catch (std::system_error const&) {
        return; // whoever has started helps
    }
}

void WorkCrew::help()
{
    for (;;) {
        {
            std::unique_lock lock(m_mutex);
            m_jobGiven.wait(lock, [this] { return m_stopped || m_next < m_count; });
            if (m_stopped)
                return;
        }
        takeParts();
    }
}

void WorkCrew::takeParts()
{
    std::unique_lock lock(m_mutex);
    while (m_next < m_count) {
        auto const number = m_next++;
        auto const& part = *m_part;
        lock.unlock();
        part(number);
        lock.lock();
        if (++m_done == m_count)
            m_partsDone.notify_one();
    }
}

} // namespace velk::graphics

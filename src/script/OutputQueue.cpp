#include "script/OutputQueue.h"

#include "platform/tasks/MainLoop.h"
#include "script/Output.h"

namespace velk {

OutputQueue& OutputQueue::sharedQueue()
{
    static OutputQueue queue;
    return queue;
}

void OutputQueue::addToQueue(Output const& output)
{
    auto picture = output.snapshot();
    auto const weight = picture ? picture->memory : 0;
    auto write = [this, picture = std::move(picture), path = output.URL(), type = output.UTI()] {
        if (picture && !Output::writeImage(picture->image, path, type))
            noteWritten(path);
        notifyOfWrittenURLChange();
    };
    m_operations.add(std::move(write), weight);
}

void OutputQueue::noteWritten(std::string const& path)
{
    std::lock_guard const lock(m_mutex);
    m_writtenURLs.push_back(path);
}

std::vector<std::string> OutputQueue::writtenURLs() const
{
    std::lock_guard const lock(m_mutex);
    return m_writtenURLs;
}

void OutputQueue::resetQueue()
{
    m_operations.cancelWaiting();
    {
        std::lock_guard const lock(m_mutex);
        m_writtenURLs.clear();
    }
    notifyOfWrittenURLChange();
}

void OutputQueue::notifyOfWrittenURLChange()
{
    tasks::performOnMainThread([this] {
        for (auto const& observer : m_observers)
            observer();
    });
}

} // namespace velk

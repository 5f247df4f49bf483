#pragma once

#include "platform/tasks/OperationQueue.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace velk {

class Output;

/// Writes outputs in the background, several at once. Members are for the main thread unless they say
/// otherwise.
class OutputQueue {
public:
    /// The one of this process.
    static OutputQueue& sharedQueue();

    OutputQueue() = default;

    /// Takes a picture of what the output shows now, works out its place and type, and writes it later. Waits
    /// while the pictures that are yet to be written take too much memory. A picture that cannot be written
    /// is left out without a word.
    void addToQueue(Output const& output);

    /// Where files were written, in the order in which they were done. Safe on any thread.
    std::vector<std::string> writtenURLs() const;
    /// Drops what has not begun to be written, and forgets what was.
    void resetQueue();

    /// Outputs that are yet to be written. Safe on any thread.
    std::size_t operationCount() const { return m_operations.operationCount(); }

    /// `observer` is called on the main thread, when that runs its loop, after each change of `writtenURLs`.
    void observeWrittenURLs(std::function<void()> observer) { m_observers.push_back(std::move(observer)); }
    /// Has the observers called. Safe on any thread.
    void notifyOfWrittenURLChange();

private:
    void noteWritten(std::string const& path);

    mutable std::mutex m_mutex;
    std::vector<std::string> m_writtenURLs;
    std::vector<std::function<void()>> m_observers;
    // Last, so that it waits for running operations before the rest goes.
    tasks::OperationQueue m_operations;
};

} // namespace velk

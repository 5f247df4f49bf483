#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace velk::tasks {

/// Runs operations on background threads in the order in which they came, as many at once as there are cores.
/// All members are safe on any thread.
class OperationQueue {
public:
    OperationQueue();
    OperationQueue(OperationQueue const&) = delete;
    OperationQueue& operator=(OperationQueue const&) = delete;
    /// Waits for what runs; what has not begun is dropped.
    ~OperationQueue();

    /// `weight` is the memory in bytes that the operation holds until it has run. Blocks while operations of
    /// more than `kMaximumWeight` together wait or run, unless none does.
    void add(std::function<void()> operation, std::size_t weight);
    /// Drops all operations that have not begun.
    void cancelWaiting();
    /// Operations that wait or run.
    std::size_t operationCount() const;

    static constexpr std::size_t kMaximumWeight = std::size_t {512} << 20;

private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

} // namespace velk::tasks

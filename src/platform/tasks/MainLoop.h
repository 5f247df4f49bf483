#pragma once

#include <chrono>
#include <functional>

namespace velk::tasks {

/// Hands `work` to the main thread, which does it when it next runs its loop. Safe on any thread.
void performOnMainThread(std::function<void()> work);

/// Does the work that was handed over, and what comes until `duration` has passed or `isDone` says so (asked
/// after each piece of work and at each wake-up). Main thread only.
void runMainLoop(std::chrono::milliseconds duration, std::function<bool()> const& isDone = {});
/// Makes a running main loop ask whether it is done. Safe on any thread.
void wakeMainLoop();

} // namespace velk::tasks

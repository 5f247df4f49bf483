#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace velk::codec {

/// Runs `work` in a process of its own, where a crash or an endless loop does no harm. What it writes to
/// `result` arrives here if it returns true; then this does, too.
bool runInSandbox(std::span<std::uint8_t> result, std::function<bool()> const& work);

} // namespace velk::codec

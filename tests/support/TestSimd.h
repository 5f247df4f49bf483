#pragma once

#include <functional>

namespace velk::test {

/// Runs `body` for every instruction set that this machine has and the program was built for, plain C++
/// included.
void onEveryTarget(std::function<void()> const& body);

} // namespace velk::test

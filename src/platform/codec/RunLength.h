#pragma once

#include "base/Bytes.h"

#include <algorithm>
#include <cstddef>

namespace velk::codec {

/// How a run-length code cuts a row into runs and literals.
struct RunRules {
    std::size_t longest = 128; ///< units in one run or one group of literals
    std::size_t shortestRun = 3; ///< shorter repetitions cost less among the literals
};

/// Cuts `count` units into runs of equal ones and groups of literals, in order. `equal(i, j)` compares units;
/// `run(start, length)` and `literals(start, length)` take the pieces.
template <typename Equal, typename TakeRun, typename TakeLiterals>
void splitIntoRuns(std::size_t count, RunRules rules, Equal equal, TakeRun run, TakeLiterals literals)
{
    std::size_t literalStart = 0;
    auto const flush = [&](std::size_t end) {
        for (; literalStart < end; literalStart += std::min(end - literalStart, rules.longest))
            literals(literalStart, std::min(end - literalStart, rules.longest));
    };
    for (std::size_t start = 0; start < count;) {
        std::size_t length = 1;
        while (length < rules.longest && start + length < count && equal(start, start + length))
            ++length;
        if (length >= rules.shortestRun) {
            flush(start);
            run(start, length);
            literalStart = start + length;
        }
        start += length;
    }
    flush(count);
}

/// Appends a row in PackBits code (TIFF 6.0, section 9).
void appendPackBits(Bytes& packed, ByteSpan row);
/// The most bytes that `appendPackBits` makes of `count`.
constexpr std::size_t packBitsBound(std::size_t count)
{
    return count + (count + 127) / 128;
}
/// Decodes PackBits into `row` until either ends; returns the number of bytes that were there.
std::size_t unpackBits(ByteSpan packed, std::span<std::uint8_t> row);

} // namespace velk::codec

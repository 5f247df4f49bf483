#pragma once

#include "base/Bytes.h"
#include "base/Result.h"

#include <string_view>

namespace velk {

/// Writes results to standard output, through its buffer. A failure is kept for `flushOutput`.
void writeOutput(std::string_view text);

/// `writeOutput` with a {fmt} format.
template <typename... Values> void printOutput(fmt::format_string<Values...> format, Values&&... values)
{
    writeOutput(fmt::format(format, std::forward<Values>(values)...));
}

/// Writes `bytes` straight to the descriptor, after everything that was written before.
void writeOutputUnbuffered(ByteSpan bytes);

/// Hands the buffered results to the system. Returns the first failure of any write since the last flush, so
/// that a full disk or a closed pipe does not pass for success.
Result<void> flushOutput();

/// Occupies those of the descriptors 0, 1 and 2 that the caller left closed, so that no file that is opened
/// later becomes the target of printed text. Writing to such a stand-in fails, as it would have without it.
void occupyStandardStreams();

} // namespace velk

#pragma once

#include "base/FourCC.h"

#include <cstdint>
#include <string_view>

namespace velk {

enum class CheckMode : std::uint8_t { Verify, Repair };

/// Prints one line about a problem; in repair mode the line says whether the problem was fixed. A `tag` of 0
/// stands for the profile as a whole. `code` is shown when there is no message.
void reportProblem(CheckMode mode, FourCC tag, int code, std::string_view message, bool isFixed);

} // namespace velk

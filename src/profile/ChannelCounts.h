#pragma once

#include "base/FourCC.h"

#include <cstdint>

namespace velk {

/// Channels of a colour space (ICC.1:2022, 7.2.8); 0 when the signature names none.
std::uint32_t channelCountForSpace(FourCC space);

} // namespace velk

#pragma once

#include "base/Files.h"

namespace velk::codec::heif {

/// Whether the primary image has no colour channels, as far as the file's properties say
/// (ISO/IEC 23008-12, 6.5.6 and the configuration records of HEVC and AV1).
Result<bool> isMonochrome(InputFile const& file);

} // namespace velk::codec::heif

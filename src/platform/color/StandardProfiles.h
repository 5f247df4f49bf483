#pragma once

#include "base/Bytes.h"

namespace velk::color {

/// An ICC profile of sRGB (IEC 61966-2-1), for conversions into it; made once.
SharedBytes srgbProfile();

} // namespace velk::color

#pragma once

#include "platform/text/Face.h"

#include <string>

namespace velk::text {

/// The installed face of that family, full or PostScript name, upright and of regular weight where the name
/// leaves it open; that of an equivalent family; null when there is none. Names are compared without regard
/// to case and blanks.
Face const* installedFace(std::string const& name);

/// Any face, the one for sans-serif if there is one; null when no font is installed.
Face const* anyFace();

} // namespace velk::text

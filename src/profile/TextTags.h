#pragma once

#include "base/Bytes.h"

#include <string>

namespace velk {

/// A multiLocalizedUnicodeType element with the text for the current locale and, if that is not en_US, the
/// text in ASCII for en_US.
Bytes descriptionElement(std::string const& text);

/// A textType element with up to 200 characters of the text in ASCII.
Bytes copyrightElement(std::string const& text);

} // namespace velk

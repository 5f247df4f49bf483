#pragma once

#include <string>
#include <string_view>

namespace velk::desktop {

/// The "file:" URI (RFC 8089) of an absolute path, escaped as desktop programs do it: every byte but letters,
/// digits, '/' and what else RFC 2396 allows in a path becomes % and two uppercase digits. The same path
/// always has the same text, so that it can serve as a key.
std::string fileUri(std::string_view absolutePath);

} // namespace velk::desktop

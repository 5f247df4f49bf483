#pragma once

#include "platform/color/ProfileHeader.h"

#include <string>
#include <string_view>

namespace velk {

/// Whether `key` names a field of the profile header that can be set.
bool isHeaderKey(std::string_view key);

/// Sets the field that `key`, a header key, names from a text. An invalid text is reported and leaves the
/// header unchanged; the result is false.
bool editHeader(color::ProfileHeader& header, std::string_view key, std::string const& value);

} // namespace velk

#pragma once

#include "base/PropertyValue.h"

#include <optional>
#include <string_view>

namespace velk::codec {

/// Adds the data sets of the application record (IPTC-IIM 4.2, chapter 6) that have a name. Data sets that
/// may repeat are arrays, the others text.
void describeIptc(ByteSpan iim, PropertyDictionary& dictionary);

/// `iim` with the named data set set to `value` (text, a number, or an array of them) or removed, all other
/// data sets kept as they are. Text is written in UTF-8 and declared so. Nothing when the name is unknown,
/// the value does not fit, or nothing changes.
std::optional<Bytes> editIptc(ByteSpan iim, std::string_view name, PropertyValue const* value);

} // namespace velk::codec

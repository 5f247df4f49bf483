#pragma once

#include "base/PropertyValue.h"

#include <span>
#include <string>
#include <string_view>

namespace velk {

/// What ends the file line and each property line.
constexpr char outputSeparator(bool oneLine)
{
    return oneLine ? '|' : '\n';
}

/// Whether `keys` ask for an XML property list, which stands alone in the output.
bool asksForXml(std::span<std::string const> keys);

/// Prints the properties of the file under `keys`; keys that it lacks print as nil. "allxml" among the keys
/// prints everything as an XML property list instead, "all" every known property that the file has.
void query(std::string const& path, std::span<std::string const> keys, bool oneLine);

/// Prints one property line; `value` may be null.
void printProperty(std::string_view key, PropertyValue const* value, bool oneLine);

} // namespace velk

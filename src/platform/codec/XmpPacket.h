#pragma once

#include <string>
#include <string_view>

namespace velk::codec {

/// Puts `number` in place of the whole number that an XMP packet gives for a simple property such as
/// "tiff:Orientation", written as an attribute or as an element; the rest of the packet stays as it is. False
/// when the packet does not have the property, or has the number already.
bool setXmpInteger(std::string& packet, std::string_view property, int number);

} // namespace velk::codec

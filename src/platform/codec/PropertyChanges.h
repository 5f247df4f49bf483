#pragma once

#include "base/PropertyValue.h"

#include <optional>
#include <string>
#include <vector>

namespace velk::codec {

/// One entry of a sub-dictionary that was set, or removed (no value).
struct PropertyChange {
    std::string dictionary; ///< such as "{TIFF}"
    std::string key; ///< such as "Artist"
    std::optional<PropertyValue> value;
};

using PropertyChanges = std::vector<PropertyChange>;

/// What happened to the sub-dictionaries on the way from `original` to `edited`.
PropertyChanges changesBetween(PropertyDictionary const& original, PropertyDictionary const& edited);

} // namespace velk::codec

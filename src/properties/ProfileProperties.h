#pragma once

#include "base/PropertyValue.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace velk {

/// The properties of an ICC profile file under velk's own keys, and `path`. Nothing, without a message, when
/// the file cannot be opened as a profile.
std::optional<PropertyDictionary> profileProperties(std::string const& path);

/// For a file that begins as a profile but cannot be opened as one: warns of the reason.
void warnWhyNotAProfile(std::string const& path);

/// The names of the header's two coded fields, indexed by their value (ICC.1:2022, 7.2.11 and 7.2.15; the
/// quality bits are 16 and 17 of the profile flags).
std::span<std::string_view const> profileQualityNames();
std::span<std::string_view const> renderingIntentNames();

} // namespace velk

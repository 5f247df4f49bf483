#pragma once

#include "base/PropertyValue.h"
#include "platform/codec/Metadata.h"

#include <string>
#include <string_view>
#include <vector>

namespace velk::codec {

/// Entries of {TIFF}, {Exif} and {GPS} that a format without room for an Exif block keeps in places of its
/// own, collected while a file of that format is opened.
class DescriptiveTags {
public:
    /// Adds an entry; an empty text is none.
    void add(std::string_view dictionary, std::string_view key, std::string text);
    void add(std::string_view dictionary, std::string_view key, double number);
    /// Makes them part of what is known of the image, so that they go along into other formats.
    void addTo(Metadata& metadata) const;

private:
    PropertyChanges m_entries;
};

/// The text under `key` of a sub-dictionary; empty when there is none.
std::string textIn(PropertyDictionary const& properties, std::string_view dictionary, std::string_view key);
/// The same for a number (the first of several), or nothing.
std::optional<double> numberIn(
    PropertyDictionary const& properties, std::string_view dictionary, std::string_view key);

} // namespace velk::codec

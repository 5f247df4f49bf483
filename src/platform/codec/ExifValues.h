#pragma once

#include "base/PropertyValue.h"
#include "platform/codec/ExifBlock.h"

namespace velk::codec {

/// An Exif value that owns its bytes.
struct OwnedExifValue {
    ExifType type = ExifType::Undefined;
    std::uint32_t count = 0;
    Bytes bytes;

    operator ExifValue() const { return {type, count, bytes}; }
};

/// The value of a field as a property: text in UTF-8, whole numbers, rationals as doubles, several numbers as
/// an array, other bytes as data. Nothing when it means nothing (a rational over 0) or is unreasonably large.
std::optional<PropertyValue> propertyFromExif(ExifTag const& tag, ExifValue const& value, ByteOrder order);

/// A property as the value of a field, in the tag's own type. Nothing when it does not fit the tag.
std::optional<OwnedExifValue> exifFromProperty(
    ExifTag const& tag, PropertyValue const& property, ByteOrder order);

/// A rational (of type Rational or SignedRational) in the smallest terms that come within the relative
/// `precision` of `number`, or as close as 32 bits allow. Nothing for numbers out of their range.
std::optional<OwnedExifValue> exifRational(
    double number, ExifType type, ByteOrder order, double precision = 1e-9);

/// Component `index` of a number of any type; nothing for a rational over 0.
std::optional<double> exifNumber(ExifValue const& value, std::size_t index, ByteOrder order);

} // namespace velk::codec

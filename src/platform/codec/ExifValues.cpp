#include "platform/codec/ExifValues.h"

#include "base/TextEncoding.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

namespace velk::codec {

namespace {

// Beyond these, a value is nothing to print.
constexpr std::size_t kMaximumText = 64 * 1024;
constexpr std::size_t kMaximumNumbers = 256;

constexpr std::size_t kCharacterCodeSize = 8;
constexpr std::string_view kAsciiCode("ASCII\0\0\0", kCharacterCodeSize);
constexpr std::string_view kUnicodeCode("UNICODE\0", kCharacterCodeSize);
constexpr std::string_view kJisCode("JIS\0\0\0\0\0", kCharacterCodeSize);

bool isRational(ExifType type)
{
    return type == ExifType::Rational || type == ExifType::SignedRational;
}

bool isReal(ExifType type)
{
    return isRational(type) || type == ExifType::Float || type == ExifType::Double;
}

// Copyright holds the photographer's and the editor's text with a zero between (Exif 2.32, 4.6.4); in other
// tags everything after a zero is rubbish.
std::string textOf(ExifTag const& tag, ByteSpan bytes)
{
    auto text = utf8FromUndeclared(bytes);
    trimEnd(text);
    auto const zero = text.find('\0');
    if (zero == std::string::npos)
        return text;
    auto first = text.substr(0, zero);
    trimEnd(first);
    if (tag.tag != tag::kCopyright)
        return first;
    auto second = text.substr(zero + 1);
    second.resize(std::min(second.find('\0'), second.size()));
    return first.empty() ? second : first + "; " + second;
}

// Some cameras write the text of a comment in the order of the other kind of machine: in real text the high
// bytes are the ones that are zero more often.
ByteOrder likelyUtf16Order(ByteSpan bytes, ByteOrder order)
{
    std::size_t zeros[2] = {};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        zeros[i % 2] += bytes[i] == 0;
    if (zeros[0] == zeros[1])
        return order;
    return zeros[0] > zeros[1] ? ByteOrder::Big : ByteOrder::Little;
}

std::optional<PropertyValue> commentOf(ByteSpan bytes, ByteOrder order)
{
    if (bytes.size() < kCharacterCodeSize)
        return std::nullopt;
    auto const content = bytes.subspan(kCharacterCodeSize);
    std::string text;
    if (startsWith(bytes, kUnicodeCode))
        text = utf8FromUtf16(content, likelyUtf16Order(content, order));
    else if (!startsWith(bytes, kJisCode))
        text = utf8FromUndeclared(content);
    else if (isAscii(asText(content)))
        text = asText(content);
    text.resize(std::min(text.find('\0'), text.size()));
    trimEnd(text);
    if (text.empty())
        return std::nullopt;
    return text;
}

std::string utf16TextOf(ByteSpan bytes)
{
    auto text = utf8FromUtf16(bytes, ByteOrder::Little);
    text.resize(std::min(text.find('\0'), text.size()));
    trimEnd(text);
    return text;
}

PropertyValue integersOf(ExifValue const& value, ByteOrder order)
{
    if (value.count == 1)
        return exifInteger(value, 0, order);
    PropertyArray numbers;
    for (std::size_t i = 0; i < value.count; ++i)
        numbers.emplace_back(exifInteger(value, i, order));
    return numbers;
}

std::optional<PropertyValue> realsOf(ExifValue const& value, ByteOrder order)
{
    if (value.count == 1) {
        auto const number = exifNumber(value, 0, order);
        return number ? std::optional<PropertyValue>(*number) : std::nullopt;
    }
    // An unknown member of a set (a lens without a widest aperture, say) is a rational over 0.
    PropertyArray numbers;
    for (std::size_t i = 0; i < value.count; ++i)
        numbers.emplace_back(exifNumber(value, i, order).value_or(0));
    return numbers;
}

struct Fraction {
    std::int64_t numerator;
    std::int64_t denominator;
};

// The first convergent of the continued fraction of `number` (not negative) that is precise enough, or the
// last one whose terms are at most `limit`.
Fraction approximate(double number, std::int64_t limit, double precision)
{
    Fraction previous {0, 1};
    Fraction current {1, 0};
    auto rest = number;
    while (true) {
        auto const whole = std::floor(rest);
        if (whole > static_cast<double>(limit))
            return current;
        auto const term = static_cast<std::int64_t>(whole);
        // Both products stay far below 2^63, since all factors are below 2^32.
        Fraction const next {
            term * current.numerator + previous.numerator, term * current.denominator + previous.denominator};
        if (next.numerator > limit || next.denominator > limit)
            return current;
        previous = std::exchange(current, next);
        auto const value = static_cast<double>(next.numerator) / static_cast<double>(next.denominator);
        auto const fraction = rest - whole;
        if (std::abs(value - number) <= number * precision || fraction < 1e-12)
            return current;
        rest = 1 / fraction;
    }
}

std::optional<std::int64_t> wholeNumber(PropertyValue const& property)
{
    if (auto const* integer = property.asInteger())
        return *integer;
    auto const number = property.number();
    if (!property.isFloatingPoint() || number != std::floor(number) || std::abs(number) > 1e15)
        return std::nullopt;
    return static_cast<std::int64_t>(number);
}

struct IntegerRange {
    std::int64_t lowest, highest;
};

IntegerRange rangeOf(ExifType type)
{
    switch (type) {
    case ExifType::Short:
        return {0, 0xFFFF};
    case ExifType::Long:
        return {0, 0xFFFF'FFFF};
    default:
        return {0, 0xFF};
    }
}

bool appendInteger(OwnedExifValue& to, PropertyValue const& property, ByteOrder order)
{
    auto const number = wholeNumber(property);
    auto const [lowest, highest] = rangeOf(to.type);
    if (!number || *number < lowest || *number > highest)
        return false;
    if (to.type == ExifType::Short)
        append(to.bytes, static_cast<std::uint16_t>(*number), order);
    else if (to.type == ExifType::Long)
        append(to.bytes, static_cast<std::uint32_t>(*number), order);
    else
        to.bytes.push_back(static_cast<std::uint8_t>(*number));
    return true;
}

bool appendReal(OwnedExifValue& to, PropertyValue const& property, ByteOrder order)
{
    if (!property.isNumber())
        return false;
    // A float that came from 0.0125 shall become 1/80 like a double.
    constexpr double kFloatPrecision = 1e-7;
    constexpr double kDoublePrecision = 1e-9;
    auto const value = exifRational(
        property.number(), to.type, order, property.asFloat() ? kFloatPrecision : kDoublePrecision);
    if (value)
        append(to.bytes, value->bytes);
    return value.has_value();
}

std::optional<OwnedExifValue> numbersFrom(ExifTag const& tag, PropertyValue const& property, ByteOrder order)
{
    OwnedExifValue value {.type = tag.type, .bytes = {}};
    auto const appendNumber = isRational(tag.type) ? appendReal : appendInteger;
    PropertyArray const single(property.asArray() ? 0 : 1, property);
    for (auto const& element : property.asArray() ? *property.asArray() : single) {
        if (!appendNumber(value, element, order))
            return std::nullopt;
        ++value.count;
    }
    if (value.count == 0 || (tag.count != 0 && value.count != tag.count))
        return std::nullopt;
    return value;
}

OwnedExifValue ofBytes(ExifType type, Bytes bytes)
{
    auto const count = static_cast<std::uint32_t>(bytes.size());
    return {type, count, std::move(bytes)};
}

Bytes commentFrom(std::string_view text, ByteOrder order)
{
    Bytes bytes;
    append(bytes, isAscii(text) ? kAsciiCode : kUnicodeCode);
    if (isAscii(text))
        append(bytes, text);
    else
        append(bytes, utf16FromUtf8(text, order));
    return bytes;
}

std::optional<OwnedExifValue> textFrom(ExifTag const& tag, std::string_view text, ByteOrder order)
{
    if (text.size() > kMaximumText || text.find('\0') != std::string_view::npos)
        return std::nullopt;
    Bytes bytes;
    switch (tag.meaning) {
    case ExifMeaning::Comment:
        return ofBytes(tag.type, commentFrom(text, order));
    case ExifMeaning::Utf16:
        bytes = utf16FromUtf8(text, ByteOrder::Little);
        bytes.insert(bytes.end(), 2, 0);
        return ofBytes(tag.type, std::move(bytes));
    case ExifMeaning::Version:
        if (text.size() != tag.count)
            return std::nullopt;
        append(bytes, text);
        return ofBytes(tag.type, std::move(bytes));
    case ExifMeaning::Plain:
    case ExifMeaning::Numbers:
        break;
    }
    if (tag.type != ExifType::Ascii)
        return std::nullopt;
    append(bytes, text);
    bytes.push_back(0);
    return ofBytes(tag.type, std::move(bytes));
}

std::string exifDate(PropertyDate const& date)
{
    return fmt::format("{:04}:{:02}:{:02} {:02}:{:02}:{:02}", date.year, date.month, date.day, date.hour,
        date.minute, date.second);
}

} // namespace

std::optional<PropertyValue> propertyFromExif(ExifTag const& tag, ExifValue const& value, ByteOrder order)
{
    if (value.bytes.size() > kMaximumText)
        return std::nullopt;
    switch (tag.meaning) {
    case ExifMeaning::Version:
        return textOf(tag, value.bytes);
    case ExifMeaning::Comment:
        return commentOf(value.bytes, order);
    case ExifMeaning::Utf16:
        return utf16TextOf(value.bytes);
    case ExifMeaning::Numbers:
    case ExifMeaning::Plain:
        break;
    }
    auto const bytesAreNumbers = tag.meaning == ExifMeaning::Numbers && exifTypeSize(value.type) == 1
        && value.count <= kMaximumNumbers;
    if (bytesAreNumbers)
        return integersOf({ExifType::Byte, value.count, value.bytes}, order);
    if (value.type == ExifType::Ascii || (tag.type == ExifType::Ascii && exifTypeSize(value.type) == 1))
        return textOf(tag, value.bytes);
    if (value.type == ExifType::Undefined)
        return shareBytes(value.bytes);
    if (value.count > kMaximumNumbers)
        return std::nullopt;
    return isReal(value.type) ? realsOf(value, order) : integersOf(value, order);
}

std::optional<OwnedExifValue> exifFromProperty(
    ExifTag const& tag, PropertyValue const& property, ByteOrder order)
{
    if (auto const* text = property.asString())
        return textFrom(tag, *text, order);
    if (auto const* date = property.asDate())
        return textFrom(tag, exifDate(*date), order);
    if (auto const data = property.asData()) {
        if (tag.type != ExifType::Undefined || data->size() > kMaximumText)
            return std::nullopt;
        return ofBytes(tag.type, *data);
    }
    if (!property.isNumber() && !property.asArray())
        return std::nullopt;
    if (tag.type == ExifType::Ascii
        || (tag.type == ExifType::Undefined && tag.meaning != ExifMeaning::Numbers))
        return std::nullopt;
    return numbersFrom(tag, property, order);
}

std::optional<OwnedExifValue> exifRational(double number, ExifType type, ByteOrder order, double precision)
{
    bool const isSigned = type == ExifType::SignedRational;
    std::int64_t const limit =
        isSigned ? std::numeric_limits<std::int32_t>::max() : std::numeric_limits<std::uint32_t>::max();
    if (!(std::abs(number) <= static_cast<double>(limit)) || (number < 0 && !isSigned))
        return std::nullopt;
    auto const [numerator, denominator] = approximate(std::abs(number), limit, precision);
    OwnedExifValue value {.type = type, .count = 1, .bytes = {}};
    append(value.bytes, static_cast<std::uint32_t>(number < 0 ? -numerator : numerator), order);
    append(value.bytes, static_cast<std::uint32_t>(denominator), order);
    return value;
}

std::optional<double> exifNumber(ExifValue const& value, std::size_t index, ByteOrder order)
{
    auto const* const data = value.bytes.data() + index * exifTypeSize(value.type);
    if (isExifInteger(value.type))
        return static_cast<double>(exifInteger(value, index, order));
    if (value.type == ExifType::Float)
        return std::bit_cast<float>(loadInteger<std::uint32_t>(data, order));
    if (value.type == ExifType::Double)
        return std::bit_cast<double>(loadInteger<std::uint64_t>(data, order));
    if (!isRational(value.type))
        return std::nullopt;
    auto const part = [&](std::size_t offset) {
        auto const bits = loadInteger<std::uint32_t>(data + offset, order);
        return value.type == ExifType::Rational ? static_cast<double>(bits)
                                                : static_cast<double>(static_cast<std::int32_t>(bits));
    };
    if (part(4) == 0)
        return std::nullopt;
    return part(0) / part(4);
}

} // namespace velk::codec

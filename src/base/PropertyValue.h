#pragma once

#include "base/Bytes.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace velk {

class PropertyValue;

/// Properties by key, in the order of their keys.
using PropertyDictionary = std::map<std::string, PropertyValue, std::less<>>;
using PropertyArray = std::vector<PropertyValue>;

/// A calendar date and time without a zone.
struct PropertyDate {
    int year = 1970, month = 1, day = 1, hour = 0, minute = 0, second = 0;
    bool operator==(PropertyDate const&) const = default;
};

/// One value of a property dictionary. `float` and `double` both count as floating-point numbers; they differ
/// in the precision with which they are written as XML.
class PropertyValue {
public:
    PropertyValue(std::string text)
        : m_value(std::move(text))
    {
    }
    PropertyValue(std::string_view text)
        : m_value(std::string(text))
    {
    }
    PropertyValue(char const* text)
        : m_value(std::string(text))
    {
    }
    PropertyValue(bool value)
        : m_value(value)
    {
    }
    PropertyValue(int value)
        : m_value(std::int64_t {value})
    {
    }
    PropertyValue(std::int64_t value)
        : m_value(value)
    {
    }
    PropertyValue(float value)
        : m_value(value)
    {
    }
    PropertyValue(double value)
        : m_value(value)
    {
    }
    PropertyValue(SharedBytes bytes)
        : m_value(std::move(bytes))
    {
    }
    PropertyValue(PropertyDate date)
        : m_value(date)
    {
    }
    PropertyValue(PropertyArray array);
    PropertyValue(PropertyDictionary dictionary);

    PropertyValue(PropertyValue const&);
    PropertyValue(PropertyValue&&) noexcept;
    PropertyValue& operator=(PropertyValue const&);
    PropertyValue& operator=(PropertyValue&&) noexcept;
    ~PropertyValue();

    bool operator==(PropertyValue const& other) const;

    bool isFloatingPoint() const;
    bool isNumber() const;

    /// The value if it is of that type, else null.
    std::string const* asString() const { return std::get_if<std::string>(&m_value); }
    bool const* asBoolean() const { return std::get_if<bool>(&m_value); }
    std::int64_t const* asInteger() const { return std::get_if<std::int64_t>(&m_value); }
    float const* asFloat() const { return std::get_if<float>(&m_value); }
    double const* asDouble() const { return std::get_if<double>(&m_value); }
    PropertyDate const* asDate() const { return std::get_if<PropertyDate>(&m_value); }
    SharedBytes asData() const;
    PropertyArray const* asArray() const;
    PropertyDictionary const* asDictionary() const;
    PropertyDictionary* asDictionary();

    /// Any number as a double; 0 for everything else.
    double number() const;

private:
    std::variant<std::string, bool, std::int64_t, float, double, SharedBytes, PropertyDate,
        std::unique_ptr<PropertyArray>, std::unique_ptr<PropertyDictionary>>
        m_value;
};

/// The value under `key`, or null.
PropertyValue const* find(PropertyDictionary const& dictionary, std::string_view key);
/// The sub-dictionary under `key`, or null when there is none.
PropertyDictionary const* findDictionary(PropertyDictionary const& dictionary, std::string_view key);
/// The sub-dictionary under `key`, created (or put in place of a value of another type) when missing.
PropertyDictionary& subDictionary(PropertyDictionary& dictionary, std::string_view key);
/// Sets `key` to `value`.
void set(PropertyDictionary& dictionary, std::string_view key, PropertyValue value);
/// Adds everything in `more` to `dictionary`; sub-dictionaries are joined, other values replaced.
void merge(PropertyDictionary& dictionary, PropertyDictionary const& more);

} // namespace velk

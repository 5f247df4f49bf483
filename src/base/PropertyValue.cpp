#include "base/PropertyValue.h"

namespace velk {

PropertyValue::PropertyValue(PropertyArray array)
    : m_value(std::make_unique<PropertyArray>(std::move(array)))
{
}

PropertyValue::PropertyValue(PropertyDictionary dictionary)
    : m_value(std::make_unique<PropertyDictionary>(std::move(dictionary)))
{
}

PropertyValue::PropertyValue(PropertyValue&&) noexcept = default;
PropertyValue& PropertyValue::operator=(PropertyValue&&) noexcept = default;
PropertyValue::~PropertyValue() = default;

PropertyValue::PropertyValue(PropertyValue const& other)
{
    std::visit(
        [this]<typename T>(T const& value) {
            if constexpr (requires {
                              *value;
                              typename T::element_type;
                          }
                && !std::is_same_v<T, SharedBytes>)
                m_value = std::make_unique<typename T::element_type>(*value);
            else
                m_value = value;
        },
        other.m_value);
}

PropertyValue& PropertyValue::operator=(PropertyValue const& other)
{
    if (this != &other)
        *this = PropertyValue(other);
    return *this;
}

bool PropertyValue::operator==(PropertyValue const& other) const
{
    if (m_value.index() != other.m_value.index())
        return false;
    if (auto const* array = asArray())
        return *array == *other.asArray();
    if (auto const* dictionary = asDictionary())
        return *dictionary == *other.asDictionary();
    if (std::holds_alternative<SharedBytes>(m_value))
        return equalBytes(asData(), other.asData());
    return m_value == other.m_value;
}

bool PropertyValue::isFloatingPoint() const
{
    return asFloat() || asDouble();
}
bool PropertyValue::isNumber() const
{
    return asInteger() || isFloatingPoint();
}

SharedBytes PropertyValue::asData() const
{
    auto const* bytes = std::get_if<SharedBytes>(&m_value);
    return bytes ? *bytes : nullptr;
}

PropertyArray const* PropertyValue::asArray() const
{
    auto const* array = std::get_if<std::unique_ptr<PropertyArray>>(&m_value);
    return array ? array->get() : nullptr;
}

PropertyDictionary const* PropertyValue::asDictionary() const
{
    auto const* dictionary = std::get_if<std::unique_ptr<PropertyDictionary>>(&m_value);
    return dictionary ? dictionary->get() : nullptr;
}

PropertyDictionary* PropertyValue::asDictionary()
{
    auto* dictionary = std::get_if<std::unique_ptr<PropertyDictionary>>(&m_value);
    return dictionary ? dictionary->get() : nullptr;
}

double PropertyValue::number() const
{
    if (auto const* integer = asInteger())
        return static_cast<double>(*integer);
    if (auto const* single = asFloat())
        return *single;
    if (auto const* real = asDouble())
        return *real;
    return 0;
}

PropertyValue const* find(PropertyDictionary const& dictionary, std::string_view key)
{
    auto const found = dictionary.find(key);
    return found == dictionary.end() ? nullptr : &found->second;
}

PropertyDictionary const* findDictionary(PropertyDictionary const& dictionary, std::string_view key)
{
    auto const* value = find(dictionary, key);
    return value ? value->asDictionary() : nullptr;
}

PropertyDictionary& subDictionary(PropertyDictionary& dictionary, std::string_view key)
{
    auto const found = dictionary.find(key);
    if (found != dictionary.end() && found->second.asDictionary())
        return *found->second.asDictionary();
    set(dictionary, key, PropertyDictionary {});
    return *dictionary.find(key)->second.asDictionary();
}

void set(PropertyDictionary& dictionary, std::string_view key, PropertyValue value)
{
    dictionary.insert_or_assign(std::string(key), std::move(value));
}

void merge(PropertyDictionary& dictionary, PropertyDictionary const& more)
{
    for (auto const& [key, value] : more) {
        if (auto const* inner = value.asDictionary())
            merge(subDictionary(dictionary, key), *inner);
        else
            set(dictionary, key, value);
    }
}

} // namespace velk

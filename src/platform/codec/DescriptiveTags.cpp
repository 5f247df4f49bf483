#include "platform/codec/DescriptiveTags.h"

#include <utility>

namespace velk::codec {

namespace {

PropertyValue const* entryIn(
    PropertyDictionary const& properties, std::string_view dictionary, std::string_view key)
{
    auto const* entries = findDictionary(properties, dictionary);
    return entries ? find(*entries, key) : nullptr;
}

} // namespace

void DescriptiveTags::add(std::string_view dictionary, std::string_view key, std::string text)
{
    if (!text.empty())
        m_entries.push_back({std::string(dictionary), std::string(key), PropertyValue(std::move(text))});
}

void DescriptiveTags::add(std::string_view dictionary, std::string_view key, double number)
{
    m_entries.push_back({std::string(dictionary), std::string(key), PropertyValue(number)});
}

void DescriptiveTags::addTo(Metadata& metadata) const
{
    if (!m_entries.empty())
        metadata.apply(m_entries);
}

std::string textIn(PropertyDictionary const& properties, std::string_view dictionary, std::string_view key)
{
    auto const* value = entryIn(properties, dictionary, key);
    return value && value->asString() ? *value->asString() : std::string();
}

std::optional<double> numberIn(
    PropertyDictionary const& properties, std::string_view dictionary, std::string_view key)
{
    auto const* value = entryIn(properties, dictionary, key);
    auto const* several = value ? value->asArray() : nullptr;
    if (several && !several->empty())
        value = &several->front();
    return value && value->isNumber() ? std::optional(value->number()) : std::nullopt;
}

} // namespace velk::codec

#include "properties/Query.h"

#include "base/Reporting.h"
#include "base/StandardOutput.h"
#include "platform/color/ProfileText.h"
#include "platform/desktop/PropertyListXml.h"
#include "properties/ImageProperties.h"
#include "properties/ProfileProperties.h"
#include "properties/PropertyKeys.h"

#include <algorithm>
#include <optional>

namespace velk {

namespace {

// A kind of file that can be asked for properties.
struct QueriedKind {
    std::optional<PropertyDictionary> (*properties)(std::string const& path);
    std::span<std::string_view const> (*keyOrder)();
};

// In the order in which a file is tried.
constexpr QueriedKind kQueriedKinds[] = {
    {imageProperties, imageKeyOrder},
    {profileProperties, profileKeyOrder},
};

bool contains(std::span<std::string const> keys, std::string_view key)
{
    return std::ranges::find(keys, key) != keys.end();
}

void printXml(PropertyDictionary const& properties)
{
    writeOutputUnbuffered(asBytes(desktop::propertyListXml(properties)));
}

void printAll(PropertyDictionary const& properties, std::span<std::string_view const> order, bool oneLine)
{
    for (auto const key : order) {
        if (auto const* value = find(properties, key))
            printProperty(key, value, oneLine);
    }
}

void printNamed(PropertyDictionary const& properties, std::span<std::string const> keys, bool oneLine)
{
    for (auto const& key : keys)
        printProperty(key, find(properties, key), oneLine);
}

// A profile shows as its description, everything else, a profile without one included, as its length.
std::string dataText(Bytes const& data)
{
    if (auto description = color::profileDescription(data); description && !description->empty())
        return *std::move(description);
    return fmt::format("{} bytes", data.size());
}

std::string valueText(PropertyValue const& value)
{
    if (auto const* text = value.asString())
        return *text;
    if (value.isFloatingPoint())
        return fmt::format("{:.3f}", static_cast<float>(value.number()));
    if (auto const* integer = value.asInteger())
        return fmt::format("{}", *integer);
    if (auto const data = value.asData())
        return dataText(*data);
    if (auto const* boolean = value.asBoolean())
        return *boolean ? "yes" : "no";
    return "???";
}

} // namespace

bool asksForXml(std::span<std::string const> keys)
{
    return contains(keys, kAllXmlKey);
}

void query(std::string const& path, std::span<std::string const> keys, bool oneLine)
{
    for (auto const& kind : kQueriedKinds) {
        auto const properties = kind.properties(path);
        if (!properties)
            continue;
        if (asksForXml(keys))
            printXml(*properties);
        else if (contains(keys, kAllKey))
            printAll(*properties, kind.keyOrder(), oneLine);
        else
            printNamed(*properties, keys, oneLine);
        return;
    }
    warnWhyNotAnImage(path);
    warnWhyNotAProfile(path);
    reportError("Error querying file\n");
}

void printProperty(std::string_view key, PropertyValue const* value, bool oneLine)
{
    printOutput("  {}: {}{}", key, value ? valueText(*value) : "<nil>", outputSeparator(oneLine));
}

} // namespace velk

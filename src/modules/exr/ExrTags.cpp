#include "modules/exr/ExrTags.h"

#include "platform/codec/DescriptiveTags.h"
#include "platform/codec/PropertyKeys.h"

#include <ImfFloatAttribute.h>
#include <ImfStringAttribute.h>

#include <cmath>

namespace velk::codec::exr {

namespace {

struct Tag {
    char const* attribute;
    std::string_view dictionary, key;
};

constexpr Tag kTexts[] = {
    {"owner", key::kTiff, "Copyright"},
    {"comments", key::kTiff, "ImageDescription"},
    {"capDate", key::kTiff, "DateTime"}, // of the same form
    {"cameraMake", key::kTiff, "Make"},
    {"cameraModel", key::kTiff, "Model"},
    {"Artist", key::kTiff, "Artist"},
    {"Software", key::kTiff, "Software"},
};
constexpr Tag kNumbers[] = {
    {"expTime", key::kExif, "ExposureTime"},
    {"aperture", key::kExif, "FNumber"},
    {"isoSpeed", key::kExif, "ISOSpeedRatings"},
};

void setOrErase(Imf::Header& header, char const* name, Imf::Attribute const* attribute)
{
    // An attribute of that name and another type stands in the way.
    header.erase(name);
    if (attribute)
        header.insert(name, *attribute);
}

} // namespace

void readTags(Imf::Header const& header, Metadata& metadata)
{
    DescriptiveTags tags;
    for (auto const& [attribute, dictionary, key] : kTexts) {
        if (auto const* text = header.findTypedAttribute<Imf::StringAttribute>(attribute))
            tags.add(dictionary, key, text->value());
    }
    for (auto const& [attribute, dictionary, key] : kNumbers) {
        auto const* number = header.findTypedAttribute<Imf::FloatAttribute>(attribute);
        if (number && std::isfinite(number->value()) && number->value() > 0)
            tags.add(dictionary, key, static_cast<double>(number->value()));
    }
    tags.addTo(metadata);
}

void writeTags(Imf::Header& header, PropertyDictionary const& properties)
{
    for (auto const& [attribute, dictionary, key] : kTexts) {
        Imf::StringAttribute const text(textIn(properties, dictionary, key));
        setOrErase(header, attribute, text.value().empty() ? nullptr : &text);
    }
    for (auto const& [attribute, dictionary, key] : kNumbers) {
        auto const number = numberIn(properties, dictionary, key);
        Imf::FloatAttribute const value(static_cast<float>(number.value_or(0)));
        setOrErase(header, attribute, number ? &value : nullptr);
    }
}

} // namespace velk::codec::exr

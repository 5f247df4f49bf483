#include "modules/exr/ExrTags.h"

#include "platform/codec/DescriptiveTags.h"
#include "platform/codec/PropertyKeys.h"

#include <ImfFloatAttribute.h>
#include <ImfStringAttribute.h>

#include <algorithm>
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

bool isTag(std::string_view attribute)
{
    auto const isNamed = [&](Tag const& tag) { return tag.attribute == attribute; };
    return std::ranges::any_of(kTexts, isNamed) || std::ranges::any_of(kNumbers, isNamed);
}

void writeTags(Imf::Header& header, PropertyDictionary const& properties)
{
    for (auto const& [attribute, dictionary, key] : kTexts) {
        Imf::StringAttribute const text(textIn(properties, dictionary, key));
        if (!text.value().empty())
            header.insert(attribute, text);
    }
    for (auto const& [attribute, dictionary, key] : kNumbers) {
        if (auto const number = numberIn(properties, dictionary, key))
            header.insert(attribute, Imf::FloatAttribute(static_cast<float>(*number)));
    }
}

} // namespace velk::codec::exr

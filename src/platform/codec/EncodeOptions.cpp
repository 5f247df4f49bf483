#include "platform/codec/EncodeOptions.h"

#include "platform/codec/PropertyKeys.h"

namespace velk::codec {

namespace {

bool isTrue(PropertyDictionary const& properties, std::string_view key)
{
    auto const* value = find(properties, key);
    return value && value->asBoolean() && *value->asBoolean();
}

std::optional<int> integerIn(PropertyDictionary const& properties, std::string_view key)
{
    auto const* value = find(properties, key);
    if (!value || !value->asInteger())
        return std::nullopt;
    return static_cast<int>(*value->asInteger());
}

} // namespace

EncodeOptions EncodeOptions::from(PropertyDictionary const& properties)
{
    EncodeOptions options;
    if (auto const* quality = find(properties, key::kLossyCompressionQuality); quality && quality->isNumber())
        options.quality = static_cast<float>(quality->number());
    options.noChromaSubsampling = integerIn(properties, key::kChromaSubsamplingX) == 1
        && integerIn(properties, key::kChromaSubsamplingY) == 1;
    options.optimizeColorForSharing = isTrue(properties, key::kOptimizeColorForSharing);
    options.maximumPixelSize = integerIn(properties, key::kMaximumPixelSize).value_or(0);
    options.excludeProfile = isTrue(properties, key::kExcludeProfile);
    if (auto const* tiff = findDictionary(properties, key::kTiff))
        options.tiffCompression = integerIn(*tiff, "Compression");
    return options;
}

} // namespace velk::codec

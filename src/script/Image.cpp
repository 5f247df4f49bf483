#include "script/Image.h"

#include "base/Files.h"
#include "platform/codec/Codec.h"

#include <algorithm>
#include <cmath>

namespace velk {

namespace {

constexpr char kTypeKey[] = "uti";
// Keys in a path: enough for any file, few enough for the dictionaries to be walked by recursion.
constexpr std::size_t kMaximumDepth = 64;

bool isLetterOrDigit(char character)
{
    auto const byte = static_cast<unsigned char>(character);
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z')
        || byte >= 0x80;
}

// "{TIFF}" as "TIFF".
std::string trimmedKey(std::string_view key)
{
    auto const first = std::ranges::find_if(key, isLetterOrDigit);
    auto end = key.end();
    while (end != first && !isLetterOrDigit(*(end - 1)))
        --end;
    return {first, end};
}

} // namespace

std::string Image::description() const
{
    return "[Image " + name() + "]";
}

std::string Image::name() const
{
    return std::string(lastPathComponent(m_URL));
}

codec::ImageSource const* Image::ensureImage() const
{
    if (!m_source && !m_URL.empty()) {
        if (auto source = codec::openImage(m_URL))
            m_source = std::move(*source);
    }
    return m_source.get();
}

PropertyDictionary const* Image::ensureProperties() const
{
    if (m_properties)
        return &*m_properties;
    auto const* source = ensureImage();
    if (!source)
        return nullptr;
    auto& properties = m_properties.emplace();
    for (auto const& [key, value] : source->properties())
        set(properties, trimmedKey(key), value);
    set(properties, kTypeKey, source->type().identifier);
    return &properties;
}

std::optional<graphics::Image> Image::imageRef() const
{
    auto const* source = ensureImage();
    return source ? std::optional(source->image()) : std::nullopt;
}

// The pixels stay in the file, which is held open.
std::optional<Snapshot> Image::snapshot() const
{
    auto image = imageRef();
    return image ? std::optional(Snapshot {.image = *std::move(image), .memory = 0}) : std::nullopt;
}

SizeValue Image::size() const
{
    auto const* source = ensureImage();
    if (!source)
        return {};
    auto const pixels = source->description().info.layout.size;
    return {static_cast<double>(pixels.width), static_cast<double>(pixels.height)};
}

double Image::aspectRatio() const
{
    auto const [width, height] = size();
    return height > 0 ? width / height : 0;
}

SizeValue Image::scaledSizeWithLongestEdge(double edge) const
{
    auto const ratio = aspectRatio();
    if (ratio > 1)
        return {edge, std::round(edge / ratio)};
    return {std::round(ratio * edge), edge};
}

SizeValue Image::sizeToFitLongestEdge(double edge) const
{
    auto const scaled = scaledSizeWithLongestEdge(edge);
    auto const own = size();
    return scaled.width > own.width && scaled.height > own.height ? own : scaled;
}

std::optional<PropertyDictionary> Image::properties() const
{
    auto const* fromFile = ensureProperties();
    if (!fromFile && m_modifiedProperties.empty())
        return std::nullopt;
    auto joined = m_modifiedProperties;
    if (fromFile)
        joined.insert(fromFile->begin(), fromFile->end());
    return joined;
}

std::vector<std::string_view> Image::keysInPath(std::string_view keyPath)
{
    std::vector<std::string_view> keys;
    for (;;) {
        auto const dot = keyPath.find('.');
        keys.push_back(keyPath.substr(0, dot));
        if (dot == keyPath.npos)
            return keys;
        keyPath.remove_prefix(dot + 1);
    }
}

PropertyValue const* Image::objectForKeyPath(std::string_view keyPath, PropertyDictionary const& dictionary)
{
    auto const keys = keysInPath(keyPath);
    auto const* step = &dictionary;
    for (auto const key : std::span(keys).first(keys.size() - 1)) {
        step = findDictionary(*step, key);
        if (!step)
            return nullptr;
    }
    return find(*step, keys.back());
}

std::optional<PropertyValue> Image::getProperty(std::string const& keyPath) const
{
    auto const* value = objectForKeyPath(keyPath, m_modifiedProperties);
    if (!value) {
        auto const* fromFile = ensureProperties();
        value = fromFile ? objectForKeyPath(keyPath, *fromFile) : nullptr;
    }
    return value ? std::optional(*value) : std::nullopt;
}

void Image::setProperty(std::string const& keyPath, PropertyValue value)
{
    auto const keys = keysInPath(keyPath);
    if (keys.size() > kMaximumDepth)
        return;
    auto* step = &m_modifiedProperties;
    for (auto const key : std::span(keys).first(keys.size() - 1))
        step = &subDictionary(*step, key);
    set(*step, keys.back(), std::move(value));
}

bool Image::hasModfiedKeyPath(std::string_view keyPath) const
{
    return objectForKeyPath(keyPath, m_modifiedProperties) != nullptr;
}

js::Value Image::propertiesForScript() const
{
    auto properties = this->properties();
    return properties ? js::Value(PropertyValue(*std::move(properties))) : js::Value();
}

js::Value Image::getPropertyForScript(std::string const& keyPath) const
{
    auto value = getProperty(keyPath);
    return value ? js::Value(*std::move(value)) : js::Value();
}

void Image::setPropertyFromScript(std::string const& keyPath, js::Value const& value)
{
    if (auto property = value.toProperty())
        setProperty(keyPath, *std::move(property));
}

} // namespace velk

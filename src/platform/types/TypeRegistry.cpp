#include "platform/types/TypeRegistry.h"

#include "platform/types/FileTypes.h"

#include <algorithm>

namespace velk::types {

namespace {

constexpr std::string_view kDynamicPrefix = "dyn.";
constexpr std::string_view kImage = "public.image";

std::string lowerCase(std::string_view text)
{
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return result;
}

} // namespace

std::string identifierForExtension(std::string_view extension)
{
    if (extension.empty())
        return {};
    if (auto const* type = fileTypeWithExtension(extension))
        return std::string(type->identifier);
    return std::string(kDynamicPrefix) + lowerCase(extension);
}

std::string preferredExtension(std::string_view identifier)
{
    if (auto const* type = fileTypeWithIdentifier(identifier))
        return std::string(type->keyword());
    return std::string(identifier.starts_with(kDynamicPrefix) ? identifier.substr(kDynamicPrefix.size())
                                                              : std::string_view());
}

bool conformsToImage(std::string_view identifier)
{
    auto const* type = fileTypeWithIdentifier(identifier);
    return identifier == kImage || (type && type->mimeType.starts_with("image/"));
}

} // namespace velk::types

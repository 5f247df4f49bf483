#pragma once

#include <string>
#include <string_view>

namespace velk::types {

/// The type identifier that goes with a filename extension (without the dot, case ignored): that of a known
/// image type, else a made-up one that is always the same for the extension. Empty for an empty extension.
std::string identifierForExtension(std::string_view extension);

/// The extension that files of a type should have; empty when there is none. Made-up identifiers give theirs
/// back.
std::string preferredExtension(std::string_view identifier);

/// Whether files of the type are images: the known types but those of documents, and public.image itself.
bool conformsToImage(std::string_view identifier);

} // namespace velk::types

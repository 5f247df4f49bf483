#pragma once

#include <span>
#include <string_view>

namespace velk::types {

/// One kind of image file.
struct FileType {
    /// Uniform type identifier, such as "public.jpeg".
    std::string_view identifier;
    /// Media type, as file managers name it.
    std::string_view mimeType;
    /// Filename extensions without the dot; the first is the preferred one, velk's keyword for the format.
    std::span<std::string_view const> extensions;

    std::string_view keyword() const { return extensions.empty() ? std::string_view() : extensions.front(); }
};

/// All known image file types.
std::span<FileType const> fileTypes();
/// The type with exactly this identifier, or null.
FileType const* fileTypeWithIdentifier(std::string_view identifier);
/// The type that has this extension, ignoring case, or null.
FileType const* fileTypeWithExtension(std::string_view extension);
/// Whether `type` has `extension`, ignoring case.
bool hasExtension(FileType const& type, std::string_view extension);

} // namespace velk::types

#pragma once

#include "base/Bytes.h"
#include "platform/desktop/Locale.h"

#include <optional>
#include <span>
#include <string>

namespace velk::color {

class IccProfile;

/// The text of a tag element of type `mluc`, `desc` or `text` in UTF-8; of a `mluc` the record that suits the
/// current locale: by language and country, else by language alone, else English, else the first. Nothing
/// when the element holds none; only a `mluc` record can be an empty text.
std::optional<std::string> elementText(ByteSpan element);

/// The profile's localized description: from `dscm`, else from `desc`. Nothing when the bytes are no profile
/// or it has no description. The bytes may be broken off.
std::optional<std::string> profileDescription(ByteSpan profile);
std::optional<std::string> profileDescription(IccProfile const& profile);

struct LocalizedText {
    desktop::Locale locale;
    std::string text; ///< UTF-8
};

/// A multiLocalizedUnicodeType element (ICC.1:2022, 10.15) with a record for each text.
Bytes localizedElement(std::span<LocalizedText const> texts);

} // namespace velk::color

#pragma once

#include "base/Bytes.h"
#include "platform/graphics/PixelFormat.h"

#include <optional>
#include <string>

namespace velk::color {

/// The model of the profile's data colour space (ICC.1:2022, 7.2.8); nothing when the bytes are no ICC
/// profile, or one of a space that images here do not have.
std::optional<graphics::ColorModel> profileColorModel(ByteSpan profile);

/// The profile's localized description in UTF-8: from `dscm`, else from `desc`, in the language of the locale
/// environment (LC_ALL, LC_MESSAGES, LANG), else by language alone, else English, else the first record.
/// Nothing when the bytes are no profile or it has no description.
std::optional<std::string> profileDescription(ByteSpan profile);

} // namespace velk::color

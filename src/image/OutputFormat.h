#pragma once

#include "image/ImageEditState.h"

#include <string>

namespace velk {

/// The `format` key: a format keyword, or else a type identifier, becomes the output type.
void selectOutputFormat(ImageEditState& state, std::string const& value);

/// The `formatOptions` key: sets or removes a compression, a quality or the chroma subsampling; a value that
/// says none of these is warned about.
void selectFormatOptions(ImageEditState& state, std::string const& value);

} // namespace velk

#pragma once

#include "platform/codec/ImageSource.h"

namespace velk::codec::pdf {

constexpr std::string_view kType = "com.adobe.pdf";
constexpr std::string_view kDictionary = "{PDF}";

/// Opens a PDF file, of which the first page's crop box is the image: turned as the page says, on white
/// paper.
Result<std::shared_ptr<ImageSource>> open(InputFile file);

} // namespace velk::codec::pdf

#pragma once

#include "profile/LutChannels.h"
#include "profile/TagPass.h"

#include <string>

namespace velk {

/// What a check of an element's content may ask about the profile around it.
struct ContentCheck {
    color::ProfileHeader const& header;
    std::string const& path;
    /// Where the tag's tables lead, if it is a tag of tables.
    LutDirection direction;
};

/// textDescriptionType (ICC.1:2001-04, 6.5.17).
TagFindings checkDescription(ByteSpan element, ContentCheck const& check);
/// textType (ICC.1:2022, 10.24).
TagFindings checkText(ByteSpan element, ContentCheck const& check);
/// multiLocalizedUnicodeType (ICC.1:2022, 10.15).
TagFindings checkLocalizedText(ByteSpan element, ContentCheck const& check);
/// parametricCurveType (ICC.1:2022, 10.18).
TagFindings checkParametricCurve(ByteSpan element, ContentCheck const& check);
/// lut8Type and lut16Type (ICC.1:2022, 10.10 and 10.11).
TagFindings checkLut(ByteSpan element, ContentCheck const& check);
/// lutAToBType and lutBToAType (ICC.1:2022, 10.12 and 10.13).
TagFindings checkMultiProcessLut(ByteSpan element, ContentCheck const& check);

} // namespace velk

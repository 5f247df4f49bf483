#include "profile/TagContents.h"

#include <algorithm>

namespace velk {

TagFindings checkText(ByteSpan element, ContentCheck const&)
{
    constexpr std::size_t kTextOffset = 8;
    TagFindings findings;
    Bytes text(element.begin(), element.end());
    if (text.back() != 0) {
        findings.problems.push_back({"Text tag has an incorrect length. ", true});
        text.push_back(0);
    }
    // 7-bit ASCII is all that the type allows.
    auto const isForeign = [](std::uint8_t character) { return character >= 0x80; };
    auto const characters = std::span(text).subspan(std::min(kTextOffset, text.size()));
    if (std::ranges::any_of(characters, isForeign)) {
        findings.problems.push_back({"Text contains invalid characters. ", true});
        std::ranges::replace_if(characters, isForeign, std::uint8_t {'?'});
    }
    findings.isFix = !findings.problems.empty();
    if (findings.isFix)
        findings.replacement = std::move(text);
    return findings;
}

} // namespace velk

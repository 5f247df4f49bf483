#include "profile/ElementEditor.h"
#include "profile/ParametricCurve.h"
#include "profile/TagContents.h"

namespace velk {

TagFindings checkParametricCurve(ByteSpan bytes, ContentCheck const&)
{
    constexpr std::uint64_t kFunctionOffset = 8;
    constexpr std::uint64_t kReservedOffset = 10;
    constexpr std::uint64_t kParameterOffset = 12;
    ElementEditor element(bytes);
    auto const size = parametricCurveSize(element.half(kFunctionOffset));

    TagFindings findings;
    if (element.size() < size.value_or(kParameterOffset))
        findings.problems.push_back({"Data overruns tag length. ", false});
    if (!size)
        findings.problems.push_back({"Parametric curve type is not correct. ", false});
    if (element.half(kReservedOffset) != 0) {
        // Only a curve that is right otherwise is stored, but the field is zero in what would be.
        findings.isFix = findings.problems.empty();
        findings.problems.push_back({"Parametric curve reserved field is not zero. ", true});
        element.setHalf(kReservedOffset, 0);
    }
    if (findings.isFix)
        findings.replacement = element.take();
    return findings;
}

} // namespace velk

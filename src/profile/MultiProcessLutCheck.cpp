#include "profile/ElementEditor.h"
#include "profile/ParametricCurve.h"
#include "profile/TagContents.h"

#include <algorithm>
#include <iterator>

namespace velk {

namespace {

// lutAToBType and lutBToAType:
//
//     8 inputs   9 outputs   10 reserved   12 B curves   16 matrix   20 M curves   24 CLUT   28 A curves
//
// The last five are offsets from the start of the element, 0 where the part is absent.
constexpr std::uint64_t kInputsOffset = 8;
constexpr std::uint64_t kOutputsOffset = 9;
constexpr std::uint64_t kReservedOffset = 10;
constexpr std::uint64_t kHeaderSize = 32;

enum LutProblem : std::uint32_t {
    kReserved = 1u << 0,
    kInputs = 1u << 1,
    kOutputs = 1u << 2,
    kGridPoints = 1u << 3,
    kDataOverrun = 1u << 4,
    kNoMCurves = 1u << 5,
    kNoMatrix = 1u << 6,
    kNoBCurves = 1u << 7,
    kCurveOverrun = 1u << 8,
    kCurveReserved = 1u << 9,
    kCurveType = 1u << 10,
    kFunctionType = 1u << 11,
    kFunctionReserved = 1u << 12,
    kEntrySize = 1u << 13,
};

constexpr std::uint32_t kFixable = kReserved | kCurveReserved | kFunctionReserved;

constexpr struct {
    LutProblem problem;
    char const* message;
} kMessages[] = {
    {kReserved, "Reserved field not zero. "},
    {kInputs, "Number of input channels is not correct. "},
    {kOutputs, "Number of output channels is not correct. "},
    {kGridPoints, "Gridpoints value is not correct. "},
    {kDataOverrun, "Data overruns tag length. "},
    {kNoMCurves, "'M' curves are missing. "},
    {kNoMatrix, "Matrix is missing. "},
    {kNoBCurves, "'B' curves are missing. "},
    {kCurveOverrun, "Curve data overruns tag length. "},
    {kCurveReserved, "Curve reserved field is not zero. "},
    {kCurveType, "Curve type is not correct. "},
    {kFunctionType, "Parametric curve type is not correct. "},
    {kFunctionReserved, "Parametric curve reserved field is not zero. "},
    {kEntrySize, "Table entry size is not valid. "},
};

struct LutParts {
    explicit LutParts(ElementEditor const& element)
        : inputs(element.byte(kInputsOffset))
        , outputs(element.byte(kOutputsOffset))
        , bCurves(element.word(12))
        , matrix(element.word(16))
        , mCurves(element.word(20))
        , clut(element.word(24))
        , aCurves(element.word(28))
    {
        // The A curves stand on the device side, which is the input of A to B and the output of B to A.
        bool const readsDevice = element.signature(0) == FourCC("mAB ");
        deviceChannels = readsDevice ? inputs : outputs;
        pcsChannels = readsDevice ? outputs : inputs;
    }

    std::uint32_t inputs, outputs;
    std::uint64_t bCurves, matrix, mCurves, clut, aCurves;
    std::uint32_t deviceChannels, pcsChannels;
};

struct LutCheck {
    ElementEditor element;
    LutParts parts {element};
    std::uint32_t problems = 0;

    // Notes the problem if the `length` bytes at `offset` are not all zero, and zeroes them.
    void requireZero(std::uint64_t offset, std::uint64_t length, LutProblem problem)
    {
        for (auto at = offset; at < offset + length; ++at) {
            if (element.byte(at) == 0)
                continue;
            problems |= problem;
            element.setByte(at, 0);
        }
    }
};

void checkChannels(LutCheck& check, ContentCheck const& content)
{
    auto const spaces = lutSpaces(content.direction, content.header);
    if (!hasChannels(spaces.input, check.parts.inputs))
        check.problems |= kInputs;
    if (!hasChannels(spaces.output, check.parts.outputs))
        check.problems |= kOutputs;
}

void checkPresence(LutCheck& check)
{
    auto const& parts = check.parts;
    if (parts.mCurves != 0 && parts.matrix == 0)
        check.problems |= kNoMatrix;
    if (parts.matrix != 0 && parts.mCurves == 0)
        check.problems |= kNoMCurves;
    if (parts.bCurves == 0)
        check.problems |= kNoBCurves;
}

constexpr std::uint64_t kCurveHeadSize = 12;

// Bytes of a sampled curve in a set, where the next one starts on a multiple of four.
std::uint64_t sampledCurveSize(LutCheck& check, std::uint64_t offset)
{
    return (kCurveHeadSize + std::uint64_t {2} * check.element.word(offset + 8) + 3) / 4 * 4;
}

std::uint64_t functionCurveSize(LutCheck& check, std::uint64_t offset)
{
    check.requireZero(offset + 10, 2, kFunctionReserved);
    auto const size = parametricCurveSize(check.element.half(offset + 8));
    if (!size)
        check.problems |= kFunctionType;
    return size.value_or(kCurveHeadSize);
}

constexpr struct {
    FourCC type;
    std::uint64_t (*size)(LutCheck& check, std::uint64_t offset);
} kCurveTypes[] = {{FourCC("curv"), sampledCurveSize}, {FourCC("para"), functionCurveSize}};

// Returns where the next curve starts; 0 when the set ends here.
std::uint64_t checkCurve(LutCheck& check, std::uint64_t offset)
{
    if (!check.element.contains(offset, kCurveHeadSize)) {
        check.problems |= kCurveOverrun;
        return 0;
    }
    auto const type = check.element.signature(offset);
    auto const* const found = std::ranges::find(kCurveTypes, type, [](auto const& row) { return row.type; });
    if (found == std::end(kCurveTypes)) {
        check.problems |= kCurveType;
        return 0;
    }
    check.requireZero(offset + 4, 4, kCurveReserved);
    auto const next = offset + found->size(check, offset);
    if (next > check.element.size())
        check.problems |= kCurveOverrun;
    return next;
}

void checkCurves(LutCheck& check, std::uint64_t offset, std::uint32_t count)
{
    for (std::uint32_t i = 0; i < count && offset != 0; ++i)
        offset = checkCurve(check, offset);
}

void checkMatrix(LutCheck& check)
{
    constexpr std::uint64_t kMatrixSize = 48;
    if (check.parts.matrix != 0 && !check.element.contains(check.parts.matrix, kMatrixSize))
        check.problems |= kDataOverrun;
}

// Sixteen numbers of grid points, bytes per entry, three reserved bytes, entries.
constexpr std::uint64_t kDimensions = 16;
constexpr std::uint64_t kClutHeadSize = 20;

void checkGridPoints(LutCheck& check)
{
    auto const used = std::min<std::uint64_t>(check.parts.inputs, kDimensions);
    for (std::uint64_t i = 0; i < used; ++i) {
        if (check.element.byte(check.parts.clut + i) == 0)
            check.problems |= kGridPoints;
    }
    check.requireZero(check.parts.clut + used, kDimensions - used, kReserved);
}

bool clutFits(LutCheck const& check)
{
    auto const& [element, parts, problems] = check;
    auto const room = element.size() - parts.clut - kClutHeadSize;
    auto const used = std::min<std::uint64_t>(parts.inputs, kDimensions);
    // A zero makes the table empty however large the product is before it.
    std::uint64_t size = std::uint64_t {element.byte(parts.clut + kDimensions)} * parts.outputs;
    for (std::uint64_t i = 0; i < used; ++i)
        size = std::min<std::uint64_t>(size, UINT32_MAX) * element.byte(parts.clut + i);
    return size <= room;
}

void checkClut(LutCheck& check)
{
    auto const clut = check.parts.clut;
    if (clut == 0)
        return;
    if (!check.element.contains(clut, kClutHeadSize)) {
        check.problems |= kDataOverrun;
        return;
    }
    checkGridPoints(check);
    auto const entrySize = check.element.byte(clut + kDimensions);
    if (entrySize != 1 && entrySize != 2)
        check.problems |= kEntrySize;
    check.requireZero(clut + kDimensions + 1, 3, kReserved);
    if (!clutFits(check))
        check.problems |= kDataOverrun;
}

TagFindings findingsOf(LutCheck& check)
{
    TagFindings findings;
    findings.isFix = check.problems != 0 && (check.problems & ~kFixable) == 0;
    for (auto const& [problem, message] : kMessages) {
        // Repaired curves are stored too, but only the reserved bytes of the head are spoken of as fixed.
        if ((check.problems & problem) != 0)
            findings.problems.push_back({message, findings.isFix && problem == kReserved});
    }
    if (findings.isFix)
        findings.replacement = check.element.take();
    return findings;
}

} // namespace

TagFindings checkMultiProcessLut(ByteSpan bytes, ContentCheck const& content)
{
    LutCheck check {ElementEditor(bytes)};
    if (bytes.size() < kHeaderSize)
        check.problems |= kDataOverrun;
    checkChannels(check, content);
    check.requireZero(kReservedOffset, 2, kReserved);
    checkPresence(check);
    checkCurves(check, check.parts.bCurves, check.parts.pcsChannels);
    checkCurves(check, check.parts.mCurves, check.parts.pcsChannels);
    checkCurves(check, check.parts.aCurves, check.parts.deviceChannels);
    checkMatrix(check);
    checkClut(check);
    return findingsOf(check);
}

} // namespace velk

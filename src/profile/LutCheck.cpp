#include "profile/ElementEditor.h"
#include "profile/TagContents.h"

#include <algorithm>
#include <optional>

namespace velk {

namespace {

// lut8Type and lut16Type:
//
//     8 inputs   9 outputs   10 grid points   11 reserved   12 matrix   48 lut16: two table lengths
//     then input tables, grid, output tables
constexpr std::uint64_t kInputsOffset = 8;
constexpr std::uint64_t kOutputsOffset = 9;
constexpr std::uint64_t kGridOffset = 10;
constexpr std::uint64_t kReservedOffset = 11;
constexpr std::uint64_t kMatrixOffset = 12;
constexpr std::uint64_t kTablesOffset = 48;

constexpr std::uint32_t kLargestGrid = 255;

struct LutLayout {
    std::uint64_t inputs, outputs;
    std::uint64_t entrySize;
    /// Header, input tables and output tables: all but the grid.
    std::uint64_t frameSize;
};

LutLayout layoutOf(ElementEditor const& element)
{
    constexpr std::uint64_t kEntriesOfLut8 = 256;
    LutLayout layout {element.byte(kInputsOffset), element.byte(kOutputsOffset), 1, kTablesOffset};
    auto inputEntries = kEntriesOfLut8;
    auto outputEntries = kEntriesOfLut8;
    if (element.signature(0) == FourCC("mft2")) {
        layout.entrySize = 2;
        layout.frameSize += 4;
        inputEntries = element.half(kTablesOffset);
        outputEntries = element.half(kTablesOffset + 2);
    }
    layout.frameSize += (layout.inputs * inputEntries + layout.outputs * outputEntries) * layout.entrySize;
    return layout;
}

// Size of an element with `gridPoints` in each direction; nothing when it is above `limit`.
std::optional<std::uint64_t> sizeWithGrid(
    LutLayout const& layout, std::uint64_t gridPoints, std::uint64_t limit)
{
    // Every factor is below 2^9 and the product is left when it exceeds 2^32, so nothing overflows.
    auto grid = layout.outputs * layout.entrySize;
    for (std::uint64_t i = 0; i < layout.inputs && grid <= limit; ++i)
        grid *= gridPoints;
    auto const size = layout.frameSize + grid;
    return size <= limit ? std::optional(size) : std::nullopt;
}

// The grid that fills an element of this length exactly.
std::optional<std::uint8_t> gridForLength(LutLayout const& layout, std::uint64_t length)
{
    if (layout.inputs == 0 || layout.outputs == 0)
        return std::nullopt;
    for (std::uint32_t gridPoints = 1; gridPoints <= kLargestGrid; ++gridPoints) {
        auto const size = sizeWithGrid(layout, gridPoints, length);
        if (!size)
            return std::nullopt;
        if (size == length)
            return static_cast<std::uint8_t>(gridPoints);
    }
    return std::nullopt;
}

struct LutFindings {
    bool hasReserved = false;
    bool hasWrongInputs = false;
    bool hasWrongOutputs = false;
    bool hasMatrix = false;
    bool hasWrongGrid = false;
    bool overruns = false;

    bool areFixable() const { return !hasWrongInputs && !hasWrongOutputs && !overruns; }
};

void checkReserved(ElementEditor& element, LutFindings& findings)
{
    findings.hasReserved = element.byte(kReservedOffset) != 0;
    if (findings.hasReserved)
        element.setByte(kReservedOffset, 0);
}

void checkChannels(ElementEditor const& element, ContentCheck const& check, LutFindings& findings)
{
    auto const spaces = lutSpaces(check.direction, check.header);
    findings.hasWrongInputs = !hasChannels(spaces.input, element.byte(kInputsOffset));
    findings.hasWrongOutputs = !hasChannels(spaces.output, element.byte(kOutputsOffset));
}

// The matrix is there for XYZ input only (ICC.1:2022, 10.10).
bool mustBeIdentity(ContentCheck const& check)
{
    bool const readsDevice = check.direction == LutDirection::ToPcs;
    return (check.header.pcs == FourCC("Lab ") || readsDevice) && check.header.space != FourCC("XYZ ");
}

void checkMatrix(ElementEditor& element, ContentCheck const& check, LutFindings& findings)
{
    constexpr std::uint32_t kOne = 0x10000;
    if (!mustBeIdentity(check) || !element.contains(kMatrixOffset, kTablesOffset - kMatrixOffset))
        return;
    for (std::uint64_t i = 0; i < 9; ++i) {
        auto const wanted = i % 4 == 0 ? kOne : 0;
        if (element.word(kMatrixOffset + 4 * i) == wanted)
            continue;
        findings.hasMatrix = true;
        element.setWord(kMatrixOffset + 4 * i, wanted);
    }
}

// Longer elements are padded, unless another number of grid points explains their length.
void checkSize(ElementEditor& element, LutFindings& findings)
{
    auto const layout = layoutOf(element);
    auto const size = sizeWithGrid(layout, element.byte(kGridOffset), element.size());
    if (size == element.size())
        return;
    if (auto const gridPoints = gridForLength(layout, element.size())) {
        findings.hasWrongGrid = true;
        element.setByte(kGridOffset, *gridPoints);
    } else {
        findings.overruns = !size;
    }
}

} // namespace

TagFindings checkLut(ByteSpan bytes, ContentCheck const& check)
{
    ElementEditor element(bytes);
    LutFindings lut;
    checkReserved(element, lut);
    checkChannels(element, check, lut);
    checkMatrix(element, check, lut);
    checkSize(element, lut);

    TagFindings findings;
    bool const areFixable = lut.areFixable();
    auto const add = [&](bool isWrong, bool isFixable, char const* message) {
        if (isWrong)
            findings.problems.push_back({message, isFixable && areFixable});
    };
    add(lut.hasReserved, true, "Reserved field not zero. ");
    add(lut.hasWrongInputs, false, "Number of input channels is not correct. ");
    add(lut.hasWrongOutputs, false, "Number of output channels is not correct. ");
    add(lut.hasMatrix, true, "Matrix should be linear. ");
    add(lut.hasWrongGrid, true, "Gridpoints value is not correct. ");
    add(lut.overruns, false, "Data overruns tag length. ");
    findings.isFix = areFixable && element.isEdited();
    if (findings.isFix)
        findings.replacement = element.take();
    return findings;
}

} // namespace velk

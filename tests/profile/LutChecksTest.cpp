#include "profile/CheckedProfile.h"

#include <gtest/gtest.h>

namespace velk::test {

namespace {

Bytes typed(std::string_view type, std::size_t size)
{
    Bytes element;
    append(element, type);
    element.resize(size);
    return element;
}

Bytes patched(Bytes element, std::vector<std::pair<std::size_t, std::uint8_t>> const& changes)
{
    for (auto const& [offset, value] : changes)
        element.at(offset) = value;
    return element;
}

Bytes lut(std::string_view type, std::uint8_t inputs, std::uint8_t outputs, std::uint8_t gridPoints)
{
    bool const isLut16 = type == "mft2";
    std::size_t const entry = isLut16 ? 2 : 1;
    std::size_t const tableEntries = isLut16 ? 2 : 256;
    std::size_t grid = outputs;
    for (int i = 0; i < inputs; ++i)
        grid *= gridPoints;
    auto element =
        typed(type, (isLut16 ? 52u : 48u) + (tableEntries * (std::size_t {inputs} + outputs) + grid) * entry);
    element = patched(element, {{8, inputs}, {9, outputs}, {10, gridPoints}, {13, 1}, {29, 1}, {45, 1}});
    return isLut16 ? patched(element, {{49, 2}, {51, 2}}) : element;
}

// Three to three channels; offsets of the parts:
constexpr std::size_t kBCurves = 32;
constexpr std::size_t kMatrix = kBCurves + 3 * 16;
constexpr std::size_t kMCurves = kMatrix + 48;
constexpr std::size_t kClut = kMCurves + 3 * 16;
constexpr std::size_t kACurves = kClut + 20 + 2 * 2 * 2 * 3;
constexpr std::size_t kEnd = kACurves + 3 * 12;

Bytes multiProcessLut(std::string_view type)
{
    auto element = typed(type, kEnd);
    element = patched(element,
        {{8, 3}, {9, 3}, {15, kBCurves}, {19, kMatrix}, {23, kMCurves}, {27, kClut}, {31, kACurves}});
    for (std::size_t i = 0; i < 3; ++i) {
        std::ranges::copy(asBytes("curv"), element.begin() + kBCurves + 16 * i);
        element[kBCurves + 16 * i + 11] = 1;
        std::ranges::copy(asBytes("para"), element.begin() + kMCurves + 16 * i);
        std::ranges::copy(asBytes("curv"), element.begin() + kACurves + 12 * i);
        element[kClut + i] = 2;
    }
    element[kClut + 16] = 1;
    return element;
}

struct ElementCase {
    Bytes element;
    std::vector<ReportLine> lines;
    Bytes saved;
};

// The profile holds all other tags that its class asks for.
void expectCases(ProfileBuilder builder, std::string const& tag, std::vector<ElementCase> const& cases)
{
    for (auto const& row : cases) {
        SCOPED_TRACE(row.lines.empty() ? "sound" : row.lines.front().text);
        EXPECT_EQ(expectTagReport(builder.tag(tag, row.element), tag, row.lines),
            row.saved.empty() ? row.element : row.saved);
    }
}

ProfileBuilder lutProfile(char const (&space)[5])
{
    std::uint8_t const channels = space == std::string_view("CMYK") ? 4 : 3;
    return soundTableProfile(space)
        .tag("A2B0", lut("mft1", channels, 3, 2))
        .tag("B2A0", lut("mft2", 3, channels, 2));
}

constexpr char const* kReserved = "Reserved field not zero. ";
constexpr char const* kInputs = "Number of input channels is not correct. ";
constexpr char const* kOutputs = "Number of output channels is not correct. ";
constexpr char const* kMatrixMessage = "Matrix should be linear. ";
constexpr char const* kGrid = "Gridpoints value is not correct. ";
constexpr char const* kOverrun = "Data overruns tag length. ";

} // namespace

TEST(ParametricCurveCheck, FixesOnlyTheReservedField)
{
    char const* const type = "Parametric curve type is not correct. ";
    char const* const reserved = "Parametric curve reserved field is not zero. ";
    std::vector<ElementCase> cases = {
        {patched(typed("para", 16), {{10, 1}}), {{reserved, kFixed}}, typed("para", 16)},
        {patched(typed("para", 40), {{9, 5}}), {{type, kUnfixed}}, {}},
        {typed("para", 11), {{kOverrun, kUnfixed}}, {}},
    };
    constexpr std::size_t kSizes[] = {16, 24, 28, 32, 40};
    for (std::uint8_t function = 0; function < 5; ++function) {
        cases.push_back({patched(typed("para", kSizes[function]), {{9, function}}), {}, {}});
        cases.push_back(
            {patched(typed("para", kSizes[function] - 1), {{9, function}}), {{kOverrun, kUnfixed}}, {}});
    }
    expectCases(soundProfile(), "abcd", cases);

    // Told as fixed, and yet not stored.
    auto const mixed = soundProfile().tag("abcd", patched(typed("para", 40), {{9, 5}, {11, 1}})).bytes();
    EXPECT_EQ(expectReport(mixed,
                  {{std::string("Tag 'abcd': ") + type, kUnfixed},
                      {std::string("Tag 'abcd': ") + reserved, kFixed}},
                  true),
        mixed);
}

TEST(LutCheck, FixesReservedByteMatrixAndGrid)
{
    auto const sound = lut("mft1", 3, 3, 9);
    ASSERT_EQ(sound.size(), 3771u);
    auto padded = sound;
    padded.push_back(0);
    auto cut = sound;
    cut.pop_back();
    expectCases(lutProfile("RGB "), "A2B0",
        {
            {sound, {}, {}},
            {padded, {}, {}},
            {lut("mft2", 3, 3, 255 / 8), {}, {}},
            {patched(sound, {{11, 1}}), {{kReserved, kFixed}}, sound},
            {patched(sound, {{15, 1}, {16, 1}}), {{kMatrixMessage, kFixed}}, sound},
            {patched(sound, {{10, 8}}), {{kGrid, kFixed}}, sound},
            {patched(sound, {{10, 255}}), {{kGrid, kFixed}}, sound},
            {patched(sound, {{10, 0}, {11, 1}}), {{kReserved, kFixed}, {kGrid, kFixed}}, sound},
            {cut, {{kOverrun, kUnfixed}}, {}},
            {patched(cut, {{11, 1}}), {{kReserved, kUnfixed}, {kOverrun, kUnfixed}}, {}},
            {lut("mft1", 4, 3, 2), {{kInputs, kUnfixed}}, {}},
            {lut("mft1", 3, 1, 2), {{kOutputs, kUnfixed}}, {}},
            // Without channels no grid can be told.
            {lut("mft1", 0, 0, 2), {{kInputs, kUnfixed}, {kOutputs, kUnfixed}}, {}},
            {patched(sound, {{8, 255}, {9, 255}, {10, 255}}),
                {{kInputs, kUnfixed}, {kOutputs, kUnfixed}, {kOverrun, kUnfixed}}, {}},
        });
}

TEST(LutCheck, KnowsWhereTheTablesLead)
{
    auto const bent = patched(lut("mft1", 3, 3, 2), {{13, 2}});
    struct {
        char const *tag, *space, *pcs;
        Bytes element;
        std::vector<ReportLine> lines;
    } const cases[] = {
        {"B2A1", "CMYK", "Lab ", lut("mft2", 3, 4, 2), {}},
        {"B2A1", "CMYK", "Lab ", lut("mft2", 4, 3, 2), {{kInputs, kUnfixed}, {kOutputs, kUnfixed}}},
        {"b2a9", "CMYK", "Lab ", lut("mft1", 3, 3, 2), {{kOutputs, kUnfixed}}},
        {"A2B1", "CMYK", "Lab ", lut("mft2", 4, 3, 2), {}},
        {"pre0", "CMYK", "Lab ", lut("mft1", 3, 3, 2), {}},
        {"gamt", "CMYK", "Lab ", lut("mft1", 3, 1, 2), {}},
        {"gamt", "CMYK", "Lab ", lut("mft1", 3, 3, 2), {{kOutputs, kUnfixed}}},
        {"abcd", "CMYK", "Lab ", lut("mft1", 2, 7, 2), {}},
        {"abcd", "RGB ", "XYZ ", bent, {}},
        {"B2A1", "RGB ", "XYZ ", bent, {}},
        {"B2A1", "RGB ", "Lab ", bent, {{kMatrixMessage, kFixed}}},
        {"A2B1", "RGB ", "XYZ ", bent, {{kMatrixMessage, kFixed}}},
        {"A2B1", "XYZ ", "Lab ", bent, {}},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(std::string(row.tag) + row.space + row.pcs);
        auto builder = lutProfile("RGB ");
        if (row.space == std::string_view("CMYK"))
            builder = lutProfile("CMYK");
        builder.word(16, loadBE32(asBytes(row.space).data())).word(20, loadBE32(asBytes(row.pcs).data()));
        expectTagReport(builder.tag(row.tag, row.element), row.tag, row.lines);
    }
}

TEST(MultiProcessLutCheck, ExaminesEveryPart)
{
    char const* const curveOverrun = "Curve data overruns tag length. ";
    char const* const curveReserved = "Curve reserved field is not zero. ";
    char const* const curveType = "Curve type is not correct. ";
    char const* const functionType = "Parametric curve type is not correct. ";
    char const* const functionReserved = "Parametric curve reserved field is not zero. ";
    char const* const entrySize = "Table entry size is not valid. ";
    for (std::string const type : {"mAB ", "mBA "}) {
        auto const sound = multiProcessLut(type);
        std::vector<ElementCase> const cases = {
            {sound, {}, {}},
            {patched(sound, {{11, 1}}), {{kReserved, kFixed}}, sound},
            {patched(sound, {{kClut + 19, 1}}), {{kReserved, kFixed}}, sound},
            {patched(sound, {{kClut + 3, 9}}), {{kReserved, kFixed}}, sound},
            {patched(sound, {{kClut + 2, 0}}), {{kGrid, kUnfixed}}, {}},
            {patched(sound, {{kClut, 255}}), {{kOverrun, kUnfixed}}, {}},
            {patched(sound, {{kClut, 255}, {kClut + 1, 255}, {kClut + 2, 255}, {kClut + 16, 2}}),
                {{kOverrun, kUnfixed}}, {}},
            {patched(sound, {{kClut + 16, 0}}), {{entrySize, kUnfixed}}, {}},
            {patched(sound, {{24, 255}, {25, 255}, {26, 255}, {27, 255}}), {{kOverrun, kUnfixed}}, {}},
            {patched(sound, {{27, kEnd - 19}}), {{kOverrun, kUnfixed}}, {}},
            {patched(sound, {{19, kEnd - 47}}), {{kOverrun, kUnfixed}}, {}},
            {patched(sound, {{15, 0}}), {{"'B' curves are missing. ", kUnfixed}}, {}},
            {patched(sound, {{19, 0}}), {{"Matrix is missing. ", kUnfixed}}, {}},
            {patched(sound, {{23, 0}}), {{"'M' curves are missing. ", kUnfixed}}, {}},
            {patched(sound, {{28, 255}}), {{curveOverrun, kUnfixed}}, {}},
            {patched(sound, {{31, kACurves + 12}}), {{curveOverrun, kUnfixed}}, {}},
            {patched(sound, {{kACurves + 24 + 8, 255}, {kACurves + 24 + 9, 255}}), {{curveOverrun, kUnfixed}},
                {}},
            {patched(sound, {{kBCurves + 7, 1}, {kBCurves + 16 + 4, 1}}), {{curveReserved, kUnfixed}}, sound},
            {patched(sound, {{kBCurves + 16, 'k'}}), {{curveType, kUnfixed}}, {}},
            {patched(sound, {{kMCurves + 32 + 9, 5}}), {{functionType, kUnfixed}}, {}},
            {patched(sound, {{kMCurves + 11, 5}, {11, 1}}),
                {{kReserved, kFixed}, {functionReserved, kUnfixed}}, sound},
            {patched(sound, {{kMCurves + 11, 5}, {11, 1}, {kClut + 16, 3}, {kClut, 0}}),
                {{kReserved, kUnfixed}, {kGrid, kUnfixed}, {functionReserved, kUnfixed},
                    {entrySize, kUnfixed}},
                {}},
        };
        expectCases(soundProfile(), "abcd", cases);
    }
}

TEST(MultiProcessLutCheck, KnowsItsChannels)
{
    auto const wide = patched(multiProcessLut("mAB "), {{8, 4}, {kClut + 3, 1}});
    auto const profile = matrixProfile().space("CMYK").pcs("Lab ").tag("A2B0", wide);
    CheckedProfile const checked(profile.bytes());
    EXPECT_EQ(checked.verify().find("channels"), std::string::npos);
    auto narrow = matrixProfile().pcs("Lab ").tag("A2B0", wide);
    EXPECT_NE(CheckedProfile(narrow.bytes()).verify().find(kInputs), std::string::npos);
}

} // namespace velk::test

#include "profile/ElementEditor.h"
#include "profile/ProfileCheckStages.h"
#include "profile/TagPass.h"

#include <algorithm>

namespace velk {

namespace {

constexpr std::uint64_t kTypeHeaderSize = 8; ///< type signature and reserved bytes of every element

struct TagTypes {
    FourCC tag;
    FourCC version2;
    /// Allowed in version 4 as well; 0 when there is none.
    FourCC version4 = {};
};

constexpr TagTypes kTagTypes[] = {
    {FourCC("A2B0"), FourCC("mft1"), FourCC("mAB ")},
    {FourCC("A2B1"), FourCC("mft1"), FourCC("mAB ")},
    {FourCC("A2B2"), FourCC("mft1"), FourCC("mAB ")},
    {FourCC("bXYZ"), FourCC("XYZ ")},
    {FourCC("bTRC"), FourCC("curv"), FourCC("para")},
    {FourCC("B2A0"), FourCC("mft1"), FourCC("mBA ")},
    {FourCC("B2A1"), FourCC("mft1"), FourCC("mBA ")},
    {FourCC("B2A2"), FourCC("mft1"), FourCC("mBA ")},
    {FourCC("calt"), FourCC("dtim")},
    {FourCC("targ"), FourCC("text"), FourCC("mluc")},
    {FourCC("cprt"), FourCC("text"), FourCC("mluc")},
    {FourCC("dmnd"), FourCC("desc"), FourCC("mluc")},
    {FourCC("dmdd"), FourCC("desc"), FourCC("mluc")},
    {FourCC("gamt"), FourCC("mft1"), FourCC("mBA ")},
    {FourCC("kTRC"), FourCC("curv"), FourCC("para")},
    {FourCC("gXYZ"), FourCC("XYZ ")},
    {FourCC("gTRC"), FourCC("curv"), FourCC("para")},
    {FourCC("lumi"), FourCC("XYZ ")},
    {FourCC("meas"), FourCC("meas")},
    {FourCC("bkpt"), FourCC("XYZ ")},
    {FourCC("wtpt"), FourCC("XYZ ")},
    {FourCC("ncol"), FourCC("ncol")},
    {FourCC("ncl2"), FourCC("ncl2")},
    {FourCC("pre0"), FourCC("mft1"), FourCC("mBA ")},
    {FourCC("pre1"), FourCC("mft1"), FourCC("mBA ")},
    {FourCC("pre2"), FourCC("mft1"), FourCC("mBA ")},
    {FourCC("desc"), FourCC("desc"), FourCC("mluc")},
    {FourCC("pseq"), FourCC("pseq")},
    {FourCC("psd0"), FourCC("data")},
    {FourCC("psd1"), FourCC("data")},
    {FourCC("psd2"), FourCC("data")},
    {FourCC("psd3"), FourCC("data")},
    {FourCC("ps2s"), FourCC("data")},
    {FourCC("ps2i"), FourCC("data")},
    {FourCC("rXYZ"), FourCC("XYZ ")},
    {FourCC("rTRC"), FourCC("curv"), FourCC("para")},
    {FourCC("scrd"), FourCC("desc"), FourCC("mluc")},
    {FourCC("scrn"), FourCC("scrn")},
    {FourCC("tech"), FourCC("sig ")},
    {FourCC("bfd "), FourCC("bfd ")},
    {FourCC("vued"), FourCC("desc"), FourCC("mluc")},
    {FourCC("view"), FourCC("view")},
    {FourCC("psvm"), FourCC("psvm")},
    {FourCC("vcgt"), FourCC("vcgt")},
    {FourCC("mmod"), FourCC("mmod")},
    {FourCC("dscm"), FourCC("mluc")},
    {FourCC("chad"), FourCC("sf32")},
    {FourCC("ndin"), FourCC("ndin")},
};

TagTypes const* typesOf(FourCC tag)
{
    auto const* const found = std::ranges::find(kTagTypes, tag, &TagTypes::tag);
    return found == std::end(kTagTypes) ? nullptr : found;
}

constexpr struct {
    FourCC type;
    std::uint64_t size;
} kFixedSizes[] = {
    {FourCC("XYZ "), 20},
    {FourCC("dtim"), 20},
    {FourCC("sig "), 12},
    {FourCC("view"), 36},
    {FourCC("mmod"), 40},
};

// 0 for types of any size.
std::uint64_t fixedSize(FourCC type)
{
    auto const* const found = std::ranges::find(kFixedSizes, type, [](auto const& row) { return row.type; });
    return found == std::end(kFixedSizes) ? 0 : found->size;
}

bool isPreview(FourCC tag)
{
    return tag == FourCC("pre0") || tag == FourCC("pre1") || tag == FourCC("pre2");
}

// The type that an element other than the version 2 type may have; 0 when there is none.
FourCC alternativeType(TagTypes const& types, FourCC actual, std::uint32_t majorVersion)
{
    if (actual == FourCC("mAB ") && types.version4 == FourCC("mBA ") && isPreview(types.tag))
        return actual;
    if (actual == FourCC("mft2") && types.version2 == FourCC("mft1"))
        return actual;
    return majorVersion == 4 ? types.version4 : FourCC();
}

FourCC expectedType(TagTypes const* types, FourCC actual, std::uint32_t majorVersion)
{
    if (!types)
        return {};
    auto const alternative = alternativeType(*types, actual, majorVersion);
    return alternative != FourCC() && alternative == actual ? actual : types->version2;
}

struct CorrectSize {
    std::uint64_t size = 0; ///< 0 when any size will do
    bool isReachable = true;
};

// textDescriptionType (ICC.1:2001-04, 6.5.17): three texts of which the last has a field of 67 bytes, which
// many writers cut to what they use of it.
CorrectSize descriptionSize(ElementEditor const& element)
{
    constexpr std::uint64_t kSmallest = 90;
    constexpr std::uint64_t kExtended = 92;
    constexpr std::uint64_t kMacintoshField = 67;
    auto const length = element.size();
    CorrectSize const wrong {length + 1, false};

    auto const unicode = std::uint64_t {20} + element.word(8);
    if (length < 9 || unicode >= length)
        return wrong;
    auto const macintosh = unicode + 3 + std::uint64_t {2} * element.word(unicode - 4);
    auto const count = element.byte(macintosh - 1);
    if (macintosh >= length || count > kMacintoshField)
        return wrong;
    if (length < kSmallest)
        return element.contains(macintosh, count) ? CorrectSize {kExtended, true} : wrong;
    return element.contains(macintosh, kMacintoshField) ? CorrectSize {length, true} : wrong;
}

struct Structure {
    FourCC type;
    FourCC expected;
    CorrectSize correct;
};

Structure structureOf(ElementEditor const& element, TagTypes const* types, std::uint32_t majorVersion)
{
    Structure structure;
    if (element.size() >= kTypeHeaderSize)
        structure.type = element.signature(0);
    structure.expected = expectedType(types, structure.type, majorVersion);
    constexpr FourCC kDescription("desc");
    if (structure.type == kDescription && structure.expected == kDescription)
        structure.correct = descriptionSize(element);
    else
        structure.correct.size = fixedSize(structure.type);
    return structure;
}

enum class Verdict : std::uint8_t { Right, Fixed, Wrong };

Verdict checkSize(ElementEditor& element, Structure const& structure)
{
    auto const [size, isReachable] = structure.correct;
    if (element.size() >= kTypeHeaderSize && (size == 0 || size == element.size()))
        return Verdict::Right;
    if (size <= element.size() || !isReachable)
        return Verdict::Wrong;
    element.extend(size);
    return Verdict::Fixed;
}

// Another type can only be a slip of the pen when the element has just the size of the expected one.
Verdict checkType(ElementEditor& element, Structure const& structure)
{
    if (structure.expected == FourCC() || structure.expected == structure.type)
        return Verdict::Right;
    auto const size = fixedSize(structure.expected);
    if (size == 0 || size != element.size())
        return Verdict::Wrong;
    element.setWord(0, structure.expected.code);
    return Verdict::Fixed;
}

Verdict checkReserved(ElementEditor& element)
{
    if (element.word(4) == 0)
        return Verdict::Right;
    element.setWord(4, 0);
    return Verdict::Fixed;
}

TagFindings checkStructure(ByteSpan bytes, TagTypes const* types, std::uint32_t majorVersion)
{
    ElementEditor element(bytes);
    auto const structure = structureOf(element, types, majorVersion);
    // The type is judged by the size as read.
    auto const type = checkType(element, structure);
    auto const reserved = checkReserved(element);
    auto const size = checkSize(element, structure);

    TagFindings findings;
    findings.isFix = true;
    auto const add = [&](Verdict verdict, char const* message) {
        if (verdict != Verdict::Right)
            findings.problems.push_back({message, verdict == Verdict::Fixed});
        findings.isFix &= verdict != Verdict::Wrong;
    };
    add(size, "Tag size is not correct. ");
    add(type, "Tag type is not correct. ");
    add(reserved, "Tag reserved field is not zero. ");
    findings.isFix &= element.isEdited();
    if (element.isEdited())
        findings.replacement = element.take();
    return findings;
}

// The same for tags of which the same is expected.
std::uint32_t variantOf(TagTypes const* types)
{
    if (!types)
        return 0;
    auto const* const first = std::ranges::find_if(kTagTypes, [&](TagTypes const& row) {
        return row.version2 == types->version2 && row.version4 == types->version4
            && isPreview(row.tag) == isPreview(types->tag);
    });
    return static_cast<std::uint32_t>(first - kTagTypes) + 1;
}

} // namespace

void checkTagStructure(ProfileCheckContext& context)
{
    TagPass pass(context);
    for (auto const signature : context.profile.tagSignatures()) {
        auto const* const types = typesOf(signature);
        pass.examine(signature, variantOf(types),
            [&](ByteSpan element) { return checkStructure(element, types, context.majorVersion); });
    }
}

} // namespace velk

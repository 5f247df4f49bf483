#include "profile/CheckedProfile.h"

#include <gtest/gtest.h>

namespace velk::test {

namespace {

struct RequiredCase {
    ProfileBuilder builder;
    std::vector<char const*> missing;
};

Bytes typed(std::string_view type, std::size_t size)
{
    Bytes element;
    append(element, type);
    element.resize(size);
    return element;
}

ProfileBuilder bare(char const (&profileClass)[5], char const (&space)[5], char const (&pcs)[5])
{
    ProfileBuilder builder;
    return builder.version(0x02400000).profileClass(profileClass).space(space).pcs(pcs);
}

Bytes sized(Bytes element, std::size_t size)
{
    element.resize(size);
    return element;
}

} // namespace

TEST(RequiredTags, FollowFromTheClass)
{
    RequiredCase const cases[] = {
        {bare("mntr", "RGB ", "XYZ "),
            {"cprt", "desc", "wtpt", "rXYZ", "gXYZ", "bXYZ", "rTRC", "gTRC", "bTRC"}},
        {bare("mntr", "RGB ", "Lab "), {"cprt", "desc", "wtpt", "A2B0", "B2A0"}},
        {bare("mntr", "GRAY", "XYZ "), {"cprt", "desc", "wtpt", "kTRC"}},
        {bare("scnr", "RGB ", "XYZ ").version(0x05000000),
            {"cprt", "desc", "wtpt", "rXYZ", "gXYZ", "bXYZ", "rTRC", "gTRC", "bTRC"}},
        {bare("scnr", "CMYK", "Lab "), {"cprt", "desc", "wtpt", "A2B0"}},
        {bare("scnr", "GRAY", "Lab "), {"cprt", "desc", "wtpt", "kTRC"}},
        {bare("prtr", "GRAY", "Lab "), {"cprt", "desc", "wtpt", "kTRC"}},
        {bare("prtr", "CMYK", "Lab "),
            {"cprt", "desc", "wtpt", "A2B0", "B2A0", "A2B1", "B2A1", "A2B2", "B2A2", "gamt"}},
        {bare("link", "CMYK", "RGB "), {"cprt", "desc", "A2B0", "pseq"}},
        {bare("abst", "Lab ", "Lab "), {"cprt", "desc", "wtpt", "A2B0"}},
        {bare("nmcl", "CMYK", "Lab "), {"cprt", "desc", "wtpt", "ncl2"}},
        {bare("spac", "CMYK", "Lab "), {"cprt", "desc", "wtpt", "A2B0", "B2A0"}},
        {soundProfile().without("rXYZ"), {"rXYZ"}},
    };
    for (auto const& row : cases) {
        std::vector<ReportLine> lines;
        for (std::string const tag : row.missing)
            lines.push_back({"Tag '" + tag + "': Required tag is not present. ", kUnfixed});
        expectReport(row.builder.bytes(), lines);
    }
}

TEST(RequiredTags, MayBeTablesInVersion4)
{
    auto incomplete = matrixProfile().without("rXYZ");
    expectReport(withDigest(incomplete),
        {{"Tag 'A2B0': Required tag is not present. ", kUnfixed},
            {"Tag 'B2A0': Required tag is not present. ", kUnfixed}});
    expectReport(withDigest(incomplete.profileClass("scnr")),
        {{"Tag 'A2B0': Required tag is not present. ", kUnfixed}});
    // The type of this element is wrong, but it is there.
    expectReport(withDigest(incomplete.tag("A2B0", typed("none", 8))),
        {{"Tag 'A2B0': Tag type is not correct. ", kUnfixed}});
}

TEST(TagStructure, JudgesSizeTypeAndReservedBytes)
{
    char const* const size = "Tag size is not correct. ";
    char const* const type = "Tag type is not correct. ";
    char const* const reserved = "Tag reserved field is not zero. ";
    auto const xyz = xyzElement(0.5, 1, 0.25);
    auto misspelt = xyz;
    misspelt[0] = 'x';
    auto marked = xyz;
    marked[7] = 9;
    auto all = sized(marked, 16);
    struct {
        char const* tag;
        Bytes element;
        std::vector<ReportLine> lines;
        Bytes saved;
    } const cases[] = {
        {"wtpt", sized(xyz, 16), {{size, kFixed}}, sized(sized(xyz, 16), 20)},
        {"wtpt", sized(xyz, 24), {{size, kUnfixed}}, sized(xyz, 24)},
        {"wtpt", misspelt, {{type, kFixed}}, xyz},
        {"wtpt", sized(misspelt, 24), {{type, kUnfixed}}, sized(misspelt, 24)},
        {"wtpt", marked, {{reserved, kFixed}}, xyz},
        {"wtpt", all, {{size, kFixed}, {reserved, kFixed}}, sized(sized(xyz, 16), 20)},
        {"lumi", sized(xyz, 7), {{size, kUnfixed}, {type, kUnfixed}}, sized(xyz, 7)},
        {"lumi", {}, {{size, kUnfixed}, {type, kUnfixed}}, {}},
        {"calt", typed("dtim", 12), {{size, kFixed}}, typed("dtim", 20)},
        {"tech", typed("sig ", 11), {{size, kFixed}}, typed("sig ", 12)},
        {"view", typed("view", 30), {{size, kFixed}}, typed("view", 36)},
        {"mmod", typed("mmod", 41), {{size, kUnfixed}}, typed("mmod", 41)},
        {"A2B1", typed("curv", 12), {{type, kUnfixed}}, typed("curv", 12)},
        // Tags and types that nobody has heard of.
        {"abcd", typed("efgh", 8), {}, typed("efgh", 8)},
        {"abcd", typed("XYZ ", 8), {{size, kFixed}}, typed("XYZ ", 20)},
        {"abcd", typed("efgh", 3), {{size, kUnfixed}}, typed("efgh", 3)},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(std::string(row.tag) + " of " + std::to_string(row.element.size()));
        EXPECT_EQ(expectTagReport(soundProfile().tag(row.tag, row.element), row.tag, row.lines), row.saved);
    }
}

TEST(TagStructure, AllowsTheTypesOfTheVersion)
{
    struct {
        char const* tag;
        char const* type;
        bool inVersion2, inVersion4;
    } const cases[] = {
        {"rTRC", "curv", true, true},
        {"rTRC", "para", false, true},
        {"cprt", "mluc", false, true},
        {"cprt", "desc", false, false},
        {"dscm", "mluc", true, true},
        {"A2B0", "mft1", true, true},
        {"A2B0", "mft2", true, true},
        {"A2B0", "mAB ", false, true},
        {"A2B0", "mBA ", false, false},
        {"pre0", "mAB ", true, true},
        {"pre0", "mBA ", false, true},
        {"gamt", "mAB ", false, false},
        {"chad", "sf32", true, true},
    };
    for (auto const& row : cases) {
        for (std::uint32_t const version : {2u, 4u}) {
            auto builder = matrixProfile(version << 24);
            CheckedProfile const checked(builder.tag(row.tag, typed(row.type, 40)).bytes());
            bool const isRefused = checked.verify().find("Tag type is not correct") != std::string::npos;
            EXPECT_EQ(!isRefused, version == 4 ? row.inVersion4 : row.inVersion2) << row.tag << row.type;
        }
    }
}

TEST(TagStructure, KeepsSharedElementsShared)
{
    auto curve = gammaElement(2.2);
    curve[4] = 1;
    std::vector<ReportLine> lines;
    for (std::string const tag : {"rTRC", "gTRC", "bTRC"})
        lines.push_back({"Tag '" + tag + "': Tag reserved field is not zero. ", kFixed});
    auto const saved = expectReport(soundProfile().tag("rTRC", curve).bytes(), lines);
    EXPECT_EQ(saved, soundProfile().bytes());
}

} // namespace velk::test

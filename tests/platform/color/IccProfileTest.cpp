#include "platform/color/IccProfile.h"

#include "support/TestFiles.h"
#include "support/TestProfiles.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <limits>

namespace velk::color {

using test::ProfileBuilder;
using test::TemporaryDirectory;
using test::textElement;

namespace {

constexpr std::uint32_t kMaximum = std::numeric_limits<std::uint32_t>::max();

Bytes resized(Bytes bytes, std::size_t size)
{
    bytes.resize(size);
    return bytes;
}

std::string failure(Bytes const& bytes)
{
    auto const profile = IccProfile::parse(bytes);
    return profile ? "opened" : profile.error().message;
}

ProfileBuilder withEntry(std::uint32_t offset, std::uint32_t length)
{
    return ProfileBuilder().tag("desc", textElement("a tag")).entry("hole", offset, length);
}

} // namespace

TEST(IccProfile, RefusesWhatIsInconsistent)
{
    auto const bare = ProfileBuilder().bytes();
    auto const size = static_cast<std::uint32_t>(withEntry(0, 0).bytes().size());
    constexpr auto kNoProfile = "not an ICC profile";
    constexpr auto kOutside = "a tag reaches beyond the end of the profile";
    auto const noRoom = [](std::uint32_t count) {
        return fmt::format("the profile has no room for the {} tags that it claims", count);
    };
    struct {
        Bytes bytes;
        std::string expected;
    } const cases[] = {
        {{}, kNoProfile},
        {resized(bare, 127), kNoProfile},
        {resized(bare, 128), "the profile ends before its tag table"},
        {resized(bare, 131), "the profile ends before its tag table"},
        {bare, "opened"},
        {ProfileBuilder().word(36, FourCC("acsq").code).bytes(), kNoProfile},
        {ProfileBuilder().tagCount(1).bytes(), noRoom(1)},
        {ProfileBuilder().tagCount(kMaximum - 1).bytes(), noRoom(kMaximum - 1)},
        {ProfileBuilder().tagCount(kMaximum).bytes(), noRoom(kMaximum)},
        {withEntry(0, 0).bytes(), "opened"},
        {withEntry(0, size).bytes(), "opened"},
        {withEntry(1, size).bytes(), kOutside},
        {withEntry(size, 0).bytes(), "opened"},
        {withEntry(size + 1, 0).bytes(), kOutside},
        {withEntry(0, kMaximum).bytes(), kOutside},
        {withEntry(1, kMaximum).bytes(), kOutside},
        {withEntry(kMaximum, 1).bytes(), kOutside},
        {withEntry(kMaximum - 1, kMaximum - 1).bytes(), kOutside},
        // The size field is nothing that anybody has to believe.
        {withEntry(0, 0).word(0, 0).bytes(), "opened"},
        {withEntry(0, 0).word(0, kMaximum).bytes(), "opened"},
        {resized(withEntry(0, 0).bytes(), 5000), "opened"},
        {resized(bare, IccProfile::kMaximumSize), "opened"},
        {resized(bare, IccProfile::kMaximumSize + 1), "the profile is larger than 64 MiB"},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.bytes.size());
        EXPECT_EQ(failure(row.bytes), row.expected);
    }
}

TEST(IccProfile, RefusesSmallFilesThatUnfoldIntoLargeOnes)
{
    auto builder = ProfileBuilder().tag("data", Bytes(100'000));
    for (std::uint32_t i = 0; i < 1000; ++i)
        builder.entry("lots", 0, 90'000 + i);
    EXPECT_EQ(failure(builder.bytes()), "the tags of the profile overlap");

    // The same extent many times is one element.
    auto shared = ProfileBuilder().tag("data", Bytes(100'000));
    for (int i = 0; i < 1000; ++i)
        shared.sharedTag(fmt::format("{:04}", i), "data");
    auto profile = IccProfile::parse(shared.bytes()).value();
    profile.setTag(FourCC("0007"), textElement("x"));
    EXPECT_LT(profile.serialize().size(), 120'000u);
}

TEST(IccProfile, WritesBackWhatItReadUntilATagChanges)
{
    auto bytes = resized(test::matrixProfile().word(0, 7).bytes(), 700);
    auto profile = IccProfile::parse(bytes).value();
    EXPECT_EQ(profile.serialize(), bytes);

    auto header = profile.header();
    header.creator = FourCC("velk");
    profile.setHeader(header);
    storeInteger(bytes.data() + 80, FourCC("velk").code, ByteOrder::Big);
    EXPECT_EQ(profile.serialize(), bytes);
}

TEST(IccProfile, EditsOneTagAndKeepsTheOthers)
{
    auto const original = IccProfile::parse(test::matrixProfile().bytes()).value();
    auto edited = original;
    edited.setTag(FourCC("gTRC"), test::gammaElement(1.8));
    edited.setTag(FourCC("targ"), Bytes {'t', 'e', 'x', 't', 0, 0, 0, 0, 'x'});
    edited.removeTag(FourCC("cprt"));
    edited.removeTag(FourCC("none"));

    auto const bytes = edited.serialize();
    EXPECT_EQ(bytes.size() % 4, 0u);
    EXPECT_EQ(loadBE32(bytes.data()), bytes.size());
    auto const reread = IccProfile::parse(bytes).value();
    auto expectedTags = original.tagSignatures();
    std::erase(expectedTags, FourCC("cprt"));
    expectedTags.push_back(FourCC("targ"));
    EXPECT_EQ(reread.tagSignatures(), expectedTags);
    for (auto const tag : {FourCC("desc"), FourCC("rTRC"), FourCC("bTRC"), FourCC("wtpt")})
        EXPECT_TRUE(equalBytes(reread.tag(tag), original.tag(tag))) << tag.code;
    EXPECT_EQ(*reread.tag(FourCC("gTRC")), test::gammaElement(1.8));
    EXPECT_EQ(reread.tag(FourCC("targ"))->size(), 9u);
    EXPECT_EQ(reread.tag(FourCC("cprt")), nullptr);

    // rTRC and bTRC still lie in one place, and every element begins at a multiple of 4.
    std::map<std::uint32_t, std::uint32_t> offsets;
    for (std::size_t i = 0; i < expectedTags.size(); ++i) {
        auto const* const entry = bytes.data() + 132 + 12 * i;
        EXPECT_EQ(loadBE32(entry + 4) % 4, 0u);
        offsets[loadBE32(entry)] = loadBE32(entry + 4);
    }
    EXPECT_EQ(offsets[FourCC("rTRC").code], offsets[FourCC("bTRC").code]);
    EXPECT_NE(offsets[FourCC("rTRC").code], offsets[FourCC("gTRC").code]);
    EXPECT_EQ(original.serialize(), test::matrixProfile().bytes());
}

TEST(IccProfile, OfTwoTagsOfOneNameTheFirstCounts)
{
    auto const bytes =
        ProfileBuilder().tag("desc", textElement("first")).tag("hide", textElement("second")).bytes();
    auto twice = bytes;
    std::copy_n("desc", 4, twice.begin() + 132 + 12);
    auto profile = IccProfile::parse(twice).value();
    EXPECT_EQ(profile.tagSignatures(), std::vector {FourCC("desc")});
    EXPECT_EQ(*profile.tag(FourCC("desc")), textElement("first"));
    profile.setTag(FourCC("desc"), textElement("new"));
    EXPECT_EQ(*profile.tag(FourCC("desc")), textElement("new"));
    EXPECT_EQ(*IccProfile::parse(profile.serialize())->tag(FourCC("desc")), textElement("new"));
    profile.removeTag(FourCC("desc"));
    EXPECT_FALSE(profile.contains(FourCC("desc")));
    EXPECT_EQ(profile.serialize().size(), 132u);
}

TEST(IccProfile, DigestIsTheProfileIdOfTheBytes)
{
    // Made by another program.
    auto bytes = test::readBytes(test::dataFile("DisplayP3-v4.icc"));
    auto const stored = IccProfile::parse(bytes)->header().id;
    for (auto const offset : {44, 64, 84, 99})
        bytes[static_cast<std::size_t>(offset)] ^= 0x5A;
    EXPECT_EQ(IccProfile::parse(bytes)->digest(), stored);
    bytes[48] ^= 1;
    EXPECT_NE(IccProfile::parse(bytes)->digest(), stored);
}

TEST(IccProfile, ManyTagsAreNoTrouble)
{
    constexpr std::uint32_t kTags = 100'000;
    ProfileBuilder builder;
    for (std::uint32_t i = 0; i < kTags; ++i)
        builder.entry(fmt::format("{:04X}", i & 0xFFFF), 132 + i, 8);
    auto profile = IccProfile::parse(builder.bytes()).value();
    auto const signatures = profile.tagSignatures();
    ASSERT_EQ(signatures.size(), 0x10000u);
    for (auto const signature : signatures)
        EXPECT_EQ(profile.tag(signature)->size(), 8u);
    profile.setTag(FourCC("desc"), textElement("x"));
    EXPECT_EQ(IccProfile::parse(profile.serialize())->tagSignatures().size(), 0x10001u);
}

TEST(IccProfile, WhatOpensOpensAgainAfterAnEdit)
{
    auto const whole = test::matrixProfile().bytes();
    std::size_t opened = 0;
    for (std::size_t i = 128; i < 132 + 12 * 9; ++i) {
        for (auto const value : {0x00, 0x01, 0x7F, 0xFF}) {
            auto bytes = whole;
            bytes[i] = static_cast<std::uint8_t>(value);
            auto profile = IccProfile::parse(bytes);
            if (!profile)
                continue;
            ++opened;
            profile->setTag(FourCC("wtpt"), textElement("white"));
            auto const reread = IccProfile::parse(profile->serialize());
            ASSERT_TRUE(reread) << i;
            EXPECT_EQ(reread->tagSignatures(), profile->tagSignatures());
            EXPECT_EQ(reread->digest(), profile->digest());
        }
    }
    EXPECT_GT(opened, 200u);
}

TEST(IccProfile, ReadsFilesAndLosesNoneThatItCannotReplace)
{
    TemporaryDirectory const directory;
    auto const path = directory / "a.icc";
    test::writeBytes(path, test::grayProfile().bytes());
    auto profile = IccProfile::open(path).value();
    profile.setTag(FourCC("huge"), Bytes(IccProfile::kMaximumSize));
    EXPECT_EQ(profile.write(path).error().message, "the profile is larger than 64 MiB");
    EXPECT_EQ(test::readBytes(path), test::grayProfile().bytes());
    profile.removeTag(FourCC("huge"));
    EXPECT_TRUE(profile.write(path));
    EXPECT_EQ(test::readBytes(path), test::grayProfile().bytes());
    EXPECT_EQ(directory.names(), std::vector<std::string> {"a.icc"});
    auto const large = directory / "large.icc";
    test::writeBytes(large, resized(ProfileBuilder().bytes(), IccProfile::kMaximumSize + 1));
    EXPECT_EQ(IccProfile::open(large).error().message, "the profile is larger than 64 MiB");
    EXPECT_FALSE(IccProfile::open(directory / "gone.icc"));
    EXPECT_FALSE(IccProfile::open(directory.path()));
}

} // namespace velk::color

#include "profile/CheckedProfile.h"

#include <gtest/gtest.h>

#include <chrono>

namespace velk::test {

namespace {

// Every type whose content is checked, small and sound enough to get far into the check.
std::vector<Bytes> smallElements()
{
    std::vector<Bytes> elements = {descriptionElement("ab"), textElement("ab"), xyzElement(1, 1, 1),
        localizedElement({{"enUS", u"ab"}, {"deDE", u"ab"}, {"frFR", u"cd"}})};
    for (std::string_view const type : {"para", "mft1", "mft2", "mAB ", "mBA "}) {
        Bytes element;
        append(element, type);
        element.resize(120);
        element[8] = element[9] = 2;
        element[10] = 3;
        for (std::size_t offset = 15; offset < 32; offset += 4)
            element[offset] = static_cast<std::uint8_t>(32 + offset);
        std::ranges::copy(asBytes("curv"), element.begin() + 47);
        std::ranges::copy(asBytes("para"), element.begin() + 59);
        elements.push_back(std::move(element));
    }
    return elements;
}

// Under several signatures, since these choose the rules too.
void checkInEveryPlace(Bytes const& element)
{
    auto builder = soundTableProfile("CMYK");
    for (auto const* const tag : {"desc", "A2B0", "B2A0", "gamt", "pre0", "abcd"})
        builder.tag(tag, element);
    CheckedProfile const checked(builder.bytes());
    (void)checked.verify();
    for (int i = 0; i < 3; ++i)
        (void)checked.repair();
    auto const settled = checked.bytes();
    EXPECT_EQ(settled.size(), loadBE32(settled.data()));
    auto const last = checked.repair();
    EXPECT_EQ(checked.bytes(), settled) << last;
}

double secondsOf(Bytes const& profile)
{
    auto const start = std::chrono::steady_clock::now();
    CheckedProfile const checked(profile);
    (void)checked.verify();
    (void)checked.repair();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

constexpr double kPatience = 30; // also on a busy machine with sanitizers

} // namespace

TEST(HostileProfile, IsReadNoFurtherThanItsElementsGo)
{
    for (auto const& element : smallElements()) {
        for (std::size_t length = 0; length <= element.size(); length += length < 60 ? 1 : 7)
            checkInEveryPlace(Bytes(element.begin(), element.begin() + static_cast<std::ptrdiff_t>(length)));
    }
}

TEST(HostileProfile, MayClaimAnyCountsAndOffsets)
{
    for (auto const& element : smallElements()) {
        for (std::size_t offset = 8; offset + 4 <= std::min<std::size_t>(element.size(), 64); offset += 4) {
            for (std::uint32_t const value : {0u, 1u, 0x01010101u, 0x7FFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
                auto broken = element;
                storeInteger(broken.data() + offset, value, ByteOrder::Big);
                checkInEveryPlace(broken);
            }
        }
    }
}

TEST(HostileProfile, WithManyTagsOverOneElementIsCheckedOnce)
{
    constexpr std::size_t kTags = 100'000;
    auto const plain = soundProfile();
    auto const table = static_cast<std::uint32_t>(128 + 4 + (9 + kTags) * 12);
    auto builder = soundProfile();
    // All point at the one element that follows the table and the elements of the sound tags.
    auto const soundSize = static_cast<std::uint32_t>(plain.bytes().size() - 128 - 4 - 9 * 12);
    for (std::uint32_t i = 0; i < kTags; ++i) {
        char signature[4];
        storeInteger(reinterpret_cast<std::uint8_t*>(signature), 0x61000000 + i, ByteOrder::Big);
        builder.entry(std::string_view(signature, 4), table + soundSize, 4u << 20);
    }
    auto hostile = builder.bytes();
    auto text = textElement(std::string(4u << 20, '\xFF'));
    text.resize(4u << 20);
    append(hostile, ByteSpan(text));
    EXPECT_LT(secondsOf(hostile), kPatience);
}

TEST(HostileProfile, MayOverlapItsTextsAtWill)
{
    // Each record has a text of a megabyte that begins somewhere else.
    constexpr std::uint32_t kRecords = 80'000;
    Bytes element;
    append(element, "mluc");
    appendBE32(element, 0);
    appendBE32(element, kRecords);
    appendBE32(element, 12);
    for (std::uint32_t i = 0; i < kRecords; ++i) {
        appendBE32(element, i);
        appendBE32(element, 900'000);
        appendBE32(element, i);
    }
    EXPECT_LT(secondsOf(soundProfile().tag("dscm", element).bytes()), kPatience);
}

} // namespace velk::test

#include "profile/CheckedProfile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velk::test {

namespace {

constexpr std::size_t kIdOffset = 84;
constexpr std::size_t kReservedOffset = 100;

std::uint32_t wordAt(Bytes const& bytes, std::size_t offset)
{
    return loadBE32(bytes.data() + offset);
}

// As somebody who may not write the file; root may write everything.
class Unprivileged {
public:
    Unprivileged()
        : m_isRoot(::geteuid() == 0)
        , m_holds(!m_isRoot || ::seteuid(65534) == 0)
    {
    }
    Unprivileged(Unprivileged const&) = delete;
    ~Unprivileged()
    {
        if (m_isRoot)
            (void)!::seteuid(0);
    }
    bool holds() const { return m_holds; }

private:
    bool m_isRoot;
    bool m_holds;
};

} // namespace

TEST(HeaderChecks, SayNothingOfASoundProfile)
{
    EXPECT_EQ(expectReport(soundProfile().bytes(), {}), soundProfile().bytes());
    auto const version4 = withDigest(matrixProfile());
    EXPECT_EQ(expectReport(version4, {}), version4);
    expectReport(soundProfile().word(68, 0xF6D7).word(76, 0xD32E).word(80, FourCC("a }z").code).bytes(), {});
    expectReport(soundProfile().word(68, 0xF6D4).word(76, 0xD32B).word(64, 3).bytes(), {});
    // A device link from CMYK to RGB.
    expectReport(soundProfile().profileClass("link").space("CMYK").pcs("RGB ").bytes(),
        {{"Tag 'A2B0': Required tag is not present. ", kUnfixed},
            {"Tag 'pseq': Required tag is not present. ", kUnfixed}});
}

TEST(HeaderChecks, FixWhatHasOneRightValue)
{
    struct {
        std::size_t offset;
        std::uint32_t bad;
        char const* message;
        std::uint32_t good;
    } const cases[] = {
        {8, 0x02400001, "Header version not correct. ", 0x02400000},
        {68, 0xF6D8, "Header white point is not D50. ", 0xF6D6},
        {72, 0x10001, "Header white point is not D50. ", 0x10000},
        {76, 0xD32A, "Header white point is not D50. ", 0xD32D},
        {80, FourCC("ab~d").code, "Header creator is not correct. ", 0},
        {80, FourCC("abc\x1F").code, "Header creator is not correct. ", 0},
        {kIdOffset, 1, "Header padding is not null. ", 0},
        {kReservedOffset + 24, 1, "Header padding is not null. ", 0},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.message);
        auto const saved =
            expectReport(soundProfile().word(row.offset, row.bad).bytes(), {{row.message, kFixed}});
        EXPECT_EQ(wordAt(saved, row.offset), row.good);
    }
}

TEST(HeaderChecks, CorrectTheProfileId)
{
    auto const good = withDigest(matrixProfile());
    EXPECT_EQ(
        expectReport(matrixProfile().bytes(), {{"Header message digest (MD5) is missing. ", kFixed}}), good);
    EXPECT_EQ(expectReport(matrixProfile().word(kIdOffset, 1).bytes(),
                  {{"Header message digest (MD5) is not correct. ", kFixed}}),
        good);
    // The digest is that of the corrected header.
    EXPECT_EQ(expectReport(matrixProfile().word(80, 1).word(kReservedOffset, 1).bytes(),
                  {{"Header creator is not correct. ", kFixed}, {"Header padding is not null. ", kFixed},
                      {"Header message digest (MD5) is missing. ", kFixed}}),
        good);
    // Flags and intent are no part of it.
    auto flagged = good;
    flagged[47] = flagged[67] = 1;
    expectReport(flagged, {});
}

TEST(HeaderChecks, LeaveWhatCannotBeKnown)
{
    struct {
        std::size_t offset;
        char const (&signature)[5];
        char const* message;
    } const cases[] = {
        {20, "RGB ", "Header connection space is not correct. "},
        {16, "ABCD", "Header data space is not correct. "},
        {12, "abcd", "Header profile class is not correct. "},
    };
    for (auto const& row : cases) {
        auto const bytes = soundProfile().word(row.offset, FourCC(row.signature).code).bytes();
        CheckedProfile const checked(bytes);
        auto const report = checked.repair();
        EXPECT_TRUE(report.starts_with(std::string("   ") + row.message + "Could not be fixed.\n")) << report;
        EXPECT_EQ(checked.bytes(), bytes);
    }
    // One such problem keeps the whole header from being saved, unless something else is.
    auto mixed = soundProfile().profileClass("abcd").word(68, 1);
    std::vector<ReportLine> lines = {
        {"Header white point is not D50. ", kFixed}, {"Header profile class is not correct. ", kUnfixed}};
    EXPECT_EQ(expectReport(mixed.bytes(), lines, true), mixed.bytes());
    lines.push_back({"Tag 'wtpt': Tag size is not correct. ", kFixed});
    auto shortened = xyzElement(1, 1, 1);
    shortened.resize(16);
    EXPECT_EQ(wordAt(expectReport(mixed.tag("wtpt", shortened).bytes(), lines), 68), 0xF6D6u);
}

TEST(HeaderChecks, ResetTheIntentWithoutClaimingIt)
{
    auto const saved = expectReport(
        soundProfile().word(64, 5).bytes(), {{"Header rendering intent is not correct. ", kUnfixed}});
    EXPECT_EQ(wordAt(saved, 64), 0u);
}

TEST(HeaderChecks, BringSizeAndLengthTogether)
{
    ReportLine const isDifferent {"File length is different than length in profile header. ", kFixed};
    ReportLine const isUnpadded {"File length is not padded to a multiple of four. ", kUnfixed};
    ReportLine const hasNoDigest {"Header message digest (MD5) is missing. ", kFixed};
    auto const sound = soundProfile().bytes();
    auto const length = static_cast<std::uint32_t>(sound.size());
    EXPECT_EQ(expectReport(soundProfile().word(0, length + 8).bytes(), {isDifferent}), sound);

    auto longer = sound;
    longer.resize(longer.size() + 3);
    auto const saved = expectReport(longer, {isDifferent});
    EXPECT_EQ(saved.size(), longer.size());
    EXPECT_EQ(wordAt(saved, 0), longer.size());

    // Version 4 is padded in the file as well, and the digest covers that.
    auto unpadded = matrixProfile().bytes();
    auto const padded = static_cast<std::uint32_t>(unpadded.size());
    unpadded.pop_back();
    unpadded.pop_back();
    storeInteger(unpadded.data(), padded - 2, ByteOrder::Big);
    auto const fixed = expectReport(unpadded, {isUnpadded, hasNoDigest});
    EXPECT_EQ(fixed.size(), padded);
    EXPECT_EQ(wordAt(fixed, 0), padded);
    EXPECT_EQ(CheckedProfile(fixed).verify(), "");

    // A profile ID that agrees with the wrong length goes with it.
    auto const agreeing = expectReport(withDigest(matrixProfile().word(0, padded + 4)), {isDifferent});
    EXPECT_EQ(CheckedProfile(agreeing).verify(), "");

    for (std::uint32_t const claimed : {0u, 1u, padded - 3, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        auto broken = withDigest(matrixProfile());
        storeInteger(broken.data(), claimed, ByteOrder::Big);
        CheckedProfile const checked(broken);
        for (int i = 0; i < 2; ++i)
            (void)checked.repair();
        EXPECT_EQ(checked.verify(), "") << claimed;
    }
}

TEST(HeaderChecks, OnlyVerifyALockedFile)
{
    CheckedProfile const checked(soundProfile().word(80, 1).bytes());
    auto const directory = checked.path().substr(0, checked.path().rfind('/'));
    ASSERT_EQ(::chmod(directory.c_str(), 0755), 0);
    ASSERT_EQ(::chmod(checked.path().c_str(), 0444), 0);
    auto const before = checked.bytes();
    {
        Unprivileged const user;
        if (!user.holds())
            GTEST_SKIP() << "cannot become another user";
        EXPECT_EQ(checked.repair(),
            "   Header creator is not correct. \n   The file is locked. Could not be fixed.\n");
        EXPECT_EQ(checked.verify(), "   Header creator is not correct. \n");
    }
    EXPECT_EQ(checked.bytes(), before);
    checked.write(soundProfile().bytes());
    Unprivileged const user;
    EXPECT_EQ(checked.repair(), "");
}

TEST(HeaderChecks, ReportAFailedSave)
{
    CheckedProfile const checked(soundProfile().word(80, 1).bytes());
    auto const directory = checked.path().substr(0, checked.path().rfind('/'));
    ASSERT_EQ(::chmod(checked.path().c_str(), 0666), 0);
    ASSERT_EQ(::chmod(directory.c_str(), 0555), 0);
    auto const before = checked.bytes();
    {
        Unprivileged const user;
        if (!user.holds())
            GTEST_SKIP() << "cannot become another user";
        EXPECT_EQ(checked.repair(),
            "   Header creator is not correct. Fixed.\n"
            "   The profile could not be saved. Could not be fixed.\n");
    }
    ASSERT_EQ(::chmod(directory.c_str(), 0755), 0);
    EXPECT_EQ(checked.bytes(), before);
}

TEST(HeaderChecks, PassOverWhatIsNoProfile)
{
    auto cut = soundProfile().bytes();
    cut.resize(131);
    for (auto const& bytes : {Bytes(), Bytes(200), cut, soundProfile().tagCount(1u << 31).bytes(),
             soundProfile().entry("A2B0", 0xFFFFFFFF, 2).bytes()}) {
        CheckedProfile const checked(bytes);
        EXPECT_EQ(checked.verify() + checked.repair(), "");
        EXPECT_EQ(checked.bytes(), bytes);
    }
}

} // namespace velk::test

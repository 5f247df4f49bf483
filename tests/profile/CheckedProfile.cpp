#include "profile/CheckedProfile.h"

#include "base/StandardOutput.h"
#include "platform/color/IccProfile.h"
#include "profile/ProfileCheck.h"

#include <gtest/gtest.h>

namespace velk::test {

namespace {

std::string printedBy(void (*check)(std::string const&), std::string const& path)
{
    testing::internal::CaptureStdout();
    check(path);
    EXPECT_TRUE(flushOutput());
    return testing::internal::GetCapturedStdout();
}

std::string report(std::vector<ReportLine> const& lines, bool isRepair)
{
    std::string text;
    for (auto const& line : lines) {
        text += "   " + line.text;
        if (isRepair)
            text += line.readsFixed ? "Fixed." : "Could not be fixed.";
        text += '\n';
    }
    return text;
}

} // namespace

std::string CheckedProfile::verify() const
{
    return printedBy(verifyProfile, path());
}

std::string CheckedProfile::repair() const
{
    return printedBy(repairProfile, path());
}

Bytes expectReport(Bytes const& profile, std::vector<ReportLine> const& lines, bool isNeverSaved)
{
    CheckedProfile const checked(profile);
    EXPECT_EQ(checked.verify(), report(lines, false));
    EXPECT_EQ(checked.bytes(), profile);
    EXPECT_EQ(checked.repair(), report(lines, true));
    auto const saved = checked.bytes();
    (void)checked.repair();
    auto const settled = checked.bytes();
    auto const last = checked.repair();
    EXPECT_EQ(checked.bytes(), settled);
    EXPECT_TRUE(isNeverSaved || last.find(" Fixed.") == std::string::npos) << last;
    EXPECT_EQ(settled.empty() ? 0 : loadBE32(settled.data()), settled.size());
    return saved;
}

Bytes expectTagReport(
    ProfileBuilder const& builder, std::string const& tag, std::vector<ReportLine> const& lines)
{
    std::vector<ReportLine> tagLines;
    for (auto const& line : lines)
        tagLines.push_back({"Tag '" + tag + "': " + line.text, line.readsFixed});
    auto const saved = expectReport(builder.bytes(), tagLines);
    char signature[5] = {};
    tag.copy(signature, 4);
    return elementOf(saved, signature);
}

Bytes withDigest(ProfileBuilder const& builder)
{
    auto bytes = builder.bytes();
    auto const profile = color::IccProfile::parse(bytes);
    EXPECT_TRUE(profile);
    if (profile)
        std::ranges::copy(profile->digest(), bytes.begin() + 84);
    return bytes;
}

ProfileBuilder soundProfile()
{
    return matrixProfile(0x02400000);
}

ProfileBuilder soundTableProfile(char const (&space)[5])
{
    return soundProfile().profileClass("spac").space(space).pcs("Lab ");
}

Bytes elementOf(Bytes const& profile, char const (&signature)[5])
{
    auto const parsed = color::IccProfile::parse(profile);
    auto const element = parsed ? parsed->tag(FourCC(signature)) : nullptr;
    return element ? *element : Bytes();
}

} // namespace velk::test

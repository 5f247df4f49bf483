#include "profile/ChannelCounts.h"
#include "profile/ProfileCheckStages.h"

#include <algorithm>
#include <array>

namespace velk {

namespace {

using color::ProfileHeader;

enum HeaderProblem : std::uint32_t {
    kVersion = 1u << 0,
    kWhitePoint = 1u << 1,
    kCreator = 1u << 2,
    kReserved = 1u << 3,
    kConnectionSpace = 1u << 4,
    kDataSpace = 1u << 5,
    kDigestNotCorrect = 1u << 6,
    kDigestMissing = 1u << 7,
    kProfileClass = 1u << 8,
    kRenderingIntent = 1u << 9,
    kLengthPadding = 1u << 10,
};

// Nothing in the file tells what these should be.
constexpr std::uint32_t kUnfixable = kConnectionSpace | kDataSpace | kProfileClass;

struct HeaderCheck {
    ProfileCheckContext& context;
    ProfileHeader const& header; ///< as read
    ProfileHeader corrected;
    std::uint32_t problems = 0;
    bool hasWrongLength = false;

    bool isVersion4() const { return context.majorVersion == 4; }
};

bool inRange(std::uint32_t value, std::uint32_t low, std::uint32_t high)
{
    return low <= value && value <= high;
}

std::uint64_t roundedUpToFour(std::uint64_t length)
{
    return (length + 3) / 4 * 4;
}

// A profile of version 4 is written padded (ICC.1:2022, 7.1), so that is the length it is going to have.
void checkFileLength(HeaderCheck& check)
{
    std::uint64_t const length = check.context.profile.serialize().size();
    check.hasWrongLength = check.header.size != length;
    if (check.hasWrongLength)
        check.corrected.size =
            static_cast<std::uint32_t>(check.isVersion4() ? roundedUpToFour(length) : length);
}

void reportFileLength(HeaderCheck& check)
{
    if (!check.hasWrongLength)
        return;
    constexpr int kEndOfFile = -39;
    auto& context = check.context;
    reportProblem(
        context.mode, {}, kEndOfFile, "File length is different than length in profile header. ", true);
    ++context.problemCount;
    context.fixedCount += context.repairs();
}

void checkVersion(HeaderCheck& check)
{
    constexpr std::uint32_t kReservedBytes = 0xFFFF;
    if ((check.header.version & kReservedBytes) == 0)
        return;
    check.problems |= kVersion;
    check.corrected.version &= ~kReservedBytes;
}

void checkLengthPadding(HeaderCheck& check)
{
    auto const padded = roundedUpToFour(check.header.size);
    if (!check.isVersion4() || padded == check.header.size)
        return;
    check.problems |= kLengthPadding;
    // Rounding the largest sizes leaves 32 bits; the file's own length is the better value then.
    if (padded <= UINT32_MAX)
        check.corrected.size = static_cast<std::uint32_t>(padded);
}

// D50 in s15Fixed16, with the last two bits free: profile writers round differently.
bool isD50(color::ProfileXyz const& illuminant)
{
    return inRange(illuminant.x, 0xF6D4, 0xF6D7) && illuminant.y == 0x10000
        && inRange(illuminant.z, 0xD32B, 0xD32E);
}

void checkWhitePoint(HeaderCheck& check)
{
    if (isD50(check.header.illuminant))
        return;
    check.problems |= kWhitePoint;
    check.corrected.illuminant = {0xF6D6, 0x10000, 0xD32D};
}

bool isCreator(FourCC signature)
{
    for (int shift = 0; shift < 32; shift += 8) {
        if (!inRange(signature.code >> shift & 0xFF, ' ', '}'))
            return false;
    }
    return true;
}

void checkCreator(HeaderCheck& check)
{
    if (check.header.creator == FourCC() || isCreator(check.header.creator))
        return;
    check.problems |= kCreator;
    check.corrected.creator = {};
}

void checkProfileClass(HeaderCheck& check)
{
    constexpr std::array kClasses = {FourCC("abst"), FourCC("link"), FourCC("mntr"), FourCC("nmcl"),
        FourCC("prtr"), FourCC("scnr"), FourCC("spac")};
    if (std::ranges::find(kClasses, check.header.profileClass) == kClasses.end())
        check.problems |= kProfileClass;
}

void checkRenderingIntent(HeaderCheck& check)
{
    constexpr std::uint32_t kIntents = 4;
    if (check.header.renderingIntent < kIntents)
        return;
    check.problems |= kRenderingIntent;
    check.corrected.renderingIntent = 0;
}

bool isConnectionSpace(FourCC space)
{
    return space == FourCC("Lab ") || space == FourCC("XYZ ");
}

bool isKnownSpace(FourCC space)
{
    return channelCountForSpace(space) != 0;
}

// A device link has the space of its second device in place of a connection space.
void checkConnectionSpace(HeaderCheck& check)
{
    auto const isAllowed = check.header.profileClass == FourCC("link") ? isKnownSpace : isConnectionSpace;
    if (!isAllowed(check.header.pcs))
        check.problems |= kConnectionSpace;
}

void checkDataSpace(HeaderCheck& check)
{
    auto const isAllowed = check.header.profileClass == FourCC("abst") ? isConnectionSpace : isKnownSpace;
    if (!isAllowed(check.header.space))
        check.problems |= kDataSpace;
}

bool isZero(auto const& bytes)
{
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

// The profile ID came with version 4 (ICC.1:2022, 7.2.18).
void checkDigest(HeaderCheck& check)
{
    if (!check.isVersion4())
        return;
    if (isZero(check.header.id))
        check.problems |= kDigestMissing;
    else if (check.header.id != check.context.profile.digest())
        check.problems |= kDigestNotCorrect;
}

// Before version 4 the bytes of the profile ID were reserved too.
void checkReserved(HeaderCheck& check)
{
    if (isZero(check.header.reserved) && (check.isVersion4() || isZero(check.header.id)))
        return;
    check.problems |= kReserved;
    check.corrected.reserved = {};
    if (!check.isVersion4())
        check.corrected.id = {};
}

// Appends the zeros that the corrected size counts and the file does not have.
void padToCorrectedSize(HeaderCheck& check)
{
    auto& profile = check.context.profile;
    auto bytes = profile.serialize();
    if (check.corrected.size <= bytes.size() || check.corrected.size - bytes.size() >= 4)
        return;
    bytes.resize(check.corrected.size);
    if (auto padded = color::IccProfile::parse(bytes))
        profile = *std::move(padded);
}

// A profile ID may also have been right for the wrong length.
bool needsNewDigest(HeaderCheck const& check)
{
    if ((check.problems & (kDigestMissing | kDigestNotCorrect)) != 0)
        return true;
    return check.hasWrongLength && check.isVersion4() && !isZero(check.header.id);
}

void storeCorrections(HeaderCheck& check)
{
    auto& profile = check.context.profile;
    padToCorrectedSize(check);
    profile.setHeader(check.corrected);
    if (needsNewDigest(check)) {
        check.corrected.id = profile.digest();
        profile.setHeader(check.corrected);
    }
}

constexpr struct {
    HeaderProblem problem;
    char const* message;
    bool readsFixed;
} kMessages[] = {
    {kLengthPadding, "File length is not padded to a multiple of four. ", false},
    {kVersion, "Header version not correct. ", true},
    {kWhitePoint, "Header white point is not D50. ", true},
    {kCreator, "Header creator is not correct. ", true},
    {kReserved, "Header padding is not null. ", true},
    {kConnectionSpace, "Header connection space is not correct. ", false},
    {kDataSpace, "Header data space is not correct. ", false},
    {kProfileClass, "Header profile class is not correct. ", false},
    {kDigestMissing, "Header message digest (MD5) is missing. ", true},
    {kDigestNotCorrect, "Header message digest (MD5) is not correct. ", true},
    {kRenderingIntent, "Header rendering intent is not correct. ", false},
};

// All problems of the header together count as one.
void reportFields(HeaderCheck const& check)
{
    if (check.problems == 0)
        return;
    auto& context = check.context;
    for (auto const& row : kMessages) {
        if ((check.problems & row.problem) != 0)
            reportProblem(context.mode, {}, 0, row.message, row.readsFixed);
    }
    ++context.problemCount;
    context.fixedCount += context.repairs() && (check.problems & kUnfixable) == 0;
}

} // namespace

void checkHeader(ProfileCheckContext& context)
{
    auto const header = context.header;
    HeaderCheck check {.context = context, .header = header, .corrected = header};
    checkFileLength(check);
    checkVersion(check);
    checkLengthPadding(check);
    checkWhitePoint(check);
    checkCreator(check);
    checkProfileClass(check);
    checkRenderingIntent(check);
    checkConnectionSpace(check);
    checkDataSpace(check);
    checkDigest(check);
    checkReserved(check);

    if (context.repairs() && (check.hasWrongLength || check.problems != 0))
        storeCorrections(check);
    reportFileLength(check);
    reportFields(check);
    context.header = check.corrected;
}

} // namespace velk

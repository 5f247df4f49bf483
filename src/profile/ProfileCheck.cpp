#include "profile/ProfileCheck.h"

#include "base/Files.h"
#include "profile/ProfileCheckStages.h"

#include <fcntl.h>

#include <cerrno>

namespace velk {

namespace {

int lockErrorOf(std::string const& path)
{
    errno = 0;
    if (FileDescriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC)))
        return 0;
    return errno != 0 ? errno : -1;
}

// A file that cannot be written is only verified.
void testLock(ProfileCheckContext& context)
{
    if (!context.repairs())
        return;
    context.lockError = lockErrorOf(context.path);
    if (context.lockError != 0)
        context.mode = CheckMode::Verify;
}

void reportLock(ProfileCheckContext const& context)
{
    if (context.lockError != 0 && context.problemCount != 0)
        reportProblem(CheckMode::Repair, {}, context.lockError, "The file is locked. ", false);
}

void save(ProfileCheckContext& context)
{
    if (!context.repairs() || context.fixedCount == 0)
        return;
    if (context.profile.write(context.path))
        return;
    reportProblem(CheckMode::Repair, {}, 0, "The profile could not be saved. ", false);
    ++context.problemCount;
}

void checkProfile(CheckMode mode, std::string const& path)
{
    auto profile = color::IccProfile::open(path);
    if (!profile)
        return;
    ProfileCheckContext context {.mode = mode, .path = path, .profile = *std::move(profile)};
    testLock(context);
    checkHeader(context);
    checkRequiredTags(context);
    checkTagStructure(context);
    checkTagContents(context);
    reportLock(context);
    save(context);
}

} // namespace

void verifyProfile(std::string const& path)
{
    checkProfile(CheckMode::Verify, path);
}

void repairProfile(std::string const& path)
{
    checkProfile(CheckMode::Repair, path);
}

} // namespace velk

#include "faults/Snapshot.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

namespace velk {

using namespace test;

namespace {

struct Job {
    char const* name;
    std::vector<std::string> arguments;
    /// A file that stands where the result goes.
    char const* inTheWay = nullptr;

    friend void PrintTo(Job const& job, std::ostream* to) { *to << job.name; }
};

Job const kJobs[] = {
    {"RewriteJpeg", {"-s", "artist", "Nobody", "photo.jpg"}},
    {"RewritePng", {"-s", "artist", "Nobody", "drawing.png"}},
    {"RewriteTiff", {"-s", "artist", "Nobody", "scan.tif"}},
    {"RewriteWebp", {"-s", "artist", "Nobody", "film.webp"}},
    {"RewriteJpeg2000", {"-s", "artist", "Nobody", "map.jp2"}},
    {"EncodeJpeg", {"--resampleWidth", "40", "photo.jpg"}},
    {"EncodePng", {"-r", "90", "drawing.png"}},
    {"EncodeTiff", {"-r", "90", "scan.tif"}},
    {"EncodeWebp", {"-r", "90", "film.webp"}},
    {"EncodeGif", {"-r", "90", "logo.gif"}},
    {"EncodeJpeg2000", {"-r", "90", "map.jp2"}},
    {"EncodePsd", {"-r", "90", "layers.psd"}},
    {"EncodeTga", {"-r", "90", "texture.tga"}},
    {"CopyBytes", {"-r", "0", "drawing.png", "-o", "copy.png"}},
    {"CopyBytesOntoAnother", {"-r", "0", "drawing.png", "-o", "copy.png"}, "copy.png"},
    {"ConvertToNewFile", {"-s", "format", "png", "photo.jpg", "-o", "new.png"}},
    {"EditProfile", {"-s", "copyright", "Nobody", "screen.icc"}},
    {"EditProfileToNewFile", {"-s", "copyright", "Nobody", "screen.icc", "-o", "new.icc"}},
    {"RepairProfile", {"--repair", "wrong.icc"}},
    {"ExtractTag", {"-X", "desc", "desc.tag", "screen.icc"}},
    {"ExtractTagOntoAnother", {"-X", "desc", "desc.tag", "screen.icc"}, "desc.tag"},
    {"ExtractProfileOntoAnother", {"-x", "out.icc", "tagged.jpg"}, "out.icc"},
};

/// One run in which the call of this number, among those that a kind of fault can strike, fails.
struct FaultyRun {
    RunResult run;
    /// The call; nothing when the run had fewer.
    std::optional<std::string> call;
};

FaultyRun runWithFault(Job const& job, TemporaryDirectory const& directory, std::string const& fault)
{
    TemporaryDirectory const reports;
    auto const path = reports / "call";
    auto run = runVelk(job.arguments, directory.path(), [&] {
        ::setenv("LD_PRELOAD", VELK_FAILING_CALLS, 1);
        ::setenv("VELK_FAULT", fault.c_str(), 1);
        ::setenv("VELK_FAULT_REPORT", path.c_str(), 1);
    });
    if (reports.names().empty())
        return {std::move(run), std::nullopt};
    return {std::move(run), std::string(asText(readBytes(path)))};
}

void prepare(Job const& job, TemporaryDirectory const& directory)
{
    makeFiles(directory);
    if (job.inTheWay)
        writeBytes(directory / job.inTheWay, asBytes("somebody's only copy"));
    if (std::string_view(job.name).starts_with("ExtractProfile")) {
        ASSERT_EQ(runVelk({"-e", "screen.icc", "photo.jpg", "-o", "tagged.jpg"}, directory.path()).status, 0);
    }
}

// A repair that cannot be done is a line of its report, or none where there is nothing to report on, and no
// error.
bool isRepair(Job const& job)
{
    return job.arguments.front() == "--repair";
}

// A file that cannot even be looked at is skipped, and then there is none to work on.
bool tellsOfFailure(FaultyRun const& faulty)
{
    bool const isError = faulty.run.status == 13 || (faulty.run.status == 4 && faulty.call == "stat");
    return isError && !faulty.run.errors.empty();
}

class SystemCalls : public testing::TestWithParam<Job> {
protected:
    SystemCalls()
    {
        prepare(GetParam(), m_directory);
        m_before = takeSnapshot(m_directory);
        EXPECT_EQ(runVelk(GetParam().arguments, m_directory.path()).status, 0);
        m_after = takeSnapshot(m_directory);
    }

    /// Runs the job until a fault of this kind finds no call any more; returns how many it found.
    int tryAll(std::string const& kind) const
    {
        for (int number = 1;; ++number) {
            restore(m_before, m_directory);
            auto const faulty = runWithFault(GetParam(), m_directory, fmt::format("{}:{}", kind, number));
            auto const now = takeSnapshot(m_directory);
            auto const what = fmt::format("{} {} {}: exit {}, {}", kind, faulty.call.value_or("nothing"),
                number, faulty.run.status, faulty.run.errors);
            if (tellsOfFailure(faulty) || (isRepair(GetParam()) && now == m_before)) {
                EXPECT_EQ(differences(m_before, now), "") << what;
            } else {
                EXPECT_EQ(faulty.run.status, 0) << what;
                EXPECT_EQ(differences(m_after, now), "") << what;
            }
            if (!faulty.call || HasFailure())
                return number - 1;
        }
    }

    TemporaryDirectory m_directory;
    Snapshot m_before, m_after;
};

} // namespace

TEST_P(SystemCalls, LeaveWholeFilesWhicheverFails)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "a sanitizer wants to be loaded first";
#endif
    ASSERT_NE(differences(m_before, m_after), "");
    EXPECT_GE(tryAll("full"), 3);
    EXPECT_GE(tryAll("denied"), 4);
    EXPECT_GE(tryAll("broken"), 8);
    EXPECT_GE(tryAll("short"), 2);
}

INSTANTIATE_TEST_SUITE_P(
    All, SystemCalls, testing::ValuesIn(kJobs), [](auto const& job) { return std::string(job.param.name); });

} // namespace velk

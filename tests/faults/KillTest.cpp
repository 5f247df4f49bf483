#include "base/Files.h"
#include "faults/Snapshot.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <random>
#include <thread>

namespace velk {

using namespace test;
using std::chrono::microseconds;

namespace {

struct Modification {
    char const* name;
    std::vector<std::string> arguments;

    friend void PrintTo(Modification const& modification, std::ostream* to) { *to << modification.name; }
};

Modification const kModifications[] = {
    {"RewritesJpeg", {"-s", "artist", "Nobody", "photo.jpg"}},
    {"RewritesPng", {"-s", "artist", "Nobody", "drawing.png"}},
    {"EncodesPng", {"-r", "90", "drawing.png"}},
    {"EncodesTiff", {"-r", "90", "scan.tif"}},
    {"EditsProfile", {"-s", "copyright", "Nobody", "screen.icc"}},
};
constexpr int kRunsOfEach = 100;
constexpr int kSignals[] = {SIGKILL, SIGTERM, SIGINT};

/// A run of velk that goes on beside the test.
class RunningVelk {
public:
    RunningVelk(std::vector<std::string> const& arguments, std::string const& directory)
        : m_child(::fork())
    {
        if (m_child != 0)
            return;
        std::vector<char*> argv = {const_cast<char*>(VELK_BINARY)};
        for (auto const& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        if (::chdir(directory.c_str()) == 0 && std::freopen("/dev/null", "w", stdout))
            ::execv(VELK_BINARY, argv.data());
        ::_exit(127);
    }
    RunningVelk(RunningVelk const&) = delete;

    void kill(int signal) const { ::kill(m_child, signal); }
    /// The exit status; 128 + n when signal n ended it.
    int wait() const
    {
        int status = 0;
        ::waitpid(m_child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t m_child;
};

/// Tells when a file appears in a directory.
class DirectoryWatch {
public:
    explicit DirectoryWatch(std::string const& path)
        : m_fd(::inotify_init1(IN_CLOEXEC))
    {
        ::inotify_add_watch(m_fd.get(), path.c_str(), IN_CREATE);
    }
    void awaitNewFile() const
    {
        constexpr int kMilliseconds = 10'000;
        pollfd created = {m_fd.get(), POLLIN, 0};
        ::poll(&created, 1, kMilliseconds);
    }

private:
    FileDescriptor m_fd;
};

class Kills : public testing::TestWithParam<Modification> {
protected:
    Kills()
    {
        makeFiles(m_directory);
        m_before = takeSnapshot(m_directory);
        auto const start = std::chrono::steady_clock::now();
        EXPECT_EQ(RunningVelk(GetParam().arguments, m_directory.path()).wait(), 0);
        m_duration = std::chrono::duration_cast<microseconds>(std::chrono::steady_clock::now() - start);
        m_after = takeSnapshot(m_directory);
    }

    void sleepAtMost(microseconds longest)
    {
        std::uniform_int_distribution<microseconds::rep> time(0, longest.count());
        std::this_thread::sleep_for(microseconds(time(m_random)));
    }

    /// Starts the modification and sends the signal at some moment, or some moment after its temporary file
    /// appeared; returns the exit status.
    int runAndKill(int signal, bool whileWriting)
    {
        DirectoryWatch const watch(m_directory.path());
        RunningVelk const velk(GetParam().arguments, m_directory.path());
        if (whileWriting)
            watch.awaitNewFile();
        sleepAtMost(whileWriting ? m_duration / 4 : m_duration);
        velk.kill(signal);
        return velk.wait();
    }

    TemporaryDirectory m_directory;
    Snapshot m_before, m_after;
    microseconds m_duration;
    std::mt19937 m_random {20260214};
};

// Takes away the temporary file that nobody could remove.
void dropTemporaryFile(Snapshot& snapshot, Snapshot const& before)
{
    std::erase_if(snapshot, [&](auto const& file) {
        auto const& name = file.first;
        return name.size() > 6 && name[name.size() - 6] == '.'
            && before.contains(name.substr(0, name.size() - 6));
    });
}

} // namespace

TEST_P(Kills, LeaveTheOldFileOrTheNewOne)
{
    ASSERT_NE(differences(m_before, m_after), "");
    int killed = 0;
    for (int run = 0; run < kRunsOfEach && !testing::Test::HasFailure(); ++run) {
        restore(m_before, m_directory);
        auto const signal = kSignals[run % std::size(kSignals)];
        auto const status = runAndKill(signal, run % 2 == 0);
        killed += status == 128 + signal;

        auto now = takeSnapshot(m_directory);
        if (signal == SIGKILL)
            dropTemporaryFile(now, m_before);
        if (differences(m_after, now) != "") {
            EXPECT_EQ(differences(m_before, now), "") << "run " << run << ", signal " << signal;
        }
        EXPECT_TRUE(status == 0 || status == 128 + signal) << status;
    }
    EXPECT_GT(killed, 0);
}

// Outputs of scripts are written by threads of their own, while another one may receive the signal.
TEST(KilledScript, LeavesWholeFilesAndNoTemporaryOnes)
{
    constexpr int kRuns = 40;
    constexpr std::string_view kScript = R"(
        for (let i = 0; i < 40; ++i) {
            const canvas = new Canvas(64, 64);
            canvas.getContext('2d').fillRect(0, 0, i, 40);
            new Output(canvas, `card-${i}.png`).addToQueue();
        })";
    TemporaryDirectory const scripts, directory;
    writeBytes(scripts / "cards.js", asBytes(kScript));
    std::vector<std::string> const arguments = {"--js", scripts / "cards.js", "-o", directory.path() + "/"};
    ASSERT_EQ(RunningVelk(arguments, directory.path()).wait(), 0);
    auto const whole = takeSnapshot(directory);
    ASSERT_EQ(whole.size(), 40u);

    std::mt19937 random(20260214);
    std::uniform_int_distribution<int> time(0, 20'000);
    for (int run = 0; run < kRuns && !testing::Test::HasFailure(); ++run) {
        restore({}, directory);
        DirectoryWatch const watch(directory.path());
        RunningVelk const velk(arguments, directory.path());
        watch.awaitNewFile();
        std::this_thread::sleep_for(microseconds(time(random)));
        velk.kill(run % 2 == 0 ? SIGTERM : SIGINT);
        velk.wait();
        for (auto const& [name, file] : takeSnapshot(directory))
            EXPECT_TRUE(whole.contains(name) && whole.at(name) == file) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(All, Kills, testing::ValuesIn(kModifications),
    [](auto const& modification) { return std::string(modification.param.name); });

} // namespace velk

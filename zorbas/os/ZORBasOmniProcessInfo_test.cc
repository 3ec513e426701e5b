// Process identity: the rank rules, the executable name as a crash report uses it, the saved
// environment and the conversions that end the process. Rules that depend on the environment or
// on the executable's own name run in children that really have them.
#include "zorbas/os/ZORBasOmniProcessInfo.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <thread>

#include "zorbas/os/ZORBasFileSystem.h"
#include "zorbas/os/os_files_test_util.h"

using os_test::ReadAll;
using os_test::ScratchDir;

extern char** environ;

namespace {

// Started again under another name with ZORBAS_PRINT_IDENTITY set, the test binary prints what
// it learned about itself and ends before any test runs.
const bool kIdentityChild = [] {
    if (!std::getenv("ZORBAS_PRINT_IDENTITY")) return false;
    ZORBasOmniProcessInfo::Initialize();
    std::printf("name=%s\npath=%s\nrank=%d\n", ZORBasOmniProcessInfo::ExeName(),
                ZORBasOmniProcessInfo::ExePath(), ZORBasOmniProcessInfo::Rank());
    std::fflush(stdout);
    std::_Exit(0);
}();

// Starts a copy of this binary named `name` with `env` prepended, and returns its output.
std::string RunAs(const ScratchDir& dir, const std::string& name, const std::string& env) {
    const std::string exe = dir / name;
    if (!ZORBasFileSystem::CopyFile(os_test::SelfPath().c_str(), exe.c_str())) return "copy failed";
    return os_test::Capture("env -u MPI_RANKID -u PMI_RANK " + os_test::LibraryPathSetting() + " " +
                            env + " ZORBAS_PRINT_IDENTITY=1 '" + exe + "'");
}

TEST(ProcessIdentity, NameIsCutAtTheFirstExe) {
    ScratchDir dir;
    EXPECT_EQ(RunAs(dir, "solver.exe", ""),
              "name=solver\npath=" + (dir / "solver.exe") + "\nrank=0\n");
    EXPECT_EQ(RunAs(dir, "pre.exe.post", ""),
              "name=pre\npath=" + (dir / "pre.exe.post") + "\nrank=0\n");
    EXPECT_EQ(RunAs(dir, "plain", ""), "name=plain\npath=" + (dir / "plain") + "\nrank=0\n");
}

TEST(ProcessIdentity, RankComesFromMpiRankIdThenPmiRank) {
    ScratchDir dir;
    auto rank = [&](const std::string& env) {
        std::string out = RunAs(dir, "job", env);
        size_t at = out.find("rank=");
        return at == std::string::npos ? std::string("none") : out.substr(at);
    };
    EXPECT_EQ(rank("MPI_RANKID=5 PMI_RANK=7"), "rank=5\n");
    EXPECT_EQ(rank("PMI_RANK=7"), "rank=7\n");
    EXPECT_EQ(rank("MPI_RANKID=12"), "rank=12\n");
    EXPECT_EQ(rank(""), "rank=0\n");
    EXPECT_EQ(rank("MPI_RANKID=abc PMI_RANK=7"), "rank=0\n");  // atoi, no fallback once set
}

TEST(ProcessIdentity, IdentifiersAndTheUntouchedNameBuffers) {
    EXPECT_EQ(ZORBasOmniProcessInfo::ProcessId(), static_cast<int>(getpid()));
    EXPECT_EQ(ZORBasOmniProcessInfo::ThreadId(), static_cast<int>(getpid()));
    int other = 0;
    std::thread([&] { other = ZORBasOmniProcessInfo::ThreadId(); }).join();
    EXPECT_NE(other, ZORBasOmniProcessInfo::ThreadId());
    EXPECT_GT(other, 0);

    char buffer[8] = "keep";
    EXPECT_EQ(ZORBasOmniProcessInfo::ProcessName(1, buffer, 8), buffer);
    EXPECT_EQ(ZORBasOmniProcessInfo::ProcessNameShort(1, buffer, 8), buffer);
    EXPECT_EQ(ZORBasOmniProcessInfo::ProcessNameFull(1, buffer, 8), buffer);
    EXPECT_STREQ(buffer, "keep");
}

TEST(ProcessIdentity, SaveEnvironmentAppendsAHeaderAndEveryVariable) {
    ScratchDir dir;
    const std::string file = dir / "env.txt";
    setenv("ZORBAS_SAVE_MARK", "a=b c", 1);
    ZORBasOmniProcessInfo::SaveEnvironment(file.c_str());
    ZORBasOmniProcessInfo::SaveEnvironment(file.c_str());
    ZORBasOmniProcessInfo::SaveEnvironment(nullptr);
    ZORBasOmniProcessInfo::SaveEnvironment((dir / "no/such/dir").c_str());
    unsetenv("ZORBAS_SAVE_MARK");

    std::string one = "--- " + std::string(ZORBasOmniProcessInfo::ExePath()) + " ---\n";
    for (char** e = environ; *e; ++e) one += std::string(*e) + "\n";
    // The environment now lacks the mark that was set while saving: one line fewer.
    std::string text = ReadAll(file);
    ASSERT_EQ(text.size() % 2, 0u);
    const std::string first = text.substr(0, text.size() / 2);
    EXPECT_EQ(text, first + first);
    EXPECT_EQ(first.rfind("--- " + std::string(ZORBasOmniProcessInfo::ExePath()) + " ---\n", 0),
              0u);
    EXPECT_NE(first.find("\nZORBAS_SAVE_MARK=a=b c\n"), std::string::npos);
    EXPECT_EQ(first.size(), one.size() + std::strlen("ZORBAS_SAVE_MARK=a=b c\n"));
    EXPECT_FALSE(ZORBasFileSystem::FileExists((dir / "no").c_str()));
}

TEST(ProcessIdentityDeathTest, ConversionsThatDoNotFitEndTheProcess) {
    wchar_t wide[] = L"abcdef";
    char narrow[7];
    EXPECT_STREQ(ZORBasOmniTchar2Char(wide, narrow, sizeof narrow), "abcdef");
    wchar_t back[7];
    EXPECT_EQ(std::wcscmp(ZORBasOmniWinString("abcdef", back, 7), L"abcdef"), 0);

    EXPECT_EXIT(ZORBasOmniTchar2Char(wide, narrow, 6), testing::ExitedWithCode(255),
                "^Buffer truncation in ZORBasOmniTchar2Char\n$");
    EXPECT_EXIT(ZORBasOmniWinString("abcdef", back, 6), testing::ExitedWithCode(255),
                "^Buffer truncation in ZORBasOmniWinString\n$");
}

}  // namespace

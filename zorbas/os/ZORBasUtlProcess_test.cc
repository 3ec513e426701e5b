// The command line as a program gets it back, the utility layer's view of the process, the
// phase mark's singleton, and the candidate lists of the MPI launchers.
#include "zorbas/os/ZORBasUtlProcess.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "zorbas/frame/ZORBasShared.h"  // up a floor: the phase singleton ends with its section
#include "zorbas/os/ZORBasCommandLine.h"
#include "zorbas/os/ZORBasFilStracePhase.h"
#include "zorbas/os/ZORBasMpiPathUtils.h"
#include "zorbas/os/os_files_test_util.h"

using os_test::ScratchDir;

namespace {

// Started again with ZORBAS_PRINT_ARGS set, the test binary prints its arguments as
// ZORBasGetCommandArgs gives them and ends before any test runs.
const bool kArgsChild = [] {
    if (!std::getenv("ZORBAS_PRINT_ARGS")) return false;
    ZORBasGetCommandArgs args;
    std::printf("%d", args.Argc());
    for (int i = 1; i < args.Argc(); ++i) std::printf("[%s]", args.Argv()[i]);
    std::printf("%s\n", args.Argv()[args.Argc()] == nullptr ? "" : "unterminated");
    std::fflush(stdout);
    std::_Exit(0);
}();

TEST(CommandArgs, ArgumentsComeBackWhole) {
    const std::string out = os_test::Capture("ZORBAS_PRINT_ARGS=1 '" + os_test::SelfPath() +
                                             "' 'two words' '' 'd\xc3\xa9j\xc3\xa0' -x");
    EXPECT_EQ(out, "5[two words][][d\xc3\xa9j\xc3\xa0][-x]\n");
}

TEST(CommandArgs, ThisProcessIsItsFirstArgument) {
    ZORBasGetCommandArgs args;
    ASSERT_GE(args.Argc(), 1);
    EXPECT_EQ(std::string(args.Argv()[0]).find("os_files_test") != std::string::npos, true);
}

int RankSeven() { return 7; }
int ThreadNine() { return 9; }

TEST(UtlProcess, SlotsAnswerRankAndThreadOnlyWhenSet) {
    EXPECT_EQ(ZORBasUtlProcess::Rank(), 0);
    EXPECT_EQ(ZORBasUtlProcess::ThreadID(), 0);
    ZORBasUtlProcess::SetGetRankPointer(RankSeven);
    ZORBasUtlProcess::SetGetThreadIdPointer(ThreadNine);
    EXPECT_EQ(ZORBasUtlProcess::Rank(), 7);
    EXPECT_EQ(ZORBasUtlProcess::ThreadID(), 9);
    ZORBasUtlProcess::SetGetRankPointer(nullptr);
    ZORBasUtlProcess::SetGetThreadIdPointer(nullptr);
    EXPECT_EQ(ZORBasUtlProcess::Rank(), 0);
}

TEST(UtlProcess, ImageIdentifierAndKernel) {
    EXPECT_EQ(std::string(ZORBasUtlProcess::ExePath().CStr()), os_test::SelfPath());
    EXPECT_STREQ(ZORBasUtlProcess::ExeName().CStr(), "os_files_test");
    EXPECT_EQ(ZORBasUtlProcess::ProcessID(), static_cast<int>(getpid()));
    const std::string release = os_test::Capture("uname -r");
    EXPECT_EQ(release.rfind(std::to_string(ZORBasUtlProcess::OSVerMajor()) + "." +
                                std::to_string(ZORBasUtlProcess::OSVerMinor()) + ".",
                            0),
              0u)
        << release;
}

TEST(FilStracePhase, MarkMakesTheSingletonAndTheSectionEndEndsIt) {
    ZORBasFilStracePhase::Mark("solve");
    ASSERT_TRUE(ZORBasAtiGlobalSingleton<ZORBasFilStracePhase::Impl>::Exists());
    int use = 0;
    ZORBasFil_finalize(use);  // the library's own start holds the section once
    EXPECT_FALSE(ZORBasAtiGlobalSingleton<ZORBasFilStracePhase::Impl>::Exists());
    EXPECT_EQ(use, -1);
    ZORBasFil_initialize(use);
    EXPECT_EQ(use, 0);
}

std::string Joined(const cow_List<cow_String>& list) {
    std::string s;
    for (int i = 0; i < list.Length(); ++i) s += std::string(list.ConstGet(i).CStr()) + "|";
    return s;
}

TEST(MpiPaths, SplitDropsEmptyPieces) {
    EXPECT_EQ(Joined(ZORBasMpiPathUtils::SplitStringOnDelimiter("a;;b;c;", ";")), "a|b|c|");
    EXPECT_EQ(Joined(ZORBasMpiPathUtils::SplitStringOnDelimiter("", ";")), "");
    EXPECT_EQ(Joined(ZORBasMpiPathUtils::SplitStringOnDelimiter("one::two", "::")), "one|two|");
    EXPECT_STREQ(ZORBasMpiPathUtils::PathSep(), ";");
}

TEST(MpiPaths, ListVariablesGiveCandidatesInTheirOrder) {
    ScratchDir dir;
    const ZORBasMpiPathUtils::Environment none;
    unsetenv("ZORBAS_TEST_MPI_ROOTS");
    EXPECT_EQ(ZORBasMpiPathUtils::SearchPathsToPMpirun("ZORBAS_TEST_MPI_ROOTS", none).Length(), 0);
    EXPECT_TRUE(ZORBasMpiPathUtils::PathToPMpirun("ZORBAS_TEST_MPI_ROOTS", none).Empty());

    const std::string first = dir / "first", second = dir / "second";
    setenv("ZORBAS_TEST_MPI_ROOTS", (first + ";" + second).c_str(), 1);
    EXPECT_EQ(
        Joined(ZORBasMpiPathUtils::SearchPathsToPMpirun("ZORBAS_TEST_MPI_ROOTS", none)),
        first + "/bin/ZORExternal/pmpi/bin/mpirun|" + second + "/bin/ZORExternal/pmpi/bin/mpirun|");
    EXPECT_EQ(Joined(ZORBasMpiPathUtils::SearchPathsToIMpirun("ZORBAS_TEST_MPI_ROOTS", none)),
              first + "/bin/ZORExternal/impi/bin/mpiexec.hydra|" + second +
                  "/bin/ZORExternal/impi/bin/mpiexec.hydra|");
    EXPECT_TRUE(ZORBasMpiPathUtils::PathToPMpirun("ZORBAS_TEST_MPI_ROOTS", none).Empty());

    // Only the second root has the launcher: it is found there.
    ASSERT_EQ(std::system(("mkdir -p '" + second + "/bin/ZORExternal/pmpi/bin' && touch '" +
                           second + "/bin/ZORExternal/pmpi/bin/mpirun'")
                              .c_str()),
              0);
    EXPECT_STREQ(ZORBasMpiPathUtils::PathToPMpirun("ZORBAS_TEST_MPI_ROOTS", none).CStr(),
                 (second + "/bin/ZORExternal/pmpi/bin/mpirun").c_str());
    EXPECT_TRUE(ZORBasMpiPathUtils::PathToIMpirun("ZORBAS_TEST_MPI_ROOTS", none).Empty());
    unsetenv("ZORBAS_TEST_MPI_ROOTS");
}

TEST(MpiPaths, MicrosoftCandidatesFollowTheRootAndTheBinVariable) {
    ScratchDir dir;
    ZORBasMpiPathUtils::Environment env;
    const std::string folders =
        "/Microsoft MPI/bin/mpiexec.exe|/Microsoft HPC Pack/bin/mpiexec.exe|"
        "/Microsoft HPC Pack 2008 R2/bin/mpiexec.exe|/Microsoft HPC Pack 2008/bin/mpiexec.exe|"
        "/Microsoft HPC Pack 2008 SDK/bin/mpiexec.exe|/Microsoft HPC Pack 2012/bin/mpiexec.exe|";
    auto rooted = [&](const std::string& root) {
        std::string s;
        for (size_t at = 0, bar; (bar = folders.find('|', at)) != std::string::npos; at = bar + 1)
            s += root + folders.substr(at, bar - at + 1);
        return s;
    };
    EXPECT_EQ(Joined(ZORBasMpiPathUtils::SearchPathsToMSMpirun("", env)),
              rooted("C:\\Program Files"));
    EXPECT_EQ(Joined(ZORBasMpiPathUtils::SearchPathsToMSMpirun("", env, "/opt")), rooted("/opt"));

    env.Insert("ProgramFiles", dir.path().c_str());
    env.Insert("MSMPI_BIN", "/msmpi");
    EXPECT_EQ(Joined(ZORBasMpiPathUtils::SearchPathsToMSMpirun("", env, "/opt")),
              rooted(dir.path()) + "/msmpi/mpiexec.exe|");
    EXPECT_TRUE(ZORBasMpiPathUtils::PathToMSMpirun("", env).Empty());
    ASSERT_EQ(std::system(("mkdir -p '" + dir.path() + "/Microsoft HPC Pack 2008/bin' && touch '" +
                           dir.path() + "/Microsoft HPC Pack 2008/bin/mpiexec.exe'")
                              .c_str()),
              0);
    EXPECT_STREQ(ZORBasMpiPathUtils::PathToMSMpirun("", env).CStr(),
                 (dir.path() + "/Microsoft HPC Pack 2008/bin/mpiexec.exe").c_str());

    // From the process's own environment.
    EXPECT_FALSE(ZORBasMpiPathUtils::MSMpiExists());
    setenv("ProgramFiles", dir.path().c_str(), 1);
    EXPECT_TRUE(ZORBasMpiPathUtils::MSMpiExists());
    unsetenv("ProgramFiles");
}

}  // namespace

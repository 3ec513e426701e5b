// The fault-to-exit path, each case in a crash_child process that really faults: the files it
// leaves, its streams and how it ended, under both installers and the debug and batch switches.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>

#include "zorbas/crash/crash_test_util.h"

using crash_test::ChildRun;
using crash_test::CountLines;
using crash_test::Element;
using crash_test::RunChild;

namespace {

std::string Pid(const ChildRun& run) { return std::to_string(run.pid); }
std::string DumpName(const ChildRun& run) { return "crash_child." + Pid(run) + ".00.dmp"; }
std::string ReportName(const ChildRun& run) { return "crash_child." + Pid(run) + ".00.exception"; }
const char kBanner[] = "\n---------- RUNTIME EXCEPTION HAS OCCURED ----------\n";

TEST(FaultPath, AccessViolationLeavesTheDumpTextUnderEitherInstaller) {
    for (const char* installer : {"std", "plain"}) {
        ChildRun run = RunChild({installer, "segv", "--deep", "3"});
        SCOPED_TRACE(installer + std::string("\n") + run.Describe());
        EXPECT_TRUE(run.Signaled(SIGSEGV));
        // A fault leaves the dump text alone: no exception report on this path.
        EXPECT_EQ(run.Files(), std::set<std::string>{DumpName(run)});
        std::string dump = run.File(DumpName(run));
        EXPECT_EQ(dump.rfind("<Description>\n    Access violation: a read of the unmapped address "
                             "0x0 (SIGSEGV, SEGV_MAPERR) in crash_child!",
                             0),
                  0u);
        std::string stack = Element(dump, "Callstack");
        EXPECT_NE(stack.find("crash_child!(anonymous namespace)::NullRead()+0x"),
                  std::string::npos);
        EXPECT_NE(stack.find("crash_child.cc:"), std::string::npos) << "no file and line";
        EXPECT_GE(std::count(stack.begin(), stack.end(), '\n'), 5);
        EXPECT_NE(run.err.find("\n*** Error: Access violation"), std::string::npos);
        EXPECT_NE(run.err.find(kBanner), std::string::npos);  // the message stream
        EXPECT_EQ(run.out.find("ERROR CATEGORY"), std::string::npos);
    }
}

TEST(FaultPath, DivisionByZeroAndWorkerThreadFaultsNameTheirCause) {
    ZORBAS_SKIP_FAULT_CHILD_UNDER_SANITIZERS();
    ChildRun fpe = RunChild({"std", "fpe"});
    EXPECT_TRUE(fpe.Signaled(SIGFPE)) << fpe.Describe();
    EXPECT_NE(fpe.File(DumpName(fpe)).find("Arithmetic exception: an integer division by zero"),
              std::string::npos)
        << fpe.Describe();

    ChildRun thread = RunChild({"std", "thread"});
    EXPECT_TRUE(thread.Signaled(SIGSEGV)) << thread.Describe();
    std::string stack = Element(thread.File(DumpName(thread)), "Callstack");
    EXPECT_NE(stack.find("NullRead"), std::string::npos) << thread.Describe();
    EXPECT_EQ(stack.find("main+0x"), std::string::npos) << "a worker's stack, not main's";
}

TEST(FaultPath, StackOverflowWritesTheReportItsCopyAndTheAppendedStack) {
    ZORBAS_SKIP_FAULT_CHILD_UNDER_SANITIZERS();
    ChildRun run = RunChild({"std", "stack", "--job", "plate"});
    SCOPED_TRACE(run.Describe());
    EXPECT_TRUE(run.Signaled(SIGSEGV));
    std::string report = "plate.00." + Pid(run) + ".exception";
    std::string copy = "plate.00." + Pid(run) + ".dmp";
    EXPECT_EQ(run.Files(), (std::set<std::string>{report, copy, DumpName(run)}));
    std::string text = run.File(report);
    EXPECT_EQ(
        text.rfind("<Description>\n   Runtime stack limit has been exceeded.           \n"
                   "</Description>\n\n<Details>\n       This may be caused by user subroutines "
                   "with large data structures allocated on   \n",
                   0),
        0u);
    EXPECT_EQ(run.File(copy), text);
    EXPECT_NE(Element(text, "Callstack").find("Recurse"), std::string::npos);
    std::string dump = run.File(DumpName(run));
    EXPECT_EQ(dump.rfind("\n<Callstack>\n", 0), 0u);
    EXPECT_NE(dump.find("Recurse"), std::string::npos);
    EXPECT_NE(run.err.find("\n*** Error: Runtime stack limit has been exceeded.           \n"
                           "    This may be caused"),
              std::string::npos);
    EXPECT_NE(run.out.find("*** ERROR CATEGORY:  ASSEMBLY\n\n"), std::string::npos);
}

TEST(SignalPath, EachHandlerPrintsItsTextReportsAndEndsByTheSignal) {
    ZORBAS_SKIP_FAULT_CHILD_UNDER_SANITIZERS();
    struct Case {
        const char* installer;
        const char* action;
        int signal;
        const char* text;
    };
    for (const Case& c : {
             Case{"std", "term", SIGTERM, "received the TERM signal"},
             Case{"plain", "term", SIGTERM, "received the SIGTERM signal"},
             Case{"std", "abort", SIGABRT, "received the ABORT signal"},
             Case{"plain", "abort", SIGABRT, "received the SIGABRT signal"},
             Case{"std", "int", SIGINT, "received the INTERRUPT signal"},
             Case{"std", "raise-segv", SIGSEGV, "encountered a SEGMENTATION FAULT"},
         }) {
        ChildRun run = RunChild({c.installer, c.action});
        SCOPED_TRACE(std::string(c.installer) + " " + c.action + "\n" + run.Describe());
        EXPECT_TRUE(run.Signaled(c.signal));
        EXPECT_NE(run.out.find("***  VELDOR/crash_child rank 0 " + std::string(c.text) + "\n\n"),
                  std::string::npos);
        EXPECT_NE(run.out.find("*** ERROR CATEGORY:  ASSEMBLY\n\n"), std::string::npos);
        std::string copy = "crash_child." + Pid(run) + ".00.dmp";
        EXPECT_EQ(run.Files(), (std::set<std::string>{ReportName(run), copy}));
        std::string report = run.File(ReportName(run));
        EXPECT_EQ(run.File(copy), report);
        EXPECT_EQ(Element(report, "Description"),
                  "   ***  VELDOR/crash_child rank 0 " + std::string(c.text) + "\n");
        EXPECT_EQ(Element(report, "Phase"), "") << "no phases were saved";
        // The plain handler passes its own stack; the standard one lets the report pick one, and
        // the error stack, which holds a message, comes first.
        std::string stack = Element(report, "Callstack");
        if (std::string(c.installer) == "plain")
            EXPECT_NE(stack.find("omi_SignalHandler"), std::string::npos);
        else
            EXPECT_NE(stack.find("assembling block 7"), std::string::npos);
    }
    // Signal 11 is left out of the plain installer on purpose.
    ChildRun plain = RunChild({"plain", "raise-segv"});
    EXPECT_TRUE(plain.Signaled(SIGSEGV));
    EXPECT_TRUE(plain.Files().empty()) << plain.Describe();
    EXPECT_EQ(plain.out.find("VELDOR"), std::string::npos);
}

TEST(Switches, DebugAndBatchVariablesFollowTheOrderOfEvents) {
    ZORBAS_SKIP_FAULT_CHILD_UNDER_SANITIZERS();
    // Plain installer with a debug popup: the same files, then the system's handling.
    ChildRun popup = RunChild({"plain", "segv"}, {{"VEL_DEBUG_POPUP", "1"}});
    EXPECT_TRUE(popup.Signaled(SIGSEGV)) << popup.Describe();
    EXPECT_EQ(popup.Files(), std::set<std::string>{DumpName(popup)});
    EXPECT_NE(popup.out.find("error mode 00000000"), std::string::npos);

    for (const char* var : {"MRW_DEBUG_POPUP", "MC_RESULT", "GRN_ODT_IN", "VLD_DEBUGGER"}) {
        ChildRun run = RunChild({"std", "segv"}, {{var, "1"}});
        SCOPED_TRACE(var + std::string("\n") + run.Describe());
        EXPECT_TRUE(run.Signaled(SIGSEGV));
        EXPECT_TRUE(run.Files().empty());
        EXPECT_EQ(run.err.find("*** Error"), std::string::npos);
        bool popupVar = std::string(var) == "MRW_DEBUG_POPUP";
        EXPECT_NE(run.out.find(popupVar ? "error mode 00000000" : "error mode ffffffff"),
                  std::string::npos);
    }

    ChildRun core = RunChild({"std", "segv"}, {{"VEL_PARALLEL_DEBUG", "1"}, {"VLD_DEBUGGER", "1"}});
    EXPECT_NE(core.out.find("core limit unlimited"), std::string::npos) << core.Describe();
    EXPECT_TRUE(core.Files().empty()) << core.Describe();

    // A handler running under MC_RESULT exits with the signal's number.
    ChildRun mc = RunChild({"none", "std-handler"}, {{"MC_RESULT", "1"}});
    EXPECT_TRUE(mc.Exited(SIGTERM)) << mc.Describe();
    EXPECT_NE(mc.out.find("received the TERM signal"), std::string::npos);

    // The rank: MPI_RANKID before PMI_RANK, in the names and the text.
    ChildRun ranked = RunChild({"std", "segv"}, {{"MPI_RANKID", "3"}, {"PMI_RANK", "1"}});
    EXPECT_EQ(ranked.Files(), std::set<std::string>{"crash_child." + Pid(ranked) + ".03.dmp"})
        << ranked.Describe();
}

TEST(Switches, WindumpReplacesTheTextByADumpOfTheChosenKind) {
    for (auto [value, kind] : {std::pair{"2", 2}, std::pair{"4", 0}}) {
        ChildRun run = RunChild({"std", "segv"}, {{"VLD_ENABLE_WINDUMP", value}});
        SCOPED_TRACE(run.Describe());
        EXPECT_TRUE(run.Signaled(SIGSEGV));
        std::string name = "crash_child.r00.mini" + std::to_string(kind) + ".dmp";
        ASSERT_EQ(run.Files(), std::set<std::string>{name});
        std::string dump = run.File(name);
        EXPECT_NE(Element(dump, "Registers").find("rip"), std::string::npos);
        EXPECT_NE(Element(dump, "Callstack").find("NullRead"), std::string::npos);
        EXPECT_NE(Element(dump, "Maps").find("crash_child"), std::string::npos);
        EXPECT_EQ(dump.find("<StackMemory") != std::string::npos, kind >= 1);
        EXPECT_EQ(run.err.find("*** Error:"), std::string::npos);
    }
}

TEST(ReportFailures, NoWritableDirectoryPutsDescriptionAndDetailsOnStandardOutput) {
    std::string base = crash_test::MakeTempDir();
    std::string work = base + "/work";
    mkdir(work.c_str(), 0755);
    pid_t pid = crash_test::StartChild({"std", "term", "--lose-cwd", work}, {}, work, base);
    ChildRun run = crash_test::Finish(pid, work, base);
    SCOPED_TRACE(run.Describe());
    EXPECT_TRUE(run.Signaled(SIGTERM));
    EXPECT_NE(run.out.find("   ***  VELDOR/crash_child rank 0 received the TERM signal\n   \n"),
              std::string::npos);
    EXPECT_EQ(run.out.find("ERROR CATEGORY"), std::string::npos);
}

TEST(ReportFailures, ASecondFaultInsideTheReportKeepsWhatWasWritten) {
    ChildRun run = RunChild({"std", "second-fault"});
    SCOPED_TRACE(run.Describe());
    EXPECT_TRUE(run.Signaled(SIGSEGV));
    std::string report = run.File(ReportName(run));
    EXPECT_NE(report.find("</Memory>\n\n"), std::string::npos);
    EXPECT_EQ(report.find("</Directories>"), std::string::npos);  // faulted reading PLXTemp
}

TEST(FrameCounter, AtMost201LinesInTheLifeOfTheProcessThenOneAFault) {
    ZORBAS_SKIP_FAULT_CHILD_UNDER_SANITIZERS();
    ChildRun run = RunChild({"std", "repeat", "--deep", "150"});
    SCOPED_TRACE(run.Describe());
    ASSERT_TRUE(run.Exited(0));
    EXPECT_NE(run.out.find("frames written 202"), std::string::npos);
    std::string dump = run.File(DumpName(run));
    std::vector<int> lines;
    for (size_t at = 0; (at = dump.find("<Callstack>\n", at)) != std::string::npos; ++at)
        lines.push_back(CountLines(Element(dump, "Callstack", at)));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_GT(lines[0], 150);
    EXPECT_EQ(lines[0] + lines[1], 201);
    EXPECT_EQ(lines[2], 1);
}

TEST(SleepByRank, FourRanksWriteTheirReportsInRankOrderHalfASecondApart) {
    std::string dir = crash_test::MakeTempDir();
    std::vector<pid_t> pids;
    for (int rank = 0; rank < 4; ++rank) {
        std::string streams = crash_test::MakeTempDir();
        pids.push_back(crash_test::StartChild({"std", "term"}, {{"PMI_RANK", std::to_string(rank)}},
                                              dir, streams));
    }
    std::vector<double> written;
    for (int rank = 0; rank < 4; ++rank) {
        int status = 0;
        waitpid(pids[rank], &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
        std::string name = dir + "/crash_child." + std::to_string(pids[rank]) + ".0" +
                           std::to_string(rank) + ".exception";
        struct stat st {};
        ASSERT_EQ(stat(name.c_str(), &st), 0) << name;
        written.push_back(st.st_mtim.tv_sec + st.st_mtim.tv_nsec * 1e-9);
    }
    for (int rank = 1; rank < 4; ++rank) {
        double gap = written[rank] - written[rank - 1];
        EXPECT_GT(gap, 0.3) << "rank " << rank;
        EXPECT_LT(gap, 0.9) << "rank " << rank;
    }
}

TEST(OnDemandStack, DumpsTheCallerWhenSwitchedOnAndGoesOn) {
    ChildRun on = RunChild({"std", "dumpstack"}, {{"VEL_PARALLEL_DEBUG", "1"}});
    SCOPED_TRACE(on.Describe());
    EXPECT_TRUE(on.Exited(0));
    EXPECT_NE(on.out.find("went on after the dump"), std::string::npos);
    std::string dump = on.File("crash_child.00.dmp");
    ASSERT_EQ(dump.rfind("=== CALLSTACK ===\ncrash_child!main+0x", 0), 0u) << dump;
    EXPECT_EQ(dump.find("zorbasdumpcallstack"), std::string::npos);

    ChildRun off = RunChild({"std", "dumpstack"});
    EXPECT_TRUE(off.Exited(0));
    EXPECT_TRUE(off.Files().empty()) << off.Describe();
}

TEST(FloatingPointGate, DivisionByZeroTrapsOnlyAfterGlobalEnable) {
    ZORBAS_SKIP_FAULT_CHILD_UNDER_SANITIZERS();
    ChildRun trapped = RunChild({"none", "fpdiv"}, {{"GLOBAL_ENABLE_FPE", "TRUE"}});
    EXPECT_TRUE(trapped.Signaled(SIGFPE)) << trapped.Describe();
    ChildRun masked = RunChild({"none", "fpdiv"});
    EXPECT_TRUE(masked.Exited(0)) << masked.Describe();
    EXPECT_NE(masked.out.find("1/0 = inf"), std::string::npos);
}

}  // namespace

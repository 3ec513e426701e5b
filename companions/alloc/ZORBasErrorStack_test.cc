#include "companions/alloc/ZORBasErrorStack.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "companions/alloc/ZORBasMemInfo.h"
#include "companions/alloc/ZORBasPhaseTracker.h"
#include "companions/alloc/mem_Malloc.h"

using ES = ZORBasErrorStack;

TEST(ErrorStack, LoadDefaultsDescribeTheProcess) {
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    EXPECT_STREQ(ES::Cwd(), cwd);
    EXPECT_STREQ(ES::Indir(), cwd);
    EXPECT_NE(std::strstr(ES::ExePath(), "alloc_test"), nullptr) << ES::ExePath();
    // No job name until a program gives one: a report then names its files after the executable.
    EXPECT_STREQ(ES::Jobname(), "");
    EXPECT_EQ(std::string(ES::CStr()).rfind("Job: \n", 0), 0u) << ES::CStr();
    // No error yet: a report falls back to the size it reads itself.
    EXPECT_EQ(ES::GetMem(), 0u);
}

TEST(ErrorStack, SettersFillTheReportTextAndMessagesRollOver) {
    ES::SetJobname("wing_crash");
    ES::SetOutdir("/scratch/out");
    ES::SetIndir("/data/in");
    ES::SetTmpdir("/scratch/tmp");
    ES::SetExePath("/opt/solver/bin/solver");
    ES::SetCwd("/data");
    ES::ClearMessages();
    ES::SetContext(ES::kElementLoop);
    EXPECT_STREQ(ES::ContextAsString(), "ELEMENT LOOP");
    ES::PushMessage("element 17 inverted");
    ES::PushMessage("time step cut\ntwice");
    EXPECT_EQ(ES::Length(), 2);
    EXPECT_STREQ(ES::ErrorMessages(), "element 17 inverted\ntime step cut twice\n");
    EXPECT_STREQ(ES::CStr(),
                 "Job: wing_crash\nPhase: ELEMENT LOOP\nExecutable: /opt/solver/bin/solver\n"
                 "Working directory: /data\nInput directory: /data/in\n"
                 "Output directory: /scratch/out\nTemporary directory: /scratch/tmp\n"
                 "Messages:\nelement 17 inverted\ntime step cut twice\n");
    ES::PopMessage();
    EXPECT_STREQ(ES::ErrorMessages(), "element 17 inverted\n");

    for (int i = 0; i < ES::kMaxMessages + 5; ++i) ES::PushMessage(std::to_string(i).c_str());
    EXPECT_EQ(ES::Length(), ES::kMaxMessages);
    EXPECT_EQ(std::string(ES::ErrorMessages()).substr(0, 2), "5\n");  // the oldest dropped

    std::string longName(ES::kPathBytes + 100, 'j');
    ES::SetJobname(longName.c_str());
    EXPECT_EQ(std::strlen(ES::Jobname()), static_cast<size_t>(ES::kPathBytes - 1));
}

// The words a user reads after "*** ERROR CATEGORY:", index 0 first.
TEST(ErrorStack, ContextWordsAreTheSolverPhases) {
    EXPECT_EQ(ES::kContextCount, 17);
    EXPECT_STREQ(ES::ContextWord(0), "UNKNOWN");
    EXPECT_STREQ(ES::ContextWord(ES::kRegularizationSolver), "REGULARIZATION SOLVER");
    EXPECT_STREQ(ES::ContextWord(9), "AMS SOLVER");
    EXPECT_STREQ(ES::ContextWord(14), "SENSITIVITY ANALYSIS");
    EXPECT_STREQ(ES::ContextWord(16), "CFD");
    for (int bad : {17, 99, -1}) {
        ES::SetContext(bad);
        EXPECT_STREQ(ES::ContextAsString(), "UNKNOWN") << bad;
    }
    ES::SetContext(ES::kCfd);
    EXPECT_STREQ(ES::ContextAsString(), "CFD");
    ES::SetContext(ES::kUnknown);
}

TEST(ErrorStack, AFatalExceptionFreezesTheContextAndTheMemoryAsOfTheError) {
    ES::SetJobname("before");
    size_t before = ZORBasMemInfo().Current() >> 20;
    ES::SetFatalException(true);
    size_t atError = ES::GetMem();
    EXPECT_TRUE(ES::FatalException());
    EXPECT_GT(atError, 0u);
    EXPECT_LE(atError > before ? atError - before : before - atError, 2u) << before;
    // The process grows after the error; the report still tells the size as of the error.
    void* grown = mem_Malloc(size_t{256} << 20);
    ASSERT_NE(grown, nullptr);
    EXPECT_GE(ZORBasMemInfo().Current() >> 20, atError + 200);
    EXPECT_EQ(ES::GetMem(), atError);
    ES::SetFatalException(true);  // already set: not read again
    EXPECT_EQ(ES::GetMem(), atError);
    ES::SetJobname("after");
    ES::PushMessage("ignored");
    EXPECT_STREQ(ES::Jobname(), "before");
    EXPECT_EQ(std::strstr(ES::CStr(), "ignored"), nullptr);
    ES::SetFatalException(false);
    ES::SetJobname("after");
    EXPECT_STREQ(ES::Jobname(), "after");
    EXPECT_EQ(ES::GetMem(), atError);
    mem_Free(grown);
}

namespace {
// The report's walk: the last six phases, oldest first, with " | " between them.
std::string PhaseLine() {
    ZORBasPhaseTracker::Iterator it;
    if (it.Size() == 0) return "(no element)";
    std::string line;
    it.Position(-6);
    for (; !it.Last(); it.Next()) line += std::string(it.Value()) + " | ";
    return line + it.Value() + "\n";
}
}  // namespace

TEST(PhaseTracker, KeepsTheNewestMarkersInOrder) {
    long long before = ZORBasPhaseTracker::Saved();
    ZORBasPhaseTracker::SaveMarker("Input");
    ZORBasPhaseTracker::SaveMarker("Solution");
    ZORBasPhaseTracker::Iterator it;
    EXPECT_EQ(ZORBasPhaseTracker::Saved(), before + 2);
    it.Position(-1);
    EXPECT_STREQ(it.Value(), "Solution");
    EXPECT_TRUE(it.Last());
    it.Position(-2);
    EXPECT_STREQ(it.Value(), "Input");
    EXPECT_FALSE(it.Last());
    EXPECT_TRUE(it.Next());
    EXPECT_FALSE(it.Next());
    EXPECT_EQ(it.Value(), nullptr);
    EXPECT_TRUE(it.Last());  // a walk that ran past the end stops too

    const int total = ZORBasPhaseTracker::kCapacity + 10;
    for (int i = 0; i < total; ++i)
        ZORBasPhaseTracker::SaveMarker(("phase " + std::to_string(i)).c_str());
    ZORBasPhaseTracker::Iterator all;
    ASSERT_EQ(all.Size(), ZORBasPhaseTracker::kCapacity);
    int i = total - ZORBasPhaseTracker::kCapacity;
    for (all.Position(0); !all.IsDone(); all.Next(), ++i)
        EXPECT_EQ(std::string(all.Value()), "phase " + std::to_string(i));
    EXPECT_EQ(i, total);
    all.Position(ZORBasPhaseTracker::kCapacity);
    EXPECT_TRUE(all.IsDone());

    std::string longName(300, 'p');
    ZORBasPhaseTracker::SaveMarker(longName.c_str());
    ZORBasPhaseTracker::Iterator last;
    last.Position(-1);
    EXPECT_EQ(std::strlen(last.Value()), static_cast<size_t>(ZORBasPhaseTracker::kNameBytes - 1));
}

TEST(PhaseTracker, TheReportWalkTellsTheLastSixOldestFirst) {
    for (const char* p : {"p1", "p2", "p3", "p4", "p5", "p6", "p7", "p8"})
        ZORBasPhaseTracker::SaveMarker(p);
    EXPECT_EQ(PhaseLine(), "p3 | p4 | p5 | p6 | p7 | p8\n");
}

// A fresh process (the binary run again) holds no marker, then one, then fewer than six.
TEST(PhaseTrackerDeathTest, TheReportWalkOnFewerThanSixStartsAtTheOldest) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::string empty = PhaseLine();
            ZORBasPhaseTracker::SaveMarker("Input-Start");
            std::string one = PhaseLine();
            ZORBasPhaseTracker::SaveMarker("Solve");
            ZORBasPhaseTracker::SaveMarker("Input-End");
            std::fprintf(stderr, "[%s][%s][%s]", empty.c_str(), one.c_str(), PhaseLine().c_str());
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        "\\[\\(no element\\)\\]\\[Input-Start\n\\]\\[Input-Start \\| Solve \\| Input-End\n\\]");
    GTEST_FLAG_SET(death_test_style, "fast");
}

#include "companions/alloc/ZORBasErrorStack.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "companions/alloc/ZORBasPhaseTracker.h"
#include "companions/alloc/mem_Malloc.h"

using ES = ZORBasErrorStack;

TEST(ErrorStack, LoadDefaultsDescribeTheProcess) {
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    EXPECT_STREQ(ES::Cwd(), cwd);
    EXPECT_STREQ(ES::Indir(), cwd);
    EXPECT_NE(std::strstr(ES::ExePath(), "alloc_test"), nullptr) << ES::ExePath();
    EXPECT_STREQ(ES::Jobname(), "alloc_test");
    EXPECT_EQ(ES::GetMem(), mem_Footprint());
}

TEST(ErrorStack, SettersFillTheReportTextAndMessagesRollOver) {
    ES::SetJobname("wing_crash");
    ES::SetOutdir("/scratch/out");
    ES::SetIndir("/data/in");
    ES::SetTmpdir("/scratch/tmp");
    ES::SetExePath("/opt/solver/bin/solver");
    ES::SetCwd("/data");
    ES::ClearMessages();
    ES::SetContext(ES::kSolution);
    EXPECT_STREQ(ES::ContextAsString(), "Solution");
    ES::PushMessage("element 17 inverted");
    ES::PushMessage("time step cut\ntwice");
    EXPECT_EQ(ES::Length(), 2);
    EXPECT_STREQ(ES::ErrorMessages(), "element 17 inverted\ntime step cut twice\n");
    EXPECT_STREQ(ES::CStr(),
                 "Job: wing_crash\nPhase: Solution\nExecutable: /opt/solver/bin/solver\n"
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

    ES::SetContext(99);
    EXPECT_STREQ(ES::ContextAsString(), "Unknown");
    EXPECT_STREQ(ES::ContextWord(ES::kOutput), "Output");
}

TEST(ErrorStack, AFatalExceptionFreezesTheContext) {
    ES::SetJobname("before");
    ES::SetFatalException(true);
    EXPECT_TRUE(ES::FatalException());
    ES::SetJobname("after");
    ES::PushMessage("ignored");
    EXPECT_STREQ(ES::Jobname(), "before");
    EXPECT_EQ(std::strstr(ES::CStr(), "ignored"), nullptr);
    ES::SetFatalException(false);
    ES::SetJobname("after");
    EXPECT_STREQ(ES::Jobname(), "after");
}

TEST(PhaseTracker, KeepsTheNewestMarkersInOrder) {
    long long before = ZORBasPhaseTracker::Saved();
    ZORBasPhaseTracker::SaveMarker("Input");
    ZORBasPhaseTracker::SaveMarker("Solution");
    ZORBasPhaseTracker::Iterator it;
    EXPECT_EQ(ZORBasPhaseTracker::Saved(), before + 2);
    it.Last();
    EXPECT_STREQ(it.Value(), "Solution");
    it.Position(it.Size() - 2);
    EXPECT_STREQ(it.Value(), "Input");
    EXPECT_TRUE(it.Next());
    EXPECT_FALSE(it.Next());
    EXPECT_EQ(it.Value(), nullptr);

    const int total = ZORBasPhaseTracker::kCapacity + 10;
    for (int i = 0; i < total; ++i)
        ZORBasPhaseTracker::SaveMarker(("phase " + std::to_string(i)).c_str());
    ZORBasPhaseTracker::Iterator all;
    ASSERT_EQ(all.Size(), ZORBasPhaseTracker::kCapacity);
    int i = total - ZORBasPhaseTracker::kCapacity;
    for (all.Position(0); !all.IsDone(); all.Next(), ++i)
        EXPECT_EQ(std::string(all.Value()), "phase " + std::to_string(i));
    EXPECT_EQ(i, total);

    std::string longName(300, 'p');
    ZORBasPhaseTracker::SaveMarker(longName.c_str());
    ZORBasPhaseTracker::Iterator last;
    last.Last();
    EXPECT_EQ(std::strlen(last.Value()), static_cast<size_t>(ZORBasPhaseTracker::kNameBytes - 1));
}

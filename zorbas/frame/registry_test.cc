// The phase-ordered singleton registry and the alert listener.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "zorbas/frame/ZORBas_SingletonRegistry.h"
#include "zorbas/frame/omi_AlertListener.h"

namespace {

// Records which identifiers' destroy functions ran, in order.
std::vector<int> g_calls;
template <int Id>
void Record() {
    g_calls.push_back(Id);
}

class Registry : public ::testing::Test {
  protected:
    void SetUp() override {
        g_calls.clear();
        reg = &ZORBas_SingletonRegistry::Instance();
        reg->Condition() = SingletonDestructCondition();
    }
    template <int... Ids>
    void TagAll() {
        (reg->Tag(Ids, &Record<Ids>), ...);
    }
    void TearDown() override {
        for (int id = -5; id <= 30; ++id) reg->Destroy(id);
        g_calls.clear();
    }
    ZORBas_SingletonRegistry* reg = nullptr;
};

TEST_F(Registry, DestroyByIdCallsOnceAndMissingAnswersZero) {
    TagAll<7>();
    EXPECT_EQ(reg->Destroy(7), 1);
    EXPECT_EQ(reg->Destroy(7), 0);
    EXPECT_EQ(reg->Destroy(12345), 0);
    EXPECT_EQ(g_calls, std::vector<int>{7});
}

TEST_F(Registry, PhaseZeroOrderFollowsTheConditions) {
    TagAll<1, 2, 3, 4, 5, 9, 10, 11, 14, 18, 20, 21, 24, 28, 29>();
    reg->Destroy(SingletonDestructPhase0);  // all conditions false: 20, 10 first, then 5
    EXPECT_EQ(g_calls, (std::vector<int>{20, 10, 5, 2, 3, 4, 9, 11, 18, 21, 28, 29}));

    g_calls.clear();
    TagAll<1, 2, 5, 10, 14, 20, 24>();
    reg->Condition().conditionOne = true;
    reg->Condition().conditionTwo = true;
    reg->Destroy(SingletonDestructPhase0);
    EXPECT_EQ(g_calls, (std::vector<int>{1, 10, 2, 14, 24}));
}

TEST_F(Registry, PhaseOneOrderAndConditionThree) {
    TagAll<6, 7, 8, 11, 12, 13, 15, 16, 17, 18, 19, 22, 23, 25, 26, 27, 28, 29>();
    reg->Condition().conditionThree = true;
    reg->Destroy(SingletonDestructPhase1);
    EXPECT_EQ(g_calls, (std::vector<int>{6, 7, 11, 23, 8, 25, 13, 15, 18, 28, 29, 27}));
    g_calls.clear();
    reg->Condition() = SingletonDestructCondition();
    reg->Condition().conditionTwo = true;
    reg->Destroy(SingletonDestructPhase1);
    EXPECT_EQ(g_calls, (std::vector<int>{26, 12, 16, 22, 17, 19}));
}

TEST_F(Registry, UnknownPhaseDoesNothing) {
    TagAll<6, 20>();
    reg->Destroy(static_cast<SingletonDestructPhase>(2));
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(Registry, FinalWalkCallsPositiveIdsKeepsEntriesAndPrintsOnRequest) {
    TagAll<-3, 0, 4>();
    setenv("ZOR_PRINT_FINALIZED_LEFTOVER_SINGLETON", "", 1);
    ::testing::internal::CaptureStdout();
    reg->Destroy();
    std::string out = ::testing::internal::GetCapturedStdout();
    unsetenv("ZOR_PRINT_FINALIZED_LEFTOVER_SINGLETON");
    EXPECT_EQ(g_calls, std::vector<int>{4});
    EXPECT_EQ(out,
              "Singleton with ID -3 is registered but not finalized\n"
              "Singleton with ID 0 is registered but not finalized\n"
              "Singleton with ID 4 is now finalized in the end\n");
    EXPECT_EQ(reg->Size(), 3);

    ::testing::internal::CaptureStdout();
    reg->Destroy();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "") << "silent without the variable";
}

std::atomic<int> g_alertSignal{0};
std::atomic<bool> g_alertOnListenerThread{false};
std::thread::id g_mainThread;
void AlertHandler(int signal) {
    g_alertOnListenerThread = std::this_thread::get_id() != g_mainThread;
    g_alertSignal = signal;
}

TEST(AlertListener, ArmAlertDisarm) {
    g_mainThread = std::this_thread::get_id();
    omi_AlertListener& listener = omi_AlertListener::Instance();
    listener.Disarm();  // disarmed: nothing happens
    EXPECT_FALSE(listener.Armed());
    listener.SetHandler(omi_Alert3, AlertHandler);
    listener.Arm();
    ASSERT_TRUE(listener.Armed());
    uint32_t id = listener.ThreadId();
    listener.Arm();  // armed: nothing happens
    EXPECT_EQ(listener.ThreadId(), id);

    omi_AlertTrigger(id).Alert(omi_Alert3);
    for (int i = 0; i < 2000 && g_alertSignal == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(g_alertSignal.load(), 18);
    EXPECT_TRUE(g_alertOnListenerThread.load());
    listener.Disarm();
    EXPECT_FALSE(listener.Armed());
    omi_AlertListener::Finalize();
}

}  // namespace

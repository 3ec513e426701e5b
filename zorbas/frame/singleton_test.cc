// Singletons, the phase-ordered registry, the alert listener and the exception model.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>
#include <vector>

#include "zorbas/frame/ZORBasAtiGlobalSingleton.h"
#include "zorbas/frame/ZORBasUtlException.h"
#include "zorbas/frame/ZORBas_SingletonRegistry.h"
#include "zorbas/frame/omi_AlertListener.h"
#include "zorbas/frame/omi_Singleton.h"

namespace {

struct Probe : omi_Singleton<Probe>, mem_AllocationOperators {
    static inline int constructed = 0;
    static inline int destroyed = 0;
    Probe() { ++constructed; }
    ~Probe() { ++destroyed; }
};

TEST(Singleton, CreatesOnceRegistersAndFinalizesTwiceHarmlessly) {
    Probe::constructed = Probe::destroyed = 0;
    Probe& a = Probe::Instance();
    Probe& b = Probe::Instance();
    EXPECT_EQ(&a, &b);
    EXPECT_EQ(Probe::constructed, 1);
    EXPECT_EQ(omi_SingletonRegistry::Instance()->Find(typeid(Probe).name()), &a);
    Probe::Finalize();
    Probe::Finalize();
    EXPECT_EQ(Probe::destroyed, 1);
    EXPECT_EQ(omi_SingletonRegistry::Instance()->Find(typeid(Probe).name()), nullptr);
    Probe::Instance();
    EXPECT_EQ(Probe::constructed, 2);
    Probe::Finalize();
}

TEST(SingletonDeathTest, SecondConstructionIsAContractViolation) {
    Probe::Instance();
    EXPECT_DEATH({ Probe second; },
                 "Assertion failed: instance == 0, file "
                 "ZORBase/ProtectedInterfaces/omi_SingletonBase, line 22");
    Probe::Finalize();
}

struct Shared {
    static inline std::atomic<int> constructed{0};
    Shared() {
        ++constructed;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));  // widen the race window
    }
};

TEST(GlobalSingleton, ManyThreadsAskingFirstGetOneInstance) {
    Shared::constructed = 0;
    std::vector<std::thread> threads;
    std::vector<Shared*> seen(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back(
            [&seen, i] { seen[i] = ZORBasAtiGlobalSingleton<Shared>::Instance(); });
    for (auto& t : threads) t.join();
    EXPECT_EQ(Shared::constructed.load(), 1);
    for (Shared* s : seen) EXPECT_EQ(s, seen[0]);
    ZORBasAtiGlobalSingleton<Shared>::Lock();
    ZORBasAtiGlobalSingleton<Shared>::Unlock();
    ZORBasAtiGlobalSingleton<Shared>::Finalize();
    EXPECT_FALSE(ZORBasAtiGlobalSingleton<Shared>::Exists());
    ZORBasAtiGlobalSingleton<Shared>::Finalize();  // twice is harmless
    EXPECT_NE(ZORBasAtiGlobalSingleton<Shared>::Instance(), nullptr);
    EXPECT_EQ(Shared::constructed.load(), 2);
    ZORBasAtiGlobalSingleton<Shared>::Finalize();
}

// An allocation that answers null (a non-throwing class operator) must not become the instance.
struct Unallocatable {
    static void* operator new(size_t) noexcept { return nullptr; }
    static void operator delete(void*) {}
};

TEST(GlobalSingletonDeathTest, NullAllocationIsFatal) {
    EXPECT_DEATH(ZORBasAtiGlobalSingleton<Unallocatable>::Instance(),
                 "\\*\\*\\* Error: AssertionFailed:inst2 != 0, file "
                 "ZORBase/ProtectedInterfaces/ZORBasAtiGlobalSingleton");
}

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

TEST(ExceptionFamily, CodesAndTexts) {
    ZORBasUtlReadError read{ZORBasSystemError(ENOENT)};
    ZORBasUtlShortRead shortRead;
    ZORBasUtlSystemError system("open", ZORBasSystemError(EACCES));
    ZORBasUtlSystemErrorException sec{cow_SystemErrorCode(omi_SystemErrorCode(10054, 0))};
    ZORBasUtlWriteError write{ZORBasSystemError(ENOSPC)};
    ZORBasUtlShortWrite shortWrite;
    const ZORBasException* all[] = {&read, &shortRead, &system, &sec, &write, &shortWrite};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(all[i]->GetCode(), 303 + i);
    auto m = ZORBasStringModeUTF8;
    EXPECT_STREQ(read.AsString(m), "Read Error: No such file or directory");
    EXPECT_STREQ(shortRead.AsString(m), "All the data requested could not be read.");
    EXPECT_STREQ(system.AsString(m), "System Error open: Permission denied");
    EXPECT_STREQ(sec.AsString(m), "System Error: WSAECONNRESET (10054) Connection reset by peer.");
    EXPECT_STREQ(write.AsString(m), "Write Error: No space left on device");
    EXPECT_STREQ(shortWrite.AsString(m), "All the data provided to write could not be written.");
    EXPECT_STREQ(system.GetServiceName(), "open");
    EXPECT_EQ(read.GetSystemErrorCode().Code(), ENOENT);
}

TEST(ExceptionFamily, PropagateThrowsTheMostDerivedCopyAndCloneCopies) {
    ZORBasUtlWriteError write{ZORBasSystemError(EIO)};
    const ZORBasException& base = write;
    EXPECT_THROW(base.Propagate(), ZORBasUtlWriteError);
    ZORBasException* copy = base.Clone();
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetCode(), 307);
    delete copy;
}

TEST(SystemErrorCode, TableHitsMissesAndRuntimeNumbers) {
    EXPECT_EQ(cow_SystemErrorCode(omi_SystemErrorCode(10004, 0)).GetText(),
              "WSAEINTR (10004) Interrupted function call.");
    EXPECT_EQ(cow_SystemErrorCode(omi_SystemErrorCode(11004, 0)).GetText(),
              "WSANO_DATA (11004) Valid name, no data record of requested type.");
    // Between rows and outside the table: the system's own text.
    EXPECT_EQ(cow_SystemErrorCode(omi_SystemErrorCode(ENOENT, 0)).GetText(), std::strerror(ENOENT));
    EXPECT_EQ(cow_SystemErrorCode(omi_SystemErrorCode(10005, 0)).GetText(), std::strerror(10005));
    EXPECT_EQ(cow_SystemErrorCode(omi_SystemErrorCode(-1, EBADF)).GetText(), std::strerror(EBADF));
    errno = EPIPE;
    cow_SystemErrorCode runtime(ErrorCodeRuntime);
    EXPECT_EQ(runtime.SystemCode(), -1);
    EXPECT_EQ(runtime.GetText(), std::strerror(EPIPE));
}

struct CountingFactory : ZORBasUtlExceptionFactory {
    static inline int destroyed = 0;
    ~CountingFactory() override { ++destroyed; }
    [[noreturn]] void throwSystemErrorException(cow_SystemErrorCode code) override {
        throw code.SystemCode();
    }
};

TEST(ExceptionModel, ReplaceableFactoryAndSetBehaviorFreesTheOldOne) {
    EXPECT_THROW(ZORBasUtlExceptionModel::throwSystemErrorException(
                     cow_SystemErrorCode(omi_SystemErrorCode(10061, 0))),
                 ZORBasUtlSystemErrorException);
    CountingFactory::destroyed = 0;
    EXPECT_TRUE(ZORBasUtlExceptionModel::setBehavior(new CountingFactory));
    EXPECT_THROW(ZORBasUtlExceptionModel::throwSystemErrorException(
                     cow_SystemErrorCode(omi_SystemErrorCode(42, 0))),
                 int);
    EXPECT_TRUE(ZORBasUtlExceptionModel::setBehavior(new CountingFactory));
    EXPECT_EQ(CountingFactory::destroyed, 1);
    ZORBasUtlExceptionModel::setBehavior(new ZORBasUtlExcDefaultFactory);
    EXPECT_EQ(CountingFactory::destroyed, 2);
    try {
        ZORBasUtlExceptionModel::throwSystemErrorException(
            cow_SystemErrorCode(omi_SystemErrorCode(10061, 0)));
    } catch (const ZORBasUtlSystemErrorException& e) {
        EXPECT_STREQ(e.File(), "ZORBase/ZORBasUtils.m/src/ZORBasUtlExcDefaultFactory");
        EXPECT_EQ(e.GetSec().SystemCode(), 10061);
    }
}

}  // namespace

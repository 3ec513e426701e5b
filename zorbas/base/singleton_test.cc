// The singleton templates: one instance, registration, the global form under many threads.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "zorbas/base/ZORBasAtiGlobalSingleton.h"
#include "zorbas/base/omi_Singleton.h"

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

}  // namespace

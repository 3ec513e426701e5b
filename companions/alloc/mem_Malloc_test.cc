#include "companions/alloc/mem_Malloc.h"

#include <gtest/gtest.h>

#include <cstring>

#include "companions/alloc/ZORBasMemPool.h"

TEST(TrackedHeap, FootprintAndPeakFollowEveryBlock) {
    size_t base = mem_Footprint();
    size_t blocks = mem_LiveBlocks();
    void* a = mem_Malloc(1000);
    void* b = mem_Malloc(24);
    ASSERT_TRUE(a && b);
    EXPECT_EQ(mem_Footprint(), base + 1024);
    EXPECT_EQ(mem_LiveBlocks(), blocks + 2);
    EXPECT_GE(mem_MaxFootprint(), base + 1024);
    EXPECT_EQ(mem_HeapCheck(), mem_HEAPOK);
    mem_Free(a);
    EXPECT_EQ(mem_Footprint(), base + 24);
    EXPECT_GE(mem_MaxFootprint(), base + 1024);  // the peak stays
    mem_Free(b);
    EXPECT_EQ(mem_Footprint(), base);
    EXPECT_EQ(mem_LiveBlocks(), blocks);
}

// The resource monitor's reading: System = word 0 + word 2, InUse = word 4, Free = word 5, and
// its heap test flags anything but -2.
TEST(TrackedHeap, MonitorReadsTheHeapWordsAndTheSoundValue) {
    EXPECT_EQ(mem_HeapCheck(), -2);
    mem_DLMallinfoType before = mem_DLMallinfo();
    EXPECT_EQ(before.Word(7), mem_MaxFootprint());
    EXPECT_EQ(before.Word(8), 0u);
    EXPECT_EQ(before.Word(-1), 0u);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer's heap keeps no C heap statistics";
#else
    auto system = [](const mem_DLMallinfoType& m) { return m.Word(0) + m.Word(2); };
    EXPECT_EQ(before.Word(4) + before.Word(5), system(before));
    EXPECT_EQ(before.Word(2), before.hblkhd);
    EXPECT_EQ(before.Word(4), before.uordblks);

    // A block of 8 MB is mapped from the system on its own: system bytes and bytes in use grow.
    const size_t big = size_t{8} << 20;
    void* block = mem_Malloc(big);
    ASSERT_NE(block, nullptr);
    mem_DLMallinfoType during = mem_DLMallinfo();
    EXPECT_GE(system(during), system(before) + big);
    EXPECT_GE(during.Word(4), before.Word(4) + big);
    EXPECT_EQ(during.Word(4) + during.Word(5), system(during));
    EXPECT_EQ(mem_HeapCheck(), -2);
    mem_Free(block);
    EXPECT_LT(mem_DLMallinfo().Word(4), during.Word(4));
#endif
}

TEST(TrackedHeap, ReallocKeepsTextAndAccounts) {
    size_t base = mem_Footprint();
    auto* p = static_cast<char*>(mem_Realloc(nullptr, 10));  // null acts as malloc
    ASSERT_NE(p, nullptr);
    std::memcpy(p, "abcdefghi", 10);
    p = static_cast<char*>(mem_Realloc(p, 100000));
    ASSERT_NE(p, nullptr);
    EXPECT_STREQ(p, "abcdefghi");
    EXPECT_EQ(mem_Footprint(), base + 100000);
    p = static_cast<char*>(mem_Realloc(p, 4));
    EXPECT_EQ(std::memcmp(p, "abcd", 4), 0);
    EXPECT_EQ(mem_Footprint(), base + 4);
    EXPECT_EQ(mem_BlockSize(p), 4u);
    mem_Free(p);
    mem_Free(nullptr);
    EXPECT_EQ(mem_Footprint(), base);
    EXPECT_EQ(mem_HeapCheck(), mem_HEAPOK);
}

TEST(TrackedHeap, HugeRequestsFailWithNullOrThrow) {
    EXPECT_EQ(mem_Malloc(SIZE_MAX - 4), nullptr);
    void* p = mem_Malloc(8);
    EXPECT_EQ(mem_Realloc(p, SIZE_MAX - 4), nullptr);
    mem_Free(p);  // still valid after the failed realloc
    EXPECT_THROW(mem_OperatorNewThrow(SIZE_MAX - 4), std::bad_alloc);
}

TEST(TrackedHeapDeathTest, OverrunAndDoubleFreeAreCaught) {
    EXPECT_DEATH(
        {
            auto* p = static_cast<char*>(mem_Malloc(16));
            p[16] = 'x';  // one past the end: the tail canary
            mem_Free(p);
        },
        "\\*\\*\\* Error: AssertionFailed:tail == kTailCanary, file companions/alloc/mem_Malloc");
    EXPECT_DEATH(
        {
            void* p = mem_Malloc(16);
            mem_Free(p);
            mem_Free(p);
        },
        // Under AddressSanitizer the C heap's own check reports the freed header first.
        "AssertionFailed:h->magic == kLiveMagic|heap-use-after-free");
}

TEST(MemPool, CountsCurrentAndPeakOfItsOwnBlocks) {
    ZORBasMemPool pool(7, "Mesh");
    EXPECT_EQ(pool.PoolID(), 7);
    EXPECT_STREQ(pool.PoolName(), "Mesh");
    EXPECT_FALSE(pool.Active());
    pool.Activate();
    EXPECT_TRUE(pool.Active());
    void* a = pool.Alloc(100);
    void* b = pool.Alloc(50);
    EXPECT_EQ(pool.MemoryCurrent(), 150u);
    EXPECT_EQ(pool.Free(a), 100u);
    EXPECT_EQ(pool.MemoryCurrent(), 50u);
    EXPECT_EQ(pool.MemoryPeak(), 150u);
    EXPECT_EQ(pool.Free(b), 50u);
    EXPECT_EQ(pool.Free(nullptr), 0u);
    EXPECT_EQ(pool.MemoryCurrent(), 0u);
}

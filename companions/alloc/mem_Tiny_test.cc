#include "companions/alloc/mem_Tiny.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "companions/alloc/ZORBasMemPool.h"
#include "companions/alloc/ZORBasMemSmallBlockAllocator.h"
#include "companions/alloc/mem_Malloc.h"

TEST(TinyAllocator, EverySizeMapsToItsClassAndIsRecognised) {
    for (size_t size = 1; size <= 32; ++size) {
        void* p = mem_TinyAlloc(size);
        ASSERT_NE(p, nullptr) << size;
        EXPECT_TRUE(mem_IsTinyBlock(p));
        size_t cls = size <= 4 ? 4 : (size + 7) / 8 * 8;
        EXPECT_EQ(mem_TinyClassSize(p), cls);
        EXPECT_EQ(mem_BlockSize(p), cls);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % (cls == 4 ? 4 : 8), 0u);
        std::memset(p, 0xAB, size);
        mem_Free(p);
    }
    EXPECT_EQ(mem_TinyAlloc(0), nullptr);
    EXPECT_EQ(mem_TinyAlloc(33), nullptr);
    void* big = mem_Malloc(8);
    EXPECT_FALSE(mem_IsTinyBlock(big));
    EXPECT_FALSE(mem_IsTinyBlock(nullptr));
    int onStack = 0;
    EXPECT_FALSE(mem_IsTinyBlock(&onStack));
    mem_Free(big);
}

TEST(TinyAllocator, BlocksDoNotOverlapAndFreedOnesAreReused) {
    std::vector<char*> blocks;
    for (int i = 0; i < 20000; ++i) {
        auto* p = static_cast<char*>(mem_TinyAlloc(24));
        std::memset(p, i & 0x7F, 24);
        blocks.push_back(p);
    }
    std::vector<char*> sorted = blocks;
    std::sort(sorted.begin(), sorted.end());
    for (size_t i = 1; i < sorted.size(); ++i) ASSERT_GE(sorted[i] - sorted[i - 1], 24);
    for (int i = 0; i < 20000; ++i) ASSERT_EQ(blocks[i][23], static_cast<char>(i & 0x7F));
    std::set<char*> freed(blocks.begin(), blocks.begin() + 100);
    for (int i = 0; i < 100; ++i) mem_Free(blocks[i]);
    for (int i = 0; i < 100; ++i) {
        auto* p = static_cast<char*>(mem_TinyAlloc(17));  // same class as 24
        EXPECT_TRUE(freed.count(p)) << "a fresh block while freed ones wait";
        blocks[i] = p;
    }
    for (char* p : blocks) mem_Free(p);
}

TEST(TinyAllocator, FootprintCountsChunksAndReallocLeavesTheTinyRange) {
    size_t chunks = mem_TinyChunkBytes();
    size_t foot = mem_Footprint();
    std::vector<void*> blocks;
    for (int i = 0; i < 10000; ++i) blocks.push_back(mem_TinyAlloc(32));  // >= 320 KB of slabs
    size_t grown = mem_TinyChunkBytes() - chunks;
    EXPECT_GE(grown, 10000u * 32 - 65536);
    EXPECT_EQ(mem_Footprint() - foot, grown);
    EXPECT_EQ(mem_HeapCheck(), mem_HEAPOK);

    auto* t = static_cast<char*>(mem_TinyAlloc(4));
    std::memcpy(t, "abc", 4);
    auto* r = static_cast<char*>(mem_Realloc(t, 200));
    EXPECT_FALSE(mem_IsTinyBlock(r));
    EXPECT_STREQ(r, "abc");
    mem_Free(r);
    for (void* p : blocks) mem_Free(p);
}

TEST(TinyAllocator, BlocksFreedOnAnotherThreadServeThatThread) {
    std::vector<void*> blocks;
    for (int i = 0; i < 1000; ++i) blocks.push_back(mem_TinyAlloc(8));
    std::set<void*> mine(blocks.begin(), blocks.end());
    size_t reused = 0;
    std::thread([&] {
        for (void* p : blocks) mem_Free(p);
        for (int i = 0; i < 1000; ++i) {
            void* p = mem_TinyAlloc(8);
            reused += mine.count(p);
            mem_Free(p);
        }
    }).join();
    EXPECT_GT(reused, 0u);
}

// Counters take four bytes each, and the blocks a thread freed before it ended reach the next
// thread whole and in order (the offset links survive the hand-over to the shared pool).
TEST(TinyAllocator, FourByteBlocksPackAndOutliveTheirThread) {
    constexpr int kCount = 1000;
    std::vector<uint32_t*> first(kCount);
    std::thread([&] {
        for (int i = 0; i < kCount; ++i) first[i] = static_cast<uint32_t*>(mem_TinyAlloc(4));
        std::vector<uint32_t*> sorted = first;
        std::sort(sorted.begin(), sorted.end());
        int packed = 0;
        for (int i = 1; i < kCount; ++i) {
            EXPECT_GE(sorted[i] - sorted[i - 1], 1);
            packed += sorted[i] - sorted[i - 1] == 1;
        }
        EXPECT_GT(packed, kCount / 2) << "neighbours four bytes apart";
        for (uint32_t* p : first) mem_Free(p);
    }).join();
    std::set<uint32_t*> freed(first.begin(), first.end());
    int reused = 0, corrupt = 0;
    std::thread([&] {
        std::vector<uint32_t*> mine(kCount);
        for (int i = 0; i < kCount; ++i) {
            mine[i] = static_cast<uint32_t*>(mem_TinyAlloc(3));
            *mine[i] = 0xC0DE0000u + static_cast<uint32_t>(i);
            reused += static_cast<int>(freed.count(mine[i]));
        }
        for (int i = 0; i < kCount; ++i)
            corrupt += *mine[i] != 0xC0DE0000u + static_cast<uint32_t>(i);
        for (uint32_t* p : mine) mem_Free(p);
    }).join();
    EXPECT_EQ(reused, kCount);
    EXPECT_EQ(corrupt, 0);
    EXPECT_EQ(mem_HeapCheck(), mem_HEAPOK);
}

TEST(TinyAllocator, ManyThreadsNeverShareABlock) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 20;
    constexpr int kBatch = 2000;
    std::atomic<int> corrupt{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t, &corrupt] {
            std::vector<unsigned*> mine;
            for (int round = 0; round < kRounds; ++round) {
                for (int i = 0; i < kBatch; ++i) {
                    auto* p = static_cast<unsigned*>(mem_TinyAlloc(4 + (i % 4) * 8));
                    *p = static_cast<unsigned>(t * 1000000 + i);
                    mine.push_back(p);
                }
                for (int i = 0; i < kBatch; ++i)
                    if (*mine[i] != static_cast<unsigned>(t * 1000000 + i)) ++corrupt;
                for (unsigned* p : mine) mem_Free(p);
                mine.clear();
            }
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(corrupt.load(), 0);
    EXPECT_EQ(mem_HeapCheck(), mem_HEAPOK);
}

TEST(SmallBlockAllocator, SmallFromTinyLargeFromHeap) {
    void* s = ZORBasMemSmallBlockAllocator::allocate(12);
    void* l = ZORBasMemSmallBlockAllocator::allocate(4096);
    EXPECT_TRUE(mem_IsTinyBlock(s));
    EXPECT_FALSE(mem_IsTinyBlock(l));
    std::memset(l, 1, 4096);
    ZORBasMemSmallBlockAllocator::deallocate(s);
    ZORBasMemSmallBlockAllocator::deallocate(l);
}

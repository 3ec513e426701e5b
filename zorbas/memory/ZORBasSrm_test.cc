#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "companions/alloc/mem_Malloc.h"
#include "zorbas/memory/ZORBasOmiDefaultAllocator.h"
#include "zorbas/memory/ZORBasSrmAllocator.h"
#include "zorbas/memory/ZORBasSrmMemoryInfo.h"
#include "zorbas/memory/srm_ResourceConstData.h"

namespace {

// A higher layer as programs of the suite write one: it derives from the forwarder to reach the
// protected slot setters.
struct TestLayer : ZORBasSrmForwarder {
    static ZORBasCamPool* pool3;
    static ZORBasCamPool* AnswerPool(srm_ResourceEnums r) {
        if (r == 3) return pool3;
        if (r == 4) return nullptr;
        return srm_NoPoolAnswer;
    }
    static int summaries;
    static void CountSummary() { ++summaries; }
    static void Register() {
        SetPtrGetPool(AnswerPool);
        SetPtrMemorySummary(CountSummary);
    }
    static void Unregister() {
        SetPtrGetPool(ZORBasSrmGetPoolNOOP);
        SetPtrMemorySummary(ZORBasSrmDoNothingVoid);
    }
};
ZORBasCamPool* TestLayer::pool3 = nullptr;
int TestLayer::summaries = 0;

bool AllZero(const void* p, size_t n) {
    const unsigned char* b = static_cast<const unsigned char*>(p);
    for (size_t i = 0; i < n; ++i)
        if (b[i]) return false;
    return true;
}

template <class A>
void ExpectZeroFilledBlocks() {
    // Dirty a few blocks and give them back, so that reused memory would show through.
    for (size_t n : {1u, 24u, 100u, 4096u}) {
        void* p = A::allocate(n);
        std::memset(p, 0xAB, n);
        A::deallocate(p);
        p = A::allocate(n);
        EXPECT_TRUE(AllZero(p, n)) << n;
        A::deallocate(p);
    }
}

std::string Printed(void (srm_ResourceConstData::*print)(FILE*, int) const,
                    const srm_ResourceConstData& data) {
    char* buffer = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&buffer, &size);
    (data.*print)(out, 7);
    std::fclose(out);
    std::string text(buffer, size);
    std::free(buffer);
    return text;
}

}  // namespace

TEST(ZORBasSrmAllocator, WithoutLayerAllocatesZeroFilledFromTrackedHeap) {
    ZORBasSrmAllocator<7>::Initialize();
    EXPECT_EQ(ZORBasSrmAllocator<7>::GetPool(), nullptr);
    size_t before = mem_Footprint();
    void* p = ZORBasSrmAllocator<7>::allocate(1000);
    EXPECT_GE(mem_Footprint() - before, 1000u);
    ZORBasSrmAllocator<7>::deallocate(p);
    EXPECT_EQ(mem_Footprint(), before);

    ExpectZeroFilledBlocks<ZORBasSrmAllocator<-1>>();
    ExpectZeroFilledBlocks<ZORBasSrmAllocator<64>>();
    ExpectZeroFilledBlocks<ZORBasOmiDefaultAllocator>();
}

TEST(ZORBasSrmAllocator, PoolSetIsUsedAndZeroFilled) {
    ZORBasCamPool pool("mesh");
    ZORBasSrmAllocator<12>::SetPool(&pool);
    void* p = ZORBasSrmAllocator<12>::allocate(256);
    EXPECT_GE(pool.MemoryCurrent(), 256u);
    EXPECT_EQ(ZORBasSrmAllocator<13>::GetPool(), nullptr);  // one pointer per index
    ZORBasSrmAllocator<12>::deallocate(p);
    EXPECT_EQ(pool.MemoryCurrent(), 0u);
    ExpectZeroFilledBlocks<ZORBasSrmAllocator<12>>();
    ZORBasSrmAllocator<12>::Finalize();
    EXPECT_EQ(ZORBasSrmAllocator<12>::GetPool(), nullptr);
    EXPECT_EQ(pool.MemoryCurrent(), 0u);  // Finalize frees nothing
}

TEST(ZORBasSrmAllocator, DeallocateGoesToThePoolSetNow) {
    ZORBasCamPool first("first");
    ZORBasCamPool second("second");
    ZORBasSrmAllocator<20>::SetPool(&first);
    void* p = ZORBasSrmAllocator<20>::allocate(64);
    size_t held = first.MemoryCurrent();
    ASSERT_GE(held, 64u);
    ZORBasSrmAllocator<20>::SetPool(&second);
    ZORBasSrmAllocator<20>::deallocate(p);
    // The block is released by the second pool, whose count goes below zero (wraps); the first
    // still believes it holds the block.
    EXPECT_EQ(first.MemoryCurrent(), held);
    EXPECT_EQ(second.MemoryCurrent(), size_t(0) - held);
    ZORBasSrmAllocator<20>::Finalize();
}

TEST(ZORBasSrmAllocator, InitializeAsksTheLayerAndKeepsPoolOnSentinel) {
    ZORBasCamPool pool("three");
    ZORBasCamPool kept("kept");
    TestLayer::pool3 = &pool;
    TestLayer::Register();
    ZORBasSrmAllocator<3>::Initialize();
    EXPECT_EQ(ZORBasSrmAllocator<3>::GetPool(), &pool);

    ZORBasSrmAllocator<4>::SetPool(&kept);
    ZORBasSrmAllocator<4>::Initialize();  // a null answer clears
    EXPECT_EQ(ZORBasSrmAllocator<4>::GetPool(), nullptr);

    ZORBasSrmAllocator<5>::SetPool(&kept);
    ZORBasSrmAllocator<5>::Initialize();  // the sentinel leaves it
    EXPECT_EQ(ZORBasSrmAllocator<5>::GetPool(), &kept);

    EXPECT_EQ(ZORBasSrmForwarder::GetPool(srm_ResourceFirst), srm_NoPoolAnswer);
    ZORBasSrmForwarder::MemorySummary();
    EXPECT_EQ(TestLayer::summaries, 1);
    TestLayer::Unregister();
    for (auto f : {&ZORBasSrmAllocator<3>::Finalize, &ZORBasSrmAllocator<5>::Finalize}) f();
}

TEST(ZORBasSrmForwarder, DefaultSlotsPrintTheirLine) {
    testing::internal::CaptureStdout();
    ZORBasSrmForwarder::MemorySummary();
    ZORBasSrmForwarder::MemorySummary("Solve");
    ZORBasSrmForwarder::Initialize();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ZORBasSrmDoNothingVoid\nZORBasSrmDoNothingPhase\n");
    EXPECT_EQ(ZORBasSrmForwarder::GetPool(srm_ResourceLast), srm_NoPoolAnswer);
}

TEST(ZORBasSrmBase, MemoryLimitIsStoredAndPassedToTheCacheManager) {
    ASSERT_EQ(ZORBasSrmBase::m_cacheManager, nullptr);
    ZORBasSrmBase::SetMemoryLimit(size_t(6) << 30);  // without a manager: stored only
    EXPECT_EQ(ZORBasSrmBase::GetMemoryLimit(), size_t(6) << 30);
    EXPECT_EQ(ZORBasSrmBase::MemoryLimit(), size_t(6) << 30);

    ZORBasCamCacheManager manager;
    ZORBasSrmBase::m_cacheManager = &manager;
    ZORBasSrmBase::SetMemoryLimit(4096);
    EXPECT_EQ(manager.MemoryLimit(), 4096u);
    EXPECT_EQ(ZORBasSrmBase::MemoryLimit(), 4096u);
    ZORBasSrmBase::m_cacheManager = nullptr;
    ZORBasSrmBase::SetMemoryLimit(0);
}

TEST(ZORBasSrmMemoryInfo, GangsCountRecordsAndKeepLow32Bits) {
    ZORBasSrmMemoryInfo info;
    EXPECT_EQ(info.GangSize("Elements"), 0u);
    info.AddRecord("Elements", (size_t(1) << 32) + 5, 99);
    info.AddRecord("Elements", 17, 0);
    info.AddRecord("Nodes", 3, 0);
    EXPECT_EQ(info.GangSize("Elements"), 2u);
    EXPECT_EQ(info.GangSize("Nodes"), 1u);
    EXPECT_EQ(info.Record("Elements", 0), 5u);
    EXPECT_EQ(info.Record("Elements", 1), 17u);
    info.PrintTable();
}

TEST(srm_ResourceConstData, FreshObjectIsEmpty) {
    srm_ResourceConstData data;
    std::string resources = Printed(&srm_ResourceConstData::PrintResources, data);
    EXPECT_EQ(resources.rfind("Resources:\n  0)                          0   0\n", 0), 0u);
    EXPECT_NE(resources.find(" 64)                          0   0\n"), std::string::npos);
    EXPECT_EQ(Printed(&srm_ResourceConstData::PrintPriorities, data).find("phase"),
              std::string::npos);
}

TEST(srm_ResourceConstData, PrintedForms) {
    srm_ResourceConstData data;
    std::strcpy(data.resourceNames[0], "Mesh");
    std::strcpy(data.resourceNames[2], "Results");
    std::strcpy(data.phaseNames[1], "Assembly");
    std::strcpy(data.procedureNames[0], "Static");
    data.LocalPurgeId()[0] = 4;
    data.LocalPurgeId()[2] = 9;
    data.purgeBase = 100;
    data.purgeToResource[4] = 0;
    data.purgeToResource[9] = 2;
    data.priorities[0][1][0] = 2;
    data.priorities[0][1][1] = 9;
    data.priorities[0][1][2] = 4;
    EXPECT_EQ(data.PurgeId(static_cast<srm_ResourceEnums>(2)), 109);

    std::string resources = Printed(&srm_ResourceConstData::PrintResources, data);
    EXPECT_EQ(resources.rfind("Resources:\n"
                              "  0) Mesh                     4 104\n"
                              "  1)                          0 100\n"
                              "  2) Results                  9 109\n",
                              0),
              0u);
    std::string phases = Printed(&srm_ResourceConstData::PrintPhases, data);
    EXPECT_EQ(phases.rfind("Phases:\n  0) \n  1) Assembly\n  2) \n", 0), 0u);
    EXPECT_NE(phases.find(" 21) \n"), std::string::npos);
    std::string procedures = Printed(&srm_ResourceConstData::PrintProcedures, data);
    EXPECT_EQ(procedures, "Procedures:\n  0) Static\n  1) \n  2) \n  3) \n  4) \n  5) \n");
    EXPECT_EQ(Printed(&srm_ResourceConstData::PrintPriorities, data),
              "Priorities:\n"
              "  0) Static\n"
              "     phase 1 Assembly: 2 purgeables:\n"
              "               9 Results\n"
              "               4 Mesh\n"
              "\n"
              "  1) \n  2) \n  3) \n  4) \n  5) \n");
}

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "zorbas/memory/ZORBasMemShmAllocator.h"
#include "zorbas/memory/ZORBasSrmDCAllocator.h"

namespace {

// A layer that names a pool for resource 7 only.
class PoolLayer : public ZORBasSrmForwarder {
  public:
    static ZORBasCamPool* pool;
    static ZORBasCamPool* Answer(srm_ResourceEnums r) { return r == 7 ? pool : srm_NoPoolAnswer; }
    static void Install() { SetPtrGetPool(&Answer); }
    static void Remove() { SetPtrGetPool(&ZORBasSrmGetPoolNOOP); }
};
ZORBasCamPool* PoolLayer::pool = nullptr;

}  // namespace

TEST(ZORBasSrmDCAllocator, CountsBlocksAndBytesForItselfAndItsResource) {
    const auto r = static_cast<srm_ResourceEnums>(5);
    long long blocksBefore = ZORBasSrmDCAllocator::ResourceBlocks(r);
    size_t bytesBefore = ZORBasSrmDCAllocator::ResourceBytes(r);
    size_t heapBefore = mem_Footprint();
    {
        ZORBasAllocator handle(new ZORBasSrmDCAllocator(r));
        auto* dc = static_cast<ZORBasSrmDCAllocator*>(handle.Source());
        ZORBasSrmDCAllocator other(r);
        size_t given = 0;
        void* a = handle.Alloc(100, given);
        EXPECT_GE(given, 100u);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(a) % 16, 0u);
        std::memset(a, 0xAB, given);  // all of `given` is usable (the sanitizers watch)
        void* b = handle.LargeBlockAllocator().Alloc(3 << 20);  // large blocks count here too
        void* c = other.Alloc(40);
        EXPECT_EQ(dc->Blocks(), 2);
        EXPECT_GE(dc->Bytes(), given + (3u << 20));
        EXPECT_EQ(ZORBasSrmDCAllocator::ResourceBlocks(r), blocksBefore + 3);
        EXPECT_EQ(ZORBasSrmDCAllocator::ResourceBytes(r),
                  bytesBefore + dc->Bytes() + other.Bytes());
        EXPECT_GT(mem_Footprint(), heapBefore + (3u << 20));  // from the tracked heap
        size_t peak = dc->Bytes();
        handle.Free(b);
        handle.Free(a);
        other.Free(c);
        handle.Free(nullptr);
        EXPECT_EQ(dc->Blocks(), 0);
        EXPECT_EQ(dc->Bytes(), 0u);
        EXPECT_EQ(dc->PeakBytes(), peak);
    }
    EXPECT_EQ(ZORBasSrmDCAllocator::ResourceBlocks(r), blocksBefore);
    EXPECT_EQ(ZORBasSrmDCAllocator::ResourceBytes(r), bytesBefore);
    EXPECT_EQ(mem_Footprint(), heapBefore);
}

TEST(ZORBasSrmDCAllocator, TakesTheResourcesPoolWhenTheLayerNamesOne) {
    ZORBasCamPool pool("seven");
    PoolLayer::pool = &pool;
    PoolLayer::Install();
    ZORBasSrmDCAllocator inPool(static_cast<srm_ResourceEnums>(7));
    ZORBasSrmDCAllocator onHeap(static_cast<srm_ResourceEnums>(8));
    PoolLayer::Remove();
    EXPECT_EQ(inPool.Pool(), &pool);
    EXPECT_EQ(onHeap.Pool(), nullptr);
    void* p = inPool.Alloc(1000);
    void* q = onHeap.Alloc(1000);
    EXPECT_EQ(pool.MemoryCurrent(), 1016u);  // the block and its header
    inPool.Free(p);
    onHeap.Free(q);
    EXPECT_EQ(pool.MemoryCurrent(), 0u);
}

TEST(ZORBasSrmDCAllocatorDeathTest, AResourceOutOfRangeIsAContractViolation) {
    EXPECT_DEATH(ZORBasSrmDCAllocator(static_cast<srm_ResourceEnums>(65)),
                 "AssertionFailed:resource >= -1");
}

namespace {
bool ShmNameExists(const std::string& name) {
    return access(("/dev/shm" + name).c_str(), F_OK) == 0;
}
}  // namespace

TEST(ZORBasMemShmAllocator, AChildProcessMapsABlockByNameAndSeesAndChangesItsBytes) {
    ZORBasMemShmAllocator shm("zorbastest");
    size_t given = 0;
    auto* block = static_cast<unsigned char*>(shm.Alloc(10000, given));
    EXPECT_EQ(given % static_cast<size_t>(sysconf(_SC_PAGESIZE)), 0u);
    EXPECT_GE(given, 10000u);
    for (size_t i = 0; i < given; ++i) block[i] = static_cast<unsigned char>(i * 7);
    std::string name = shm.Name(block);
    EXPECT_EQ(name.rfind("/zorbastest." + std::to_string(getpid()) + ".", 0), 0u) << name;
    EXPECT_EQ(shm.Name(block + 1), nullptr);

    // The child maps the block by its name, as a process that did not inherit it would.
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        size_t size = 0;
        auto* seen = static_cast<unsigned char*>(ZORBasMemShmAllocator::Map(name.c_str(), size));
        if (size != given) {
            std::fprintf(stderr, "child: mapped size %zu, expected %zu\n", size, given);
            _exit(2);
        }
        for (size_t i = 0; i < size; ++i)
            if (seen[i] != static_cast<unsigned char>(i * 7)) {
                std::fprintf(stderr, "child: byte %zu differs\n", i);
                _exit(3);
            }
        std::memset(seen, 0x5A, 128);  // answer through the block
        ZORBasMemShmAllocator::Unmap(seen, size);
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(block[0], 0x5A);
    EXPECT_EQ(block[127], 0x5A);
    EXPECT_EQ(block[128], static_cast<unsigned char>(128 * 7));

    EXPECT_TRUE(ShmNameExists(name));
    shm.Free(block);
    EXPECT_FALSE(ShmNameExists(name));
    EXPECT_EQ(shm.Blocks(), 0);
}

TEST(ZORBasMemShmAllocator, MappingAMissingNameThrowsAndTheDestructorFreesWhatIsLeft) {
    size_t size = 0;
    try {
        ZORBasMemShmAllocator::Map("/zorbastest.no.such.block", size);
        ADD_FAILURE() << "no exception";
    } catch (const ZORBasMemShmError& e) {
        EXPECT_STREQ(e.Message(), "shm_open /zorbastest.no.such.block: No such file or directory");
    }
    std::vector<std::string> names;
    {
        ZORBasMemShmAllocator a("zorbastest"), b("zorbastest");
        void* p = a.Alloc(1);
        void* q = b.Alloc(0);  // a page even for nothing
        names = {a.Name(p), b.Name(q)};
        EXPECT_NE(names[0], names[1]);  // two allocators never share a name
        EXPECT_TRUE(ShmNameExists(names[0]));
    }
    EXPECT_FALSE(ShmNameExists(names[0]));
    EXPECT_FALSE(ShmNameExists(names[1]));
}

TEST(ZORBasMemShmAllocator, ThreadsAllocateAndFreeAtOnce) {
    ZORBasMemShmAllocator shm("zorbastest");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                auto* p = static_cast<int*>(shm.Alloc(4096));
                p[0] = t;
                EXPECT_NE(shm.Name(p), nullptr);
                EXPECT_EQ(p[0], t);
                shm.Free(p);
            }
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(shm.Blocks(), 0);
}

TEST(ZORBasMemShmAllocatorDeathTest, FreeingAForeignBlockIsAContractViolation) {
    ZORBasMemShmAllocator shm("zorbastest");
    int local = 0;
    EXPECT_DEATH(shm.Free(&local), "AssertionFailed:block of this allocator");
}

#include "zorbas/store/ZORBasUtlBackingStore.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "zorbas/base/ZORBasAtiGlobalSingleton.h"
#include "zorbas/errors/ZORBasUtlException.h"

namespace {

ZORBasCamCacheManager* Manager() {
    return ZORBasAtiGlobalSingleton<ZORBasCamCacheManager>::Instance();
}

// A scratch path of its own per test, and the process's cache manager back to no limit after.
class BackingStore : public testing::Test {
  protected:
    void SetUp() override {
        path = "/tmp/zorbas_store_" + std::to_string(getpid()) + "_" +
               testing::UnitTest::GetInstance()->current_test_info()->name();
    }
    void TearDown() override {
        Manager()->SetMemoryLimit(ZORBasCamCacheManager::kNoLimit);
        unlink(path.c_str());
    }
    off_t FileSize() const {
        struct stat st;
        return stat(path.c_str(), &st) == 0 ? st.st_size : -1;
    }
    std::string path;
};

struct Stats {
    size_t inMemory, allocated;
    int blocksInMemory, blocks;
    long long reads, writes;
};
Stats StatsOf(const ZORBasUtlBackingStore& store) {
    Stats s;
    store.GetStatistics(s.inMemory, s.allocated, s.blocksInMemory, s.blocks);
    store.GetTransfers(s.reads, s.writes);
    return s;
}

// Fills a block with a pattern that depends on the block and a version.
void Fill(void* block, size_t size, int id, int version) {
    auto* p = static_cast<unsigned char*>(block);
    for (size_t i = 0; i < size; ++i) p[i] = static_cast<unsigned char>(id * 31 + version * 7 + i);
}
bool Holds(const void* block, size_t size, int id, int version) {
    auto* p = static_cast<const unsigned char*>(block);
    for (size_t i = 0; i < size; ++i)
        if (p[i] != static_cast<unsigned char>(id * 31 + version * 7 + i)) return false;
    return true;
}

}  // namespace

TEST_F(BackingStore, ANewBlockReadsAsZerosAndTakesAPlaceInTheFileOnlyWhenPurged) {
    {
        ZORBasUtlBackingStore store(ZORString(path.c_str()), 0, -1);
        EXPECT_EQ(FileSize(), 0);
        store.Create(1, 4000);
        store.Create(2, 100);
        auto* a = static_cast<unsigned char*>(store.Access(1));
        EXPECT_EQ(std::count(a, a + 4000, 0), 4000);
        Stats s = StatsOf(store);
        EXPECT_EQ(s.blocks, 2);
        EXPECT_EQ(s.blocksInMemory, 1);
        EXPECT_GE(s.inMemory, 4000u);  // over the limit, but a pinned block can't go
        EXPECT_EQ(s.inMemory, s.allocated);
        EXPECT_EQ(s.writes, 0);
        std::memset(a, 0x11, 4000);
        store.Release(1);
        EXPECT_EQ(FileSize(), 0);  // nothing is written at release

        // With a limit of 0 and no cache, using a second block pushes the released one out.
        std::memset(store.Access(2), 0x22, 100);
        s = StatsOf(store);
        EXPECT_EQ(s.writes, 1);
        EXPECT_EQ(FileSize(), 4000);
        EXPECT_EQ(s.blocksInMemory, 1);
        store.Release(2);
        const auto* back = static_cast<const unsigned char*>(store.AccessConst(1));
        EXPECT_EQ(std::count(back, back + 4000, 0x11), 4000);
        EXPECT_EQ(FileSize(), 4100);  // block 2 went out behind block 1
        EXPECT_EQ(StatsOf(store).reads, 1);
    }
    EXPECT_EQ(FileSize(), -1);  // the destructor removed the file
}

TEST_F(BackingStore, TheOldestReleaseGoesFirstAndACleanBlockCostsNoWrite) {
    ZORBasUtlBackingStore store(ZORString(path.c_str()), 3 * 1024, -1);
    for (int id = 0; id < 4; ++id) {
        store.Create(id, 1000);
        Fill(store.Access(id), 1000, id, 0);
        store.Release(id);
    }
    EXPECT_EQ(StatsOf(store).writes, 1);  // the fourth pushed out the first
    EXPECT_EQ(FileSize(), 1000);
    EXPECT_TRUE(Holds(store.AccessConst(0), 1000, 0, 0));  // pushes out block 1, the oldest now
    store.Release(0);
    EXPECT_EQ(StatsOf(store).writes, 2);
    EXPECT_EQ(FileSize(), 2000);
    // Blocks 2, 3, 0 in memory; reading 1 back pushes out 2, then reading 2 pushes out 3 ...
    for (int id : {1, 2, 3}) {
        EXPECT_TRUE(Holds(store.AccessConst(id), 1000, id, 0)) << id;
        store.Release(id);
    }
    Stats s = StatsOf(store);
    EXPECT_EQ(s.writes, 4);  // each block written once
    EXPECT_EQ(s.reads, 4);
    // Block 0 went out a second time, clean: no write, and the file kept what it had.
    EXPECT_TRUE(Holds(store.AccessConst(0), 1000, 0, 0));
    store.Release(0);
    EXPECT_EQ(StatsOf(store).writes, 4);
}

TEST_F(BackingStore, BlocksHandedToTheCacheManagerComeBackUntouchedOrAreReloaded) {
    ZORBasUtlBackingStore store(ZORString(path.c_str()), 0, 5);
    for (int id = 0; id < 3; ++id) {
        store.Create(id, 2048);
        Fill(store.Access(id), 2048, id, 1);
        store.Release(id);
    }
    Fill(store.Access(0), 2048, 0, 2);  // back from the manager, with its memory
    Stats s = StatsOf(store);
    EXPECT_EQ(s.reads, 0);
    EXPECT_EQ(s.writes, 0);
    EXPECT_EQ(s.blocksInMemory, 3);  // the manager's blocks hold memory ...
    EXPECT_GE(s.allocated, 3 * 2048u);
    EXPECT_EQ(s.inMemory, StatsOf(store).allocated / 3);  // ... but count only while pinned
    EXPECT_EQ(Manager()->ItemCount(), 2);
    store.Release(0);

    Manager()->SetMemoryLimit(0);  // the manager decides: what it holds goes out as it is
    s = StatsOf(store);
    EXPECT_EQ(s.blocksInMemory, 1);  // block 0, on the store's list, not handed over yet
    EXPECT_EQ(s.writes, 2);
    EXPECT_EQ(Manager()->ItemCount(), 0);
    // Reading block 1 back hands block 0 over, and the manager frees it at once.
    EXPECT_TRUE(Holds(store.AccessConst(1), 2048, 1, 1));
    s = StatsOf(store);
    EXPECT_EQ(s.reads, 1);
    EXPECT_EQ(s.writes, 3);
    // The store asks for block 0 back, learns it was freed, and reads it.
    EXPECT_TRUE(Holds(store.AccessConst(0), 2048, 0, 2));
    EXPECT_EQ(StatsOf(store).reads, 2);
    store.Release(0);
    store.Release(1);
}

TEST_F(BackingStore, ReadsGiveTheBytesLastWrittenAfterAnySequenceOfUseAndPurge) {
    for (int priority : {-1, 2}) {
        SCOPED_TRACE(priority);
        std::mt19937 rng(priority + 10);
        constexpr int kBlocks = 40;
        ZORBasUtlBackingStore store(ZORString(path.c_str()), 6 * 1000, priority);
        std::vector<size_t> size(kBlocks);
        std::vector<int> version(kBlocks, -1);  // -1: never written, reads as zeros
        std::vector<bool> pinned(kBlocks, false);
        for (int id = 0; id < kBlocks; ++id) store.Create(id, size[id] = 200 + rng() % 1800);
        for (int step = 0; step < 3000; ++step) {
            int id = static_cast<int>(rng() % kBlocks);
            unsigned op = rng() % 10;
            if (step % 97 == 0) Manager()->SetMemoryLimit(rng() % 2 ? 0 : 8000);
            if (pinned[id] && op < 4) {
                store.Release(id);
                pinned[id] = false;
            } else if (op < 6 || version[id] < 0) {
                void* p = store.Access(id);
                if (version[id] < 0) {
                    auto* b = static_cast<unsigned char*>(p);
                    ASSERT_EQ(std::count(b, b + size[id], 0), static_cast<long>(size[id]));
                } else {
                    ASSERT_TRUE(Holds(p, size[id], id, version[id])) << "block " << id;
                }
                Fill(p, size[id], id, ++version[id]);
                pinned[id] = true;
            } else {
                ASSERT_TRUE(Holds(store.AccessConst(id), size[id], id, version[id]))
                    << "block " << id;
                pinned[id] = true;
            }
        }
        Manager()->SetMemoryLimit(ZORBasCamCacheManager::kNoLimit);
        Stats s = StatsOf(store);
        EXPECT_GT(s.writes, 100);
        EXPECT_GT(s.reads, 100);
    }
}

TEST_F(BackingStore, AScratchFileThatCannotBeCreatedThrowsWithCreateFile) {
    try {
        ZORBasUtlBackingStore store(ZORString("/nonexistent_dir_zorbas/scratch"), 0, -1);
        ADD_FAILURE() << "no exception";
    } catch (const ZORBasUtlSystemError& e) {
        EXPECT_STREQ(e.GetServiceName(), "CreateFile");
        EXPECT_EQ(e.GetSystemErrorCode().Code(), ENOENT);
        EXPECT_STREQ(e.File(), "ZORBase/ZORBasUtils.m/src/ZORBasUtlBackingStore");
    }
}

// A full disk in a child process: the file may grow to three blocks. Each stage exits with its
// own status and says on standard error what failed.
TEST_F(BackingStore, AFullDiskDuringAPurgeThrowsTheWriteErrorAndLosesNoBlock) {
    for (int priority : {-1, 0}) {
        SCOPED_TRACE(priority);
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            constexpr size_t kSize = 4096;
            signal(SIGXFSZ, SIG_IGN);  // a write past the limit then fails with EFBIG
            rlimit limit{3 * kSize, RLIM_INFINITY};
            if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(10);
            if (priority >= 0) Manager()->SetMemoryLimit(0);
            int failedAt = -1;
            {
                ZORBasUtlBackingStore store(ZORString(path.c_str()), 0, priority);
                for (int id = 0; id < 6 && failedAt < 0; ++id) {
                    store.Create(id, kSize);
                    try {
                        Fill(store.Access(id), kSize, id, 0);
                        store.Release(id);
                    } catch (const ZORBasUtlWriteError& e) {
                        if (e.GetSystemErrorCode().Code() != EFBIG) {
                            std::fprintf(stderr, "write error %d, not EFBIG\n",
                                         e.GetSystemErrorCode().Code());
                            _exit(11);
                        }
                        failedAt = id;
                    }
                }
                if (failedAt < 0) {
                    std::fprintf(stderr, "no write error\n");
                    _exit(12);
                }
                // Room again; the block being accessed when the purge failed is pinned, unfilled.
                limit.rlim_cur = RLIM_INFINITY;
                if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(13);
                Fill(store.Access(failedAt), kSize, failedAt, 0);
                store.Release(failedAt);
                for (int id = 0; id <= failedAt; ++id) {
                    if (!Holds(store.AccessConst(id), kSize, id, 0)) {
                        std::fprintf(stderr, "block %d lost\n", id);
                        _exit(14);
                    }
                    store.Release(id);
                }
            }
            if (access(path.c_str(), F_OK) == 0) _exit(15);
            _exit(failedAt == 4 ? 0 : 16);  // the fourth block went past three
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status)) << status;
        EXPECT_EQ(WEXITSTATUS(status), 0);
    }
}

TEST_F(BackingStore, ThreadsOnTheirOwnBlocksWhileTheCacheManagerFreesOnAnother) {
    constexpr int kThreads = 4;
    constexpr int kPerThread = 12;
    constexpr size_t kSize = 3000;
    ZORBasUtlBackingStore store(ZORString(path.c_str()), 8 * kSize, 1);
    for (int id = 0; id < kThreads * kPerThread; ++id) store.Create(id, kSize);
    std::atomic<bool> done{false};
    std::atomic<int> failures{0};
    std::atomic<int> trims{0};
    std::thread manager([&] {
        while (!done.load()) {
            Manager()->Trim(2 * kSize);
            ++trims;
            std::this_thread::yield();
        }
    });
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t)
        workers.emplace_back([&, t] {
            std::mt19937 rng(t);
            std::vector<int> version(kPerThread, -1);
            // Long enough for the manager to have freed blocks under the workers' feet.
            for (int step = 0; step < 600 || trims.load() < 100; ++step) {
                int k = static_cast<int>(rng() % kPerThread);
                int id = t * kPerThread + k;
                if (version[k] >= 0 && rng() % 2) {
                    if (!Holds(store.AccessConst(id), kSize, id, version[k])) ++failures;
                } else {
                    void* p = store.Access(id);
                    if (version[k] >= 0 && !Holds(p, kSize, id, version[k])) ++failures;
                    Fill(p, kSize, id, ++version[k]);
                }
                store.Release(id);
            }
        });
    for (auto& w : workers) w.join();
    done = true;
    manager.join();
    EXPECT_EQ(failures.load(), 0);
    Stats s = StatsOf(store);
    EXPECT_EQ(s.blocks, kThreads * kPerThread);
    EXPECT_GT(s.writes, 0);
    EXPECT_GT(s.reads, 0);
}

TEST_F(BackingStore, ContractViolationsEndTheProgramWithTheirText) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    ZORBasUtlBackingStore store(ZORString(path.c_str()), 1 << 20, -1);
    store.Create(7, 10);
    EXPECT_DEATH(store.Create(7, 10),
                 "AssertionFailed:mItemMap.find\\(newId\\) == mItemMap.end\\(\\), file "
                 "ZORBase/ZORBasUtils.m/src/ZORBasUtlBackingStore");
    EXPECT_DEATH(store.Access(8), "AssertionFailed:place != mItemMap.end\\(\\)");
    EXPECT_DEATH(store.AccessConst(7), "AssertionFailed:item->mStoreAllocated");
}

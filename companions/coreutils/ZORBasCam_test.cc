#include "companions/coreutils/ZORBasCam.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

// An item that records the order of purges in a shared log.
class Item : public ZORBasCamMemoryItem {
  public:
    Item(std::string name, size_t size, std::vector<std::string>* log)
        : m_name(std::move(name)), m_size(size), m_log(log) {}
    size_t Size() const override { return m_size; }
    size_t Purge() override {
        ++purges;
        if (m_log) m_log->push_back(m_name);
        return m_size;
    }
    std::atomic<int> purges{0};

  private:
    std::string m_name;
    size_t m_size;
    std::vector<std::string>* m_log;
};

}  // namespace

TEST(CacheManager, PurgesLowestPriorityOldestFirstUntilWithinTheLimit) {
    ZORBasCamCacheManager cache;
    EXPECT_EQ(cache.MemoryLimit(), ZORBasCamCacheManager::kNoLimit);
    std::vector<std::string> log;
    Item a("a", 100, &log), b("b", 100, &log), c("c", 100, &log), d("d", 100, &log),
        keep("keep", 100, &log);
    cache.AddItem(2, ZORBasCamCachePurge, &a, nullptr);
    cache.AddItem(1, ZORBasCamCachePurge, &b, nullptr);
    cache.AddItem(0, ZORBasCamCacheKeep, &keep, nullptr);
    cache.AddItem(1, ZORBasCamCachePurge, &c, nullptr);
    cache.AddItem(2, ZORBasCamCachePurge, &d, nullptr);
    EXPECT_EQ(cache.MemoryHeld(), 500u);
    EXPECT_EQ(cache.ItemCount(), 5);
    EXPECT_TRUE(log.empty());

    cache.SetMemoryLimit(250);
    EXPECT_EQ(log, (std::vector<std::string>{"b", "c", "a"}));
    EXPECT_EQ(cache.MemoryHeld(), 200u);
    EXPECT_EQ(cache.PurgeCount(), 3);

    cache.SetMemoryLimit(0);  // the kept item stays whatever the limit
    EXPECT_EQ(log.back(), "d");
    EXPECT_EQ(cache.ItemCount(), 1);
    EXPECT_EQ(cache.MemoryHeld(), 100u);
    EXPECT_EQ(keep.purges, 0);

    EXPECT_FALSE(cache.RemoveItem(&a));  // purged: no longer held
    EXPECT_TRUE(cache.RemoveItem(&keep));
    EXPECT_FALSE(cache.RemoveItem(&keep));
    EXPECT_EQ(cache.MemoryHeld(), 0u);
}

TEST(CacheManager, AddingPastTheLimitPurgesAndReaddingRenewsTheOrder) {
    ZORBasCamCacheManager cache;
    cache.SetMemoryLimit(300);
    std::vector<std::string> log;
    Item a("a", 100, &log), b("b", 100, &log), c("c", 100, &log), d("d", 100, &log);
    cache.AddItem(0, ZORBasCamCachePurge, &a, nullptr);
    cache.AddItem(0, ZORBasCamCachePurge, &b, nullptr);
    cache.AddItem(0, ZORBasCamCachePurge, &c, nullptr);
    cache.AddItem(0, ZORBasCamCachePurge, &a, nullptr);  // now the most recent
    EXPECT_EQ(cache.MemoryHeld(), 300u);
    cache.AddItem(0, ZORBasCamCachePurge, &d, nullptr);
    EXPECT_EQ(log, (std::vector<std::string>{"b"}));
    EXPECT_EQ(cache.MemoryHeld(), 300u);
}

TEST(CacheManager, ItemsBuiltFromAPurgedItemGoWithIt) {
    ZORBasCamCacheManager cache;
    std::vector<std::string> log;
    Item base("base", 10, &log), derived("derived", 10, &log), other("other", 10, &log);
    cache.AddItem(0, ZORBasCamCachePurge, &base, nullptr);
    cache.AddItem(9, ZORBasCamCacheKeep, &derived, &base);
    cache.AddItem(5, ZORBasCamCachePurge, &other, nullptr);
    cache.SetMemoryLimit(25);
    EXPECT_EQ(log, (std::vector<std::string>{"base", "derived"}));
    EXPECT_EQ(cache.ItemCount(), 1);
    EXPECT_FALSE(cache.RemoveItem(&derived));
}

TEST(CacheManager, AnEndingItemLeavesItsManager) {
    ZORBasCamCacheManager cache;
    {
        Item gone("gone", 40, nullptr);
        cache.AddItem(0, ZORBasCamCachePurge, &gone, nullptr);
        EXPECT_EQ(cache.MemoryHeld(), 40u);
    }
    EXPECT_EQ(cache.MemoryHeld(), 0u);
    EXPECT_EQ(cache.ItemCount(), 0);
    Item outlives("outlives", 1, nullptr);
    {
        ZORBasCamCacheManager shortLived;
        shortLived.AddItem(0, ZORBasCamCacheKeep, &outlives, nullptr);
        cache.AddItem(0, ZORBasCamCacheKeep, &outlives, nullptr);  // moves between managers
        EXPECT_EQ(shortLived.ItemCount(), 0);
        EXPECT_EQ(cache.ItemCount(), 1);
        cache.RemoveItem(&outlives);
        shortLived.AddItem(0, ZORBasCamCacheKeep, &outlives, nullptr);
    }  // the item must not point at the ended manager
}

TEST(CacheManager, ConcurrentAddsAndRemovesKeepTheBooksStraight) {
    ZORBasCamCacheManager cache;
    cache.SetMemoryLimit(5000);
    constexpr int kThreads = 4;
    constexpr int kItems = 200;
    std::vector<std::unique_ptr<Item>> items;
    for (int i = 0; i < kThreads * kItems; ++i)
        items.push_back(std::make_unique<Item>("i", 10 + i % 50, nullptr));
    std::atomic<long long> removed{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            std::mt19937 rng(t);
            for (int round = 0; round < 3000; ++round) {
                Item* item = items[t * kItems + rng() % kItems].get();
                if (rng() % 3)
                    cache.AddItem(static_cast<int>(rng() % 4), ZORBasCamCachePurge, item, nullptr);
                else if (cache.RemoveItem(item))
                    ++removed;
                EXPECT_LE(cache.MemoryHeld(), 5000u);
            }
        });
    for (auto& th : threads) th.join();
    size_t heldBySurvivors = 0;
    int survivors = 0;
    for (auto& item : items)
        if (cache.RemoveItem(item.get())) {
            heldBySurvivors += item->Size();
            ++survivors;
        }
    EXPECT_GT(cache.PurgeCount(), 0);
    EXPECT_GT(removed.load(), 0);
    EXPECT_EQ(survivors > 0, heldBySurvivors > 0);
    EXPECT_LE(heldBySurvivors, 5000u);
    EXPECT_EQ(cache.MemoryHeld(), 0u);
    EXPECT_EQ(cache.ItemCount(), 0);
    long long purges = 0;
    for (auto& item : items) purges += item->purges;
    EXPECT_EQ(purges, cache.PurgeCount());
}

TEST(CamPool, CountsCurrentAndPeak) {
    ZORBasCamPool pool("scratch");
    void* a = pool.Alloc(64);
    void* b = pool.Alloc(36);
    EXPECT_EQ(pool.MemoryCurrent(), 100u);
    EXPECT_EQ(pool.Free(a), 64u);
    EXPECT_EQ(pool.Free(b), 36u);
    EXPECT_EQ(pool.MemoryCurrent(), 0u);
    EXPECT_EQ(pool.MemoryPeak(), 100u);
    EXPECT_STREQ(pool.Name(), "scratch");
}

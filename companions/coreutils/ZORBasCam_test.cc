#include "companions/coreutils/ZORBasCam.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// An item that records the order of frees in a shared log; its bulk data is `size` bytes until
// freed.
class Item : public ZORBasCamMemoryItem {
  public:
    Item(std::string name, size_t size, std::vector<std::string>* log = nullptr)
        : m_name(std::move(name)), m_size(size), m_log(log) {}
    size_t AllocSize() const override { return m_loaded ? m_size : 0; }
    size_t BulkSize() const override { return m_size; }
    size_t FreeBulkData() override {
        if (failNext.exchange(false)) throw std::runtime_error("disk full");
        ++frees;
        if (m_log) m_log->push_back(m_name);
        m_loaded = false;
        return m_size;
    }
    void Reload() { m_loaded = true; }
    std::atomic<int> frees{0};
    std::atomic<bool> failNext{false};

  private:
    std::string m_name;
    size_t m_size;
    std::vector<std::string>* m_log;
    bool m_loaded = true;
};

// Links items into a chain by their own links, as an owner does before handing them over.
void Link(std::initializer_list<Item*> items) {
    Item* prev = nullptr;
    for (Item* item : items) {
        item->prev = prev;
        item->next = nullptr;
        if (prev) prev->next = item;
        prev = item;
    }
}

}  // namespace

TEST(CacheManager, FreesLowestPriorityOldestFirstUntilWithinTheLimit) {
    ZORBasCamCacheManager cache;
    EXPECT_EQ(cache.MemoryLimit(), ZORBasCamCacheManager::kNoLimit);
    std::vector<std::string> log;
    Item a("a", 100, &log), b("b", 100, &log), c("c", 100, &log), d("d", 100, &log),
        keep("keep", 100, &log);
    cache.AddItem(2, ZORBasCamCacheFreeWhenNeeded, &a, &a);
    cache.AddItem(1, ZORBasCamCacheFreeWhenNeeded, &b, &b);
    cache.AddItem(0, ZORBasCamCacheKeep, &keep, &keep);
    cache.AddItem(1, ZORBasCamCacheFreeWhenNeeded, &c, &c);
    cache.AddItem(2, ZORBasCamCacheFreeWhenNeeded, &d, &d);
    EXPECT_EQ(cache.MemoryHeld(), 500u);
    EXPECT_EQ(cache.ItemCount(), 5);
    EXPECT_TRUE(log.empty());

    cache.SetMemoryLimit(250);
    EXPECT_EQ(log, (std::vector<std::string>{"b", "c", "a"}));
    EXPECT_EQ(cache.MemoryHeld(), 200u);
    EXPECT_EQ(cache.PurgeCount(), 3);
    EXPECT_EQ(a.AllocSize(), 0u);

    cache.SetMemoryLimit(0);  // a kept item stays whatever the limit
    EXPECT_EQ(log.back(), "d");
    EXPECT_EQ(cache.ItemCount(), 1);
    EXPECT_EQ(cache.MemoryHeld(), 100u);
    EXPECT_EQ(keep.frees, 0);

    EXPECT_FALSE(cache.RemoveItem(&a));  // freed: no longer held
    EXPECT_TRUE(cache.RemoveItem(&keep));
    EXPECT_FALSE(cache.RemoveItem(&keep));
    EXPECT_EQ(cache.MemoryHeld(), 0u);
    EXPECT_EQ(keep.next, nullptr);
}

TEST(CacheManager, AChainIsHeldFromFirstToLastInItsOrderAndTakenBackItemByItem) {
    ZORBasCamCacheManager cache;
    std::vector<std::string> log;
    Item a("a", 10, &log), b("b", 20, &log), c("c", 30, &log), beyond("beyond", 40, &log);
    Link({&a, &b, &c, &beyond});
    cache.AddItem(0, ZORBasCamCacheFreeWhenNeeded, &a, &c);  // `beyond` is not handed over
    EXPECT_EQ(cache.ItemCount(), 3);
    EXPECT_EQ(cache.MemoryHeld(), 60u);
    EXPECT_FALSE(cache.RemoveItem(&beyond));

    // The owner takes the middle one back; the others keep their order.
    EXPECT_TRUE(cache.RemoveItem(&b));
    EXPECT_EQ(b.next, nullptr);
    EXPECT_EQ(b.prev, nullptr);
    Item e("e", 5, &log), f("f", 5, &log);
    Link({&e, &f});
    cache.AddItem(0, ZORBasCamCacheFreeWhenNeeded, &e, nullptr);  // to the end of the chain
    EXPECT_EQ(cache.MemoryHeld(), 50u);
    EXPECT_EQ(cache.Trim(0), 50u);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "c", "e", "f"}));
    EXPECT_EQ(b.frees, 0);

    // An item counts what it held when handed over, not what it was asked for.
    b.Reload();
    Item empty("empty", 1000);
    empty.FreeBulkData();
    empty.frees = 0;
    Link({&b, &empty});
    cache.AddItem(0, ZORBasCamCacheFreeWhenNeeded, &b, &empty);
    EXPECT_EQ(cache.MemoryHeld(), 20u);
    EXPECT_EQ(cache.Trim(0), 20u);  // b alone: the empty item holds nothing to free
    EXPECT_EQ(empty.frees, 0);
    EXPECT_TRUE(cache.RemoveItem(&empty));
}

TEST(CacheManager, HandingOverPastTheLimitFreesTheOldestAtOnce) {
    ZORBasCamCacheManager cache;
    cache.SetMemoryLimit(300);
    std::vector<std::string> log;
    Item a("a", 100, &log), b("b", 100, &log), c("c", 100, &log), d("d", 100, &log);
    Link({&a, &b, &c});
    cache.AddItem(3, ZORBasCamCacheFreeWhenNeeded, &a, &c);
    cache.AddItem(3, ZORBasCamCacheFreeWhenNeeded, &d, &d);
    EXPECT_EQ(log, (std::vector<std::string>{"a"}));
    EXPECT_EQ(cache.MemoryHeld(), 300u);
}

TEST(CacheManager, AFailedFreeLeavesTheItemsHeldInTheirOrderAndReachesTheCaller) {
    ZORBasCamCacheManager cache;
    std::vector<std::string> log;
    Item a("a", 100, &log), b("b", 100, &log), c("c", 100, &log);
    Link({&a, &b, &c});
    cache.AddItem(0, ZORBasCamCacheFreeWhenNeeded, &a, &c);
    b.failNext = true;
    EXPECT_THROW(cache.SetMemoryLimit(0), std::runtime_error);
    EXPECT_EQ(log, (std::vector<std::string>{"a"}));
    EXPECT_EQ(cache.MemoryHeld(), 200u);
    EXPECT_EQ(cache.ItemCount(), 2);
    EXPECT_EQ(cache.Trim(0), 200u);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b", "c"}));
}

TEST(CacheManager, TakingBackAnItemBeingFreedWaitsForTheFreeAndAnswersFalse) {
    ZORBasCamCacheManager cache;
    std::mutex m;
    std::condition_variable cv;
    bool entered = false, proceed = false;
    class Slow : public Item {
      public:
        using Item::Item;
        std::function<void()> hook;
        size_t FreeBulkData() override {
            hook();
            return Item::FreeBulkData();
        }
    } slow("slow", 64);
    slow.hook = [&] {
        std::unique_lock<std::mutex> g(m);
        entered = true;
        cv.notify_all();
        cv.wait(g, [&] { return proceed; });
    };
    cache.AddItem(0, ZORBasCamCacheFreeWhenNeeded, &slow, &slow);
    std::thread purger([&] { cache.Trim(0); });
    {
        std::unique_lock<std::mutex> g(m);
        cv.wait(g, [&] { return entered; });
    }
    std::atomic<bool> answered{false};
    bool answer = true;
    std::thread owner([&] {
        answer = cache.RemoveItem(&slow);
        answered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(answered.load());  // still waiting for the free
    {
        std::lock_guard<std::mutex> g(m);
        proceed = true;
    }
    cv.notify_all();
    purger.join();
    owner.join();
    EXPECT_FALSE(answer);
    EXPECT_EQ(slow.frees, 1);
    EXPECT_EQ(slow.AllocSize(), 0u);
}

TEST(CacheManager, AnEndingItemLeavesItsManagerAndAnEndingManagerLetsItsItemsGo) {
    ZORBasCamCacheManager cache;
    {
        Item gone("gone", 40);
        cache.AddItem(0, ZORBasCamCacheFreeWhenNeeded, &gone, &gone);
        EXPECT_EQ(cache.MemoryHeld(), 40u);
    }
    EXPECT_EQ(cache.MemoryHeld(), 0u);
    EXPECT_EQ(cache.ItemCount(), 0);
    Item outlives("outlives", 1), other("other", 1);
    {
        ZORBasCamCacheManager shortLived;
        Link({&outlives, &other});
        shortLived.AddItem(0, ZORBasCamCacheKeep, &outlives, &other);
        EXPECT_FALSE(cache.RemoveItem(&outlives));  // held by the other manager
    }
    EXPECT_EQ(outlives.next, nullptr);
    cache.AddItem(0, ZORBasCamCacheFreeWhenNeeded, &outlives, &outlives);  // free to go again
    EXPECT_EQ(cache.ItemCount(), 1);
}

TEST(CacheManagerDeathTest, HandingOverAnItemHeldAlreadyIsAContractViolation) {
    ZORBasCamCacheManager cache;
    Item a("a", 1);
    cache.AddItem(0, ZORBasCamCacheFreeWhenNeeded, &a, &a);
    EXPECT_DEATH(cache.AddItem(0, ZORBasCamCacheFreeWhenNeeded, &a, &a),
                 "AssertionFailed:item->m_state == Item::State::Out");
}

TEST(CacheManager, ConcurrentHandOversAndTakeBacksKeepTheBooksStraight) {
    ZORBasCamCacheManager cache;
    cache.SetMemoryLimit(1500);  // below what one thread alone holds at times
    constexpr int kThreads = 4;
    constexpr int kItems = 200;
    std::vector<std::unique_ptr<Item>> items;
    for (int i = 0; i < kThreads * kItems; ++i)
        items.push_back(std::make_unique<Item>("i", 10 + i % 50));
    // Each thread owns its items and knows which it handed over; an item it hands over and the
    // manager frees is reloaded before it goes again.
    std::atomic<long long> takenBack{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            std::mt19937 rng(t);
            std::vector<bool> handed(kItems, false);
            for (int round = 0; round < 3000; ++round) {
                int k = static_cast<int>(rng() % kItems);
                Item* item = items[t * kItems + k].get();
                if (handed[k]) {
                    if (cache.RemoveItem(item)) {
                        ++takenBack;
                        EXPECT_EQ(item->AllocSize(), item->BulkSize());
                    }
                    handed[k] = false;
                } else {
                    item->Reload();
                    cache.AddItem(static_cast<int>(rng() % 4), ZORBasCamCacheFreeWhenNeeded, item,
                                  item);
                    handed[k] = true;
                }
                EXPECT_LE(cache.MemoryHeld(), 1500u);
            }
            for (int k = 0; k < kItems; ++k)
                if (handed[k]) cache.RemoveItem(items[t * kItems + k].get());
        });
    for (auto& th : threads) th.join();
    EXPECT_GT(cache.PurgeCount(), 0);
    EXPECT_GT(takenBack.load(), 0);
    EXPECT_EQ(cache.MemoryHeld(), 0u);
    EXPECT_EQ(cache.ItemCount(), 0);
    long long frees = 0;
    for (auto& item : items) frees += item->frees;
    EXPECT_EQ(frees, cache.PurgeCount());
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

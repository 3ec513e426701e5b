// The process cache of purgeable memory, and the accounting pool under the scoped allocators.
// A memory item is something a program can rebuild; the cache manager holds items under a memory
// limit and, when the limit is passed, purges the least recently added of the lowest priority
// first. It has its own lock: items are added and removed from any thread.
#pragma once

#include <atomic>
#include <cstddef>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

enum ZORBasCamCachePolicyEnm {
    ZORBasCamCacheKeep = 0,   // never purged by the manager
    ZORBasCamCachePurge = 1,  // purged when the memory limit is passed
};

class ZORBasCamCacheManager;

// An item of the cache. Derive and implement Size() and Purge() (which frees what the item holds
// and answers the bytes released). An item ends its own holding: its destructor removes it from
// the manager that holds it. The manager calls Purge outside its lock, so Purge may add and remove
// items.
class ZORBAS_API ZORBasCamMemoryItem : public mem_AllocationOperators {
  public:
    ZORBasCamMemoryItem();
    virtual ~ZORBasCamMemoryItem();
    ZORBasCamMemoryItem(const ZORBasCamMemoryItem&) = delete;
    ZORBasCamMemoryItem& operator=(const ZORBasCamMemoryItem&) = delete;
    virtual size_t Size() const { return 0; }
    virtual size_t Purge() { return 0; }

  private:
    friend class ZORBasCamCacheManager;
    std::atomic<ZORBasCamCacheManager*> m_holder{nullptr};
};

// The manager: items by priority and order of addition, the bytes they held when added (their
// Size() then), and a memory limit (none by default). Adding past the limit, or lowering it,
// purges items of policy Purge, lowest priority first and, within a priority, the least recently
// added first, until the held bytes are within the limit again. Every operation is O(log n) under
// the manager's lock, plus the purges.
class ZORBAS_API ZORBasCamCacheManager : public mem_AllocationOperators {
  public:
    static constexpr size_t kNoLimit = ~size_t{0};

    ZORBasCamCacheManager();
    ~ZORBasCamCacheManager();
    ZORBasCamCacheManager(const ZORBasCamCacheManager&) = delete;
    ZORBasCamCacheManager& operator=(const ZORBasCamCacheManager&) = delete;

    // Holds `item` at `priority` (lower purges first); an item held already is added anew.
    // `related` (may be null) names an item that `item` is built from: when `related` is purged
    // or removed, `item` is purged with it.
    void AddItem(int priority, ZORBasCamCachePolicyEnm policy, ZORBasCamMemoryItem* item,
                 ZORBasCamMemoryItem* related);
    // True when the item was held (it is then no longer); it is not purged.
    bool RemoveItem(ZORBasCamMemoryItem* item);
    void SetMemoryLimit(size_t bytes);
    size_t MemoryLimit() const;
    // Bytes held by the items, by their Size() when added.
    size_t MemoryHeld() const;
    int ItemCount() const;
    // Items purged since the manager was made.
    long long PurgeCount() const;

  private:
    struct Impl;
    Impl* m_impl;
};

// An accounting pool: Alloc and Free go to the tracked heap and keep current and peak bytes.
class ZORBAS_API ZORBasCamPool : public mem_AllocationOperators {
  public:
    explicit ZORBasCamPool(const char* name = "");
    virtual ~ZORBasCamPool() = default;
    // Throws std::bad_alloc on exhaustion.
    virtual void* Alloc(size_t size);
    // Returns the bytes released.
    virtual size_t Free(void* block);
    size_t MemoryCurrent() const { return m_current.load(std::memory_order_relaxed); }
    size_t MemoryPeak() const { return m_peak.load(std::memory_order_relaxed); }
    const char* Name() const { return m_name; }

  private:
    const char* m_name;
    std::atomic<size_t> m_current{0};
    std::atomic<size_t> m_peak{0};
};

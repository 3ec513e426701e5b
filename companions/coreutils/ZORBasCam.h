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

// An item of the cache. Derive and implement Size() and Purge() (which frees what the item holds
// and answers the bytes released).
class ZORBAS_API ZORBasCamMemoryItem : public mem_AllocationOperators {
public:
    ZORBasCamMemoryItem();
    virtual ~ZORBasCamMemoryItem();
    virtual size_t Size() const { return 0; }
    virtual size_t Purge() { return 0; }
};

class ZORBAS_API ZORBasCamCacheManager : public mem_AllocationOperators {
public:
    ZORBasCamCacheManager();
    ~ZORBasCamCacheManager();
    // Holds `item` at `priority` (lower purges first). `related` names an item the new one
    // depends on (may be null); it is purged no later than `item`.
    void AddItem(int priority, ZORBasCamCachePolicyEnm policy, ZORBasCamMemoryItem* item,
                 ZORBasCamMemoryItem* related);
    // True when the item was held (it is then no longer).
    bool RemoveItem(ZORBasCamMemoryItem* item);
    void SetMemoryLimit(size_t bytes);
    size_t MemoryLimit() const;
    // Bytes held by the items, by their Size().
    size_t MemoryHeld() const;
    int ItemCount() const;

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

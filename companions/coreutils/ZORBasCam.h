// The process cache of purgeable memory, and the accounting pool under the scoped allocators.
// A memory item is something a program can reload or rebuild; the cache manager holds chains of
// items under a memory limit and, when the limit is passed, frees the oldest of the lowest priority
// first. It has its own lock: items are handed over and taken back from any thread.
#pragma once

#include <atomic>
#include <cstddef>

#include "companions/alloc/ZORBasMemPool.h"
#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

// How a manager holds an item handed to it.
enum ZORBasCamCachePolicyEnm {
    ZORBasCamCacheFreeWhenNeeded = 0,  // the manager frees it (FreeBulkData) when it decides
    ZORBasCamCacheKeep = 1,            // held and counted, freed only by its owner
};

class ZORBasCamCacheManager;

// An item of the cache: something whose bulk data can be freed and later rebuilt or reloaded by its
// owner. Derive and implement FreeBulkData() (write out what must survive, free the data, answer
// the bytes freed), AllocSize() (bytes the item holds in memory now) and BulkSize() (bytes of its
// data when loaded). `next` and `prev` chain items: the owner links a chain with them to hand it
// over, and the manager links the items it holds with them, so an item is in one chain at a time.
// An item ends its own holding: its destructor removes it from the manager that holds it.
class ZORBAS_API ZORBasCamMemoryItem : public mem_AllocationOperators {
  public:
    ZORBasCamMemoryItem();
    virtual ~ZORBasCamMemoryItem();
    ZORBasCamMemoryItem(const ZORBasCamMemoryItem&) = delete;
    ZORBasCamMemoryItem& operator=(const ZORBasCamMemoryItem&) = delete;
    virtual size_t AllocSize() const { return 0; }
    virtual size_t BulkSize() const { return 0; }
    virtual size_t FreeBulkData() { return 0; }

    ZORBasCamMemoryItem* next = nullptr;
    ZORBasCamMemoryItem* prev = nullptr;

  private:
    friend class ZORBasCamCacheManager;
    enum class State : unsigned char { Out, Held, Freeing };
    std::atomic<ZORBasCamCacheManager*> m_holder{nullptr};
    State m_state = State::Out;
    ZORBasCamCachePolicyEnm m_policy = ZORBasCamCacheFreeWhenNeeded;
    int m_priority = 0;
    size_t m_heldBytes = 0;  // AllocSize() when handed over
};

// The manager: chains of items by priority, in the order they were handed over, the bytes they
// held then, and a memory limit (none by default). Handing over past the limit, lowering it, or
// Trim frees items of policy FreeWhenNeeded, lowest priority first and within a priority the
// oldest first, until the held bytes are within the limit. The manager calls FreeBulkData outside
// its lock, on the thread that made it decide; RemoveItem of an item being freed waits until the
// free has ended and answers false, so the owner sees either its item back untouched or freed.
// AddItem and RemoveItem are O(log p) for p priorities in use, plus the frees.
class ZORBAS_API ZORBasCamCacheManager : public mem_AllocationOperators {
  public:
    static constexpr size_t kNoLimit = ~size_t{0};

    ZORBasCamCacheManager();
    ~ZORBasCamCacheManager();
    ZORBasCamCacheManager(const ZORBasCamCacheManager&) = delete;
    ZORBasCamCacheManager& operator=(const ZORBasCamCacheManager&) = delete;

    // Holds the chain from `first` to `last` (following `next`; a null `last` ends the chain at
    // the first null `next`) at `priority`, lower priorities freed first; `first` is taken as the
    // oldest. The items must not be held already: their links carry the chain. Null `first` is a
    // no-op. A FreeBulkData that throws leaves its item and the ones not yet freed held, and the
    // exception goes to the caller.
    void AddItem(int priority, ZORBasCamCachePolicyEnm policy, ZORBasCamMemoryItem* first,
                 ZORBasCamMemoryItem* last);
    // True when the item was held (it is then no longer, untouched); false when it was not held
    // or the manager has freed it.
    bool RemoveItem(ZORBasCamMemoryItem* item);
    void SetMemoryLimit(size_t bytes);
    size_t MemoryLimit() const;
    // Frees items as the limit would, down to `target` bytes held; answers the bytes the items'
    // FreeBulkData reported.
    size_t Trim(size_t target);
    // Bytes held, by the items' AllocSize() when handed over.
    size_t MemoryHeld() const;
    int ItemCount() const;
    // Items freed since the manager was made.
    long long PurgeCount() const;

  private:
    struct Impl;
    size_t FreeDownTo(size_t target, bool toLimit);
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
    size_t MemoryCurrent() const { return m_bytes.Current(); }
    size_t MemoryPeak() const { return m_bytes.Peak(); }
    const char* Name() const { return m_name; }

  private:
    const char* m_name;
    mem_PoolCounter m_bytes;
};

// An accounting pool: a named field of the memory accounting, not an arena. Alloc and Free go to
// the tracked heap and keep the pool's current and peak bytes; the resource summaries print them.
// The active flag (first field) says the pool has been used by a tracking allocator.
#pragma once

#include <atomic>
#include <cstddef>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

// The byte counts of an accounting pool: blocks from the tracked heap, counted at their real size,
// with the peak. Safe to use from several threads (relaxed atomics).
class ZORBAS_API mem_PoolCounter {
  public:
    mem_PoolCounter() = default;
    mem_PoolCounter(const mem_PoolCounter& other) { *this = other; }
    mem_PoolCounter& operator=(const mem_PoolCounter& other);

    // Throws std::bad_alloc on exhaustion.
    void* Alloc(size_t size);
    // Returns the bytes released (0 for null).
    size_t Free(void* block);
    size_t Current() const { return m_current.load(std::memory_order_relaxed); }
    size_t Peak() const { return m_peak.load(std::memory_order_relaxed); }

  private:
    std::atomic<size_t> m_current{0};
    std::atomic<size_t> m_peak{0};
};

class ZORBAS_API ZORBasMemPool {
  public:
    ZORBasMemPool(int id, const char* name);
    ZORBasMemPool(const ZORBasMemPool& other);
    ZORBasMemPool& operator=(const ZORBasMemPool& other);
    virtual ~ZORBasMemPool() = default;

    void Activate() { m_active = true; }
    bool Active() const { return m_active; }

    // Throws std::bad_alloc on exhaustion.
    void* Alloc(size_t size);
    // Returns the bytes released (0 for null).
    size_t Free(void* block);
    size_t MemoryCurrent() const { return m_bytes.Current(); }
    size_t MemoryPeak() const { return m_bytes.Peak(); }
    int PoolID() const { return m_id; }
    char* PoolName() const { return const_cast<char*>(m_name); }

  private:
    bool m_active = false;
    int m_id;
    const char* m_name;
    mem_PoolCounter m_bytes;
};

// The pool of the copy-on-write containers (reached as omi_Singleton<ZORBasMemPoolCow>).
class ZORBAS_API ZORBasMemPoolCow : public ZORBasMemPool, public mem_AllocationOperators {
  public:
    ZORBasMemPoolCow() : ZORBasMemPool(1, "Cow") {}
};

// Payload bytes of a block of the tracked heap (the size class for a tiny block).
ZORBAS_API size_t mem_BlockSize(const void* block);

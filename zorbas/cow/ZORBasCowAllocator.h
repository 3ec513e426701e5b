// Allocation bases of the copy-on-write containers. Nodes and handles derive from
// ZORBasCowAllocator so that their `new` goes to the tracked heap; ZORBasCowTrackingAllocator
// also counts the bytes in the containers' own pool, whose figures the memory summaries print.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

#include "companions/alloc/ZORBasMemPool.h"
#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/base/omi_Singleton.h"

// The tracked-heap operators of mem_AllocationOperators (with their placement pair, for nodes built
// in storage the container already holds), under the name the containers' nodes and handles use.
struct ZORBAS_API ZORBasCowAllocator : mem_AllocationOperators {};

// Routes allocations through the ZORBasMemPoolCow singleton, which it activates on construction.
// Assignment copies the whole pool object of the source over the target's; both name the same
// singleton, so this changes nothing, and it is kept because callers' layouts rely on it.
class ZORBAS_API ZORBasCowTrackingAllocator : public ZORBasCowAllocator {
  public:
    ZORBasCowTrackingAllocator();
    ZORBasCowTrackingAllocator(const ZORBasCowTrackingAllocator& other) : m_pool(other.m_pool) {}
    ZORBasCowTrackingAllocator& operator=(const ZORBasCowTrackingAllocator& other);

    void* allocate(size_t size) { return m_pool->Alloc(size); }
    void deallocate(void* p) { m_pool->Free(p); }
    void deallocate(void* p, size_t) { m_pool->Free(p); }
    size_t MemoryCurrent() const { return m_pool->MemoryCurrent(); }
    size_t MemoryPeak() const { return m_pool->MemoryPeak(); }
    int PoolID() const { return m_pool->PoolID(); }
    char* PoolName() const { return m_pool->PoolName(); }

  private:
    ZORBasMemPoolCow* m_pool;
};

// Makes and destroys referents on the tracked heap. A class with its own tracked operators (a
// mem_AllocationOperators or ZORBasCowAllocator base) uses them; any other type is built in a
// tracked block. Every referent a holder deletes must have come from cow_New or cow_Direct.
template <class T>
constexpr bool cow_HasTrackedOperators = std::is_base_of_v<mem_AllocationOperators, T>;

template <class T, class... Args>
T* cow_New(Args&&... args) {
    if constexpr (cow_HasTrackedOperators<T>) {
        return new T(std::forward<Args>(args)...);
    } else {
        void* block = mem_OperatorNewThrow(sizeof(T));
        try {
            return ::new (block) T(std::forward<Args>(args)...);
        } catch (...) {
            mem_Free(block);
            throw;
        }
    }
}

template <class T>
void cow_Delete(T* p) {
    if constexpr (cow_HasTrackedOperators<T>) {
        delete p;
    } else if (p) {
        p->~T();
        mem_Free(p);
    }
}

ZORBAS_SINGLETON_EXTERN(ZORBasMemPoolCow)

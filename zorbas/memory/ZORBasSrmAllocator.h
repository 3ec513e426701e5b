// Scoped resource allocators: memory asked for on behalf of one named resource, so that a higher
// layer can count, limit and purge each resource apart. ZORBasSrmAllocator<N> is stateless (a
// table that takes it as a parameter pays nothing per instance); its one piece of state is a
// static pool pointer per N, set at start-up by the layer that owns the pools. With no such layer
// every allocation falls back on the tracked heap. Every block comes back zero-filled: the integer
// tables rely on that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "companions/alloc/mem_Malloc.h"
#include "companions/coreutils/ZORBasCam.h"
#include "companions/framework/zorbas_export.h"

// The index of a resource: 0 to 64 name the rows of srm_ResourceConstData; -1 has an allocator
// and no row. The names of the resources belong to the higher layer.
enum srm_ResourceEnums : int {
    srm_ResourceUnassigned = -1,
    srm_ResourceFirst = 0,
    srm_ResourceLast = 64,
};
inline constexpr int srm_ResourceCount = 65;

// What the default pGetPool slot answers: "no layer has registered", which is not the same as a
// null pool (a null answer clears a pool, the sentinel leaves it alone).
inline ZORBasCamPool* const srm_NoPoolAnswer = reinterpret_cast<ZORBasCamPool*>(0xBAD1);

// The plug of the higher layer. Three static slots, bound at load to defaults that do nothing
// visible beyond one line of output; the layer derives from this class to replace them.
class ZORBAS_API ZORBasSrmForwarder {
  public:
    using SummaryFunction = void (*)();
    using PhaseSummaryFunction = void (*)(const char*);
    using GetPoolFunction = ZORBasCamPool* (*)(srm_ResourceEnums);

    static void MemorySummary() { pMemorySummary(); }
    static void MemorySummary(const char* phase) { pMemorySummaryPhase(phase); }
    static ZORBasCamPool* GetPool(srm_ResourceEnums resource) { return pGetPool(resource); }
    static void Initialize() {}

  protected:
    static void SetPtrMemorySummary(SummaryFunction f) { pMemorySummary = f; }
    static void SetPtrMemorySummary(PhaseSummaryFunction f) { pMemorySummaryPhase = f; }
    static void SetPtrGetPool(GetPoolFunction f) { pGetPool = f; }

  private:
    static SummaryFunction pMemorySummary;
    static PhaseSummaryFunction pMemorySummaryPhase;
    static GetPoolFunction pGetPool;
};

// The defaults of the forwarder's slots, exported so that a layer can put them back.
ZORBAS_API void ZORBasSrmDoNothingVoid();
ZORBAS_API void ZORBasSrmDoNothingPhase(const char* phase);
ZORBAS_API ZORBasCamPool* ZORBasSrmGetPoolNOOP(srm_ResourceEnums resource);

// Process-wide memory limit and the cache manager it is passed to. Nothing in this library sets
// m_cacheManager or m_physical: the higher layer does, before it sets a limit.
class ZORBAS_API ZORBasSrmBase {
  public:
    ZORBasSrmBase() {}
    ~ZORBasSrmBase() {}
    ZORBasSrmBase& operator=(const ZORBasSrmBase&) { return *this; }

    // Stores the limit and hands it on to the cache manager; a process without a cache manager
    // only stores it.
    static void SetMemoryLimit(size_t bytes) {
        m_memoryLimit = bytes;
        if (m_cacheManager) m_cacheManager->SetMemoryLimit(bytes);
    }
    static size_t GetMemoryLimit() { return static_cast<size_t>(m_memoryLimit); }
    static size_t MemoryLimit() { return static_cast<size_t>(m_memoryLimit); }

    static uint64_t m_memoryLimit;
    static uint64_t m_physical;
    static ZORBasCamCacheManager* m_cacheManager;
    static bool m_initialized;
};

// The allocator of resource N. The pool choice is one load and one test; allocate does not test
// its result before clearing it (the pools throw, and the tracked heap failing is fatal anyway).
// deallocate gives the block to whatever pool is set now, so a pool must be set before the first
// allocation of its resource and kept until the last block is freed.
template <int N>
class ZORBAS_API ZORBasSrmAllocator {
    static_assert(N >= -1 && N <= 64, "resource index out of range");

  public:
    ZORBasSrmAllocator() {}
    ~ZORBasSrmAllocator() {}

    static void* allocate(size_t bytes) {
        void* p = s_pool ? s_pool->Alloc(bytes) : mem_Malloc(bytes);
        std::memset(p, 0, bytes);
        return p;
    }
    static void deallocate(void* p) {
        if (s_pool) {
            s_pool->Free(p);
        } else {
            mem_Free(p);
        }
    }
    static ZORBasCamPool* GetPool() { return s_pool; }
    static void SetPool(ZORBasCamPool* pool) { s_pool = pool; }
    // Takes the pool the higher layer names for N; the "no layer" sentinel leaves it as it is.
    static void Initialize() {
        ZORBasCamPool* pool = ZORBasSrmForwarder::GetPool(static_cast<srm_ResourceEnums>(N));
        if (pool != srm_NoPoolAnswer) SetPool(pool);
    }
    // Forgets the pool; the pool is not the allocator's to free.
    static void Finalize() { s_pool = nullptr; }
    void DebugPrint() const {}

  private:
    static ZORBasCamPool* s_pool;
};

// The resource decades, written once for every list that runs over the resources: calls
// M(LEAD ZORBasSrmAllocator<N>) for N = 0 to 9 + 10 * tens (tens empty for 0 to 9). LEAD is the
// leading arguments of M, each followed by its comma ("int," for the integer tables' pairs), or
// nothing for the allocators themselves.
// The lists read as tables; the formatter would rewrap them differently on every pass.
// clang-format off
#define ZORBAS_SRM_DECADE(M, tens, ...) \
    M(__VA_ARGS__ ZORBasSrmAllocator<tens##0>) M(__VA_ARGS__ ZORBasSrmAllocator<tens##1>) \
    M(__VA_ARGS__ ZORBasSrmAllocator<tens##2>) M(__VA_ARGS__ ZORBasSrmAllocator<tens##3>) \
    M(__VA_ARGS__ ZORBasSrmAllocator<tens##4>) M(__VA_ARGS__ ZORBasSrmAllocator<tens##5>) \
    M(__VA_ARGS__ ZORBasSrmAllocator<tens##6>) M(__VA_ARGS__ ZORBasSrmAllocator<tens##7>) \
    M(__VA_ARGS__ ZORBasSrmAllocator<tens##8>) M(__VA_ARGS__ ZORBasSrmAllocator<tens##9>)
#define ZORBAS_SRM_ALLOCATORS(M) \
    ZORBAS_SRM_DECADE(M, ) ZORBAS_SRM_DECADE(M, 1) ZORBAS_SRM_DECADE(M, 2) \
    ZORBAS_SRM_DECADE(M, 3) ZORBAS_SRM_DECADE(M, 4) ZORBAS_SRM_DECADE(M, 5) \
    M(ZORBasSrmAllocator<60>) M(ZORBasSrmAllocator<61>) M(ZORBasSrmAllocator<62>) \
    M(ZORBasSrmAllocator<63>) M(ZORBasSrmAllocator<64>) M(ZORBasSrmAllocator<-1>)
// clang-format on
// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in the source.
#define ZORBAS_SRM_CLASSES(P, A) P template class A;
#define ZORBAS_SRM_EXTERN(A) ZORBAS_SRM_CLASSES(extern, A)
#define ZORBAS_SRM_DEFINE(A) ZORBAS_SRM_CLASSES(, A)
ZORBAS_SRM_ALLOCATORS(ZORBAS_SRM_EXTERN)

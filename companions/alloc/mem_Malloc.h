// The tracked heap: every byte the library and its containers hold comes from here, so that the
// process's footprint and peak are known at any time (the resource monitor prints them).
// Each block carries a 16-byte header (size and a magic word) and a 4-byte tail canary; a free of
// a corrupted or foreign block is a contract violation. Counters are relaxed atomics: exact in a
// quiescent process, at most a few blocks behind while other threads allocate.
#pragma once

#include <cstddef>
#include <cstdint>

#include "companions/framework/zorbas_export.h"

// Null on exhaustion, like malloc. mem_Realloc accepts null; mem_Free accepts null. Blocks of the
// tiny allocator may also be handed to mem_Free.
ZORBAS_API void* mem_Malloc(size_t size);
ZORBAS_API void* mem_Realloc(void* block, size_t size);
ZORBAS_API void mem_Free(void* block);

// Forms for the class-level operators; these throw std::bad_alloc instead of returning null.
ZORBAS_API void* mem_OperatorNewThrow(size_t size);
ZORBAS_API void* mem_OperatorNewTinyThrow(size_t size);
ZORBAS_API void* mem_OperatorNewThrowBuiltin(size_t size);

// Bytes currently held by callers (payloads, plus the tiny allocator's slabs), and the peak.
ZORBAS_API size_t mem_Footprint();
ZORBAS_API size_t mem_MaxFootprint();
// Live blocks of the tracked heap (tiny blocks not included).
ZORBAS_API size_t mem_LiveBlocks();

// Statistics in the shape of dlmalloc's mallinfo, filled from the tracked counters and glibc.
struct mem_DLMallinfoType {
    size_t arena;     // bytes obtained from the system by the C heap
    size_t ordblks;   // free chunks of the C heap
    size_t hblks;     // mmapped regions
    size_t hblkhd;    // bytes in mmapped regions
    size_t usmblks;   // peak tracked footprint
    size_t uordblks;  // tracked footprint
    size_t fordblks;  // free bytes of the C heap
    size_t keepcost;  // releasable bytes at the top of the C heap
};
ZORBAS_API mem_DLMallinfoType mem_DLMallinfo();

struct ZORBAS_API mem_Mallinfo {
    // When true, the resource monitor reports mem_DLMallinfo columns.
    static bool useDL;
};

// Checks the tracked heap's own consistency: counters agree with what the C heap reports holding.
// Returns 0 when consistent, a negative code naming the first inconsistency otherwise.
ZORBAS_API int mem_HeapCheck();

// Takes (true) or releases (false) the heap's thread lock, which the alert handler holds while a
// program's handler runs on the listener thread. Recursive on the same thread.
ZORBAS_API void mem_TBThreadLock(bool take);

// Placement-free forms of the class-level allocation operators. Derive from these to have `new`
// and `delete` of a class go through the tracked heap.
struct ZORBAS_API mem_AllocationOperators {
    static void* operator new(size_t size) { return mem_OperatorNewThrow(size); }
    static void* operator new[](size_t size) { return mem_OperatorNewThrow(size); }
    static void operator delete(void* p) { mem_Free(p); }
    static void operator delete[](void* p) { mem_Free(p); }
    static void* operator new(size_t, void* where) { return where; }
    static void operator delete(void*, void*) {}
};

// For objects of a few bytes (reference counters): served by the tiny allocator.
struct ZORBAS_API mem_AllocationOperatorsTiny {
    static void* operator new(size_t size) { return mem_OperatorNewTinyThrow(size); }
    static void* operator new[](size_t size) { return mem_OperatorNewTinyThrow(size); }
    static void operator delete(void* p) { mem_Free(p); }
    static void operator delete[](void* p) { mem_Free(p); }
};

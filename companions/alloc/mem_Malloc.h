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

// The C heap's statistics under the tracked heap, as words of size_t in a fixed order; a reader
// may take them by name or by word number (Word(i)). The resource monitor reads
//     system bytes = word 0 + word 2,  bytes in use = word 4,  free bytes = word 5,
// and in a quiet process the bytes in use and the free bytes add up to the system bytes.
// Under a sanitizer the C heap is the sanitizer's, and the C heap's words read 0.
struct mem_DLMallinfoType {
    size_t
        arena;  // word 0: bytes the C heap holds from the system in its arenas (brk, arena mmaps)
    size_t ordblks;   // word 1: free chunks in the arenas
    size_t hblkhd;    // word 2: bytes of large blocks mapped from the system one by one
    size_t hblks;     // word 3: such mapped blocks
    size_t uordblks;  // word 4: bytes in use: arena bytes handed out plus the mapped blocks
    size_t fordblks;  // word 5: free bytes in the arenas
    size_t keepcost;  // word 6: free bytes at the top of the main arena, which a trim would return
    size_t usmblks;   // word 7: peak footprint of the tracked heap (mem_MaxFootprint)

    static constexpr int kWords = 8;
    // Word i, 0 for an i outside [0, kWords).
    size_t Word(int i) const {
        const size_t words[kWords] = {arena,    ordblks,  hblkhd,   hblks,
                                      uordblks, fordblks, keepcost, usmblks};
        return i >= 0 && i < kWords ? words[i] : 0;
    }
};
ZORBAS_API mem_DLMallinfoType mem_DLMallinfo();

struct ZORBAS_API mem_Mallinfo {
    // When true, the resource monitor reports mem_DLMallinfo columns.
    static bool useDL;
};

// Checks the tracked heap's own consistency: its counters agree with each other, with the tiny
// allocator and with what the C heap reports holding. Answers in the runtime heap check's terms:
// mem_HEAPOK (-2) for a sound heap, which is the value a heap test compares with; any other value
// names the first inconsistency found.
enum mem_HeapCheckResult {
    mem_HEAPOK = -2,
    mem_HEAPBADCOUNT = -3,   // the footprint or the count of live blocks fell below zero
    mem_HEAPBADBLOCKS = -4,  // the tracked bytes disagree with the live blocks
    mem_HEAPBADTINY = -5,    // the tiny allocator's chunks disagree with the bytes counted for them
    mem_HEAPBADCHEAP = -6,   // the C heap holds fewer bytes than the tracked heap believes live
    mem_HEAPBADPEAK = -7     // the peak is below the footprint
};
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

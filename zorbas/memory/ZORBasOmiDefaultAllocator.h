// The plain allocator of the integer tables: the tracked heap, every block zero-filled, so that a
// table's skeleton (its block pointers, its sorted walks) starts out null. Stateless.
#pragma once

#include <cstddef>
#include <cstring>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasOmiDefaultAllocator {
  public:
    // Throws std::bad_alloc on exhaustion.
    static void* allocate(size_t bytes) {
        void* p = mem_OperatorNewThrow(bytes);
        std::memset(p, 0, bytes);
        return p;
    }
    static void deallocate(void* p) { mem_Free(p); }
};

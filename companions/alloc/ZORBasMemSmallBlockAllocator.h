// Static allocator for the small fixed blocks of integer tables: blocks of up to 32 bytes come
// from the tiny allocator, larger ones from the tracked heap. Blocks are not cleared.
#pragma once

#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasMemSmallBlockAllocator {
  public:
    // Throws std::bad_alloc on exhaustion.
    static void* allocate(int size);
    static void deallocate(void* block);
};

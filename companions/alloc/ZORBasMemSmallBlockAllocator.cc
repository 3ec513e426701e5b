#include "companions/alloc/ZORBasMemSmallBlockAllocator.h"

#include <cstddef>

#include "companions/alloc/mem_Malloc.h"

void* ZORBasMemSmallBlockAllocator::allocate(int size) {
    return mem_OperatorNewTinyThrow(size > 0 ? static_cast<size_t>(size) : 1);
}

void ZORBasMemSmallBlockAllocator::deallocate(void* block) { mem_Free(block); }

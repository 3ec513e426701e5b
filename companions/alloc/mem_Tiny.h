// The tiny-block allocator: blocks of 1 to 32 bytes in five size classes (4, 8, 16, 24, 32) carved
// from 64 KiB chunks of one reserved 4 GiB address range. A block is recognised by its address
// alone, so mem_Free can take it; its class comes from a per-chunk table. Each thread keeps its own
// free lists, linked by 32-bit offsets so that a 4-byte counter needs no more (no lock on the fast
// path); a thread's lists go to a shared pool when it ends. Chunks are never returned to the
// system: the allocator suits many small, long-lived counters.
#pragma once

#include <cstddef>

#include "companions/framework/zorbas_export.h"

ZORBAS_API void* mem_TinyAlloc(size_t size);  // null when size is 0 or above 32, or out of range
ZORBAS_API void mem_TinyFree(void* block);
ZORBAS_API bool mem_IsTinyBlock(const void* block);
// Bytes of chunks handed out so far (they count in mem_Footprint).
ZORBAS_API size_t mem_TinyChunkBytes();
// The size class (4, 8, 16, 24 or 32) of a tiny block.
ZORBAS_API size_t mem_TinyClassSize(const void* block);

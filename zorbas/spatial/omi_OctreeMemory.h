// The octree's item storage: blocks of 32-bit words handed out by bumping a pointer. A block keeps
// only a count of live allocations, so single allocations have no identity: when the count falls
// to 0 the whole block is rewound and reported to its tree for reuse. Memory goes back to the
// heap only when the tree is destroyed.
#pragma once

#include <cstdint>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

class omi_Octree;
class omi_OctreeMemory;

// Where a run of item words lives: the block that served it (needed to release it) and the words.
struct ZORBAS_API omi_OctreeMemPtr {
    omi_OctreeMemPtr() : mem(nullptr), words(nullptr) {}
    omi_OctreeMemPtr(omi_OctreeMemory* m, unsigned* w) : mem(m), words(w) {}
    omi_OctreeMemory* mem;
    unsigned* words;
};

class ZORBAS_API omi_OctreeMemory : public mem_AllocationOperators {
  public:
    // A block of `size` words, linked in front of `nextBlk` in its tree's list of all blocks.
    // Throws std::bad_alloc when the heap is exhausted.
    omi_OctreeMemory(unsigned size, omi_OctreeMemory* nextBlk, omi_Octree* tree);
    ~omi_OctreeMemory();
    omi_OctreeMemory(const omi_OctreeMemory&) = delete;
    omi_OctreeMemory& operator=(const omi_OctreeMemory&) = delete;

    // Null when fewer than `words` words are left.
    unsigned* MemAlloc(unsigned words) {
        if (words > m_available) return nullptr;
        unsigned* run = m_next;
        m_next += words;
        m_available -= words;
        ++m_allocCount;
        return run;
    }
    // Releases one allocation, whichever it was. The last one rewinds the block and hands it to
    // the tree's list of emptied blocks.
    void MemFree();

    unsigned Available() const { return m_available; }
    unsigned BlockSize() const { return m_blockSize; }
    unsigned AllocCount() const { return m_allocCount; }
    omi_OctreeMemory* NextBlk() const { return m_nextBlk; }
    omi_OctreeMemory* NextFree() const { return m_nextFree; }
    void SetNextFree(omi_OctreeMemory* block) { m_nextFree = block; }

  private:
    unsigned* m_memory;
    uint32_t m_available;
    uint32_t m_allocCount;
    unsigned* m_next;
    uint32_t m_blockSize;
    omi_OctreeMemory* m_nextBlk;
    omi_OctreeMemory* m_nextFree;
    omi_Octree* m_tree;
};

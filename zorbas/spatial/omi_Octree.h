// A spatial index of axis-aligned boxes over client objects known only by an unsigned index. It
// answers which leaf holds a point (a few comparisons per level) and feeds the line traversal.
// Leaves store bare 4-byte indices in pooled blocks of at least 1,024 words; when a full leaf
// splits, the tree asks the client again for the boxes of its items through `getBox`. An axis
// whose half size is below the tolerance is never split (a quadtree or binary tree for flat or
// line-like models). Items are never removed; memory goes back with the tree.
//
// Threads: the insertion depth lives in the tree and the Dump statistics in the calling thread,
// so inserts into different trees, and any number of FindCell calls, may run on different threads;
// one tree takes one writer at a time.
#pragma once

#include <cstdint>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/spatial/omi_OctVector.h"
#include "zorbas/spatial/omi_OctreeCell.h"
#include "zorbas/spatial/omi_OctreeMemory.h"

class ZORBAS_API omi_Octree : public mem_AllocationOperators {
  public:
    // Fills min[3] and max[3] with the box of item `index`.
    using GetBoxFn = void (*)(void* clientData, unsigned index, float* min, float* max);

    // A tolerance above all three half sizes makes the tree a cube of half size `tolerance`.
    omi_Octree(const omi_OctVector& center, const omi_OctVector& halfSize, float tolerance,
               GetBoxFn getBox, void* clientData);
    ~omi_Octree();
    omi_Octree(const omi_Octree&) = delete;
    omi_Octree& operator=(const omi_Octree&) = delete;

    // Files item `index` with the closed box [min, max] in every leaf the box reaches. A box
    // whose max lies on a centre plane stays below it; one whose min lies on it reaches both sides.
    void InsertBox(unsigned index, const omi_OctVector& min, const omi_OctVector& max);
    const omi_OctreeLeaf* FindCell(const float* point) const { return m_root->FindCell(point); }
    void GetBounds(omi_OctVector& min, omi_OctVector& max) const { m_root->GetBounds(min, max); }

    float Tolerance() const { return m_tolerance; }
    // Per axis: whether the tree splits it at all.
    const bool* CompFlags() const { return m_compFlags; }
    // The axis whose cells are the thinnest; its half size decides whether a leaf may split.
    unsigned MinComponent() const { return m_minComponent; }
    const omi_OctVector& MinSize() const { return m_minSize; }
    void* ClientData() { return m_clientData; }
    void* ClientData() const { return m_clientData; }
    // The callback that gives an item's box.
    GetBoxFn BoxSource() const { return m_getBox; }
    const omi_OctreeCell* Root() const { return m_root; }

    unsigned NextCellIndex() const { return m_nextCellIndex; }
    void IncrementCellIndex(unsigned n) { m_nextCellIndex += n; }
    // Keeps the smallest child half size seen, judged on the MinComponent axis.
    void SetMinSize(const omi_OctVector& childHalf);

    // `words` words from the current block, else from the head of the emptied blocks, else from
    // a new block of 1,024 words (2 * words for 1,025 words or more).
    omi_OctreeMemPtr MemAlloc(unsigned words);
    // Called by a block whose last allocation was released: pushes it on the emptied blocks. A
    // block that empties while current stays current as well.
    void FreedBlock(omi_OctreeMemory* block);

    omi_OctreeMemory* Blocks() const { return m_blocks; }
    omi_OctreeMemory* CurrentBlock() const { return m_currentBlock; }
    omi_OctreeMemory* FreedBlocks() const { return m_freedBlocks; }

    // Prints three lines on standard output: the cells ("Total nodeCount=..."), all memory
    // blocks, and the emptied blocks. The emptied-block line walks the list of all blocks from
    // the first emptied one on, so it counts every block linked after it as well; kept, since
    // the figures are compared across runs. Returns the items held, summed over leaves.
    unsigned Dump() const;

  private:
    friend class omi_OctreeBranch;
    friend class omi_OctreeLeafFix;
    friend class omi_OctreeInsertLevel;

    float m_tolerance;
    bool m_compFlags[3];
    uint32_t m_minComponent;
    omi_OctVector m_minSize;
    omi_OctreeCell* m_root;
    omi_OctreeMemory* m_blocks;
    omi_OctreeMemory* m_currentBlock;
    omi_OctreeMemory* m_freedBlocks;
    uint32_t m_nextCellIndex;
    void* m_clientData;
    GetBoxFn m_getBox;
    // Nesting of InsertBox calls of branches and fixed leaves: the root runs at 1, so cells stop
    // splitting at level 11. A split re-inserts its items from inside the full leaf's call, one
    // call deeper than the new cells' level; a cascade of splits (many items at one point) adds
    // one at each step and stops at level 7.
    uint32_t m_insertDepth;
};

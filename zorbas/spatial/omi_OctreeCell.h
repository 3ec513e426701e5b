// The cells of an omi_Octree: branches with up to eight children, and leaves that hold bare 32-bit
// item indices. A fixed leaf keeps up to 256 items in chunks of 32 words taken only when reached;
// when full it is replaced by a branch, or, once the cells are too small or too deep (level 11,
// sooner within a cascade of splits), by an infinite leaf that grows by doubling and never
// splits. A cell is replaced, never changed back: an InsertBox that returns non-null hands the
// caller the replacement, and the caller deletes the old cell.
#pragma once

#include <cstdint>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/spatial/omi_OctVector.h"
#include "zorbas/spatial/omi_OctreeMemory.h"

class omi_Octree;
class omi_OctreeLeaf;

class ZORBAS_API omi_OctreeCell : public mem_AllocationOperators {
  public:
    omi_OctreeCell(const omi_OctVector& center, const omi_OctVector& halfSize)
        : m_halfSize(halfSize), m_center(center) {}
    virtual ~omi_OctreeCell() = default;
    omi_OctreeCell(const omi_OctreeCell&) = delete;
    omi_OctreeCell& operator=(const omi_OctreeCell&) = delete;

    // The leaf that owns `point`. A point on a centre plane belongs to the lower child; a point
    // outside the cell falls to the child that the comparisons lead to, so every point finds a
    // leaf.
    virtual const omi_OctreeLeaf* FindCell(const float* point) const = 0;
    // Files item `index` with the closed box [min, max]. Non-null: the replacement of this cell.
    virtual omi_OctreeCell* InsertBox(unsigned index, const omi_OctVector& min,
                                      const omi_OctVector& max, omi_Octree* tree) = 0;
    // Adds this subtree to the running cell statistics; returns the items held below it.
    virtual unsigned Dump() const = 0;

    void GetBounds(omi_OctVector& min, omi_OctVector& max) const {
        min = m_center;
        min -= m_halfSize;
        max = m_center;
        max += m_halfSize;
    }
    const omi_OctVector& HalfSize() const { return m_halfSize; }
    const omi_OctVector& Center() const { return m_center; }

  protected:
    omi_OctVector m_halfSize;
    omi_OctVector m_center;
};

// Children are numbered x + 2y + 4z, a bit being 1 for the upper half on its axis. Children are
// made on the tree's axis flags, but a branch tells them apart only on its own flags, which are
// cleared where a halved cell would be thinner than the tolerance; a child it cannot reach then
// stays an empty leaf. On an axis the tree does not split, the children's centres are placed
// `halfSize` below the branch's: FindCell and InsertBox never read that axis, only the bounds of
// the leaves (which the line traversal reads) carry the offset.
class ZORBAS_API omi_OctreeBranch : public omi_OctreeCell {
  public:
    // Makes the children as empty fixed leaves numbered from tree->NextCellIndex().
    omi_OctreeBranch(const omi_OctVector& center, const omi_OctVector& halfSize, omi_Octree* tree);
    ~omi_OctreeBranch() override;

    const omi_OctreeLeaf* FindCell(const float* point) const override;
    // Sends the box to every child it reaches; always returns null.
    omi_OctreeCell* InsertBox(unsigned index, const omi_OctVector& min, const omi_OctVector& max,
                              omi_Octree* tree) override;
    unsigned Dump() const override;

    const omi_OctreeCell* Child(unsigned i) const { return m_children[i]; }
    // Whether this branch tells its children apart on `axis`.
    bool Splits(unsigned axis) const { return m_splits[axis]; }

  private:
    omi_OctreeCell* m_children[8];
    bool m_splits[3];
};

class ZORBAS_API omi_OctreeLeaf : public omi_OctreeCell {
  public:
    omi_OctreeLeaf(unsigned index, const omi_OctVector& center, const omi_OctVector& halfSize)
        : omi_OctreeCell(center, halfSize), m_count(0), m_index(index) {}

    const omi_OctreeLeaf* FindCell(const float*) const override { return this; }
    // When called on a lone leaf (not from a tree's Dump), prints its own "Total" line.
    unsigned Dump() const override;
    // The i-th item, i below Count().
    virtual unsigned CellIndex(unsigned i) const = 0;

    unsigned Count() const { return m_count; }
    // The leaf's number, unique in its tree; leaves made later have higher numbers.
    unsigned Index() const { return m_index; }

  protected:
    uint32_t m_count;
    uint32_t m_index;
};

class ZORBAS_API omi_OctreeLeafFix : public omi_OctreeLeaf {
  public:
    static constexpr unsigned kCapacity = 256;
    static constexpr unsigned kChunkWords = 32;

    omi_OctreeLeafFix(unsigned index, const omi_OctVector& center, const omi_OctVector& halfSize)
        : omi_OctreeLeaf(index, center, halfSize) {}
    ~omi_OctreeLeafFix() override;

    // Stores the item; on the 257th, splits (asking the tree's getBox once for each item held)
    // or turns into an infinite leaf, and returns the replacement.
    omi_OctreeCell* InsertBox(unsigned index, const omi_OctVector& min, const omi_OctVector& max,
                              omi_Octree* tree) override;
    unsigned CellIndex(unsigned i) const override { return m_chunks[i >> 5].words[i & 31]; }

  private:
    omi_OctreeMemPtr m_chunks[kCapacity / kChunkWords];
};

class ZORBAS_API omi_OctreeLeafInf : public omi_OctreeLeaf {
  public:
    // Takes its first run of 512 words at once.
    omi_OctreeLeafInf(unsigned index, const omi_OctVector& center, const omi_OctVector& halfSize,
                      omi_Octree* tree);
    ~omi_OctreeLeafInf() override;

    // Appends; a full run is copied into one of twice the size. Always returns null.
    omi_OctreeCell* InsertBox(unsigned index, const omi_OctVector& min, const omi_OctVector& max,
                              omi_Octree* tree) override;
    unsigned CellIndex(unsigned i) const override { return m_run.words[i]; }
    unsigned Capacity() const { return m_capacity; }

  private:
    uint32_t m_capacity;
    omi_OctreeMemPtr m_run;
};

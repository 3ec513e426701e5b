// A set of unsigned mesh ids (nodes, elements, faces) over a block bit vector: membership is a
// bit test, the count is kept as ids come and go, the set operators run page by page and a walk
// is in ascending id order. Memory follows where the ids fall: 1 KiB per 8,192-id range in use.
// Unlike the vector's own ==, equality here is of the ids alone, whatever pages the two hold.
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/intsets/omi_BlkBitVect.h"

class ZORBAS_API omi_SparseSet : public mem_AllocationOperators {
  public:
    omi_SparseSet() = default;
    explicit omi_SparseSet(const omi_BlkBitVect& ids) : bits(ids) {}

    // True when the id was not a member.
    bool Insert(unsigned id) {
        if (bits.GetBit(id)) return false;
        bits.SetBit(id);
        return true;
    }
    // Every id of [first, last]; word-wide, so a run of a million ids costs some 30,000 stores.
    void InsertRange(unsigned first, unsigned last) { bits.SetFromTo(first, last); }
    // True when the id was a member.
    bool Remove(unsigned id) {
        if (!bits.GetBit(id)) return false;
        bits.UnsetBit(id);
        return true;
    }
    bool IsMember(unsigned id) const { return bits.GetBit(id); }
    int Size() const { return static_cast<int>(bits.BitCount()); }
    bool IsEmpty() const { return bits.BitCount() == 0; }
    void Clear() { bits.Clear(); }

    // The smallest and the largest id; false for an empty set.
    bool Min(unsigned& id) const;
    bool Max(unsigned& id) const;

    omi_SparseSet& operator|=(const omi_SparseSet& other) {
        bits |= other.bits;
        return *this;
    }
    omi_SparseSet& operator&=(const omi_SparseSet& other) {
        bits &= other.bits;
        return *this;
    }
    omi_SparseSet& operator-=(const omi_SparseSet& other) {
        bits -= other.bits;
        return *this;
    }
    omi_SparseSet& operator^=(const omi_SparseSet& other) {
        bits ^= other.bits;
        return *this;
    }
    bool operator==(const omi_SparseSet& other) const;
    bool operator!=(const omi_SparseSet& other) const { return !(*this == other); }
    bool Contains(const omi_SparseSet& other) const { return bits.Contains(other.bits); }
    bool HasOverlap(const omi_SparseSet& other) const { return bits.HasOverlap(other.bits); }

    // The ids in ascending order into `out`, which holds at least Size() entries; returns the
    // count.
    int ToArray(unsigned* out) const;

    const omi_BlkBitVect& Bits() const { return bits; }
    size_t Footprint() const { return bits.Footprint(); }

  private:
    omi_BlkBitVect bits;
};

// Walks a set in ascending order: for (it.First(); !it.IsDone(); it.Next()) it.CurrentKey().
// Valid while the set is unchanged; an insert may grow the page table under it.
class ZORBAS_API omi_SparseSetIter : public mem_AllocationOperators {
  public:
    explicit omi_SparseSetIter(const omi_SparseSet& set) : trav(&set.Bits()) {}
    void First() { done = !trav.First(current); }
    void Next() { done = !trav.Next(current); }
    // Starts at the smallest member not below id.
    void Seek(unsigned id) {
        current = id;
        done = !trav.SetCurrent(current, true);
    }
    bool IsDone() const { return done; }
    unsigned CurrentKey() const { return current; }

  private:
    omi_BlkBitVectTrav trav;
    unsigned current = 0;
    bool done = true;
};

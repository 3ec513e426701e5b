#include "zorbas/intsets/omi_SparseSet.h"

bool omi_SparseSet::Min(unsigned& id) const {
    omi_BlkBitVectTrav trav(&bits);
    return trav.First(id);
}

bool omi_SparseSet::Max(unsigned& id) const {
    omi_BlkBitVectTrav trav(&bits);
    return trav.Last(id);
}

// Equal counts and one containing the other: immune to the all-zero pages that the vector's own
// == sees, and to page tables of different lengths.
bool omi_SparseSet::operator==(const omi_SparseSet& other) const {
    return bits.BitCount() == other.bits.BitCount() && bits.Contains(other.bits);
}

int omi_SparseSet::ToArray(unsigned* out) const {
    omi_BlkBitVectTrav trav(&bits);
    int n = 0;
    unsigned id = 0;
    for (bool ok = trav.First(id); ok; ok = trav.Next(id)) out[n++] = id;
    return n;
}

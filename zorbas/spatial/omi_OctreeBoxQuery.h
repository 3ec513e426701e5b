// Which boxes of an omi_Octree hold a point. The tree's leaves keep bare item indices, so a query
// by FindCell alone gives candidates whose boxes live with the client; this object keeps, per
// leaf, a compact copy of its candidates' boxes (six float arrays and the item indices, padded to
// a multiple of eight) and tests them eight or four at a time. A leaf's copy is made on its first
// query and made again when the leaf's item count has changed, that is after an insert into it;
// the copies of leaves that a split replaced stay until the query object goes. Costs: 28 bytes
// per item per leaf that holds it, from the tracked heap (Footprint reports them).
// One query object serves one thread: a query may build a copy. The tree must outlive it.
#pragma once

#include <cstddef>
#include <vector>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/spatial/omi_Octree.h"

class ZORBAS_API omi_OctreeBoxQuery : public mem_AllocationOperators {
  public:
    explicit omi_OctreeBoxQuery(const omi_Octree& tree);
    ~omi_OctreeBoxQuery();
    omi_OctreeBoxQuery(const omi_OctreeBoxQuery&) = delete;
    omi_OctreeBoxQuery& operator=(const omi_OctreeBoxQuery&) = delete;

    // Replaces the contents of `out` with the items whose closed boxes hold `point`, in the
    // order the point's leaf stores them; returns their number.
    unsigned BoxesAt(const float* point, std::vector<unsigned>& out);
    // Replaces the contents of `out` with the items whose closed boxes touch the closed box
    // [min, max], each once, in ascending order; returns their number.
    unsigned BoxesTouching(const float* min, const float* max, std::vector<unsigned>& out);

    // Bytes held by the copies and their table.
    size_t Footprint() const;
    // Leaf copies made so far, counting remade ones.
    unsigned CopiesMade() const { return copiesMade; }

  private:
    struct LeafBoxes;
    const LeafBoxes& BoxesOf(const omi_OctreeLeaf* leaf);
    void Touching(const omi_OctreeCell* cell, const float* min, const float* max,
                  std::vector<unsigned>& out);

    const omi_Octree& tree;
    LeafBoxes** byLeaf;  // indexed by the leaf's number, null until its first query
    unsigned tableLength;
    unsigned copiesMade;
    size_t bytes;
    unsigned* scratch;  // a point query's hits before they are handed over
    unsigned scratchLength;
};

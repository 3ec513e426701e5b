// Hands out, one at a time and each once, the leaves of an omi_Octree that a segment passes
// through or passes within `tolerance` of. It is a stepping search, not an exact ray walk: it
// probes the tree at a point of the line and at the eight corners of a cube of half width
// `tolerance` round it, then jumps the line parameter past the nearest exit of the leaves found
// and a step of twice the tolerance further. A bit per leaf number records what was delivered.
// The walk allocates nothing but the pages of that bit set; the tree must not change meanwhile.
//
// What the search misses, by design. It jumps to the nearest exit among the leaves of a batch,
// and a leaf's exit is the farthest of its faces that the line meets within the tolerance:
// 1. For a leaf that the line only passes near (found by a probe corner), or leaves at a shallow
//    angle, that exit lies at the end of a stretch where the line runs within the tolerance of
//    the leaf. Leaves that the line crosses in that stretch are found only if a probe corner
//    lands in them (the probe's own leaf joins a batch only when it is new).
// 2. A batch whose leaves give no exit beyond parameter 0, because the line only grazes them
//    without meeting a face plane within the tolerance, ends the walk: the rest of the segment
//    is not searched.
// Elsewhere the corners of the probe cubes find every leaf along the way, since leaves are at
// least twice the tree's tolerance wide on every axis it splits (for a traversal tolerance no
// larger than the tree's).
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/intsets/omi_BlkBitVect.h"
#include "zorbas/spatial/omi_OctVector.h"
#include "zorbas/spatial/omi_Octree.h"

class ZORBAS_API omi_OctreeLineTrav : public mem_AllocationOperators {
  public:
    omi_OctreeLineTrav();
    omi_OctreeLineTrav(const omi_OctreeLineTrav&) = delete;
    omi_OctreeLineTrav& operator=(const omi_OctreeLineTrav&) = delete;

    // Arms the traversal of the segment start-end. False if the segment does not come within
    // `tolerance` of the tree (nothing will be delivered). May be called again on the same object.
    bool Init(const omi_Octree* tree, float* start, float* end, float tolerance);
    // The next leaf, or null at the end (and from then on).
    const omi_OctreeLeaf* NextCell();
    // The line parameter of the probe that found the current batch (0 for the first one).
    float Parameter() const { return m_parameter; }

  private:
    void FindCells(const omi_OctVector& point);
    float FindMaxCellIntersect(const omi_OctreeLeaf* leaf);
    void Take(const omi_OctreeLeaf* leaf);

    const omi_Octree* m_tree;
    int m_cellCount;
    int m_cellNext;
    // The probe point and the eight corners can name nine different leaves when leaves are no
    // wider than the tolerance (the cube then spans several); one slot more than corners keeps
    // them all, in probing order.
    const omi_OctreeLeaf* m_cells[9];
    omi_OctVector m_start;
    omi_OctVector m_end;
    // end - start: parameter 0 is start, parameter 1 is end.
    omi_OctVector m_direction;
    omi_OctVector m_treeMin;
    omi_OctVector m_treeMax;
    float m_parameter;
    float m_step;
    float m_tolerance;
    omi_BlkBitVect m_visited;
};

// Whether the line start + t * direction meets the face of the box [min, max] at `planeValue` on
// `axis`, within `tolerance`; fills `t` and the hit point. The tolerance is also applied to `t`
// as it stands, a length used as a parameter. `end` is not read. axis, axis1, axis2 are a cyclic
// triple: (0, 1, 2), (1, 2, 0) or (2, 0, 1).
ZORBAS_API bool LineInterCubeFace(const float* direction, const float* start, const float* end,
                                  const float* min, const float* max, float planeValue,
                                  float tolerance, int axis, int axis1, int axis2, float& t,
                                  float* hit);

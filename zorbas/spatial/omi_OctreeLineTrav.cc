#include "zorbas/spatial/omi_OctreeLineTrav.h"

#include <cmath>
#include <initializer_list>

namespace {

// The face's own axis, then the two it spans, in cyclic order.
constexpr int kAxes[3][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}};

}  // namespace

bool LineInterCubeFace(const float* direction, const float* start, const float*, const float* min,
                       const float* max, float planeValue, float tolerance, int axis, int axis1,
                       int axis2, float& t, float* hit) {
    t = (planeValue - start[axis]) / direction[axis];
    if (t + tolerance < 0 || t - tolerance > 1) return false;
    hit[axis] = planeValue;
    for (int other : {axis1, axis2}) {
        const float p = start[other] + direction[other] * t;
        if (p - tolerance > max[other] || min[other] > p + tolerance) return false;
        hit[other] = p;
    }
    return true;
}

omi_OctreeLineTrav::omi_OctreeLineTrav()
    : m_tree(nullptr),
      m_cellCount(0),
      m_cellNext(0),
      m_cells{},
      m_parameter(0),
      m_step(0),
      m_tolerance(0) {}

bool omi_OctreeLineTrav::Init(const omi_Octree* tree, float* start, float* end, float tolerance) {
    m_cellCount = 0;
    m_cellNext = 0;
    m_parameter = 0;
    m_tree = tree;
    m_start = start;
    m_end = end;
    m_tolerance = tolerance;
    m_direction = m_end;
    m_direction -= m_start;
    m_visited.Clear();

    const float length = std::sqrt(m_direction.SqrMag());
    m_step = 2 * tolerance > length ? 1.0f : 2 * tolerance / length;

    tree->GetBounds(m_treeMin, m_treeMax);
    omi_OctVector low = m_treeMin, high = m_treeMax;
    for (unsigned k = 0; k < 3; ++k) {
        low[k] -= tolerance;
        high[k] += tolerance;
        if ((low[k] > start[k] && low[k] > end[k]) || (start[k] > high[k] && end[k] > high[k])) {
            return false;
        }
    }
    if (m_start >= low && m_start <= high) {
        FindCells(m_start);
        return m_cellCount != 0;
    }

    // Enter through the nearest face of the tree that the line meets.
    float best = 2;
    omi_OctVector entry;
    for (int axis = 0; axis < 3; ++axis) {
        if (tolerance > std::fabs(m_direction[axis])) continue;
        for (float face : {m_treeMin[axis], m_treeMax[axis]}) {
            float t, hit[3];
            if (LineInterCubeFace(m_direction.Comps(), m_start.Comps(), m_end.Comps(),
                                  m_treeMin.Comps(), m_treeMax.Comps(), face, tolerance, axis,
                                  kAxes[axis][1], kAxes[axis][2], t, hit) &&
                t < best) {
                best = t;
                entry = hit;
            }
        }
    }
    if (best >= 0 && best <= 1) {
        FindCells(entry);
        return m_cellCount != 0;
    }
    return false;
}

const omi_OctreeLeaf* omi_OctreeLineTrav::NextCell() {
    if (m_cellNext < m_cellCount) return m_cells[m_cellNext++];

    // Jump to the nearest exit of the batch; it may lie behind the parameter reached, when a
    // corner found a leaf that the line has already left.
    float exit = 1;
    for (int i = 0; i < m_cellCount; ++i) {
        const float t = FindMaxCellIntersect(m_cells[i]);
        if (t > 0 && t < exit) exit = t;
    }
    m_parameter = exit;
    m_cellCount = 0;
    while (m_parameter < 1) {
        m_parameter += m_step;
        omi_OctVector point = m_direction;
        point *= m_parameter;
        point += m_start;
        FindCells(point);
        if (m_cellCount != 0) {
            m_cellNext = 1;
            return m_cells[0];
        }
    }
    return nullptr;
}

void omi_OctreeLineTrav::Take(const omi_OctreeLeaf* leaf) {
    if (m_visited.GetBit(leaf->Index())) return;
    m_visited.SetBit(leaf->Index());
    m_cells[m_cellCount++] = leaf;
}

void omi_OctreeLineTrav::FindCells(const omi_OctVector& point) {
    m_cellCount = 0;
    m_cellNext = 0;
    const omi_OctreeLeaf* leaf = m_tree->FindCell(point.Comps());
    Take(leaf);
    omi_OctVector min, max;
    leaf->GetBounds(min, max);
    for (int x : {-1, 1}) {
        for (int y : {-1, 1}) {
            for (int z : {-1, 1}) {
                const int signs[3] = {x, y, z};
                omi_OctVector corner(m_tolerance, m_tolerance, m_tolerance);
                corner.SetComps(signs);
                corner += point;
                if (corner >= min && corner <= max) continue;
                Take(m_tree->FindCell(corner.Comps()));
            }
        }
    }
}

float omi_OctreeLineTrav::FindMaxCellIntersect(const omi_OctreeLeaf* leaf) {
    omi_OctVector min, max;
    leaf->GetBounds(min, max);
    float best = 0;
    for (int axis = 0; axis < 3; ++axis) {
        if (m_tolerance > std::fabs(m_direction[axis])) continue;
        for (float face : {min[axis], max[axis]}) {
            float t, hit[3];
            if (LineInterCubeFace(m_direction.Comps(), m_start.Comps(), m_end.Comps(), min.Comps(),
                                  max.Comps(), face, m_tolerance, axis, kAxes[axis][1],
                                  kAxes[axis][2], t, hit) &&
                t > best) {
                best = t;
            }
        }
    }
    return best > 1 ? 1 : best;
}

#include "zorbas/spatial/omi_OctreeBoxQuery.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// A leaf's copy: `count` is the leaf's item count when it was made (a different count means
// items were added since); `padded` rounds it up to a multiple of eight, the spare slots holding
// an empty box (min +inf, max -inf) that holds no point. The arrays follow the header.
struct omi_OctreeBoxQuery::LeafBoxes {
    unsigned count;
    unsigned padded;
    float* lo[3];
    float* hi[3];
    unsigned* items;

    static size_t BytesFor(unsigned padded) {
        return sizeof(LeafBoxes) + 31 + size_t{padded} * (6 * sizeof(float) + sizeof(unsigned));
    }
};

namespace {

constexpr unsigned kLanes = 8;

#if defined(__x86_64__)
// Eight slots a step: six compares, five ANDs and one mask extraction.
__attribute__((target("avx"))) unsigned ScanAvx(const float* const lo[3], const float* const hi[3],
                                                unsigned padded, const float* p,
                                                const unsigned* items, unsigned* out) {
    const __m256 px = _mm256_set1_ps(p[0]), py = _mm256_set1_ps(p[1]), pz = _mm256_set1_ps(p[2]);
    unsigned found = 0;
    for (unsigned i = 0; i < padded; i += kLanes) {
        __m256 in = _mm256_and_ps(_mm256_cmp_ps(_mm256_load_ps(lo[0] + i), px, _CMP_LE_OQ),
                                  _mm256_cmp_ps(px, _mm256_load_ps(hi[0] + i), _CMP_LE_OQ));
        in = _mm256_and_ps(in, _mm256_cmp_ps(_mm256_load_ps(lo[1] + i), py, _CMP_LE_OQ));
        in = _mm256_and_ps(in, _mm256_cmp_ps(py, _mm256_load_ps(hi[1] + i), _CMP_LE_OQ));
        in = _mm256_and_ps(in, _mm256_cmp_ps(_mm256_load_ps(lo[2] + i), pz, _CMP_LE_OQ));
        in = _mm256_and_ps(in, _mm256_cmp_ps(pz, _mm256_load_ps(hi[2] + i), _CMP_LE_OQ));
        for (unsigned m = static_cast<unsigned>(_mm256_movemask_ps(in)); m; m &= m - 1)
            out[found++] = items[i + static_cast<unsigned>(__builtin_ctz(m))];
    }
    return found;
}

// Four slots a step with the baseline instruction set.
unsigned ScanSse(const float* const lo[3], const float* const hi[3], unsigned padded,
                 const float* p, const unsigned* items, unsigned* out) {
    const __m128 px = _mm_set1_ps(p[0]), py = _mm_set1_ps(p[1]), pz = _mm_set1_ps(p[2]);
    unsigned found = 0;
    for (unsigned i = 0; i < padded; i += 4) {
        __m128 in = _mm_and_ps(_mm_cmple_ps(_mm_load_ps(lo[0] + i), px),
                               _mm_cmple_ps(px, _mm_load_ps(hi[0] + i)));
        in = _mm_and_ps(in, _mm_cmple_ps(_mm_load_ps(lo[1] + i), py));
        in = _mm_and_ps(in, _mm_cmple_ps(py, _mm_load_ps(hi[1] + i)));
        in = _mm_and_ps(in, _mm_cmple_ps(_mm_load_ps(lo[2] + i), pz));
        in = _mm_and_ps(in, _mm_cmple_ps(pz, _mm_load_ps(hi[2] + i)));
        for (unsigned m = static_cast<unsigned>(_mm_movemask_ps(in)); m; m &= m - 1)
            out[found++] = items[i + static_cast<unsigned>(__builtin_ctz(m))];
    }
    return found;
}

using ScanFn = unsigned (*)(const float* const*, const float* const*, unsigned, const float*,
                            const unsigned*, unsigned*);
ScanFn PointScan() {
    static const ScanFn chosen = __builtin_cpu_supports("avx") ? &ScanAvx : &ScanSse;
    return chosen;
}
#else
unsigned PointScanPortable(const float* const lo[3], const float* const hi[3], unsigned padded,
                           const float* p, const unsigned* items, unsigned* out) {
    unsigned found = 0;
    for (unsigned i = 0; i < padded; ++i) {
        if (lo[0][i] <= p[0] && p[0] <= hi[0][i] && lo[1][i] <= p[1] && p[1] <= hi[1][i] &&
            lo[2][i] <= p[2] && p[2] <= hi[2][i])
            out[found++] = items[i];
    }
    return found;
}
#endif

}  // namespace

omi_OctreeBoxQuery::omi_OctreeBoxQuery(const omi_Octree& tree_)
    : tree(tree_),
      byLeaf(nullptr),
      tableLength(0),
      copiesMade(0),
      bytes(0),
      scratch(nullptr),
      scratchLength(0) {}

omi_OctreeBoxQuery::~omi_OctreeBoxQuery() {
    for (unsigned i = 0; i < tableLength; ++i) mem_Free(byLeaf[i]);
    mem_Free(byLeaf);
    mem_Free(scratch);
}

const omi_OctreeBoxQuery::LeafBoxes& omi_OctreeBoxQuery::BoxesOf(const omi_OctreeLeaf* leaf) {
    const unsigned number = leaf->Index();
    if (number >= tableLength) {
        unsigned length = std::max(tree.NextCellIndex(), number + 1);
        auto** table =
            static_cast<LeafBoxes**>(mem_OperatorNewThrowBuiltin(sizeof(LeafBoxes*) * length));
        if (tableLength) std::memcpy(table, byLeaf, sizeof(LeafBoxes*) * tableLength);
        std::memset(table + tableLength, 0, sizeof(LeafBoxes*) * (length - tableLength));
        mem_Free(byLeaf);
        bytes += sizeof(LeafBoxes*) * (length - tableLength);
        byLeaf = table;
        tableLength = length;
    }
    LeafBoxes*& slot = byLeaf[number];
    const unsigned count = leaf->Count();
    if (slot && slot->count == count) return *slot;
    if (slot) {
        bytes -= LeafBoxes::BytesFor(slot->padded);
        mem_Free(slot);
    }
    const unsigned padded = (count + kLanes - 1) / kLanes * kLanes;
    const size_t size = LeafBoxes::BytesFor(padded);
    auto* raw = static_cast<unsigned char*>(mem_OperatorNewThrowBuiltin(size));
    auto* boxes = reinterpret_cast<LeafBoxes*>(raw);
    // The float arrays start on a 32-byte boundary and each is a multiple of 32 bytes long.
    auto start = reinterpret_cast<uintptr_t>(raw + sizeof(LeafBoxes));
    auto* arrays = reinterpret_cast<float*>((start + 31) & ~uintptr_t{31});
    boxes->count = count;
    boxes->padded = padded;
    for (unsigned k = 0; k < 3; ++k) {
        boxes->lo[k] = arrays + k * padded;
        boxes->hi[k] = arrays + (3 + k) * padded;
    }
    boxes->items = reinterpret_cast<unsigned*>(arrays + 6 * padded);
    const omi_Octree::GetBoxFn getBox = tree.BoxSource();
    void* client = tree.ClientData();
    for (unsigned i = 0; i < padded; ++i) {
        float min[3] = {std::numeric_limits<float>::infinity(),
                        std::numeric_limits<float>::infinity(),
                        std::numeric_limits<float>::infinity()};
        float max[3] = {-min[0], -min[1], -min[2]};
        unsigned item = 0;
        if (i < count) {
            item = leaf->CellIndex(i);
            getBox(client, item, min, max);
        }
        for (unsigned k = 0; k < 3; ++k) {
            boxes->lo[k][i] = min[k];
            boxes->hi[k][i] = max[k];
        }
        boxes->items[i] = item;
    }
    slot = boxes;
    bytes += size;
    ++copiesMade;
    return *boxes;
}

unsigned omi_OctreeBoxQuery::BoxesAt(const float* point, std::vector<unsigned>& out) {
    const LeafBoxes& boxes = BoxesOf(tree.FindCell(point));
    if (boxes.padded > scratchLength) {
        mem_Free(scratch);
        bytes -= sizeof(unsigned) * scratchLength;
        scratchLength = boxes.padded;
        scratch =
            static_cast<unsigned*>(mem_OperatorNewThrowBuiltin(sizeof(unsigned) * scratchLength));
        bytes += sizeof(unsigned) * scratchLength;
    }
#if defined(__x86_64__)
    const unsigned found =
        PointScan()(boxes.lo, boxes.hi, boxes.padded, point, boxes.items, scratch);
#else
    const unsigned found =
        PointScanPortable(boxes.lo, boxes.hi, boxes.padded, point, boxes.items, scratch);
#endif
    out.assign(scratch, scratch + found);
    return found;
}

void omi_OctreeBoxQuery::Touching(const omi_OctreeCell* cell, const float* min, const float* max,
                                  std::vector<unsigned>& out) {
    if (const auto* branch = dynamic_cast<const omi_OctreeBranch*>(cell)) {
        // The children the tree's insertion would give this box: per axis the branch tells
        // apart, the upper half when min is above the centre, both when only max is, else the
        // lower half.
        unsigned from[3], to[3];
        for (unsigned k = 0; k < 3; ++k) {
            const float c = branch->Center()[k];
            const bool split = branch->Splits(k);
            from[k] = split && min[k] > c ? 1 : 0;
            to[k] = split && max[k] > c ? 1 : 0;
        }
        for (unsigned z = from[2]; z <= to[2]; ++z)
            for (unsigned y = from[1]; y <= to[1]; ++y)
                for (unsigned x = from[0]; x <= to[0]; ++x)
                    if (const omi_OctreeCell* child = branch->Child(x + 2 * y + 4 * z))
                        Touching(child, min, max, out);
        return;
    }
    const LeafBoxes& boxes = BoxesOf(static_cast<const omi_OctreeLeaf*>(cell));
    for (unsigned i = 0; i < boxes.count; ++i) {
        if (boxes.lo[0][i] <= max[0] && min[0] <= boxes.hi[0][i] && boxes.lo[1][i] <= max[1] &&
            min[1] <= boxes.hi[1][i] && boxes.lo[2][i] <= max[2] && min[2] <= boxes.hi[2][i])
            out.push_back(boxes.items[i]);
    }
}

unsigned omi_OctreeBoxQuery::BoxesTouching(const float* min, const float* max,
                                           std::vector<unsigned>& out) {
    out.clear();
    Touching(tree.Root(), min, max, out);
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return static_cast<unsigned>(out.size());
}

size_t omi_OctreeBoxQuery::Footprint() const { return sizeof(*this) + bytes; }

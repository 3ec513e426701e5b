#include "zorbas/spatial/omi_Octree.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

// ---------------------------------------------------------------------------------------------
// Memory blocks.

omi_OctreeMemory::omi_OctreeMemory(unsigned size, omi_OctreeMemory* nextBlk, omi_Octree* tree)
    : m_memory(static_cast<unsigned*>(mem_OperatorNewThrow(size_t{size} * sizeof(unsigned)))),
      m_available(size),
      m_allocCount(0),
      m_next(m_memory),
      m_blockSize(size),
      m_nextBlk(nextBlk),
      m_nextFree(nullptr),
      m_tree(tree) {}

omi_OctreeMemory::~omi_OctreeMemory() { mem_Free(m_memory); }

void omi_OctreeMemory::MemFree() {
    if (m_allocCount != 0) --m_allocCount;
    if (m_allocCount == 0) {
        m_available = m_blockSize;
        m_next = m_memory;
        m_tree->FreedBlock(this);
    }
}

// ---------------------------------------------------------------------------------------------
// Insertion depth and Dump statistics.

// Counts the nesting of InsertBox calls of branches and fixed leaves on the tree, and takes the
// level back however the call ends (getBox or the heap may throw).
class omi_OctreeInsertLevel {
  public:
    explicit omi_OctreeInsertLevel(omi_Octree* tree) : m_tree(tree) { ++tree->m_insertDepth; }
    ~omi_OctreeInsertLevel() { --m_tree->m_insertDepth; }
    unsigned Depth() const { return m_tree->m_insertDepth; }

  private:
    omi_Octree* m_tree;
};

namespace {

// The Dump statistics. At rest every counter is 0: a Dump started on a lone leaf sees its depth
// come back to 0 and prints its own report.
struct DumpCounters {
    int depth = 0;
    int numCell = 0;
    int numLeaf = 0;
    int maxDepth = 0;
};
thread_local DumpCounters tlsDump;

void PrintTotal(unsigned nodeCount, size_t size) {
    std::printf("Total nodeCount=%d, numCell=%d, numLeaf=%d, maxDepth=%d, size=%d\n",
                static_cast<int>(nodeCount), tlsDump.numCell, tlsDump.numLeaf, tlsDump.maxDepth,
                static_cast<int>(size));
}

// Children that a box reaches, as a bit mask, keyed by the sum over the axes of 0 (lower half
// only), 1 << k (both halves) or 9 << k (upper half only): bit k says "reaches the upper half",
// bit k + 3 "misses the lower half".
constexpr std::array<uint8_t, 64> MakeChildSelection() {
    std::array<uint8_t, 64> table{};
    for (unsigned key = 0; key < 64; ++key) {
        for (unsigned child = 0; child < 8; ++child) {
            bool reached = true;
            for (unsigned k = 0; k < 3; ++k) {
                bool upper = (child >> k) & 1u;
                if (upper ? !((key >> k) & 1u) : ((key >> (k + 3)) & 1u)) reached = false;
            }
            if (reached) table[key] |= static_cast<uint8_t>(1u << child);
        }
    }
    return table;
}
constexpr std::array<uint8_t, 64> kChildSelection = MakeChildSelection();

}  // namespace

// ---------------------------------------------------------------------------------------------
// Branch.

omi_OctreeBranch::omi_OctreeBranch(const omi_OctVector& center, const omi_OctVector& halfSize,
                                   omi_Octree* tree)
    : omi_OctreeCell(center, halfSize), m_children{} {
    const bool* flags = tree->CompFlags();
    const float tolerance = tree->Tolerance();
    omi_OctVector childHalf = halfSize;
    for (unsigned k = 0; k < 3; ++k) {
        m_splits[k] = flags[k];
        if (m_splits[k]) {
            childHalf[k] *= 0.5f;
            if (tolerance > childHalf[k]) m_splits[k] = false;
        }
    }
    tree->SetMinSize(childHalf);

    // The walk visits the children so that each step moves one axis by the branch's half size;
    // the numbering of the leaves follows this order.
    const unsigned first = tree->NextCellIndex();
    unsigned made = 0;
    omi_OctVector position = center;
    position -= childHalf;
    auto make = [&](unsigned child) {
        m_children[child] = new omi_OctreeLeafFix(first + made, position, childHalf);
        ++made;
    };
    const bool x = flags[0], y = flags[1], z = flags[2];
    try {
        make(0);
        position[0] += halfSize[0];
        if (x) make(1);
        position[1] += halfSize[1];
        if (x && y) make(3);
        position[0] -= halfSize[0];
        if (y) make(2);
        if (z) {
            position[2] += halfSize[2];
            if (y) make(6);
            position[0] += halfSize[0];
            if (x && y) make(7);
            position[1] -= halfSize[1];
            if (x) make(5);
            position[0] -= halfSize[0];
            make(4);
        }
    } catch (...) {
        for (omi_OctreeCell* child : m_children) delete child;
        throw;
    }
    tree->IncrementCellIndex(made);
}

omi_OctreeBranch::~omi_OctreeBranch() {
    for (omi_OctreeCell* child : m_children) delete child;
}

const omi_OctreeLeaf* omi_OctreeBranch::FindCell(const float* point) const {
    unsigned child = 0;
    if (m_splits[0] && point[0] > m_center[0]) child |= 1u;
    if (m_splits[1] && point[1] > m_center[1]) child |= 2u;
    if (m_splits[2] && point[2] > m_center[2]) child |= 4u;
    return m_children[child]->FindCell(point);
}

omi_OctreeCell* omi_OctreeBranch::InsertBox(unsigned index, const omi_OctVector& min,
                                            const omi_OctVector& max, omi_Octree* tree) {
    omi_OctreeInsertLevel level(tree);
    unsigned key = 0;
    for (unsigned k = 0; k < 3; ++k) {
        if (!m_splits[k]) continue;
        if (min[k] > m_center[k]) {
            key += 9u << k;
        } else if (max[k] > m_center[k]) {
            key += 1u << k;
        }
    }
    for (unsigned mask = kChildSelection[key]; mask != 0; mask &= mask - 1) {
        const unsigned child = static_cast<unsigned>(__builtin_ctz(mask));
        if (omi_OctreeCell* replacement = m_children[child]->InsertBox(index, min, max, tree)) {
            delete m_children[child];
            m_children[child] = replacement;
        }
    }
    return nullptr;
}

unsigned omi_OctreeBranch::Dump() const {
    ++tlsDump.depth;
    ++tlsDump.numCell;
    unsigned nodeCount = 0;
    for (const omi_OctreeCell* child : m_children) {
        if (child) nodeCount += child->Dump();
    }
    if (tlsDump.depth > tlsDump.maxDepth) tlsDump.maxDepth = tlsDump.depth;
    --tlsDump.depth;
    return nodeCount;
}

// ---------------------------------------------------------------------------------------------
// Leaves.

unsigned omi_OctreeLeaf::Dump() const {
    ++tlsDump.depth;
    ++tlsDump.numCell;
    ++tlsDump.numLeaf;
    if (tlsDump.depth > tlsDump.maxDepth) tlsDump.maxDepth = tlsDump.depth;
    --tlsDump.depth;
    if (tlsDump.depth == 0) {
        PrintTotal(m_count, static_cast<size_t>(tlsDump.numLeaf) * sizeof(omi_OctreeLeaf));
        tlsDump = DumpCounters{};
    }
    return m_count;
}

omi_OctreeLeafFix::~omi_OctreeLeafFix() {
    for (omi_OctreeMemPtr& chunk : m_chunks) {
        if (chunk.mem) chunk.mem->MemFree();
    }
}

omi_OctreeCell* omi_OctreeLeafFix::InsertBox(unsigned index, const omi_OctVector& min,
                                             const omi_OctVector& max, omi_Octree* tree) {
    omi_OctreeInsertLevel level(tree);
    if (m_count != kCapacity) {
        omi_OctreeMemPtr& chunk = m_chunks[m_count >> 5];
        if (!chunk.words) chunk = tree->MemAlloc(kChunkWords);
        chunk.words[m_count & 31] = index;
        ++m_count;
        return nullptr;
    }

    const unsigned axis = tree->MinComponent();
    if (level.Depth() <= 10 && !(m_halfSize[axis] * 0.5f < tree->Tolerance())) {
        std::unique_ptr<omi_OctreeBranch> branch(new omi_OctreeBranch(m_center, m_halfSize, tree));
        float itemMin[3], itemMax[3];
        for (unsigned i = 0; i < kCapacity; ++i) {
            const unsigned item = CellIndex(i);
            tree->m_getBox(tree->m_clientData, item, itemMin, itemMax);
            branch->InsertBox(item, omi_OctVector(itemMin), omi_OctVector(itemMax), tree);
        }
        branch->InsertBox(index, min, max, tree);
        return branch.release();
    }

    std::unique_ptr<omi_OctreeLeafInf> leaf(
        new omi_OctreeLeafInf(tree->NextCellIndex(), m_center, m_halfSize, tree));
    tree->IncrementCellIndex(1);
    for (unsigned i = 0; i < kCapacity; ++i) leaf->InsertBox(CellIndex(i), min, max, tree);
    leaf->InsertBox(index, min, max, tree);
    return leaf.release();
}

omi_OctreeLeafInf::omi_OctreeLeafInf(unsigned index, const omi_OctVector& center,
                                     const omi_OctVector& halfSize, omi_Octree* tree)
    : omi_OctreeLeaf(index, center, halfSize), m_capacity(512), m_run(tree->MemAlloc(512)) {}

omi_OctreeLeafInf::~omi_OctreeLeafInf() {
    if (m_run.mem) m_run.mem->MemFree();
}

omi_OctreeCell* omi_OctreeLeafInf::InsertBox(unsigned index, const omi_OctVector&,
                                             const omi_OctVector&, omi_Octree* tree) {
    if (m_count == m_capacity) {
        omi_OctreeMemPtr larger = tree->MemAlloc(2 * m_capacity);
        std::memcpy(larger.words, m_run.words, size_t{m_count} * sizeof(unsigned));
        m_run.mem->MemFree();
        m_run = larger;
        m_capacity *= 2;
    }
    m_run.words[m_count++] = index;
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// Tree.

omi_Octree::omi_Octree(const omi_OctVector& center, const omi_OctVector& halfSize, float tolerance,
                       GetBoxFn getBox, void* clientData)
    : m_tolerance(tolerance),
      m_compFlags{},
      m_minComponent(0),
      m_root(nullptr),
      m_blocks(nullptr),
      m_currentBlock(nullptr),
      m_freedBlocks(nullptr),
      m_nextCellIndex(0),
      m_clientData(clientData),
      m_getBox(getBox),
      m_insertDepth(0) {
    omi_OctVector half = halfSize;
    if (tolerance > half[0] && tolerance > half[1] && tolerance > half[2]) {
        half = omi_OctVector(tolerance, tolerance, tolerance);
    }
    m_minSize = half;
    for (unsigned i = 0; i < 3; ++i) {
        m_compFlags[i] = half[i] >= tolerance;
        if (!m_compFlags[i] && m_minComponent == i) ++m_minComponent;
    }
    // The thinnest active axis wins; the lowest index wins a tie.
    if (m_compFlags[1] && m_minSize[m_minComponent] > m_minSize[1]) m_minComponent = 1;
    if (m_compFlags[2] && m_minSize[m_minComponent] > m_minSize[2]) m_minComponent = 2;

    m_blocks = m_currentBlock = new omi_OctreeMemory(1024, nullptr, this);
    try {
        m_root = new omi_OctreeBranch(center, half, this);
    } catch (...) {
        delete m_blocks;
        throw;
    }
}

omi_Octree::~omi_Octree() {
    delete m_root;
    for (omi_OctreeMemory* block = m_blocks; block;) {
        omi_OctreeMemory* next = block->NextBlk();
        delete block;
        block = next;
    }
}

void omi_Octree::InsertBox(unsigned index, const omi_OctVector& min, const omi_OctVector& max) {
    if (omi_OctreeCell* replacement = m_root->InsertBox(index, min, max, this)) {
        delete m_root;
        m_root = replacement;
    }
}

void omi_Octree::SetMinSize(const omi_OctVector& childHalf) {
    if (m_minSize[m_minComponent] > childHalf[m_minComponent]) m_minSize = childHalf;
}

omi_OctreeMemPtr omi_Octree::MemAlloc(unsigned words) {
    if (unsigned* run = m_currentBlock->MemAlloc(words)) return {m_currentBlock, run};
    if (m_freedBlocks) {
        if (unsigned* run = m_freedBlocks->MemAlloc(words)) {
            m_currentBlock = m_freedBlocks;
            m_freedBlocks = m_freedBlocks->NextFree();
            return {m_currentBlock, run};
        }
    }
    m_blocks = new omi_OctreeMemory(words >= 1025 ? 2 * words : 1024, m_blocks, this);
    m_currentBlock = m_blocks;
    return {m_currentBlock, m_currentBlock->MemAlloc(words)};
}

void omi_Octree::FreedBlock(omi_OctreeMemory* block) {
    block->SetNextFree(m_freedBlocks);
    m_freedBlocks = block;
}

unsigned omi_Octree::Dump() const {
    // numLeaf is not reset here: the end of the previous report left it at 0.
    tlsDump.depth = 1;
    tlsDump.numCell = 1;
    tlsDump.maxDepth = 0;
    const unsigned nodeCount = m_root->Dump();
    PrintTotal(nodeCount, static_cast<size_t>(tlsDump.numLeaf) * sizeof(omi_OctreeLeafFix) +
                              static_cast<size_t>(tlsDump.numCell - tlsDump.numLeaf) *
                                  sizeof(omi_OctreeBranch));

    auto blockBytes = [](const omi_OctreeMemory* block) {
        return size_t{block->BlockSize()} * sizeof(unsigned) + sizeof(omi_OctreeMemory);
    };
    int count = 0;
    size_t size = 0, waste = 0;
    for (const omi_OctreeMemory* block = m_blocks; block; block = block->NextBlk()) {
        ++count;
        size += blockBytes(block);
        waste += size_t{block->Available()} * sizeof(unsigned);
    }
    std::printf("MemoryBlocks: Count=%d, Size=%d, Waste=%d\n", count, static_cast<int>(size),
                static_cast<int>(waste));
    count = 0;
    size = 0;
    for (const omi_OctreeMemory* block = m_freedBlocks; block; block = block->NextBlk()) {
        ++count;
        size += blockBytes(block);
    }
    std::printf("FreedBlocks: Count=%d, Size=%d\n", count, static_cast<int>(size));
    tlsDump = DumpCounters{};
    return nodeCount;
}

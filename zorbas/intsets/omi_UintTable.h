// omi_UintTable<T, Allocator>: a map from unsigned 32-bit keys to T as a sparse three-level radix
// table, for mesh identifiers by the tens of millions. A key is cut into a table-block index (the
// top bits), a page index and a cell index; a table block is a paged array of cells beside a bit
// vector of the offsets in use. Blocks and pages exist only where keys fall.
//
// Costs: lookup is a shift, a mask and two array indexings, membership one more bit test; no
// allocation per key. Memory is paid per touched page (1,024 cells by default) and per touched
// bit-vector page. Removing a key clears its bit and nothing else: the cell keeps its value (a
// cow_String stays referenced) until its block goes, and the block-pointer array never shrinks.
// Walks come out in ascending key order without sorting (omi_UintTableIterator), or sorted by a
// comparator. Nothing here locks; writers need outside exclusion.
//
// The Allocator parameter serves the table's skeleton only: the table object, its block-pointer
// array, each block object and an iterator's sorted array. Pages of cells and of bits come from
// the built-in allocator, so a scoped allocator's accounting sees the skeleton, not the cells.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "companions/alloc/ZORBasMemSmallBlockAllocator.h"
#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/PLXFatalError.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_String.h"
#include "zorbas/intsets/omi_BlkBitVect.h"
#include "zorbas/intsets/omi_BlockedArray.h"
#include "zorbas/memory/ZORBasOmiDefaultAllocator.h"
#include "zorbas/memory/ZORBasSrmAllocator.h"

template <class T, class Allocator>
class ZORBAS_API omi_UintTableIterator;

// One entry of a sorted walk: the key and the address of its cell (cells never move while their
// page lives, since a growing page table moves only the pointers to pages).
template <class T>
struct ZORBAS_API omi_UintTableNode : public mem_AllocationOperators {
    omi_UintTableNode(unsigned key_, const T* value_) : key(key_), value(value_) {}
    unsigned key;
    const T* value;
};

// One table block: the cells of 2^offsetBits keys in pages, and the bit vector of the offsets in
// use, which gives membership, the count and the ordered walk.
template <class T, class Allocator>
class ZORBAS_API omi_UintTableBlock : public omi_BlockedArray<T> {
  public:
    static void* operator new(size_t size) { return Allocator::allocate(size); }
    static void operator delete(void* p) { Allocator::deallocate(p); }

    omi_UintTableBlock(unsigned pageTableLength, unsigned pageShift)
        : omi_BlockedArray<T>(pageTableLength, pageShift) {}
    omi_UintTableBlock(const omi_UintTableBlock& other) = default;
    omi_UintTableBlock& operator=(const omi_UintTableBlock&) = delete;
    virtual ~omi_UintTableBlock() {}

    // True when the offset is new; an existing offset has its value overwritten.
    bool Insert(unsigned offset, const T& value) {
        unsigned before = usedOffsets.BitCount();
        usedOffsets.SetBit(offset);
        unsigned page = offset >> this->blockShift;
        if (page < this->blockCount && this->blocks[page]) {
            this->blocks[page][offset & this->blockMask] = value;
        } else {
            this->SetCell(offset, value);
        }
        return usedOffsets.BitCount() != before;
    }
    // Clears the bit only; the cell keeps its value.
    bool Remove(unsigned offset) {
        unsigned before = usedOffsets.BitCount();
        usedOffsets.UnsetBit(offset);
        return usedOffsets.BitCount() != before;
    }
    // The bit vector's pages have one fixed shape, so its word is found with constant shifts
    // rather than through the general paged-array lookup: fewer loads on the lookup path.
    bool IsMember(unsigned offset) const {
        unsigned word = offset >> 5;
        unsigned page = word >> omi_BlkBitVect::kPageShift;
        if (page >= usedOffsets.BlockCount()) return false;
        const unsigned* bits = usedOffsets.Blocks()[page];
        return bits && (bits[word & (omi_BlkBitVect::kWordsPerPage - 1)] >> (offset & 31)) & 1u;
    }
    // The offset must be present: no test is made.
    T& Get(unsigned offset) { return CellOf(offset, this->blockShift); }
    const T& ConstGet(unsigned offset) const { return CellOf(offset, this->blockShift); }
    // The cell of a present offset, with the page shift that the owning table holds for all its
    // blocks (the same as this block's): a caller's loop keeps it in a register.
    T& CellOf(unsigned offset, unsigned pageShift) const {
        return this->blocks[offset >> pageShift][offset & ((1u << pageShift) - 1)];
    }
    int Size() const { return static_cast<int>(usedOffsets.BitCount()); }
    void Clear() {
        omi_BlockedArray<T>::Clear();
        usedOffsets.Clear();
    }
    virtual size_t Footprint() const {
        return usedOffsets.Footprint() + omi_BlockedArray<T>::Footprint();
    }
    const omi_BlkBitVect& UsedOffsets() const { return usedOffsets; }

  private:
    omi_BlkBitVect usedOffsets;
};

// The one pair whose table holds the multi-maps' chain heads.
template <class T, class Allocator>
concept omi_ChainHeadTable =
    std::is_same_v<T, void*> && std::is_same_v<Allocator, ZORBasOmiDefaultAllocator>;

template <class T, class Allocator>
class ZORBAS_API omi_UintTable {
  public:
    using Block = omi_UintTableBlock<T, Allocator>;

    static void* operator new(size_t size) { return Allocator::allocate(size); }
    static void operator delete(void* p) { Allocator::deallocate(p); }

    // 4,096 blocks of 2^20 keys, pages of 1,024 cells, page tables of 24 entries growing by 24.
    omi_UintTable() { Initialize(12, 10, 24); }
    // topBits in 1..31, pageBits not above 32 - topBits; not checked.
    omi_UintTable(unsigned topBits, unsigned pageBits, unsigned pageTableLength) {
        Initialize(topBits, pageBits, pageTableLength);
    }
    // The layout for large tables: 128 block pointers (the first 2^27 keys need no growth) and
    // page tables that span their whole block from the start. `expected` is not read.
    explicit omi_UintTable(size_t expected) { InitializePresized(expected); }
    // The presized layout, then Insert(keys[i], values[i]) in order.
    omi_UintTable(size_t n, const unsigned* keys, const T* values);
    ~omi_UintTable();

    // True when the key is new; an existing key has its value overwritten.
    bool Insert(unsigned key, const T& value) {
        unsigned top = key >> offsetBits;
        if (top >= tableBlockCount) GrowTableBlocks(top);
        Block* block = tableBlocks[top];
        if (!block) block = tableBlocks[top] = new Block(pageTableLength, pageShift);
        bool added = block->Insert(key & offsetMask, value);
        if (added) ++size;
        return added;
    }
    // True when the key was there. A block left without keys is deleted.
    bool Remove(unsigned key);
    bool IsMember(unsigned key) const {
        const Block* block = FindTableBlock(key);
        return block && block->IsMember(key & offsetMask);
    }
    // The key must be present: no test is made.
    T& Get(unsigned key) {
        return tableBlocks[key >> offsetBits]->CellOf(key & offsetMask, pageShift);
    }
    const T& ConstGet(unsigned key) const {
        return tableBlocks[key >> offsetBits]->CellOf(key & offsetMask, pageShift);
    }
    // False, and `out` untouched, when the key is absent.
    bool ConstGetValue(unsigned key, T& out) const {
        const Block* block = FindTableBlock(key);
        unsigned offset = key & offsetMask;
        if (!block || !block->IsMember(offset)) return false;
        out = block->CellOf(offset, pageShift);
        return true;
    }
    Block* FindTableBlock(unsigned key) const {
        unsigned top = key >> offsetBits;
        return top < tableBlockCount ? tableBlocks[top] : nullptr;
    }
    int Size() const { return size; }
    bool IsEmpty() const { return size == 0; }
    // Deletes every block; the block-pointer array keeps its length.
    void Clear();
    // A new deep copy, on this table's allocator.
    omi_UintTable* Copy() const { return new omi_UintTable(*this); }
    // This object, 8 bytes per block pointer and each present block's Footprint.
    virtual size_t Footprint() const;
    // Key AND this is the key's offset inside its block. Only the table of chain heads behind the
    // multi-maps offers it, as callers reach through that table to its blocks.
    unsigned KeyModulus() const requires omi_ChainHeadTable<T, Allocator> { return offsetMask; }

  private:
    friend class omi_UintTableIterator<T, Allocator>;

    omi_UintTable(const omi_UintTable& other);
    omi_UintTable& operator=(const omi_UintTable&) = delete;
    void Initialize(unsigned topBits, unsigned pageBits, unsigned pageTableLength);
    void InitializePresized(size_t expected);
    // Grows the block-pointer array to the next multiple of 64 above `top`: a fixed step, so a
    // table that touches one high key pays for that key's range once and not twice.
    void GrowTableBlocks(unsigned top);

    Block** tableBlocks;
    int size;
    unsigned tableBlockCount;
    unsigned offsetMask;
    unsigned offsetBits;
    unsigned pageTableLength;
    unsigned pageShift;
};

// Walks a table in ascending key order (no comparator) or in the order of a comparator, which
// receives two pointers to pointers to omi_UintTableNode<T>. A sorted walk builds its node array
// on its first First() and reuses it afterwards; the count is fixed at construction. The table
// must not change while an iterator is in use.
template <class T, class Allocator>
class ZORBAS_API omi_UintTableIterator {
  public:
    using Table = omi_UintTable<T, Allocator>;
    using Block = omi_UintTableBlock<T, Allocator>;
    using Compare = int (*)(const void*, const void*);

    explicit omi_UintTableIterator(const Table& table_) : omi_UintTableIterator(table_, nullptr) {}
    omi_UintTableIterator(const Table& table_, Compare compare_)
        : compare(compare_),
          table(&table_),
          blockOffset(0),
          blockBaseKey(0),
          currentIndex(-2),
          block(nullptr),
          bitTraversal(nullptr),
          done(false),
          sorted(nullptr),
          count(table_.Size()) {}
    omi_UintTableIterator(const omi_UintTableIterator&) = delete;
    omi_UintTableIterator& operator=(const omi_UintTableIterator&) = delete;
    ~omi_UintTableIterator();

    void First();
    void Last();
    void Next() {
        ZORBAS_ASSERT(currentIndex != -2, "ZORBase/ProtectedInterfaces/omi_UintTable", __LINE__);
        if (compare) {
            ++currentIndex;
            done = currentIndex == count;
        } else if (bitTraversal && !bitTraversal->Next(blockOffset)) {
            done = !NextBlock();
        }
    }
    void Previous();
    unsigned CurrentKey() const {
        ZORBAS_ASSERT(currentIndex > -2, "ZORBase/ProtectedInterfaces/omi_UintTable", __LINE__);
        return compare ? sorted[currentIndex]->key : blockOffset + blockBaseKey;
    }
    const T& CurrentValue() const {
        ZORBAS_ASSERT(currentIndex > -2, "ZORBase/ProtectedInterfaces/omi_UintTable", __LINE__);
        return compare ? *sorted[currentIndex]->value : block->ConstGet(blockOffset);
    }
    bool IsDone() const {
        ZORBAS_ASSERT(currentIndex != -2, "ZORBase/ProtectedInterfaces/omi_UintTable", __LINE__);
        return done;
    }
    // From the current entry on, calls `visit(unsigned key, const T& value) -> bool` for each
    // entry in the walk's order until it returns false; the iterator is then left on that entry,
    // or finished. The same as a loop of CurrentKey, CurrentValue and Next, but within a block
    // the key-order walk steps on locals and writes its fields back only at the end of a page of
    // the block's bit vector or where it stops; `visit` must not use the iterator meanwhile.
    template <class Visit>
    void Walk(Visit&& visit);
    // Step to the next (previous) block that exists and place the walk on its first (last) key.
    bool NextBlock();
    bool PreviousBlock();

  private:
    using Node = omi_UintTableNode<T>;

    void EnterBlock();
    void BuildSorted();

    Compare compare;
    const Table* table;
    unsigned blockOffset;
    unsigned blockBaseKey;
    int currentIndex;
    const Block* block;
    omi_BlkBitVectTrav* bitTraversal;
    bool done;
    Node** sorted;
    int count;
};

// ---------------------------------------------------------------------------------------------
// Implementation details. The bodies below are instantiated in the library for the pairs listed
// at the end of this header, and nowhere else.

template <class T, class Allocator>
omi_UintTable<T, Allocator>::omi_UintTable(size_t n, const unsigned* keys, const T* values) {
    InitializePresized(n);
    for (size_t i = 0; i < n; ++i) Insert(keys[i], values[i]);
}

template <class T, class Allocator>
omi_UintTable<T, Allocator>::omi_UintTable(const omi_UintTable& other)
    : size(other.size),
      tableBlockCount(other.tableBlockCount),
      offsetMask(other.offsetMask),
      offsetBits(other.offsetBits),
      pageTableLength(other.pageTableLength),
      pageShift(other.pageShift) {
    tableBlocks = static_cast<Block**>(Allocator::allocate(sizeof(Block*) * tableBlockCount));
    std::memset(tableBlocks, 0, sizeof(Block*) * tableBlockCount);
    for (unsigned i = 0; i < tableBlockCount; ++i) {
        if (other.tableBlocks[i]) tableBlocks[i] = new Block(*other.tableBlocks[i]);
    }
}

template <class T, class Allocator>
omi_UintTable<T, Allocator>::~omi_UintTable() {
    Clear();
    Allocator::deallocate(tableBlocks);
}

template <class T, class Allocator>
void omi_UintTable<T, Allocator>::Initialize(unsigned topBits, unsigned pageBits,
                                             unsigned pageTableLength_) {
    size = 0;
    offsetBits = 32 - topBits;
    offsetMask = (1u << offsetBits) - 1;
    pageTableLength = pageTableLength_;
    pageShift = offsetBits - pageBits;
    tableBlockCount = 2;
    tableBlocks = static_cast<Block**>(Allocator::allocate(sizeof(Block*) * tableBlockCount));
    std::memset(tableBlocks, 0, sizeof(Block*) * tableBlockCount);
}

template <class T, class Allocator>
void omi_UintTable<T, Allocator>::InitializePresized(size_t) {
    size = 0;
    offsetBits = 20;
    offsetMask = 0xFFFFF;
    pageTableLength = 1024;
    pageShift = 10;
    tableBlockCount = 128;
    tableBlocks = static_cast<Block**>(Allocator::allocate(sizeof(Block*) * tableBlockCount));
    std::memset(tableBlocks, 0, sizeof(Block*) * tableBlockCount);
}

template <class T, class Allocator>
void omi_UintTable<T, Allocator>::GrowTableBlocks(unsigned top) {
    unsigned newCount = (top / 64 + 1) * 64;
    auto** grown = static_cast<Block**>(Allocator::allocate(sizeof(Block*) * newCount));
    std::memset(grown, 0, sizeof(Block*) * newCount);
    std::memcpy(grown, tableBlocks, sizeof(Block*) * tableBlockCount);
    Allocator::deallocate(tableBlocks);
    tableBlocks = grown;
    tableBlockCount = newCount;
}

template <class T, class Allocator>
bool omi_UintTable<T, Allocator>::Remove(unsigned key) {
    Block* block = FindTableBlock(key);
    if (!block) return false;
    bool removed = block->Remove(key & offsetMask);
    if (block->Size() == 0) {
        delete block;
        tableBlocks[key >> offsetBits] = nullptr;
    }
    if (removed) --size;
    return removed;
}

template <class T, class Allocator>
void omi_UintTable<T, Allocator>::Clear() {
    size = 0;
    for (unsigned i = 0; i < tableBlockCount; ++i) {
        delete tableBlocks[i];
        tableBlocks[i] = nullptr;
    }
}

template <class T, class Allocator>
size_t omi_UintTable<T, Allocator>::Footprint() const {
    size_t bytes = sizeof(*this) + 8 * size_t(tableBlockCount);
    for (unsigned i = 0; i < tableBlockCount; ++i) {
        if (tableBlocks[i]) bytes += tableBlocks[i]->Footprint();
    }
    return bytes;
}

template <class T, class Allocator>
omi_UintTableIterator<T, Allocator>::~omi_UintTableIterator() {
    delete bitTraversal;
    if (sorted) {
        for (int i = 0; i < count; ++i) delete sorted[i];
        Allocator::deallocate(sorted);
    }
}

template <class T, class Allocator>
template <class Visit>
void omi_UintTableIterator<T, Allocator>::Walk(Visit&& visit) {
    ZORBAS_ASSERT(currentIndex > -2, "ZORBase/ProtectedInterfaces/omi_UintTable", __LINE__);
    if (compare) {
        for (; !done; Next()) {
            if (!visit(sorted[currentIndex]->key, *sorted[currentIndex]->value)) return;
        }
        return;
    }
    const unsigned shift = table->pageShift;
    while (!done) {
        const Block* const b = block;
        const unsigned base = blockBaseKey;
        if (!visit(base + blockOffset, b->CellOf(blockOffset, shift))) return;
        const bool stopped = bitTraversal->Walk(
            [&](unsigned offset) { return visit(base + offset, b->CellOf(offset, shift)); });
        if (stopped) {
            bitTraversal->Current(blockOffset);
            return;
        }
        blockOffset = 0;  // what a Next that runs off the block's bits leaves
        done = !NextBlock();
    }
}

template <class T, class Allocator>
void omi_UintTableIterator<T, Allocator>::EnterBlock() {
    blockBaseKey = static_cast<unsigned>(currentIndex) << table->offsetBits;
    block = table->tableBlocks[currentIndex];
    delete bitTraversal;
    bitTraversal = new omi_BlkBitVectTrav(&block->UsedOffsets());
}

template <class T, class Allocator>
bool omi_UintTableIterator<T, Allocator>::NextBlock() {
    int n = static_cast<int>(table->tableBlockCount);
    ++currentIndex;
    while (currentIndex < n && !table->tableBlocks[currentIndex]) ++currentIndex;
    if (currentIndex >= n) return false;
    EnterBlock();
    return bitTraversal->First(blockOffset);
}

template <class T, class Allocator>
bool omi_UintTableIterator<T, Allocator>::PreviousBlock() {
    --currentIndex;
    while (currentIndex >= 0 && !table->tableBlocks[currentIndex]) --currentIndex;
    if (currentIndex < 0) return false;
    EnterBlock();
    return bitTraversal->Last(blockOffset);
}

template <class T, class Allocator>
void omi_UintTableIterator<T, Allocator>::BuildSorted() {
    sorted = static_cast<Node**>(Allocator::allocate(sizeof(Node*) * count));
    std::memset(sorted, 0, sizeof(Node*) * count);
    omi_UintTableIterator inOrder(*table);
    int i = 0;
    // Bounded by the count taken at construction, should the table have grown since.
    for (inOrder.First(); !inOrder.IsDone() && i < count; inOrder.Next(), ++i) {
        sorted[i] = new Node(inOrder.CurrentKey(), &inOrder.CurrentValue());
    }
    std::qsort(sorted, static_cast<size_t>(count), sizeof(Node*), compare);
}

template <class T, class Allocator>
void omi_UintTableIterator<T, Allocator>::First() {
    currentIndex = -1;
    if (!compare) {
        done = !NextBlock();
        return;
    }
    if (count < 1) {
        done = true;
        return;
    }
    if (!sorted) BuildSorted();
    done = false;
    currentIndex = 0;
}

template <class T, class Allocator>
void omi_UintTableIterator<T, Allocator>::Last() {
    if (compare) {
        // Builds nothing: First must have run.
        currentIndex = count - 1;
        done = false;
        return;
    }
    currentIndex = static_cast<int>(table->tableBlockCount);
    done = !PreviousBlock();
}

template <class T, class Allocator>
void omi_UintTableIterator<T, Allocator>::Previous() {
    if (compare) {
        if (currentIndex > 0) --currentIndex;
        done = false;
    } else if (bitTraversal && !bitTraversal->Prev(blockOffset)) {
        done = !PreviousBlock();
    }
}

// ---------------------------------------------------------------------------------------------
// The exported pairs <T, Allocator>: every one of omi_UintTable, omi_UintTableBlock,
// omi_UintTableIterator, omi_IntTable and omi_IntTableIterator exists for each. M(T, A) is
// called once per pair. The four quarters are defined in the four omi_Tables*.cc sources, so
// that the library builds them in parallel; they hold about the same number of pairs.

// The lists read as tables; the formatter would rewrap them differently on every pass.
// clang-format off
// int: the default, the small-block allocator and resources 0 to 29.
#define ZORBAS_OMI_TABLE_PAIRS_INT_LOW(M) \
    M(int, ZORBasOmiDefaultAllocator) M(int, ZORBasMemSmallBlockAllocator) \
    ZORBAS_SRM_DECADE(M, , int,) ZORBAS_SRM_DECADE(M, 1, int,) ZORBAS_SRM_DECADE(M, 2, int,)
// int: resources 30 to 62.
#define ZORBAS_OMI_TABLE_PAIRS_INT_HIGH(M) \
    ZORBAS_SRM_DECADE(M, 3, int,) ZORBAS_SRM_DECADE(M, 4, int,) ZORBAS_SRM_DECADE(M, 5, int,) \
    M(int, ZORBasSrmAllocator<60>) M(int, ZORBasSrmAllocator<61>) M(int, ZORBasSrmAllocator<62>)
// double: the default and resources 0 to 29.
#define ZORBAS_OMI_TABLE_PAIRS_DOUBLE_LOW(M) \
    M(double, ZORBasOmiDefaultAllocator) \
    ZORBAS_SRM_DECADE(M, , double,) ZORBAS_SRM_DECADE(M, 1, double,) \
    ZORBAS_SRM_DECADE(M, 2, double,)
// double: resources 30 to 61; then the three other element types.
#define ZORBAS_OMI_TABLE_PAIRS_DOUBLE_HIGH(M) \
    ZORBAS_SRM_DECADE(M, 3, double,) ZORBAS_SRM_DECADE(M, 4, double,) \
    ZORBAS_SRM_DECADE(M, 5, double,) \
    M(double, ZORBasSrmAllocator<60>) M(double, ZORBasSrmAllocator<61>) \
    M(unsigned, ZORBasOmiDefaultAllocator) M(void*, ZORBasOmiDefaultAllocator) \
    M(cow_String, ZORBasOmiDefaultAllocator)
#define ZORBAS_OMI_TABLE_PAIRS(M) \
    ZORBAS_OMI_TABLE_PAIRS_INT_LOW(M) ZORBAS_OMI_TABLE_PAIRS_INT_HIGH(M) \
    ZORBAS_OMI_TABLE_PAIRS_DOUBLE_LOW(M) ZORBAS_OMI_TABLE_PAIRS_DOUBLE_HIGH(M)
// The element types of the nodes.
#define ZORBAS_OMI_TABLE_NODE_TYPES(M) M(int) M(unsigned) M(double) M(void*) M(cow_String)
// clang-format on
// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in the sources; omi_IntTable.h adds the signed tables' classes.
#define ZORBAS_OMI_UINT_TABLE_CLASSES(P, T, A) \
    P template class omi_UintTableBlock<T, A>; \
    P template class omi_UintTable<T, A>;      \
    P template class omi_UintTableIterator<T, A>;
#define ZORBAS_OMI_UINT_TABLE_EXTERN(T, A) ZORBAS_OMI_UINT_TABLE_CLASSES(extern, T, A)
#define ZORBAS_OMI_TABLE_NODE_CLASSES(P, T) P template struct omi_UintTableNode<T>;
#define ZORBAS_OMI_TABLE_NODE_EXTERN(T) ZORBAS_OMI_TABLE_NODE_CLASSES(extern, T)
#define ZORBAS_OMI_TABLE_NODE_DEFINE(T) ZORBAS_OMI_TABLE_NODE_CLASSES(, T)
ZORBAS_OMI_TABLE_PAIRS(ZORBAS_OMI_UINT_TABLE_EXTERN)
ZORBAS_OMI_TABLE_NODE_TYPES(ZORBAS_OMI_TABLE_NODE_EXTERN)

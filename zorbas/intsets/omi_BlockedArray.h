// A paged array: a table of pointers to pages of 2^shift cells, where a page is made on the first
// write into it (zero-filled for plain types, default strings for cow_String) and reading never
// allocates. Cell i lies in page i >> shift at i & mask; an absent page costs one null pointer.
// Costs: GetCell is two shifts, a bound test and two loads; the table grows by `growth` entries.
#pragma once

#include <cstddef>

#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_String.h"

template <class T>
class ZORBAS_API omi_BlockedArray {
  public:
    // growth 0 starts with no table and grows it 128 entries at a time; otherwise a zeroed table
    // of `growth` entries is made at once and later growth is by the same step.
    omi_BlockedArray(unsigned growth, unsigned shift);
    omi_BlockedArray(const omi_BlockedArray& other);
    // Keeps this table when the lengths agree, so that pages present on both sides are
    // overwritten in place rather than remade.
    omi_BlockedArray& operator=(const omi_BlockedArray& other);
    virtual ~omi_BlockedArray();

    // Grows the table to the next multiple of `growth` that covers i and makes the page if needed.
    void SetCell(unsigned i, const T& value);
    // Null when i lies above the table or in an absent page; never allocates.
    T* GetCell(unsigned i) const {
        unsigned page = i >> blockShift;
        if (page >= blockCount || !blocks[page]) return nullptr;
        return blocks[page] + (i & blockMask);
    }

    // Each present page's cell range, then its cells' bytes in hex, eight cells a line (stdout).
    void DumpArray();
    // This object, 8 bytes per table entry and the cells of each present page.
    size_t Footprint() const;

    unsigned BlockCount() const { return blockCount; }
    unsigned CellsPerBlock() const { return cellsPerBlock; }
    unsigned BlockShift() const { return blockShift; }
    unsigned BlockMask() const { return blockMask; }
    // The page table: entries are null or pages of CellsPerBlock() cells.
    T* const* Blocks() const { return blocks; }

  protected:
    // Releases every page and nulls its entry; the table keeps its length.
    void Clear();
    // Grows the table to n entries (new entries null); nothing when n is not above the length.
    void Realloc(unsigned n);
    T* NewBlock() const { return BlockInitialize(); }
    void FreeBlock(T* page) const;

    unsigned growth;
    unsigned blockCount;
    unsigned cellsPerBlock;
    unsigned blockShift;
    unsigned blockMask;
    T** blocks;

  private:
    T* BlockInitialize() const;
    T* BlockCopy(const T* from) const;
    void CopyPages(const omi_BlockedArray& other);
    static T** NewTable(unsigned n);
};

#define ZORBAS_OMI_BLOCKED_ARRAY_TYPES(M) M(int) M(unsigned) M(double) M(void*) M(cow_String)
// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in the source.
#define ZORBAS_OMI_BLOCKED_ARRAY_CLASSES(P, T) P template class omi_BlockedArray<T>;
#define ZORBAS_OMI_BLOCKED_ARRAY_EXTERN(T) ZORBAS_OMI_BLOCKED_ARRAY_CLASSES(extern, T)
#define ZORBAS_OMI_BLOCKED_ARRAY_DEFINE(T) ZORBAS_OMI_BLOCKED_ARRAY_CLASSES(, T)
ZORBAS_OMI_BLOCKED_ARRAY_TYPES(ZORBAS_OMI_BLOCKED_ARRAY_EXTERN)

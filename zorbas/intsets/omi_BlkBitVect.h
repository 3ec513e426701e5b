// A sparse set of unsigned 32-bit integers kept as a paged bit map: pages of 256 words (8,192
// bits) made on first write, a page table of 128 entries (1,048,576 bits) growing by 128. An empty
// page costs a null pointer and an empty word a word test. The count is kept exactly by the
// single-bit operations and by the bulk operators, whose page kernels count the bits they change
// as they go; a bulk operator marks the vector dirty, and the next BitCount gives back the pages
// that became all zero (the only place where that happens), which reads a page only up to its
// first non-zero word.
// omi_BlkBitVectTrav walks the set upward or downward over raw pointers into the page table.
#pragma once

#include <bit>
#include <cstddef>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/intsets/omi_BlockedArray.h"

// Population count of a word, by a table of the 256 byte counts.
ZORBAS_API unsigned CountBits32(unsigned word);

class ZORBAS_API omi_BlkBitVect : public omi_BlockedArray<unsigned> {
  public:
    static constexpr unsigned kWordsPerPage = 256;
    static constexpr unsigned kPageShift = 8;
    static constexpr unsigned kTableGrowth = 128;

    omi_BlkBitVect();
    // Deep copy, count and dirty flag included.
    omi_BlkBitVect(const omi_BlkBitVect& other);
    ~omi_BlkBitVect() override;
    omi_BlkBitVect& operator=(const omi_BlkBitVect& other);

    bool GetBit(unsigned bit) const {
        const unsigned* word = GetCell(bit >> 5);
        return word && (*word >> (bit & 31)) & 1u;
    }
    // After a bulk operator, first gives back the pages that became all zero.
    unsigned BitCount() const {
        if (countDirty) Recount();
        return bitCount;
    }
    void SetBit(unsigned bit) {
        const unsigned* word = GetCell(bit >> 5);
        unsigned value = word ? *word : 0;
        unsigned mask = 1u << (bit & 31);
        if (value & mask) return;
        SetCell(bit >> 5, value | mask);
        ++bitCount;
    }
    // A page that empties stays allocated until a recount: == and Compare see it.
    void UnsetBit(unsigned bit) {
        unsigned* word = GetCell(bit >> 5);
        unsigned mask = 1u << (bit & 31);
        if (!word || !(*word & mask)) return;
        *word &= ~mask;
        --bitCount;
    }
    // Sets every bit of [from, to]; nothing when from > to.
    void SetFromTo(unsigned from, unsigned to);
    // Frees every page; the table keeps its length.
    void Clear();

    // Bulk set operations, page by page over the two tables; each leaves the count dirty.
    // &= frees the pages the argument lacks; |= and ^= copy the argument's pages this one lacks
    // and grow this table to exactly the argument's length when that is longer.
    omi_BlkBitVect& operator&=(const omi_BlkBitVect& other);
    omi_BlkBitVect& operator|=(const omi_BlkBitVect& other);
    omi_BlkBitVect& operator-=(const omi_BlkBitVect& other);
    omi_BlkBitVect& operator^=(const omi_BlkBitVect& other);

    // The difference of the counts if non-zero; then page by page over the argument's table,
    // where a page present on one side only decides, by the number of pages left to walk, and
    // two present pages decide at their first differing word. An all-zero page left by UnsetBit
    // counts as present, so two equal sets may compare unequal until a recount frees it.
    int Compare(const omi_BlkBitVect& other) const;
    // Every bit of `other` is set here. The count short cut is taken only when neither is dirty.
    bool Contains(const omi_BlkBitVect& other) const;
    // Same counts, same table lengths and the same pages present with the same words. Like
    // Compare it sees all-zero pages: that is kept as the callers' tables were built on it.
    bool operator==(const omi_BlkBitVect& other) const;
    bool HasOverlap(const omi_BlkBitVect& other) const;

    // "ListCount=%d" and the bits eight to a line, on standard error.
    virtual void DumpList() const;
    // The object and the paged storage, rounded up past the next multiple of 32.
    virtual size_t Footprint() const;

  private:
    // Frees the pages that hold no bit (the count is already exact); may run from const
    // readers, so a dirty vector needs outside exclusion even for reading.
    void Recount() const;
    using PageKernel = unsigned (*)(unsigned* own, const unsigned* other);
    void MergeIn(const omi_BlkBitVect& other, PageKernel kernel);

    mutable unsigned bitCount;
    mutable bool countDirty;
};

// Walks a bit vector's set bits in either direction. It copies the vector's table pointer and
// shape and holds no other link to it: it stays valid while the vector's table is neither
// reallocated nor a page of it freed (a bulk operator, Clear or a recount may do either).
// Each step is a mask shift and a word test; empty words and absent pages are stepped over.
class ZORBAS_API omi_BlkBitVectTrav : public mem_AllocationOperatorsTiny {
  public:
    explicit omi_BlkBitVectTrav(const omi_BlkBitVect* vector);
    omi_BlkBitVectTrav(const omi_BlkBitVectTrav& other) = default;
    omi_BlkBitVectTrav& operator=(const omi_BlkBitVectTrav& other) = default;
    virtual ~omi_BlkBitVectTrav();

    // Each gives the found bit in `bit` and returns true, or returns false. First and Last give
    // 0 on failure, as do Next and Prev when they run off the end. A fresh traversal is
    // unpositioned: there Next acts as First from page 0.
    bool First(unsigned& bit);
    bool Last(unsigned& bit);
    // A step within a page is inline (a mask, a bit scan, a word test); crossing pages is not.
    bool Next(unsigned& bit) {
        const unsigned* word = currentWord;
        if (!word) return NextPage(bit);
        // The bits above the current one (none when it is bit 31), found from currentBit alone
        // so that the step does not wait on bitMask.
        unsigned at = currentBit;
        unsigned rest = *word & (0xFFFFFFFEu << (at & 31u));
        if (rest) return Land(rest, at & ~31u, bit);
        unsigned base = (at | 31u) + 1;
        for (const unsigned* w = word + 1; w != blockEnd; ++w, base += 32) {
            if (*w) {
                currentWord = w;
                return Land(*w, base, bit);
            }
        }
        currentBit = base;
        return NextPage(bit);
    }
    bool Prev(unsigned& bit) {
        if (!currentWord) return PrevPage(bit);
        unsigned rest = *currentWord & (bitMask - 1);
        if (rest) return LandHigh(rest, bit);
        unsigned top = (currentBit & ~31u) - 1;
        for (const unsigned* w = currentWord - 1; w != blockBeforeFirst; --w, top -= 32) {
            if (*w) {
                currentWord = w;
                currentBit = top;
                return LandHigh(*w, bit);
            }
        }
        currentBit = top;
        return PrevPage(bit);
    }
    // The same as `while (Next(bit)) if (!visit(bit)) return true; return false;` with the
    // traversal left in the same state, but the step within a page runs on locals and writes the
    // fields back only when it leaves the page or stops: `visit(unsigned bit) -> bool` (false
    // stops the walk on that bit) must not use the traversal meanwhile.
    template <class Visit>
    bool Walk(Visit&& visit) {
        unsigned bit = 0;
        if (!currentWord) {
            if (!NextPage(bit)) return false;
            if (!visit(bit)) return true;
        }
        for (;;) {
            const unsigned* w = currentWord;
            const unsigned* const end = blockEnd;
            unsigned base = currentBit & ~31u;
            unsigned rest = *w & (0xFFFFFFFEu << (currentBit & 31u));
            for (;;) {
                while (rest) {
                    const unsigned low = static_cast<unsigned>(__builtin_ctz(rest));
                    rest &= rest - 1;
                    if (!visit(base | low)) {
                        currentWord = w;
                        currentBit = base | low;
                        bitMask = 1u << low;
                        return true;
                    }
                }
                base += 32;
                if (++w == end) break;
                rest = *w;
            }
            currentBit = base;
            if (!NextPage(bit)) return false;
            if (!visit(bit)) return true;
        }
    }
    // Places the traversal on `bit` if set, else on the nearest set bit in the given direction.
    // A search that runs out of pages returns false and leaves `bit` as given, except a clear
    // bit in a present page, which steps like Next or Prev (and so gives 0).
    bool SetCurrent(unsigned& bit, bool forward);
    bool Current(unsigned& bit) const {
        bit = currentBit;
        return More();
    }
    bool More() const { return currentBlock < blockCount; }

  protected:
    void Initomi_BlkBitVect();

  private:
    friend ZORBAS_API void SetBitTraverseData(const omi_BlkBitVect* flist,
                                              omi_BlkBitVectTrav* trav);
    bool ScanUp(unsigned& bit);
    bool ScanDown(unsigned& bit);
    // Past the current page (or from an unpositioned or run-out state) to the next set bit.
    bool NextPage(unsigned& bit);
    bool PrevPage(unsigned& bit);
    void EnterPage();
    // Moves onto the lowest set bit of `word`, the current word, whose first bit is `wordBit`.
    bool Land(unsigned word, unsigned wordBit, unsigned& bit) {
        unsigned low = static_cast<unsigned>(__builtin_ctz(word));
        unsigned at = wordBit | low;
        bit = at;
        bitMask = 1u << low;
        currentBit = at;
        return true;
    }
    // Moves onto the highest set bit of `word`, the current word.
    bool LandHigh(unsigned word, unsigned& bit) {
        unsigned high = 31u - static_cast<unsigned>(std::countl_zero(word));
        bitMask = 1u << high;
        currentBit = (currentBit & ~31u) | high;
        bit = currentBit;
        return true;
    }

    int blockCount;
    unsigned cellsPerBlock;
    unsigned blockShift;
    unsigned blockMask;
    unsigned bitsPerBlock;
    unsigned* const* blocks;
    int currentBlock;
    const unsigned* currentWord;
    const unsigned* blockBeforeFirst;
    const unsigned* blockEnd;
    unsigned bitMask;
    unsigned currentBit;
};

// Copies the vector's page count, shape and table into the traversal.
ZORBAS_API void SetBitTraverseData(const omi_BlkBitVect* flist, omi_BlkBitVectTrav* trav);

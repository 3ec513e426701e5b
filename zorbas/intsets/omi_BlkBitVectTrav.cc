#include <bit>

#include "companions/framework/PLXFatalError.h"
#include "zorbas/intsets/omi_BlkBitVect.h"

// Invariants of a positioned traversal: currentWord lies in page currentBlock, between
// blockBeforeFirst and blockEnd; bitMask is the single bit of currentBit in that word, so the low
// five bits of currentBit are the mask's position. A step within a word jumps to the next set
// bit with a bit scan instead of shifting the mask one place at a time; the state it leaves is
// the one the one-place steps would reach. currentWord is null when the traversal is unpositioned
// or has run off either end.

namespace {
constexpr const char* kFile = "ZORBase/ZORBasOmni.m/src/omi_BlkBitVectTrav";
}

void SetBitTraverseData(const omi_BlkBitVect* flist, omi_BlkBitVectTrav* trav) {
    ZORBAS_FATAL_ASSERT(trav, kFile, __LINE__);
    ZORBAS_FATAL_ASSERT(flist, kFile, __LINE__);
    trav->blockCount = static_cast<int>(flist->BlockCount());
    trav->cellsPerBlock = flist->CellsPerBlock();
    trav->blockShift = flist->BlockShift();
    trav->blockMask = flist->BlockMask();
    trav->blocks = flist->Blocks();
}

omi_BlkBitVectTrav::omi_BlkBitVectTrav(const omi_BlkBitVect* vector) {
    SetBitTraverseData(vector, this);
    Initomi_BlkBitVect();
}

omi_BlkBitVectTrav::~omi_BlkBitVectTrav() = default;

void omi_BlkBitVectTrav::Initomi_BlkBitVect() {
    bitsPerBlock = cellsPerBlock << 5;
    currentBlock = 0;
    currentWord = nullptr;
    blockBeforeFirst = nullptr;
    blockEnd = nullptr;
    bitMask = 1;
    currentBit = 0;
}

void omi_BlkBitVectTrav::EnterPage() {
    const unsigned* page = blocks[currentBlock];
    blockBeforeFirst = page - 1;
    blockEnd = page + cellsPerBlock;
}

// From currentBlock upward: the lowest set bit of the first page that has one.
bool omi_BlkBitVectTrav::ScanUp(unsigned& bit) {
    for (;;) {
        while (currentBlock < blockCount && !blocks[currentBlock]) ++currentBlock;
        if (currentBlock >= blockCount) {
            currentWord = nullptr;
            return false;
        }
        currentBit = static_cast<unsigned>(currentBlock) << (blockShift + 5);
        EnterPage();
        currentWord = blockBeforeFirst + 1;
        while (currentWord != blockEnd && *currentWord == 0) {
            ++currentWord;
            currentBit += 32;
        }
        if (currentWord != blockEnd) break;
        ++currentBlock;
    }
    unsigned low = static_cast<unsigned>(std::countr_zero(*currentWord));
    bitMask = 1u << low;
    currentBit += low;
    bit = currentBit;
    return true;
}

// From currentBlock downward: the highest set bit of the first page that has one.
bool omi_BlkBitVectTrav::ScanDown(unsigned& bit) {
    for (;;) {
        while (currentBlock >= 0 && !blocks[currentBlock]) --currentBlock;
        if (currentBlock < 0) {
            currentWord = nullptr;
            return false;
        }
        currentBit = (static_cast<unsigned>(currentBlock + 1) << (blockShift + 5)) - 1;
        EnterPage();
        currentWord = blockEnd - 1;
        while (currentWord != blockBeforeFirst && *currentWord == 0) {
            --currentWord;
            currentBit -= 32;
        }
        if (currentWord != blockBeforeFirst) break;
        --currentBlock;
    }
    unsigned high = 31u - static_cast<unsigned>(std::countl_zero(*currentWord));
    bitMask = 1u << high;
    currentBit -= 31u - high;
    bit = currentBit;
    return true;
}

bool omi_BlkBitVectTrav::First(unsigned& bit) {
    currentBlock = 0;
    bit = 0;
    return ScanUp(bit);
}

bool omi_BlkBitVectTrav::Last(unsigned& bit) {
    currentBlock = blockCount - 1;
    bit = 0;
    return ScanDown(bit);
}

// Called with the current page exhausted and currentBit at the first bit of the page after it,
// or with no current word: then from currentBlock (unpositioned, or run off the lower end).
bool omi_BlkBitVectTrav::NextPage(unsigned& bit) {
    if (!currentWord) {
        if (currentBlock < 0) currentBlock = 0;
        if (ScanUp(bit)) return true;
        bit = 0;
        return false;
    }
    for (;;) {
        ++currentBlock;
        while (currentBlock < blockCount && !blocks[currentBlock]) {
            ++currentBlock;
            currentBit += bitsPerBlock;
        }
        if (currentBlock >= blockCount) {
            currentWord = nullptr;
            bit = 0;
            return false;
        }
        EnterPage();
        for (currentWord = blockBeforeFirst + 1; currentWord != blockEnd; ++currentWord) {
            if (*currentWord) return Land(*currentWord, currentBit, bit);
            currentBit += 32;
        }
    }
}

// Called with the current page exhausted and currentBit at the last bit of the page before it,
// or with no current word: then from currentBlock (run off the upper end, or unpositioned).
bool omi_BlkBitVectTrav::PrevPage(unsigned& bit) {
    if (!currentWord) {
        if (currentBlock >= blockCount) currentBlock = blockCount - 1;
        if (ScanDown(bit)) return true;
        bit = 0;
        return false;
    }
    for (;;) {
        --currentBlock;
        while (currentBlock >= 0 && !blocks[currentBlock]) {
            --currentBlock;
            currentBit -= bitsPerBlock;
        }
        if (currentBlock < 0) {
            currentWord = nullptr;
            bit = 0;
            return false;
        }
        EnterPage();
        for (currentWord = blockEnd - 1; currentWord != blockBeforeFirst; --currentWord) {
            if (*currentWord) return LandHigh(*currentWord, bit);
            currentBit -= 32;
        }
    }
}

bool omi_BlkBitVectTrav::SetCurrent(unsigned& bit, bool forward) {
    currentBit = bit;
    currentBlock = static_cast<int>(bit >> (blockShift + 5));
    if (currentBlock >= blockCount) {
        if (forward) {
            currentWord = nullptr;
            return false;
        }
        return Last(bit);
    }
    if (blocks[currentBlock]) {
        EnterPage();
        currentWord = blockBeforeFirst + 1 + ((bit >> 5) & blockMask);
        bitMask = 1u << (bit & 31);
        if (*currentWord & bitMask) return true;
        return forward ? Next(bit) : Prev(bit);
    }
    return forward ? ScanUp(bit) : ScanDown(bit);
}

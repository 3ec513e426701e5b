#include "zorbas/intsets/omi_BlkBitVect.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "companions/framework/PLXFatalError.h"

namespace {

constexpr const char* kFile = "ZORBase/ZORBasOmni.m/src/omi_BlkBitVect";
constexpr unsigned kWords = omi_BlkBitVect::kWordsPerPage;
// The object's own bytes as Footprint counts them: the array's fields, the count and the flag.
constexpr size_t kOwnBytes = 48;
static_assert(sizeof(omi_BlkBitVect) == kOwnBytes);

constexpr std::array<unsigned char, 256> MakeByteCounts() {
    std::array<unsigned char, 256> counts{};
    for (unsigned b = 0; b < 256; ++b) {
        unsigned n = 0;
        for (unsigned v = b; v; v >>= 1) n += v & 1u;
        counts[b] = static_cast<unsigned char>(n);
    }
    return counts;
}
constexpr std::array<unsigned char, 256> kByteCounts = MakeByteCounts();

// Page kernels. The page width is fixed for every bit vector, so the loops have a constant trip
// count and the compiler turns them into vector code; pages never alias within one call (the
// operators handle an argument that is the receiver itself before reaching these).
void AndPage(unsigned* __restrict own, const unsigned* __restrict other) {
    for (unsigned i = 0; i < kWords; ++i) own[i] &= other[i];
}
void OrPage(unsigned* __restrict own, const unsigned* __restrict other) {
    for (unsigned i = 0; i < kWords; ++i) own[i] |= other[i];
}
void MinusPage(unsigned* __restrict own, const unsigned* __restrict other) {
    for (unsigned i = 0; i < kWords; ++i) own[i] &= ~other[i];
}
void XorPage(unsigned* __restrict own, const unsigned* __restrict other) {
    for (unsigned i = 0; i < kWords; ++i) own[i] ^= other[i];
}

// The clone resolver runs while the library loads, before ThreadSanitizer's runtime is up, and
// crashes there when instrumented: a ThreadSanitizer build counts with the portable form.
#if defined(__SANITIZE_THREAD__)
#define ZORBAS_POPCNT_CLONES
#else
#define ZORBAS_POPCNT_CLONES __attribute__((target_clones("popcnt", "default")))
#endif

// The same sum as CountBits32 over every word of the page, with the processor's population
// count where it has one (chosen once at load).
ZORBAS_POPCNT_CLONES unsigned CountPage(const unsigned* page) {
    const auto* words = reinterpret_cast<const unsigned char*>(page);
    unsigned long long sum = 0;
    for (unsigned i = 0; i < kWords / 2; ++i) {
        unsigned long long w;
        std::memcpy(&w, words + 8 * i, sizeof w);
        sum += static_cast<unsigned>(__builtin_popcountll(w));
    }
    return static_cast<unsigned>(sum);
}

bool PageIsZero(const unsigned* page) {
    for (unsigned i = 0; i < kWords; ++i) {
        if (page[i]) return false;
    }
    return true;
}

}  // namespace

unsigned CountBits32(unsigned word) {
    return kByteCounts[word & 0xFFu] + kByteCounts[(word >> 8) & 0xFFu] +
           kByteCounts[(word >> 16) & 0xFFu] + kByteCounts[word >> 24];
}

omi_BlkBitVect::omi_BlkBitVect()
    : omi_BlockedArray<unsigned>(kTableGrowth, kPageShift), bitCount(0), countDirty(false) {}

omi_BlkBitVect::omi_BlkBitVect(const omi_BlkBitVect& other)
    : omi_BlockedArray<unsigned>(other), bitCount(other.bitCount), countDirty(other.countDirty) {}

omi_BlkBitVect::~omi_BlkBitVect() = default;

omi_BlkBitVect& omi_BlkBitVect::operator=(const omi_BlkBitVect& other) {
    if (this == &other) return *this;
    omi_BlockedArray<unsigned>::operator=(other);
    bitCount = other.bitCount;
    countDirty = other.countDirty;
    return *this;
}

void omi_BlkBitVect::Recount() const {
    bitCount = 0;
    for (unsigned p = 0; p < blockCount; ++p) {
        if (!blocks[p]) continue;
        unsigned n = CountPage(blocks[p]);
        if (n == 0) {
            FreeBlock(blocks[p]);
            blocks[p] = nullptr;
        } else {
            bitCount += n;
        }
    }
    countDirty = false;
}

void omi_BlkBitVect::SetFromTo(unsigned from, unsigned to) {
    if (from > to) return;
    unsigned firstWord = from >> 5;
    unsigned lastWord = to >> 5;
    for (unsigned w = firstWord + 1; w < lastWord; ++w) {
        if (const unsigned* word = GetCell(w)) bitCount -= CountBits32(*word);
        SetCell(w, 0xFFFFFFFFu);
        bitCount += 32;
    }
    for (unsigned b = from;; ++b) {
        SetBit(b);
        if (b == to || ((b + 1) & 31u) == 0) break;
    }
    if (lastWord != firstWord) {
        for (unsigned b = to & ~31u;; ++b) {
            SetBit(b);
            if (b == to) break;
        }
    }
}

void omi_BlkBitVect::Clear() {
    omi_BlockedArray<unsigned>::Clear();
    bitCount = 0;
    countDirty = false;
}

omi_BlkBitVect& omi_BlkBitVect::operator&=(const omi_BlkBitVect& other) {
    countDirty = true;
    if (this == &other) return *this;
    unsigned common = blockCount < other.blockCount ? blockCount : other.blockCount;
    for (unsigned p = 0; p < blockCount; ++p) {
        if (!blocks[p]) continue;
        if (p < common && other.blocks[p]) {
            AndPage(blocks[p], other.blocks[p]);
        } else {
            FreeBlock(blocks[p]);
            blocks[p] = nullptr;
        }
    }
    return *this;
}

// |= and ^=: the kernel combines pages present on both sides; a page only the argument has is
// copied, including those of a longer table, which this one grows to exactly.
void omi_BlkBitVect::MergeIn(const omi_BlkBitVect& other,
                             void (*kernel)(unsigned*, const unsigned*)) {
    countDirty = true;
    if (other.blockCount > blockCount) Realloc(other.blockCount);
    for (unsigned p = 0; p < other.blockCount; ++p) {
        const unsigned* theirs = other.blocks[p];
        if (!theirs) continue;
        if (blocks[p]) {
            kernel(blocks[p], theirs);
        } else {
            blocks[p] =
                static_cast<unsigned*>(mem_OperatorNewThrowBuiltin(sizeof(unsigned) * kWords));
            std::memcpy(blocks[p], theirs, sizeof(unsigned) * kWords);
        }
    }
}

omi_BlkBitVect& omi_BlkBitVect::operator|=(const omi_BlkBitVect& other) {
    if (this == &other) {
        countDirty = true;
    } else {
        MergeIn(other, OrPage);
    }
    return *this;
}

omi_BlkBitVect& omi_BlkBitVect::operator-=(const omi_BlkBitVect& other) {
    countDirty = true;
    unsigned common = blockCount < other.blockCount ? blockCount : other.blockCount;
    for (unsigned p = 0; p < common; ++p) {
        if (!blocks[p] || !other.blocks[p]) continue;
        if (this == &other) {
            std::memset(blocks[p], 0, sizeof(unsigned) * kWords);
        } else {
            MinusPage(blocks[p], other.blocks[p]);
        }
    }
    return *this;
}

omi_BlkBitVect& omi_BlkBitVect::operator^=(const omi_BlkBitVect& other) {
    if (this != &other) {
        MergeIn(other, XorPage);
        return *this;
    }
    countDirty = true;
    for (unsigned p = 0; p < blockCount; ++p) {
        if (blocks[p]) std::memset(blocks[p], 0, sizeof(unsigned) * kWords);
    }
    return *this;
}

int omi_BlkBitVect::Compare(const omi_BlkBitVect& other) const {
    unsigned difference = BitCount() - other.BitCount();
    if (difference != 0) return static_cast<int>(difference);
    // Bounded by this table as well: past its end this vector has no pages.
    for (unsigned p = 0; p < other.blockCount; ++p) {
        int remaining = static_cast<int>(other.blockCount - p);
        const unsigned* mine = p < blockCount ? blocks[p] : nullptr;
        const unsigned* theirs = other.blocks[p];
        if (!theirs && mine) return remaining;
        if (theirs && !mine) return -remaining;
        if (!theirs) continue;
        for (unsigned i = 0; i < kWords; ++i) {
            if (mine[i] != theirs[i]) return mine[i] > theirs[i] ? 1 : -1;
        }
    }
    return 0;
}

bool omi_BlkBitVect::Contains(const omi_BlkBitVect& other) const {
    if (!countDirty && !other.countDirty && bitCount < other.bitCount) return false;
    unsigned common = blockCount < other.blockCount ? blockCount : other.blockCount;
    for (unsigned p = 0; p < common; ++p) {
        const unsigned* theirs = other.blocks[p];
        if (!theirs) continue;
        const unsigned* mine = blocks[p];
        if (!mine) {
            if (!PageIsZero(theirs)) return false;
            continue;
        }
        for (unsigned i = 0; i < kWords; ++i) {
            if ((mine[i] & theirs[i]) != theirs[i]) return false;
        }
    }
    for (unsigned p = common; p < other.blockCount; ++p) {
        if (other.blocks[p] && !PageIsZero(other.blocks[p])) return false;
    }
    return true;
}

bool omi_BlkBitVect::operator==(const omi_BlkBitVect& other) const {
    if (BitCount() != other.BitCount()) return false;
    if (blockCount != other.blockCount) return false;
    for (unsigned p = 0; p < blockCount; ++p) {
        const unsigned* mine = blocks[p];
        const unsigned* theirs = other.blocks[p];
        if (!mine && !theirs) continue;
        if (!mine || !theirs) return false;
        if (std::memcmp(mine, theirs, sizeof(unsigned) * kWords) != 0) return false;
    }
    return true;
}

bool omi_BlkBitVect::HasOverlap(const omi_BlkBitVect& other) const {
    unsigned common = blockCount < other.blockCount ? blockCount : other.blockCount;
    for (unsigned p = 0; p < common; ++p) {
        const unsigned* mine = blocks[p];
        const unsigned* theirs = other.blocks[p];
        if (!mine || !theirs) continue;
        for (unsigned i = 0; i < kWords; ++i) {
            if ((mine[i] & theirs[i]) != 0) return true;
        }
    }
    return false;
}

size_t omi_BlkBitVect::Footprint() const {
    return ((kOwnBytes + omi_BlockedArray<unsigned>::Footprint()) / 32 + 1) * 32;
}

void omi_BlkBitVect::DumpList() const {
    // Counted before the walk starts: a recount may free pages under a live traversal.
    unsigned bitcnt = BitCount();
    omi_BlkBitVectTrav trav(this);
    unsigned bit = 0;
    if (!trav.First(bit)) {
        std::fprintf(stderr, "Empty List\n");
        return;
    }
    std::fprintf(stderr, "ListCount=%d\n", static_cast<int>(bitcnt));
    unsigned cnt = 0;
    do {
        std::fprintf(stderr, "%8d", static_cast<int>(bit));
        if (++cnt % 8 == 0) std::fprintf(stderr, "\n");
    } while (trav.Next(bit));
    std::fprintf(stderr, "\n");
    ZORBAS_FATAL_ASSERT(cnt == bitcnt, kFile, __LINE__);
}

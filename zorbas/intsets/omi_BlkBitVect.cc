#include "zorbas/intsets/omi_BlkBitVect.h"

#include <array>
#if defined(__x86_64__)
#include <immintrin.h>
#endif
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

// Page kernels. Each combines the argument's page into its own page word by word and returns
// the change of the number of set bits (added minus removed, modulo 2^32), counted from the bits
// that changed as it goes: the operators keep the count exact with it, so the count after a bulk
// operator need not read the pages again. The page width is fixed for every bit vector, so the
// loops have a constant trip count; pages never alias within one call (the operators handle an
// argument that is the receiver itself before reaching these).
enum class Kernel { And, Or, Minus, Xor };

// The new word, and in `gone` and `come` the bits it lost and gained (Xor alone has both).
template <Kernel op, class W>
inline W Combine(W a, W b, W& gone, W& come) {
    if constexpr (op == Kernel::And) {
        gone = a & ~b;
        return a & b;
    } else if constexpr (op == Kernel::Or) {
        come = b & ~a;
        return a | b;
    } else if constexpr (op == Kernel::Minus) {
        gone = a & b;
        return a & ~b;
    } else {
        gone = a & b;
        come = b & ~a;
        return a ^ b;
    }
}

template <Kernel op>
__attribute__((always_inline)) inline unsigned CombinePortable(unsigned* __restrict own,
                                                               const unsigned* __restrict other) {
    unsigned long long added = 0, removed = 0;
    for (unsigned i = 0; i < kWords; i += 2) {
        unsigned long long a, b, gone = 0, come = 0;
        std::memcpy(&a, own + i, sizeof a);
        std::memcpy(&b, other + i, sizeof b);
        unsigned long long w = Combine<op>(a, b, gone, come);
        std::memcpy(own + i, &w, sizeof w);
        if constexpr (op != Kernel::Or)
            removed += static_cast<unsigned>(__builtin_popcountll(gone));
        if constexpr (op == Kernel::Or || op == Kernel::Xor)
            added += static_cast<unsigned>(__builtin_popcountll(come));
    }
    return static_cast<unsigned>(added - removed);
}

template <Kernel op>
unsigned CombineDefault(unsigned* own, const unsigned* other) {
    return CombinePortable<op>(own, other);
}

#if defined(__x86_64__)
#define ZORBAS_HAVE_X86_KERNELS 1
// Sixty-four bits a step with the processor's population count.
template <Kernel op>
__attribute__((target("popcnt"))) unsigned CombinePopcnt(unsigned* own, const unsigned* other) {
    return CombinePortable<op>(own, other);
}

// The population count of each 64-bit lane, by nibble lookup (a byte shuffle) and a sum of
// absolute differences, so that no byte counter can overflow.
__attribute__((target("avx2"))) inline __m256i Count4(__m256i w) {
    const __m256i nibbleCounts = _mm256_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4, 0,
                                                  1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4);
    const __m256i low = _mm256_set1_epi8(0x0F);
    __m256i lo = _mm256_shuffle_epi8(nibbleCounts, _mm256_and_si256(w, low));
    __m256i hi = _mm256_shuffle_epi8(nibbleCounts, _mm256_and_si256(_mm256_srli_epi16(w, 4), low));
    return _mm256_sad_epu8(_mm256_add_epi8(lo, hi), _mm256_setzero_si256());
}

__attribute__((target("avx2"))) inline unsigned long long Sum4(__m256i v) {
    __m128i two = _mm_add_epi64(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    return static_cast<unsigned long long>(_mm_cvtsi128_si64(two) + _mm_extract_epi64(two, 1));
}

// 256 bits a step.
template <Kernel op>
__attribute__((target("avx2"))) unsigned CombineAvx2(unsigned* __restrict own,
                                                     const unsigned* __restrict other) {
    __m256i added = _mm256_setzero_si256(), removed = _mm256_setzero_si256();
    for (unsigned i = 0; i < kWords; i += 8) {
        auto* at = reinterpret_cast<__m256i*>(own + i);
        __m256i a = _mm256_loadu_si256(at);
        __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(other + i));
        __m256i w;
        if constexpr (op == Kernel::And) {
            w = _mm256_and_si256(a, b);
            removed = _mm256_add_epi64(removed, Count4(_mm256_andnot_si256(b, a)));
        } else if constexpr (op == Kernel::Or) {
            w = _mm256_or_si256(a, b);
            added = _mm256_add_epi64(added, Count4(_mm256_andnot_si256(a, b)));
        } else if constexpr (op == Kernel::Minus) {
            w = _mm256_andnot_si256(b, a);
            removed = _mm256_add_epi64(removed, Count4(_mm256_and_si256(a, b)));
        } else {
            w = _mm256_xor_si256(a, b);
            removed = _mm256_add_epi64(removed, Count4(_mm256_and_si256(a, b)));
            added = _mm256_add_epi64(added, Count4(_mm256_andnot_si256(a, b)));
        }
        _mm256_storeu_si256(at, w);
    }
    return static_cast<unsigned>(Sum4(added) - Sum4(removed));
}
#endif

using PageKernel = unsigned (*)(unsigned*, const unsigned*);

// The kernel for this processor, chosen once.
template <Kernel op>
PageKernel KernelFor() {
#if defined(ZORBAS_HAVE_X86_KERNELS)
    static const PageKernel chosen = __builtin_cpu_supports("avx2")     ? &CombineAvx2<op>
                                     : __builtin_cpu_supports("popcnt") ? &CombinePopcnt<op>
                                                                        : &CombineDefault<op>;
    return chosen;
#else
    return &CombineDefault<op>;
#endif
}

// The number of set bits of a page, through the Or kernel into a zero page of the caller's.
unsigned CountPage(const unsigned* page) {
    alignas(32) unsigned zero[kWords] = {};
    return KernelFor<Kernel::Or>()(zero, page);
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

// The count is exact at all times (the bulk operators keep it through their kernels), so what
// is left of a recount is giving back the pages that hold no bit: a test that stops at a page's
// first non-zero word, which for most pages is its first.
void omi_BlkBitVect::Recount() const {
    for (unsigned p = 0; p < blockCount; ++p) {
        if (blocks[p] && PageIsZero(blocks[p])) {
            FreeBlock(blocks[p]);
            blocks[p] = nullptr;
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
    const PageKernel andKernel = KernelFor<Kernel::And>();
    for (unsigned p = 0; p < blockCount; ++p) {
        if (!blocks[p]) continue;
        if (p < common && other.blocks[p]) {
            bitCount += andKernel(blocks[p], other.blocks[p]);
        } else {
            bitCount -= CountPage(blocks[p]);
            FreeBlock(blocks[p]);
            blocks[p] = nullptr;
        }
    }
    return *this;
}

// |= and ^=: the kernel combines pages present on both sides; a page only the argument has is
// copied, including those of a longer table, which this one grows to exactly.
void omi_BlkBitVect::MergeIn(const omi_BlkBitVect& other, PageKernel kernel) {
    countDirty = true;
    if (other.blockCount > blockCount) Realloc(other.blockCount);
    for (unsigned p = 0; p < other.blockCount; ++p) {
        const unsigned* theirs = other.blocks[p];
        if (!theirs) continue;
        if (blocks[p]) {
            bitCount += kernel(blocks[p], theirs);
        } else {
            blocks[p] =
                static_cast<unsigned*>(mem_OperatorNewThrowBuiltin(sizeof(unsigned) * kWords));
            std::memcpy(blocks[p], theirs, sizeof(unsigned) * kWords);
            bitCount += CountPage(theirs);
        }
    }
}

omi_BlkBitVect& omi_BlkBitVect::operator|=(const omi_BlkBitVect& other) {
    if (this == &other) {
        countDirty = true;
    } else {
        MergeIn(other, KernelFor<Kernel::Or>());
    }
    return *this;
}

omi_BlkBitVect& omi_BlkBitVect::operator-=(const omi_BlkBitVect& other) {
    countDirty = true;
    unsigned common = blockCount < other.blockCount ? blockCount : other.blockCount;
    if (this == &other) bitCount = 0;
    const PageKernel minus = KernelFor<Kernel::Minus>();
    for (unsigned p = 0; p < common; ++p) {
        if (!blocks[p] || !other.blocks[p]) continue;
        if (this == &other) {
            std::memset(blocks[p], 0, sizeof(unsigned) * kWords);
        } else {
            bitCount += minus(blocks[p], other.blocks[p]);
        }
    }
    return *this;
}

omi_BlkBitVect& omi_BlkBitVect::operator^=(const omi_BlkBitVect& other) {
    if (this != &other) {
        MergeIn(other, KernelFor<Kernel::Xor>());
        return *this;
    }
    countDirty = true;
    bitCount = 0;
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

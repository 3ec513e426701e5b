// omi_BlkBitVect against std::set<unsigned>: single bits, ranges, the four bulk operators with
// another slot (or the same one), Clear, on vectors copied at random points; checked through the
// count, GetBit, the comparisons and a traversal in both directions.
#include <algorithm>
#include <iterator>
#include <set>

#include "fuzz/fuzz_Driver.h"
#include "zorbas/intsets/omi_BlkBitVect.h"

namespace {

using Bits = omi_BlkBitVect;
using Twin = std::set<unsigned>;

void Check(const Bits& bits, const Twin& twin, unsigned slot, const char* step) {
    FUZZ_CHECK(bits.BitCount() == twin.size(),
               "omi_BlkBitVect slot %u after %s: %u bits, the twin has %zu", slot, step,
               bits.BitCount(), twin.size());
    omi_BlkBitVectTrav trav(&bits);
    unsigned bit = 0;
    auto up = twin.begin();
    for (bool more = trav.First(bit); more; more = trav.Next(bit), ++up) {
        FUZZ_CHECK(up != twin.end() && bit == *up && bits.GetBit(bit),
                   "omi_BlkBitVect slot %u after %s: the upward walk gave bit %u, the twin %u",
                   slot, step, bit, up == twin.end() ? 0u : *up);
    }
    FUZZ_CHECK(up == twin.end(),
               "omi_BlkBitVect slot %u after %s: the upward walk stopped before %u", slot, step,
               up == twin.end() ? 0u : *up);
    omi_BlkBitVectTrav back(&bits);
    auto down = twin.rbegin();
    for (bool more = back.Last(bit); more; more = back.Prev(bit), ++down) {
        FUZZ_CHECK(down != twin.rend() && bit == *down,
                   "omi_BlkBitVect slot %u after %s: the downward walk gave bit %u, the twin %u",
                   slot, step, bit, down == twin.rend() ? 0u : *down);
    }
    FUZZ_CHECK(down == twin.rend(),
               "omi_BlkBitVect slot %u after %s: the downward walk stopped before %u", slot, step,
               down == twin.rend() ? 0u : *down);
}

// The bulk operators on the twins; `other` may be `twin` itself.
template <class Keep>
Twin Merge(const Twin& twin, const Twin& other, Keep keep) {
    Twin out;
    Twin all = twin;
    all.insert(other.begin(), other.end());
    for (unsigned b : all)
        if (keep(twin.count(b) != 0, other.count(b) != 0)) out.insert(b);
    return out;
}

const char* Step(fuzz_Ops& ops, Bits& bits, Twin& twin, const Bits& other, const Twin& otherTwin) {
    // Dense bits share pages and words; the rest land anywhere below 2^24. Higher bits are left
    // to the unit tests: one near 2^32 makes every later walk step over half a million absent
    // pages, and the run does a few steps a second.
    unsigned bit = ops.Key(20000) & 0xFFFFFFu;
    switch (ops.Below(12)) {
        case 0:
        case 1:
        case 2:
            bits.SetBit(bit);
            twin.insert(bit);
            return "SetBit";
        case 3:
        case 4:
            bits.UnsetBit(bit);
            twin.erase(bit);
            return "UnsetBit";
        case 5: {
            unsigned to = bit + ops.Below(200);
            if (to < bit) to = ~0u;
            bits.SetFromTo(bit, to);
            for (unsigned b = bit;; ++b) {
                twin.insert(b);
                if (b == to) break;
            }
            return "SetFromTo";
        }
        case 6:
            bits.Clear();
            twin.clear();
            return "Clear";
        case 7:
            bits &= other;
            twin = Merge(twin, otherTwin, [](bool a, bool b) { return a && b; });
            return "&=";
        case 8:
            bits |= other;
            twin = Merge(twin, otherTwin, [](bool a, bool b) { return a || b; });
            return "|=";
        case 9:
            bits -= other;
            twin = Merge(twin, otherTwin, [](bool a, bool b) { return a && !b; });
            return "-=";
        case 10:
            bits ^= other;
            twin = Merge(twin, otherTwin, [](bool a, bool b) { return a != b; });
            return "^=";
        default: {
            bool equal = bits == other;
            bool contains = bits.Contains(other);
            bool overlap = bits.HasOverlap(other);
            bool twinContains =
                std::includes(twin.begin(), twin.end(), otherTwin.begin(), otherTwin.end());
            bool twinOverlap =
                !Merge(twin, otherTwin, [](bool a, bool b) { return a && b; }).empty();
            // == also compares the table lengths, so only a true answer is certain.
            FUZZ_CHECK(
                (!equal || twin == otherTwin) && contains == twinContains && overlap == twinOverlap,
                "omi_BlkBitVect ==, Contains, HasOverlap gave %d %d %d, the twins %d %d %d", equal,
                contains, overlap, twin == otherTwin, twinContains, twinOverlap);
            return "comparisons";
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz_Run<Bits, Twin>(
        data, size, Step, [](const Bits& b) { return std::make_unique<Bits>(b); }, Check);
}

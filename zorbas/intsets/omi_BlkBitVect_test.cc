#include "zorbas/intsets/omi_BlkBitVect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "companions/alloc/mem_Malloc.h"

namespace {

constexpr unsigned kPageBits = 8192;

std::vector<unsigned> WalkUp(const omi_BlkBitVect& v) {
    std::vector<unsigned> bits;
    omi_BlkBitVectTrav t(&v);
    unsigned b = 12345;
    for (bool ok = t.First(b); ok; ok = t.Next(b)) bits.push_back(b);
    EXPECT_EQ(b, 0u) << "a walk that runs out gives 0";
    EXPECT_FALSE(t.More());
    return bits;
}

std::vector<unsigned> WalkDown(const omi_BlkBitVect& v) {
    std::vector<unsigned> bits;
    omi_BlkBitVectTrav t(&v);
    unsigned b = 12345;
    for (bool ok = t.Last(b); ok; ok = t.Prev(b)) bits.push_back(b);
    EXPECT_EQ(b, 0u);
    return bits;
}

// A bit vector kept in step with a std::set; Check compares everything observable.
struct Twin {
    omi_BlkBitVect v;
    std::set<unsigned> s;

    void Set(unsigned b) {
        v.SetBit(b);
        s.insert(b);
    }
    void Unset(unsigned b) {
        v.UnsetBit(b);
        s.erase(b);
    }
    void SetFromTo(unsigned from, unsigned to) {
        v.SetFromTo(from, to);
        for (unsigned b = from;; ++b) {
            s.insert(b);
            if (b == to) break;
        }
    }

    void Check(const std::vector<unsigned>& probes) const {
        ASSERT_EQ(v.BitCount(), s.size());
        CheckWalk(probes);
        std::vector<unsigned> up = WalkUp(v);
        ASSERT_TRUE(std::equal(up.begin(), up.end(), s.begin(), s.end()));
        std::vector<unsigned> down = WalkDown(v);
        ASSERT_TRUE(std::equal(down.begin(), down.end(), s.rbegin(), s.rend()));
        for (unsigned p : probes) ASSERT_EQ(v.GetBit(p), s.count(p) == 1) << p;
        for (unsigned p : s) ASSERT_TRUE(v.GetBit(p)) << p;
        CheckSetCurrent(probes);
    }

    // Walk gives what Next gives, and leaves the traversal where Next would: from First over
    // everything, and from each probe's place to a stop a few bits on, after which Next and Prev
    // go on from the stop.
    void CheckWalk(const std::vector<unsigned>& probes) const {
        omi_BlkBitVectTrav t(&v);
        std::vector<unsigned> walked;
        unsigned b = 0;
        if (t.First(b)) {
            walked.push_back(b);
            EXPECT_FALSE(t.Walk([&](unsigned bit) {
                walked.push_back(bit);
                return true;
            }));
            EXPECT_FALSE(t.More());
        }
        ASSERT_TRUE(std::equal(walked.begin(), walked.end(), s.begin(), s.end()));
        for (unsigned p : probes) {
            unsigned at = p;
            if (!t.SetCurrent(at, true)) continue;
            auto it = s.find(at);
            ASSERT_NE(it, s.end());
            const unsigned steps = p % 5;
            unsigned seen = 0, last = at;
            const bool stopped = t.Walk([&](unsigned bit) {
                last = bit;
                return ++seen <= steps;
            });
            ASSERT_EQ(stopped, static_cast<size_t>(std::distance(it, s.end())) > steps + 1) << p;
            if (!stopped) continue;
            const auto stop = std::next(it, steps + 1);
            ASSERT_EQ(last, *stop);
            unsigned cur = 0;
            ASSERT_TRUE(t.Current(cur));
            ASSERT_EQ(cur, *stop);
            omi_BlkBitVectTrav back(t);
            unsigned n = 0;
            ASSERT_EQ(t.Next(n), std::next(stop) != s.end());
            if (std::next(stop) != s.end()) {
                ASSERT_EQ(n, *std::next(stop));
            }
            ASSERT_TRUE(back.Prev(n));
            ASSERT_EQ(n, *std::prev(stop));
        }
    }

    void CheckSetCurrent(const std::vector<unsigned>& probes) const {
        omi_BlkBitVectTrav t(&v);
        for (unsigned p : probes) {
            unsigned b = p;
            bool ok = t.SetCurrent(b, true);
            auto up = s.lower_bound(p);
            ASSERT_EQ(ok, up != s.end()) << p;
            if (ok) {
                ASSERT_EQ(b, *up);
                // The walk goes on from there.
                unsigned n = 0;
                auto next = std::next(up);
                ASSERT_EQ(t.Next(n), next != s.end());
                if (next != s.end()) {
                    ASSERT_EQ(n, *next);
                }
            }
            b = p;
            ok = t.SetCurrent(b, false);
            auto down = s.upper_bound(p);
            ASSERT_EQ(ok, down != s.begin()) << p;
            if (ok) {
                ASSERT_EQ(b, *std::prev(down));
                unsigned n = 0;
                ASSERT_EQ(t.Prev(n), std::prev(down) != s.begin());
            }
        }
    }
};

// Keys that find the faults: the ends of the range (in wide rounds only, as they stretch the page
// table to half a million entries), both sides of word and page boundaries, and a crowded low
// range so that sets overlap.
unsigned PickKey(std::mt19937& rng, bool wide) {
    switch (rng() % 8) {
        case 0:
            if (wide) return rng() % 3 == 0 ? 0u : 0xFFFFFFFFu - rng() % 3;
            return rng() % 2 ? 0u : 300 * kPageBits - 1;
        case 1: {
            unsigned page = rng() % 300;
            return page * kPageBits + (rng() % 2 ? 0 : kPageBits - 1) + rng() % 3 - 1;
        }
        case 2:
            return (rng() % 4000) * 32 + (rng() % 2 ? 0 : 31);
        default:
            return rng() % 40000;
    }
}

std::vector<unsigned> Probes(const Twin& a, std::mt19937& rng, bool wide) {
    std::vector<unsigned> probes = {0,         1,           31,         32, kPageBits - 1,
                                    kPageBits, 0xFFFFFFFFu, 0xFFFFFFFEu};
    for (int i = 0; i < 6; ++i) probes.push_back(PickKey(rng, wide));
    for (int i = 0; i < 4 && !a.s.empty(); ++i) {
        auto it = a.s.begin();
        std::advance(it, rng() % a.s.size());
        probes.push_back(*it);
        probes.push_back(*it + 1);
        probes.push_back(*it - 1);
    }
    return probes;
}

TEST(omi_BlkBitVect, RandomSequencesAgreeWithAStdSetTwin) {
    std::mt19937 rng(20240611);
    for (int round = 0; round < 12; ++round) {
        bool wide = round % 4 == 3;
        Twin a, b;
        for (int step = 0; step < 120; ++step) {
            Twin& t = rng() % 3 ? a : b;
            unsigned op = rng() % 16;
            if (op < 6) {
                for (int i = 0; i < 20; ++i) t.Set(PickKey(rng, wide));
            } else if (op < 9 && !t.s.empty()) {
                for (int i = 0; i < 10 && !t.s.empty(); ++i) {
                    auto it = t.s.begin();
                    std::advance(it, rng() % t.s.size());
                    t.Unset(*it);
                }
                t.Unset(PickKey(rng, wide));
            } else if (op == 9) {
                unsigned from = PickKey(rng, wide);
                unsigned len = rng() % 3 ? rng() % 100 : rng() % (3 * kPageBits);
                t.SetFromTo(from, from + len < from ? 0xFFFFFFFFu : from + len);
            } else if (op == 10) {
                std::set<unsigned> r;
                std::set_intersection(a.s.begin(), a.s.end(), b.s.begin(), b.s.end(),
                                      std::inserter(r, r.end()));
                a.v &= b.v;
                a.s = r;
            } else if (op == 11) {
                unsigned before = a.v.BlockCount();
                a.v |= b.v;
                a.s.insert(b.s.begin(), b.s.end());
                ASSERT_EQ(a.v.BlockCount(), std::max(before, b.v.BlockCount()));
            } else if (op == 12) {
                std::set<unsigned> r;
                std::set_difference(a.s.begin(), a.s.end(), b.s.begin(), b.s.end(),
                                    std::inserter(r, r.end()));
                a.v -= b.v;
                a.s = r;
            } else if (op == 13) {
                std::set<unsigned> r;
                std::set_symmetric_difference(a.s.begin(), a.s.end(), b.s.begin(), b.s.end(),
                                              std::inserter(r, r.end()));
                a.v ^= b.v;
                a.s = r;
            } else if (op == 14) {
                bool sub = std::includes(a.s.begin(), a.s.end(), b.s.begin(), b.s.end());
                ASSERT_EQ(a.v.Contains(b.v), sub);
                std::vector<unsigned> common;
                std::set_intersection(a.s.begin(), a.s.end(), b.s.begin(), b.s.end(),
                                      std::back_inserter(common));
                ASSERT_EQ(a.v.HasOverlap(b.v), !common.empty());
            } else if (rng() % 4 == 0) {
                t.v.Clear();
                t.s.clear();
            } else {
                Twin& other = &t == &a ? b : a;
                other.v = t.v;
                other.s = t.s;
                ASSERT_TRUE(other.v == t.v);
                ASSERT_EQ(other.v.Compare(t.v), 0);
            }
            a.Check(Probes(a, rng, wide));
            b.Check(Probes(b, rng, wide));
        }
    }
}

TEST(omi_BlkBitVect, SelfOperandsFollowTheSetLaws) {
    Twin t;
    t.SetFromTo(100, 9000);
    t.Set(0xFFFFFFFFu);
    omi_BlkBitVect& v = t.v;
    v &= v;
    v |= v;
    t.Check({99, 100, 9000, 9001, 0xFFFFFFFFu});
    v -= v;
    EXPECT_EQ(v.BitCount(), 0u);
    t.s.clear();
    t.Check({100});
    t.SetFromTo(5, 70);
    v ^= v;
    t.s.clear();
    t.Check({5, 70});
}

TEST(omi_BlkBitVect, CountsFromRangesAcrossWordsAndPages) {
    struct Case {
        unsigned from, to, count;
    };
    for (Case c :
         {Case{5, 5, 1}, Case{30, 33, 4}, Case{0, 64, 65}, Case{31, 32, 2}, Case{8190, 8193, 4},
          Case{100, 100000, 99901}, Case{0xFFFFFFFFu - 40, 0xFFFFFFFFu, 41}}) {
        Twin t;
        t.Set(c.from + 1 <= c.to ? c.from + 1 : c.from);  // a bit already set is not counted twice
        t.SetFromTo(c.from, c.to);
        ASSERT_EQ(t.v.BitCount(), c.count) << c.from << ".." << c.to;
        t.Check({c.from - 1, c.from, c.to, c.to + 1});
    }
    omi_BlkBitVect v;
    v.SetFromTo(9, 3);
    EXPECT_EQ(v.BitCount(), 0u);
}

TEST(omi_BlkBitVect, TableGrowsInStepsOf128Pages) {
    omi_BlkBitVect v;
    EXPECT_EQ(v.BlockCount(), 128u);
    v.SetBit(128 * kPageBits - 1);
    EXPECT_EQ(v.BlockCount(), 128u);
    v.SetBit(2000000);
    EXPECT_EQ(v.BlockCount(), 256u);
    v.SetBit(0xFFFFFFFFu);
    EXPECT_EQ(v.BlockCount(), 524288u);
    EXPECT_EQ(WalkUp(v), (std::vector<unsigned>{128 * kPageBits - 1, 2000000, 0xFFFFFFFFu}));
}

TEST(omi_BlkBitVect, WalksCrossWordsPagesAndTheEnds) {
    omi_BlkBitVect empty;
    omi_BlkBitVectTrav e(&empty);
    unsigned b = 77;
    EXPECT_FALSE(e.First(b));
    EXPECT_EQ(b, 0u);
    b = 77;
    EXPECT_FALSE(e.Last(b));
    EXPECT_EQ(b, 0u);

    omi_BlkBitVect zero;
    zero.SetBit(0);
    omi_BlkBitVectTrav z(&zero);
    ASSERT_TRUE(z.First(b));
    EXPECT_EQ(b, 0u);
    EXPECT_TRUE(z.More());
    b = 77;
    EXPECT_FALSE(z.Next(b));
    EXPECT_EQ(b, 0u);
    EXPECT_FALSE(z.More());

    omi_BlkBitVect v;
    for (unsigned bit : {31u, 32u, 8191u, 8192u}) v.SetBit(bit);
    EXPECT_EQ(WalkUp(v), (std::vector<unsigned>{31, 32, 8191, 8192}));
    EXPECT_EQ(WalkDown(v), (std::vector<unsigned>{8192, 8191, 32, 31}));

    // Direction changes in the middle of a walk.
    omi_BlkBitVectTrav t(&v);
    ASSERT_TRUE(t.First(b));
    ASSERT_TRUE(t.Next(b));
    ASSERT_TRUE(t.Next(b));
    EXPECT_EQ(b, 8191u);
    ASSERT_TRUE(t.Prev(b));
    EXPECT_EQ(b, 32u);
    unsigned cur = 0;
    EXPECT_TRUE(t.Current(cur));
    EXPECT_EQ(cur, 32u);
}

TEST(omi_BlkBitVect, SetCurrentFindsTheNearestBitOrLeavesTheKey) {
    omi_BlkBitVect v;
    v.SetBit(40);
    v.SetBit(5 * kPageBits + 3);
    omi_BlkBitVectTrav t(&v);

    unsigned b = 10;  // clear bit of a present page, below every set bit, backward
    EXPECT_FALSE(t.SetCurrent(b, false));
    EXPECT_EQ(b, 0u);

    b = 2 * kPageBits;  // absent page, backward: the highest bit below
    EXPECT_TRUE(t.SetCurrent(b, false));
    EXPECT_EQ(b, 40u);
    b = 2 * kPageBits;
    EXPECT_TRUE(t.SetCurrent(b, true));
    EXPECT_EQ(b, 5 * kPageBits + 3);

    b = 6 * kPageBits;  // absent page, forward, nothing above: the key stays
    EXPECT_FALSE(t.SetCurrent(b, true));
    EXPECT_EQ(b, 6 * kPageBits);

    b = 0xFFFFFFF0u;  // beyond the table: false forward, the last bit backward
    EXPECT_FALSE(t.SetCurrent(b, true));
    EXPECT_EQ(b, 0xFFFFFFF0u);
    EXPECT_TRUE(t.SetCurrent(b, false));
    EXPECT_EQ(b, 5 * kPageBits + 3);

    omi_BlkBitVect high;  // absent page, backward, nothing below: the key stays
    high.SetBit(5 * kPageBits + 3);
    omi_BlkBitVectTrav h(&high);
    b = 2 * kPageBits + 7;
    EXPECT_FALSE(h.SetCurrent(b, false));
    EXPECT_EQ(b, 2 * kPageBits + 7);
}

TEST(omi_BlkBitVect, CurrentBitCountsTheSkippedPagesToTheEnd) {
    omi_BlkBitVect v;
    v.SetBit(70);
    v.SetBit(3 * kPageBits + 1);
    omi_BlkBitVectTrav t(&v);
    unsigned b = 0, cur = 0;
    ASSERT_TRUE(t.First(b));
    ASSERT_TRUE(t.Next(b));
    EXPECT_EQ(b, 3 * kPageBits + 1);
    EXPECT_FALSE(t.Next(b));
    // Past the last page the number stands one past the table's last bit, and More is false.
    EXPECT_FALSE(t.Current(cur));
    EXPECT_EQ(cur, 128 * kPageBits);

    ASSERT_TRUE(t.Last(b));
    ASSERT_TRUE(t.Prev(b));
    EXPECT_EQ(b, 70u);
    EXPECT_TRUE(t.Current(cur));
    EXPECT_EQ(cur, 70u);
}

TEST(omi_BlkBitVect, EmptiedPagesStayUntilARecount) {
    omi_BlkBitVect v, empty;
    v.SetBit(8191);
    size_t before = mem_Footprint();
    v.UnsetBit(8191);
    EXPECT_EQ(mem_Footprint(), before) << "the emptied page is kept";
    EXPECT_EQ(v.BitCount(), 0u);
    EXPECT_TRUE(WalkUp(v).empty());
    EXPECT_FALSE(v == empty);
    EXPECT_EQ(v.Compare(empty), 128) << "decided at page 0 with 128 pages to walk";
    EXPECT_EQ(empty.Compare(v), -128);
    EXPECT_TRUE(v.Contains(empty));
    EXPECT_TRUE(empty.Contains(v));

    v |= empty;  // any bulk operator leaves the count to a recount, which frees the page
    EXPECT_TRUE(v == empty);
    EXPECT_EQ(mem_Footprint(), before - 1024);
}

// Only a recount gives pages back, and the first count after a bulk operator always recounts:
// pages a bulk operator zeroed stay until then, and so does a page that UnsetBit empties after the
// operator, which that count then frees.
TEST(omi_BlkBitVect, TheCountAfterABulkOperatorFreesEveryEmptyPage) {
    omi_BlkBitVect a, b, only5;
    a.SetBit(5);
    a.SetBit(kPageBits + 1);
    a.SetBit(2 * kPageBits + 2);
    b.SetBit(5);
    b.SetBit(kPageBits + 1);
    b.SetBit(2 * kPageBits + 3);
    only5.SetBit(5);
    size_t before = mem_Footprint();
    a &= b;  // both have page 2, where nothing is left
    EXPECT_EQ(mem_Footprint(), before) << "a bulk operator frees no zeroed page";
    a.UnsetBit(kPageBits + 1);  // page 1 too
    EXPECT_EQ(a.BitCount(), 1u);
    EXPECT_EQ(mem_Footprint(), before - 2 * 1024);
    EXPECT_TRUE(a == only5);
    EXPECT_EQ(a.Compare(only5), 0);
}

// The bulk operators keep the count as they go: chains of them, with single-bit edits between,
// count right at the end, and that count gives back exactly the pages left without a bit,
// whether an operator or UnsetBit emptied them.
TEST(omi_BlkBitVect, TheCountAfterChainedBulkOperatorsIsExactAndFreesEmptiedPages) {
    std::mt19937 rng(11);
    for (int round = 0; round < 40; ++round) {
        Twin a, b;
        for (int i = 0; i < 3000; ++i) {
            // Pages 0..11 crowded (page 3 dense), a few bits far up in a longer table.
            unsigned bit =
                rng() % 5 == 0 ? 3 * kPageBits + rng() % kPageBits : rng() % (12 * kPageBits);
            (rng() % 2 ? a : b).Set(bit);
        }
        if (round % 3 == 0) b.Set(150 * kPageBits + rng() % kPageBits);
        if (round % 5 == 0) a.SetFromTo(5 * kPageBits, 7 * kPageBits - 1);
        for (int op = 0; op < 4; ++op) {
            std::set<unsigned> r;
            switch (rng() % 4) {
                case 0:
                    a.v &= b.v;
                    std::set_intersection(a.s.begin(), a.s.end(), b.s.begin(), b.s.end(),
                                          std::inserter(r, r.end()));
                    break;
                case 1:
                    a.v |= b.v;
                    std::set_union(a.s.begin(), a.s.end(), b.s.begin(), b.s.end(),
                                   std::inserter(r, r.end()));
                    break;
                case 2:
                    a.v -= b.v;
                    std::set_difference(a.s.begin(), a.s.end(), b.s.begin(), b.s.end(),
                                        std::inserter(r, r.end()));
                    break;
                default:
                    a.v ^= b.v;
                    std::set_symmetric_difference(a.s.begin(), a.s.end(), b.s.begin(), b.s.end(),
                                                  std::inserter(r, r.end()));
            }
            a.s = r;
            // Single-bit edits while the vector is dirty; one empties a whole page of a.
            const unsigned page = rng() % 12;
            for (auto it = a.s.lower_bound(page * kPageBits);
                 it != a.s.end() && *it < (page + 1) * kPageBits;) {
                a.v.UnsetBit(*it);
                it = a.s.erase(it);
            }
            a.Set(rng() % (12 * kPageBits));
        }
        ASSERT_EQ(a.v.BitCount(), a.s.size()) << "round " << round;
        std::set<unsigned> pages;
        for (unsigned bit : a.s) pages.insert(bit / kPageBits);
        for (unsigned p = 0; p < a.v.BlockCount(); ++p)
            ASSERT_EQ(a.v.Blocks()[p] != nullptr, pages.count(p) == 1) << "page " << p;
        a.Check({0, kPageBits, 3 * kPageBits + 7});
    }
}

TEST(omi_BlkBitVect, CompareOrdersByCountThenPagesThenWords) {
    omi_BlkBitVect a, b;
    a.SetFromTo(0, 2);
    b.SetFromTo(10, 14);
    EXPECT_EQ(a.Compare(b), -2);
    EXPECT_EQ(b.Compare(a), 2);

    omi_BlkBitVect c, d;
    c.SetBit(3 * kPageBits);
    d.SetBit(1 * kPageBits);
    EXPECT_EQ(c.Compare(d), -127) << "page 1: the argument has it, this one does not";
    EXPECT_EQ(d.Compare(c), 127);

    omi_BlkBitVect e, f;
    e.SetBit(64);
    f.SetBit(33);
    EXPECT_EQ(e.Compare(f), -1) << "word 1 decides, as unsigned numbers: 0 against 2";
    EXPECT_EQ(f.Compare(e), 1);
    EXPECT_FALSE(e == f);
    f = e;
    EXPECT_EQ(e.Compare(f), 0);
    EXPECT_TRUE(e == f);

    omi_BlkBitVect longer;
    longer.SetBit(64);
    longer.SetBit(2000000);
    longer.UnsetBit(2000000);
    EXPECT_FALSE(e == longer) << "equal sets, table lengths differ";
}

TEST(omi_BlkBitVect, BulkOperatorsReshapeTables) {
    omi_BlkBitVect a, b, empty;
    a.SetFromTo(0, 5 * kPageBits);
    size_t before = mem_Footprint();
    a &= empty;
    EXPECT_EQ(mem_Footprint(), before - 6 * 1024) << "all of a's pages are gone at once";
    EXPECT_EQ(a.BitCount(), 0u);

    b.SetBit(3000000);  // 384 pages
    a.SetBit(7);
    a |= b;
    EXPECT_EQ(a.BlockCount(), b.BlockCount());
    EXPECT_EQ(a.BlockCount(), 384u);
    EXPECT_EQ(a.BitCount(), 2u);
    omi_BlkBitVect c;
    c.SetBit(5000000);
    c ^= a;
    EXPECT_EQ(c.BlockCount(), 640u) << "its own table is already longer";
    EXPECT_EQ(WalkUp(c), (std::vector<unsigned>{7, 3000000, 5000000}));
    c -= b;
    EXPECT_EQ(WalkUp(c), (std::vector<unsigned>{7, 5000000}));
    a &= c;  // surplus pages beyond c's table: none here; pages c lacks are freed
    EXPECT_EQ(WalkUp(a), (std::vector<unsigned>{7}));
    c &= a;
    EXPECT_EQ(WalkUp(c), (std::vector<unsigned>{7}));
}

TEST(omi_BlkBitVect, FootprintMatchesTheHeapRoundedUp) {
    std::mt19937 rng(7);
    for (int round = 0; round < 6; ++round) {
        size_t before = mem_Footprint();
        {
            omi_BlkBitVect v;
            for (int i = 0; i < 200 * round; ++i) v.SetBit(rng() % (round < 4 ? 1u << 21 : ~0u));
            size_t heap = mem_Footprint() - before;
            size_t plain = sizeof(omi_BlkBitVect) + sizeof(omi_BlockedArray<unsigned>) + heap;
            EXPECT_GT(v.Footprint(), plain) << "strictly above the sum";
            EXPECT_LE(v.Footprint(), plain + 32);
            EXPECT_EQ(v.Footprint() % 32, 0u);
            omi_BlkBitVect copy(v);
            EXPECT_EQ(mem_Footprint() - before, 2 * heap) << "a copy holds the same pages";
        }
        EXPECT_EQ(mem_Footprint(), before);
    }
}

TEST(omi_BlkBitVect, CountBits32MatchesPopcount) {
    std::mt19937 rng(3);
    for (unsigned w : {0u, 1u, 0x80000000u, 0xFFFFFFFFu, 0x55555555u}) {
        EXPECT_EQ(CountBits32(w), static_cast<unsigned>(std::popcount(w)));
    }
    for (int i = 0; i < 10000; ++i) {
        unsigned w = rng();
        ASSERT_EQ(CountBits32(w), static_cast<unsigned>(std::popcount(w)));
    }
}

TEST(omi_BlkBitVect, DumpListWritesCountAndBitsToStandardError) {
    omi_BlkBitVect v;
    testing::internal::CaptureStderr();
    v.DumpList();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Empty List\n");
    for (unsigned b = 1; b <= 9; ++b) v.SetBit(b * 100);
    testing::internal::CaptureStderr();
    v.DumpList();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ListCount=9\n     100     200     300     400     500     600     700     800\n"
              "     900\n");
}

TEST(omi_BlkBitVectDeathTest, TraversalNeedsBothObjects) {
    omi_BlkBitVect v;
    omi_BlkBitVectTrav t(&v);
    EXPECT_DEATH(SetBitTraverseData(&v, nullptr),
                 "\\*\\*\\* Error: AssertionFailed:trav, file "
                 "ZORBase/ZORBasOmni.m/src/omi_BlkBitVectTrav, line");
    EXPECT_DEATH(SetBitTraverseData(nullptr, &t), "AssertionFailed:flist");
    EXPECT_DEATH(omi_BlkBitVectTrav{nullptr}, "AssertionFailed:flist");
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <set>
#include <vector>

#include "companions/alloc/mem_Malloc.h"
#include "zorbas/intsets/omi_GeneratedSet.h"
#include "zorbas/intsets/omi_Set.h"
#include "zorbas/intsets/omi_SparseSet.h"
#include "zorbas/intsets/omi_nextPrime.h"

namespace {

TEST(omi_nextPrime, AgreesWithASieveAndSurvivesPseudoprimes) {
    std::vector<bool> composite(200000, false);
    for (unsigned p = 2; p * p < composite.size(); ++p) {
        if (composite[p]) continue;
        for (unsigned m = p * p; m < composite.size(); m += p) composite[m] = true;
    }
    for (unsigned n = 0; n < composite.size(); ++n) {
        ASSERT_EQ(omi_isPrime(n), n >= 2 && !composite[n]) << n;
    }
    // Carmichael numbers and strong pseudoprimes to the small bases.
    for (unsigned n : {561u, 2047u, 1373653u, 25326001u, 3215031751u}) EXPECT_FALSE(omi_isPrime(n));
    EXPECT_EQ(omi_nextPrime(0), 2u);
    EXPECT_EQ(omi_nextPrime(2), 2u);
    EXPECT_EQ(omi_nextPrime(4), 5u);
    EXPECT_EQ(omi_nextPrime(1000), 1009u);
    EXPECT_EQ(omi_nextPrime(65536), 65537u);
    EXPECT_EQ(omi_nextPrime(2147483648u), 2147483659u);
    EXPECT_EQ(omi_nextPrime(4294967290u), 4294967291u);
    EXPECT_EQ(omi_nextPrime(4294967291u), 4294967291u);
}

TEST(omi_nextPrimeDeathTest, NoPrimeAboveTheLargest) {
    EXPECT_DEATH(
        omi_nextPrime(4294967292u),
        "Assertion failed: n <= kLargestPrime, file ZORBase/ZORBasOmni.m/src/omi_nextPrime");
}

TEST(omi_Set, RandomSequencesAgreeWithAStdSet) {
    std::mt19937 rng(11);
    size_t live = mem_LiveBlocks();
    {
        omi_Set<int> a, b;
        std::set<int> sa, sb;
        auto pick = [&] { return static_cast<int>(rng() % 400) - 200; };
        for (int step = 0; step < 3000; ++step) {
            unsigned op = rng() % 10;
            int v = pick();
            if (op < 4) {
                ASSERT_EQ(a.Insert(v), sa.insert(v).second);
            } else if (op < 6) {
                ASSERT_EQ(b.Insert(v), sb.insert(v).second);
            } else if (op == 6) {
                ASSERT_EQ(a.Remove(v), sa.erase(v) == 1);
            } else if (op == 7) {
                std::set<int> r;
                unsigned kind = rng() % 3;
                if (kind == 0) {
                    a |= b;
                    sa.insert(sb.begin(), sb.end());
                } else if (kind == 1) {
                    a &= b;
                    std::set_intersection(sa.begin(), sa.end(), sb.begin(), sb.end(),
                                          std::inserter(r, r.end()));
                    sa = r;
                } else {
                    a -= b;
                    std::set_difference(sa.begin(), sa.end(), sb.begin(), sb.end(),
                                        std::inserter(r, r.end()));
                    sa = r;
                }
            } else if (op == 8) {
                ASSERT_EQ(a.Contains(b), std::includes(sa.begin(), sa.end(), sb.begin(), sb.end()));
                omi_Set<int> copy(a);
                ASSERT_TRUE(copy == a);
                ASSERT_EQ(copy.Remove(v), sa.count(v) == 1);
                ASSERT_EQ(copy == a, sa.count(v) == 0);
            } else if (rng() % 8 == 0) {
                b = a;
                sb = sa;
            } else {
                b.Clear();
                sb.clear();
            }
            ASSERT_EQ(a.Size(), static_cast<int>(sa.size()));
            ASSERT_TRUE(std::equal(sa.begin(), sa.end(), &a[0], &a[0] + a.Size()));
            ASSERT_EQ(a.IsMember(v), sa.count(v) == 1);
            int at = a.Find(v);
            ASSERT_EQ(at,
                      sa.count(v) ? static_cast<int>(std::distance(sa.begin(), sa.find(v))) : -1);
        }
        a |= a;
        a &= a;
        ASSERT_EQ(a.Size(), static_cast<int>(sa.size()));
        a -= a;
        EXPECT_TRUE(a.IsEmpty());
    }
    EXPECT_EQ(mem_LiveBlocks(), live);
}

TEST(omi_SparseSet, MembershipCountsAndWalks) {
    omi_SparseSet s;
    EXPECT_TRUE(s.Insert(8191));
    EXPECT_FALSE(s.Insert(8191));
    s.InsertRange(100, 163);
    EXPECT_TRUE(s.Insert(0xFFFFFFFFu));
    EXPECT_EQ(s.Size(), 66);
    EXPECT_TRUE(s.Remove(130));
    EXPECT_FALSE(s.Remove(130));
    EXPECT_EQ(s.Size(), 65);
    unsigned lo = 0, hi = 0;
    ASSERT_TRUE(s.Min(lo));
    ASSERT_TRUE(s.Max(hi));
    EXPECT_EQ(lo, 100u);
    EXPECT_EQ(hi, 0xFFFFFFFFu);

    std::vector<unsigned> ids(s.Size());
    ASSERT_EQ(s.ToArray(ids.data()), 65);
    std::vector<unsigned> walked;
    omi_SparseSetIter it(s);
    for (it.First(); !it.IsDone(); it.Next()) walked.push_back(it.CurrentKey());
    EXPECT_EQ(walked, ids);
    EXPECT_EQ(ids[29], 129u);
    EXPECT_EQ(ids[30], 131u);
    EXPECT_EQ(ids[63], 8191u);
    it.Seek(164);
    ASSERT_FALSE(it.IsDone());
    EXPECT_EQ(it.CurrentKey(), 8191u);
    it.Seek(8192);
    EXPECT_EQ(it.CurrentKey(), 0xFFFFFFFFu);

    omi_SparseSet empty;
    EXPECT_FALSE(empty.Min(lo));
    omi_SparseSetIter none(empty);
    none.First();
    EXPECT_TRUE(none.IsDone());
}

TEST(omi_SparseSet, EqualityIsOfTheIdsAlone) {
    omi_SparseSet a, b;
    a.Insert(5);
    a.Insert(3000000);  // a longer page table
    a.Remove(3000000);  // and a page left empty
    b.Insert(5);
    EXPECT_FALSE(a.Bits() == b.Bits()) << "the vector's own == sees the pages";
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(b == a);
    b.Insert(6);
    EXPECT_TRUE(a != b);
    a |= b;
    EXPECT_TRUE(a == b);
    a -= b;
    EXPECT_TRUE(a.IsEmpty());
    EXPECT_TRUE(b.Contains(a));
    EXPECT_FALSE(a.HasOverlap(b));
}

std::set<unsigned> Expected(const std::vector<omi_GeneratedSet::Rule>& rules) {
    std::set<unsigned> s;
    for (const auto& r : rules) {
        for (unsigned long long id = r.first; id <= r.last; id += r.step)
            s.insert(static_cast<unsigned>(id));
    }
    return s;
}

TEST(omi_GeneratedSet, RulesAgreeWithTheirExpansion) {
    std::mt19937 rng(5);
    for (int round = 0; round < 40; ++round) {
        omi_GeneratedSet g;
        std::vector<omi_GeneratedSet::Rule> given;
        int n = 1 + static_cast<int>(rng() % 5);
        for (int i = 0; i < n; ++i) {
            unsigned base = round % 5 == 4 ? 0xFFFFF000u : 0u;  // near the top of the range
            unsigned first = base + rng() % 3000;
            unsigned last = first + rng() % 3000;
            if (last < first) last = 0xFFFFFFFFu;
            unsigned step = 1 + rng() % (round % 2 ? 1 : 40);
            g.Add(first, last, step);
            given.push_back({first, last, step});
        }
        std::set<unsigned> want = Expected(given);
        ASSERT_EQ(g.Size(), want.size());
        std::vector<unsigned> walked;
        omi_GeneratedSetIter it(g);
        for (it.First(); !it.IsDone(); it.Next()) walked.push_back(it.CurrentKey());
        ASSERT_TRUE(std::equal(walked.begin(), walked.end(), want.begin(), want.end()));
        omi_BlkBitVect bits;
        g.Expand(bits);
        ASSERT_EQ(bits.BitCount(), want.size());
        for (int k = 0; k < 200; ++k) {
            unsigned id = given[k % n].first + rng() % 3100;
            ASSERT_EQ(g.IsMember(id), want.count(id) == 1) << id;
            ASSERT_EQ(bits.GetBit(id), want.count(id) == 1) << id;
        }
    }
}

TEST(omi_GeneratedSet, StoresTheLastIdReachedAndCopiesDeeply) {
    omi_GeneratedSet g;
    g.Add(1, 10, 4);
    g.Add(0xFFFFFFF0u, 0xFFFFFFFFu, 5);
    g.Add(7);
    EXPECT_EQ(g.GetRule(0).last, 9u);
    EXPECT_EQ(g.GetRule(1).last, 0xFFFFFFFFu);
    EXPECT_EQ(g.Size(), 3u + 4u + 1u);
    omi_GeneratedSet copy(g);
    g.Clear();
    EXPECT_EQ(g.Size(), 0u);
    EXPECT_EQ(copy.RuleCount(), 3);
    EXPECT_TRUE(copy.IsMember(0xFFFFFFFFu));
    EXPECT_FALSE(copy.IsMember(8));
    omi_GeneratedSetIter it(g);
    it.First();
    EXPECT_TRUE(it.IsDone());
}

TEST(omi_GeneratedSetDeathTest, RulesNeedAStepAndAnOrder) {
    omi_GeneratedSet g;
    EXPECT_DEATH(g.Add(1, 5, 0),
                 "Assertion failed: step >= 1, file ZORBase/ZORBasOmni.m/src/omi_GeneratedSet");
    EXPECT_DEATH(g.Add(5, 1, 1), "Assertion failed: first <= last");
}

}  // namespace

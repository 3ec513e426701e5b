#include "zorbas/cow/cow_Map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "zorbas/cow/cow_Tracked_test.h"

namespace {

using Pairs = std::vector<std::pair<int, int>>;

Pairs Sorted(const cow_Map<int, Tracked>& map) {
    Pairs out;
    cow_ConstMapSortedIt<int, Tracked> it(map);
    for (it.First(); !it.IsDone(); it.Next())
        out.emplace_back(it.CurrentKey(), it.CurrentValue().value);
    return out;
}

using CowMapTest = TrackedLeakTest;

TEST(CowMapBitTest, IntegerBitsRepeatAndStringBitsAlternateEnds) {
    EXPECT_TRUE(cow_MapBit(5, 0));
    EXPECT_FALSE(cow_MapBit(5, 1));
    EXPECT_TRUE(cow_MapBit(5, 2));
    EXPECT_TRUE(cow_MapBit(5, 32)) << "bit depth & 31";
    EXPECT_TRUE(cow_MapBit(-1, 31));
    EXPECT_TRUE(cow_MapBit(0x80000000u, 63));

    // "abcd" is 0x61 0x62 0x63 0x64: front bytes at even depths, back bytes at odd depths.
    cow_String s("abcd");
    EXPECT_TRUE(cow_MapBit(s, 0));   // 'a'
    EXPECT_FALSE(cow_MapBit(s, 1));  // 'd'
    EXPECT_FALSE(cow_MapBit(s, 2));  // 'b'
    EXPECT_TRUE(cow_MapBit(s, 3));   // 'c'
    EXPECT_TRUE(cow_MapBit(s, 4));   // 'c' again, from the front
    EXPECT_FALSE(cow_MapBit(s, 5)) << "beyond the length";
    for (int d = 0; d < 6; ++d) EXPECT_EQ(cow_MapBit(atr_String("abcd"), d), cow_MapBit(s, d));
    EXPECT_FALSE(cow_MapBit(cow_String(), 0));
}

TEST_F(CowMapTest, InsertReplacesAndRemoveOfAnAbsentKeyCopiesNothing) {
    cow_Map<int, cow_String> m;
    EXPECT_TRUE(m.IsEmpty());
    EXPECT_TRUE(m.Insert(7, "seven"));
    EXPECT_TRUE(m.Insert(7, "SEVEN"));
    EXPECT_EQ(m.Size(), 1);
    EXPECT_EQ(m.ConstGet(7), "SEVEN");

    for (int k = 0; k < 20; ++k) m.Insert(k, cow_String(k));
    cow_Map<int, cow_String> copy(m);
    EXPECT_EQ(copy.GetPtr(), m.GetPtr());
    EXPECT_FALSE(copy.Remove(1000));
    EXPECT_EQ(copy.GetPtr(), m.GetPtr()) << "an absent key copies nothing";
    EXPECT_EQ(copy.Size(), 20);

    copy.Get(3) = "three";  // a read through Get unshares the path
    EXPECT_NE(copy.GetPtr(), m.GetPtr());
    EXPECT_EQ(m.ConstGet(3), "3") << "the map copied before the write keeps its value";
    EXPECT_EQ(copy.ConstGet(3), "three");
}

TEST_F(CowMapTest, ACopySharesTheRootAndAWriteCopiesOnlyThePath) {
    cow_Map<int, Tracked> m;
    for (int k = 0; k < 1024; ++k) m.Insert(k, Tracked(k));  // 10 bits: at most 11 levels
    long copiedBefore = Tracked::copied;
    cow_Map<int, Tracked> copy(m);
    EXPECT_EQ(Tracked::copied, copiedBefore);
    EXPECT_EQ(copy.References(), 2);
    copy.Get(1023).value = -1;
    long pathCopies = Tracked::copied - copiedBefore;
    EXPECT_GE(pathCopies, 2);
    EXPECT_LE(pathCopies, 11) << "one value per node on the path, none elsewhere";
    EXPECT_EQ(m.ConstGet(1023).value, 1023);
    EXPECT_EQ(&m.ConstGet(1022), &copy.ConstGet(1022)) << "off the path, nodes stay shared";
}

TEST_F(CowMapTest, RemovingInnerNodesKeepsEveryOtherKey) {
    cow_Map<int, Tracked> m;
    for (int k = 0; k < 64; ++k) m.Insert(k, Tracked(k));
    // 0 is the root; 1, 2, 3 ... lie at depths 1 and 2 with children below them.
    for (int k : {0, 1, 2, 5}) {
        EXPECT_TRUE(m.Remove(k));
        EXPECT_FALSE(m.IsMember(k));
    }
    EXPECT_EQ(m.Size(), 60);
    for (int k = 0; k < 64; ++k) {
        if (k == 0 || k == 1 || k == 2 || k == 5) continue;
        ASSERT_TRUE(m.IsMember(k)) << k;
        EXPECT_EQ(m.ConstGet(k).value, k);
    }
    while (m.Size() > 0) {
        cow_ConstMapIterator<int, Tracked> it(m);
        it.First();
        m.Remove(it.CurrentKey());
    }
    EXPECT_TRUE(m.IsNull());
}

TEST_F(CowMapTest, StringKeysWithTheSameLowBitsShareAPathAndValuesMayBeAnyValueType) {
    // 'a' 'c' 'e' 'g' all have the low bit set, so these keys read the same bits at every depth.
    cow_Map<cow_String, int> m;
    const char* keys[] = {"ac", "ca", "eg", "ge", "aa"};
    for (int d = 0; d < 6; ++d)
        for (const char* k : keys)
            EXPECT_EQ(cow_MapBit(cow_String(k), d), cow_MapBit(cow_String("ac"), d));
    for (int i = 0; i < 5; ++i) m.Insert(keys[i], i);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(m.ConstGet(keys[i]), i);
    EXPECT_TRUE(m.Remove("ca"));
    EXPECT_EQ(m.ConstGet("ge"), 3);
    EXPECT_FALSE(m.IsMember("ca"));

    cow_Map<atr_String, cow_List<cow_String>> lists;
    lists.Insert("x", cow_List<cow_String>("1", "2"));
    lists.Get("x").Append("3");
    EXPECT_EQ(lists.ConstGet("x").Length(), 3);
}

TEST_F(CowMapTest, IteratorsAndUtilities) {
    cow_Map<int, int> m;
    EXPECT_TRUE((cow_MapUtils<int, int>::cow_Keys(m).IsEmpty()));
    {
        cow_ConstMapIterator<int, int> it(m);
        it.First();
        EXPECT_TRUE(it.IsDone());
    }
    std::mt19937 rng(5);
    std::map<int, int> model;
    for (int i = 0; i < 300; ++i) {
        int k = static_cast<int>(rng() % 100000) - 50000;
        m.Insert(k, i);
        model[k] = i;
    }
    // Plain iteration is a pre-order walk: the root first, every key once.
    cow_ConstMapIterator<int, int> it(m);
    std::vector<int> seen;
    for (it.First(); !it.IsDone(); it.Next()) seen.push_back(it.CurrentKey());
    EXPECT_EQ(seen.front(), m.GetRef().key);
    std::sort(seen.begin(), seen.end());
    std::vector<int> expectKeys;
    for (auto& kv : model) expectKeys.push_back(kv.first);
    EXPECT_EQ(seen, expectKeys);

    cow_ConstMapSortedIt<int, int> sorted(m);
    Pairs inOrder;
    for (sorted.First(); !sorted.IsDone(); sorted.Next())
        inOrder.emplace_back(sorted.CurrentKey(), sorted.CurrentValue());
    EXPECT_EQ(inOrder, Pairs(model.begin(), model.end()));

    m.Insert(123456, 1);  // the iterators are sharing copies: unchanged
    int count = 0;
    for (sorted.First(); !sorted.IsDone(); sorted.Next()) ++count;
    EXPECT_EQ(count, static_cast<int>(model.size()));

    cow_List<int> keys = cow_MapUtils<int, int>::cow_Keys(m);
    cow_List<int> values = cow_MapUtils<int, int>::cow_Values(m);
    ASSERT_EQ(keys.Length(), m.Size());
    ASSERT_EQ(values.Length(), m.Size());
    for (int i = 0; i < keys.Length(); ++i)
        EXPECT_EQ(m.ConstGet(keys.ConstGet(i)), values.ConstGet(i));
}

// Random operations against std::map, with copies taken at random points that must keep their
// contents. Keys are spread (depth by low bits) or clustered in high bits (long chains).
TEST_F(CowMapTest, DifferentialAgainstStdMap) {
    for (int seed = 1; seed <= 8; ++seed) {
        std::mt19937 rng(seed);
        cow_Map<int, Tracked> map;
        std::map<int, int> model;
        std::vector<std::pair<cow_Map<int, Tracked>, Pairs>> snapshots;
        for (int step = 0; step < 4000; ++step) {
            int op = static_cast<int>(rng() % 100);
            int k = static_cast<int>(rng() % 400);
            if (seed % 2 == 0) k <<= 20;
            if (op < 45) {
                EXPECT_TRUE(map.Insert(k, Tracked(step)));
                model[k] = step;
            } else if (op < 85) {
                EXPECT_EQ(map.Remove(k), model.erase(k) == 1);
            } else if (op < 92) {
                auto found = model.find(k);
                EXPECT_EQ(map.IsMember(k), found != model.end());
                if (found != model.end()) {
                    map.Get(k).value = -step;
                    found->second = -step;
                }
            } else if (op < 98) {
                snapshots.emplace_back(map, Pairs(model.begin(), model.end()));
                if (snapshots.size() > 6) snapshots.erase(snapshots.begin());
            } else {
                cow_Map<int, Tracked> other(map);
                map = other;
            }
            ASSERT_EQ(map.Size(), static_cast<int>(model.size()));
            if (step % 100 == 0) {
                ASSERT_EQ(Sorted(map), Pairs(model.begin(), model.end()))
                    << "seed " << seed << " step " << step;
            }
        }
        EXPECT_EQ(Sorted(map), Pairs(model.begin(), model.end()));
        for (auto& [copy, contents] : snapshots) EXPECT_EQ(Sorted(copy), contents);
    }
}

TEST(CowMapDeathTest, ContractFaultsEndTheProgram) {
    cow_Map<int, int> m;
    m.Insert(1, 1);
    EXPECT_DEATH(m.Get(2),
                 "Assertion failed: x->HasValue\\(\\), file ZORBase/ProtectedInterfaces/cow_Map");
    EXPECT_DEATH(m.ConstGet(2),
                 "Assertion failed: x->HasValue\\(\\), file ZORBase/ProtectedInterfaces/cow_Map");
    cow_ConstMapIterator<int, int> it(m);
    EXPECT_DEATH(it.IsDone(),
                 "Assertion failed: nodes && \"Need to call First\\(\\) on iterator.\", file "
                 "ZORBase/PublicInterfaces/cow_Map");
    EXPECT_DEATH(it.CurrentKey(), "Need to call First");
}

}  // namespace

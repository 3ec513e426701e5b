#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

#include "companions/alloc/mem_Malloc.h"
#include "zorbas/intsets/cow_IntMultiMapInt.h"
#include "zorbas/intsets/omi_IntMultiMap.h"

namespace {

using Map = omi_IntMultiMap<int, ZORBasOmiDefaultAllocator>;
using Iter = omi_IntMultiMapIterator<int, ZORBasOmiDefaultAllocator>;
using Model = std::map<int, std::vector<int>>;

// The map as key -> values in chain order.
Model Chains(const Map& map) {
    Model chains;
    Iter it(map);
    for (it.First(); !it.IsDone(); it.Next()) chains[it.CurrentKey()].push_back(it.CurrentValue());
    return chains;
}

Model Sorted(Model m) {
    for (auto& [k, v] : m) std::sort(v.begin(), v.end());
    return m;
}

int Ascending(const int& a, const int& b) { return a - b; }

}  // namespace

// Random InsertUnique / Remove sequences against a std::map of value lists; enough removals to
// run the compaction several times.
TEST(omi_IntMultiMap, DifferentialWithCompaction) {
    std::mt19937 rng(5);
    Map map;
    Model model;
    int size = 0;
    for (int op = 0; op < 30000; ++op) {
        int key = static_cast<int>(rng() % 200) - 100;
        int value = static_cast<int>(rng() % 16);
        auto& values = model[key];
        bool held = std::find(values.begin(), values.end(), value) != values.end();
        switch (rng() % 5) {
            case 0:
            case 1:
                ASSERT_EQ(map.InsertUnique(key, value), !held);
                if (!held) values.push_back(value), ++size;
                break;
            case 2:
                ASSERT_EQ(map.Remove(key, value), !values.empty());
                if (held) values.erase(std::find(values.begin(), values.end(), value)), --size;
                break;
            case 3:
                if (rng() % 8 == 0) {
                    ASSERT_EQ(map.Remove(key), !values.empty());
                    size -= static_cast<int>(values.size());
                    values.clear();
                }
                break;
            default:
                ASSERT_EQ(map.IsMember(key), !values.empty());
                ASSERT_EQ(map.IsMember(key, value), held);
        }
        if (values.empty()) model.erase(key);
        ASSERT_EQ(map.Size(), size);
    }
    EXPECT_EQ(Sorted(Chains(map)), Sorted(model));
}

TEST(omi_IntMultiMap, LinkBlocksOf256) {
    Map map;
    map.Insert(1, 0);  // the key's table block, pages and the first link block
    size_t blocks = mem_LiveBlocks();
    for (int i = 1; i < 256; ++i) map.Insert(1, i);
    EXPECT_EQ(mem_LiveBlocks(), blocks);
    map.Insert(1, 256);  // the 257th value: one block object and its links
    EXPECT_EQ(mem_LiveBlocks(), blocks + 2);
    EXPECT_EQ(map.Size(), 257);
    EXPECT_EQ(map.GetFirst(1)->value, 256);  // newest first

    EXPECT_TRUE(map.Remove(1));
    EXPECT_TRUE(map.IsEmpty());
    EXPECT_FALSE(map.Remove(1));
    // Cleared: a new value starts a new link block again.
    size_t empty = mem_LiveBlocks();
    map.Insert(1, 0);
    EXPECT_GT(mem_LiveBlocks(), empty);
}

TEST(omi_IntMultiMap, RemovePairAndInsertUnique) {
    Map map;
    map.Insert(4, 1);
    map.Insert(4, 2);
    EXPECT_TRUE(map.Remove(4, 99));  // absent value of a live chain
    EXPECT_EQ(map.Size(), 2);
    EXPECT_FALSE(map.Remove(5, 1));  // absent key
    EXPECT_FALSE(map.InsertUnique(4, 2));
    EXPECT_EQ(map.Size(), 2);
    EXPECT_TRUE(map.InsertUnique(4, 3));
    EXPECT_EQ(Chains(map)[4], (std::vector<int>{3, 2, 1}));
    EXPECT_TRUE(map.Remove(4, 3));  // a head match
    EXPECT_TRUE(map.Remove(4, 1));  // a tail match
    EXPECT_EQ(Chains(map)[4], (std::vector<int>{2}));
    EXPECT_TRUE(map.Remove(4, 2));  // the last value clears the map
    EXPECT_TRUE(map.IsEmpty());
    EXPECT_FALSE(map.IsMember(4));
}

TEST(omi_IntMultiMap, SecondOfAdjacentMatchesAfterHeadStays) {
    Map map;
    for (int v : {7, 7, 1}) map.Insert(-3, v);  // chain 1, 7, 7
    EXPECT_TRUE(map.Remove(-3, 7));
    EXPECT_EQ(Chains(map)[-3], (std::vector<int>{1, 7}));
}

TEST(omi_IntMultiMap, SortCompressAndCopyOrder) {
    Map map;
    for (int v : {5, 1, 4, 2, 3}) map.Insert(10, v);  // chain 3, 2, 4, 1, 5
    map.Insert(-10, 8);
    map.Insert(-10, 9);
    map.SortValues(Ascending);
    EXPECT_EQ(Chains(map)[10], (std::vector<int>{1, 2, 3, 4, 5}));
    map.CompressValues();
    EXPECT_EQ(Chains(map)[10], (std::vector<int>{5, 4, 3, 2, 1}));
    EXPECT_EQ(Chains(map)[-10], (std::vector<int>{9, 8}));
    Map* copy = map.Copy();
    EXPECT_EQ(Chains(*copy)[10], (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_EQ(Chains(*copy).begin()->first, -10);
    EXPECT_EQ(copy->Size(), 7);
    delete copy;
}

TEST(omi_IntMultiMapDeathTest, SortAfterMiscountedRemoval) {
    Map map;
    for (int v : {7, 7, 1}) map.Insert(0, v);
    map.Remove(0, 7);  // counts two removals, unlinks one
    EXPECT_DEATH(map.CompressValues(),
                 "Assertion failed: maxLinkCount == multiMapSize, file "
                 "ZORBase/PrivateInterfaces/omi_IntMultiMap, line [0-9]+");
}

TEST(cow_IntMultiMapInt, CopiesShareUntilWritten) {
    cow_IntMultiMapInt a;
    a.Insert(1, 10);
    a.Insert(1, 11);
    a.Insert(-2, 20);
    cow_IntMultiMapInt b = a;
    EXPECT_TRUE(a.IsShared());
    EXPECT_FALSE(b.Remove(3));  // changes nothing, copies nothing
    EXPECT_FALSE(b.Remove(1, 99));
    EXPECT_TRUE(b.IsShared());
    EXPECT_EQ(&a.ConstGet(), &b.ConstGet());

    EXPECT_TRUE(b.Remove(1, 10));
    EXPECT_FALSE(a.IsShared());
    EXPECT_EQ(a.Count(1), 2);
    EXPECT_EQ(b.Count(1), 1);
    EXPECT_EQ(b.Size(), 2);
    EXPECT_FALSE(b.InsertUnique(-2, 20));
    EXPECT_TRUE(b.IsMember(-2, 20));
    b.Clear();
    EXPECT_TRUE(b.IsEmpty());
    EXPECT_EQ(a.Size(), 3);
    EXPECT_EQ(Sorted(Chains(a.ConstGet())), (Model{{-2, {20}}, {1, {10, 11}}}));
}

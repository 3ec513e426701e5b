#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <unordered_map>

#include "zorbas/intsets/HashTable.h"

// Random operations against std::unordered_map. A small key space keeps long probe runs and
// many removals inside them, which is where backward-shift deletion goes wrong if it does.
TEST(HashTable, DifferentialAgainstUnorderedMap) {
    std::mt19937 rng(9);
    for (unsigned keySpace : {64u, 5000u, 0xFFFFFFFFu}) {
        HashTable<unsigned, int> table(4);
        std::unordered_map<unsigned, int> model;
        for (int op = 0; op < 50000; ++op) {
            unsigned key = keySpace == 0xFFFFFFFFu ? rng() : rng() % keySpace;
            switch (rng() % 3) {
                case 0:
                    ASSERT_EQ(table.Insert(key, op), model.find(key) == model.end());
                    model[key] = op;
                    break;
                case 1:
                    ASSERT_EQ(table.Remove(key), model.erase(key) == 1);
                    break;
                default: {
                    int out = -1;
                    auto found = model.find(key);
                    ASSERT_EQ(table.ConstGetValue(key, out), found != model.end());
                    if (found != model.end()) {
                        ASSERT_EQ(out, found->second);
                    }
                }
            }
            ASSERT_EQ(table.Size(), static_cast<int>(model.size()));
        }
        for (auto& [k, v] : model) ASSERT_EQ(*table.Find(k), v) << k;
        HashTableIterator<unsigned, int> it(table);
        size_t walked = 0;
        for (it.First(); !it.IsDone(); it.Next(), ++walked) {
            ASSERT_EQ(model.at(it.CurrentKey()), it.CurrentValue());
        }
        EXPECT_EQ(walked, model.size());
        EXPECT_LE(table.Size() * 4, static_cast<int>(table.BucketCount()) * 3);
    }
}

TEST(HashTable, PointerKeysCopyAndClear) {
    int cells[100];
    HashTable<void*, int> table;
    for (int i = 0; i < 100; ++i) table.Insert(&cells[i], i);
    HashTable<void*, int> copy(table);
    table.Clear();
    EXPECT_TRUE(table.IsEmpty());
    EXPECT_FALSE(table.IsMember(&cells[3]));
    EXPECT_EQ(copy.Size(), 100);
    EXPECT_EQ(*copy.Find(&cells[42]), 42);
    table = copy;
    EXPECT_TRUE(table.Remove(&cells[42]));
    EXPECT_EQ(copy.Size(), 100);
    EXPECT_EQ(table.Find(&cells[42]), nullptr);
}

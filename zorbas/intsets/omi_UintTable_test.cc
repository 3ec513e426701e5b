#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <map>
#include <random>
#include <vector>

#include "companions/alloc/mem_Malloc.h"
#include "zorbas/intsets/omi_IntTable.h"
#include "zorbas/intsets/omi_UintTable.h"

// The tables deleted here were made as omi_UintTable itself (Copy), never as a derived class, so
// the destructor that the table deliberately keeps non-virtual is the right one.
#pragma GCC diagnostic ignored "-Wdelete-non-virtual-dtor"

namespace {

using UTable = omi_UintTable<int, ZORBasOmiDefaultAllocator>;
using UIter = omi_UintTableIterator<int, ZORBasOmiDefaultAllocator>;
using ITable = omi_IntTable<int, ZORBasOmiDefaultAllocator>;
using IIter = omi_IntTableIterator<int, ZORBasOmiDefaultAllocator>;

// Keys where the layout changes hands: words, pages (1,024 cells), the first page table (24
// pages), blocks (2^20 keys), the 64-step of the block array, and both ends of the range.
std::vector<uint32_t> BoundaryKeys() {
    std::vector<uint32_t> keys = {0u,
                                  1u,
                                  31u,
                                  32u,
                                  1023u,
                                  1024u,
                                  1025u,
                                  24u * 1024 - 1,
                                  24u * 1024,
                                  8191u,
                                  8192u,
                                  0xFFFFFu,
                                  0x100000u,
                                  0x1FFFFFu,
                                  (63u << 20) + 5,
                                  64u << 20,
                                  0x7FFFFFFFu,
                                  0x80000000u,
                                  0xFFFFFFFEu,
                                  0xFFFFFFFFu};
    return keys;
}

std::vector<uint32_t> ClusteredKeys(std::mt19937& rng, int clusters, int perCluster) {
    std::vector<uint32_t> keys = BoundaryKeys();
    for (int c = 0; c < clusters; ++c) {
        uint32_t base = rng();
        for (int i = 0; i < perCluster; ++i) keys.push_back(base + static_cast<uint32_t>(i * 3));
    }
    return keys;
}

template <class Table, class Iter, class Key>
void ExpectSameWalks(const Table& table, const std::map<Key, int>& model) {
    ASSERT_EQ(table.Size(), static_cast<int>(model.size()));
    Iter forward(table);
    auto it = model.begin();
    for (forward.First(); !forward.IsDone(); forward.Next(), ++it) {
        ASSERT_NE(it, model.end());
        ASSERT_EQ(static_cast<Key>(forward.CurrentKey()), it->first);
        ASSERT_EQ(forward.CurrentValue(), it->second);
    }
    EXPECT_EQ(it, model.end());
}

// Walk against the model: from First over everything, then stopping at every 997th entry and
// going on with Next from there, which must continue exactly after the stop.
void ExpectSameWalkVisits(const UTable& table, const std::map<uint32_t, int>& model) {
    UIter it(table);
    it.First();
    std::vector<std::pair<const uint32_t, int>> seen;
    it.Walk([&](unsigned key, const int& value) {
        seen.emplace_back(key, value);
        return true;
    });
    EXPECT_TRUE(it.IsDone());
    ASSERT_TRUE(std::equal(seen.begin(), seen.end(), model.begin(), model.end()));

    UIter stepped(table);
    stepped.First();
    auto expected = model.begin();
    size_t visits = 0;
    while (!stepped.IsDone()) {
        stepped.Walk([&](unsigned key, const int& value) {
            if (expected == model.end()) {
                ADD_FAILURE() << "visited past the model's end: " << key;
                return false;
            }
            EXPECT_EQ(key, expected->first);
            EXPECT_EQ(value, expected->second);
            ++expected;
            return ++visits % 997 != 0;
        });
        if (stepped.IsDone()) break;
        ASSERT_EQ(stepped.CurrentKey(), std::prev(expected)->first);
        stepped.Next();
        if (!stepped.IsDone()) {
            ASSERT_EQ(stepped.CurrentKey(), expected->first);
        }
    }
    EXPECT_EQ(visits, model.size());
}

void ExpectSameBackwardWalk(const UTable& table, const std::map<uint32_t, int>& model) {
    UIter backward(table);
    auto it = model.rbegin();
    for (backward.Last(); !backward.IsDone(); backward.Previous(), ++it) {
        ASSERT_NE(it, model.rend());
        ASSERT_EQ(backward.CurrentKey(), it->first);
        ASSERT_EQ(backward.CurrentValue(), it->second);
    }
    EXPECT_EQ(it, model.rend());
}

int ByValueDescending(const void* a, const void* b) {
    auto* x = *static_cast<omi_UintTableNode<int>* const*>(a);
    auto* y = *static_cast<omi_UintTableNode<int>* const*>(b);
    return *y->value - *x->value;
}

template <class Table>
constexpr bool HasKeyModulus = requires(const Table& t) {
    t.KeyModulus();
};

int g_compareCalls = 0;
int CountingCompare(const void*, const void*) {
    ++g_compareCalls;
    return 0;
}

}  // namespace

// Random operation sequences against std::map over random, clustered and boundary keys; after
// each round the walks in both directions are compared element by element.
TEST(omi_UintTable, DifferentialAgainstStdMap) {
    std::mt19937 rng(20240611);
    for (int round = 0; round < 4; ++round) {
        UTable table;
        std::map<uint32_t, int> model;
        std::vector<uint32_t> keys = ClusteredKeys(rng, 6, 3000);
        for (int i = 0; i < 2000; ++i) keys.push_back(rng());
        for (int op = 0; op < 60000; ++op) {
            uint32_t key = keys[rng() % keys.size()];
            int value = static_cast<int>(rng());
            switch (rng() % 4) {
                case 0:
                case 1: {
                    bool isNew = model.find(key) == model.end();
                    model[key] = value;
                    ASSERT_EQ(table.Insert(key, value), isNew);
                    break;
                }
                case 2:
                    ASSERT_EQ(table.Remove(key), model.erase(key) == 1) << key;
                    break;
                default: {
                    int out = -7;
                    auto found = model.find(key);
                    ASSERT_EQ(table.IsMember(key), found != model.end());
                    ASSERT_EQ(table.ConstGetValue(key, out), found != model.end());
                    if (found != model.end()) {
                        EXPECT_EQ(out, found->second);
                        EXPECT_EQ(table.ConstGet(key), found->second);
                    } else {
                        EXPECT_EQ(out, -7);
                    }
                }
            }
        }
        ExpectSameWalks<UTable, UIter>(table, model);
        ExpectSameWalkVisits(table, model);
        ExpectSameBackwardWalk(table, model);

        UTable* copy = table.Copy();
        table.Clear();
        EXPECT_TRUE(table.IsEmpty());
        ExpectSameWalks<UTable, UIter>(*copy, model);
        delete copy;
    }
}

TEST(omi_IntTable, DifferentialAgainstStdMapWithSignedWalk) {
    std::mt19937 rng(77);
    ITable table;
    std::map<int, int> model;
    std::vector<int> keys = {INT_MIN, INT_MIN + 1, -1048577, -1048576, -1024,  -1,
                             0,       1,           1024,     1048576,  INT_MAX};
    for (int i = 0; i < 3000; ++i) keys.push_back(static_cast<int>(rng()));
    for (int i = 0; i < 3000; ++i) keys.push_back(static_cast<int>(rng() % 20000) - 10000);
    for (int op = 0; op < 40000; ++op) {
        int key = keys[rng() % keys.size()];
        if (rng() % 3) {
            bool isNew = model.find(key) == model.end();
            model[key] = op;
            ASSERT_EQ(table.Insert(key, op), isNew);
        } else {
            ASSERT_EQ(table.Remove(key), model.erase(key) == 1);
        }
    }
    for (int key : keys) {
        auto found = model.find(key);
        ASSERT_EQ(table.IsMember(key), found != model.end()) << key;
        if (found != model.end()) {
            ASSERT_EQ(table.Get(key), found->second);
        }
    }
    ExpectSameWalks<ITable, IIter>(table, model);

    IIter last(table);
    last.Last();
    ASSERT_FALSE(last.IsDone());
    EXPECT_EQ(last.CurrentKey(), model.rbegin()->first);
}

TEST(omi_IntTable, SignedWalkAndExtremeKeys) {
    ITable table;
    for (int key : {7, -5, 0}) table.Insert(key, key * 10);
    IIter it(table);
    std::vector<int> walked;
    for (it.First(); !it.IsDone(); it.Next()) {
        walked.push_back(it.CurrentKey());
        EXPECT_EQ(it.CurrentValue(), it.CurrentKey() * 10);
    }
    EXPECT_EQ(walked, (std::vector<int>{-5, 0, 7}));
    it.Last();
    EXPECT_EQ(it.CurrentKey(), 7);

    table.Insert(INT_MIN, 1);
    EXPECT_TRUE(table.IsMember(INT_MIN));
    EXPECT_FALSE(table.IsMember(INT_MAX));
    IIter low(table);
    low.First();
    EXPECT_EQ(low.CurrentKey(), INT_MIN);
    EXPECT_EQ(low.CurrentValue(), 1);
    table.Get(INT_MIN) = 2;  // Get is const and writable
    EXPECT_EQ(table.ConstGet(INT_MIN), 2);
    EXPECT_EQ(table.Size(), 4);

    ITable* copy = table.Copy();
    table.Remove(-5);
    EXPECT_TRUE(copy->IsMember(-5));
    EXPECT_EQ(copy->Size(), 4);
    delete copy;
}

TEST(omi_UintTable, BlockArrayGrowsInStepsOf64AndNeverShrinks) {
    UTable table;
    size_t skeleton = table.Footprint();
    EXPECT_EQ(skeleton, sizeof(UTable) + 2 * 8);

    // Top index 63 grows the array to 64 entries, 64 to 128.
    table.Insert(63u << 20, 1);
    table.Remove(63u << 20);
    EXPECT_EQ(table.Footprint(), sizeof(UTable) + 64 * 8);
    table.Insert(64u << 20, 1);
    table.Remove(64u << 20);
    EXPECT_EQ(table.Footprint(), sizeof(UTable) + 128 * 8);

    // 0xFFFFFFFF: top index 4095, one step to (4095 / 64 + 1) * 64 = 4096 entries.
    table.Insert(0xFFFFFFFFu, 5);
    EXPECT_TRUE(table.IsMember(0xFFFFFFFFu));
    EXPECT_GT(table.Footprint(), sizeof(UTable) + 4096 * 8);
    table.Clear();
    EXPECT_EQ(table.Footprint(), sizeof(UTable) + 4096 * 8);
}

TEST(omi_UintTable, InsertOverwritesAndRemoveDeletesEmptyBlock) {
    UTable table;
    EXPECT_TRUE(table.Insert(5, 1));
    EXPECT_FALSE(table.Insert(5, 2));
    EXPECT_EQ(table.Size(), 1);
    EXPECT_EQ(table.Get(5), 2);
    EXPECT_NE(table.FindTableBlock(5), nullptr);
    EXPECT_TRUE(table.Remove(5));
    EXPECT_EQ(table.FindTableBlock(5), nullptr);
    EXPECT_FALSE(table.Remove(5));
    EXPECT_EQ(table.Size(), 0);
    EXPECT_EQ(table.Footprint(), sizeof(UTable) + 2 * 8);

    // A removed key leaves its cell alone while the block lives.
    table.Insert(10, 100);
    table.Insert(11, 110);
    table.Remove(10);
    EXPECT_FALSE(table.IsMember(10));
    EXPECT_EQ(table.FindTableBlock(10)->ConstGet(10), 100);
}

TEST(omi_UintTable, EmptyTableWalksNothingAndCreatesNothing) {
    UTable table;
    size_t before = mem_Footprint();
    EXPECT_FALSE(table.IsMember(123456789u));
    EXPECT_FALSE(table.IsMember(0xFFFFFFFFu));
    EXPECT_EQ(mem_Footprint(), before);
    UIter it(table);
    it.First();
    EXPECT_TRUE(it.IsDone());
    it.Last();
    EXPECT_TRUE(it.IsDone());
    UIter sorted(table, ByValueDescending);
    sorted.First();
    EXPECT_TRUE(sorted.IsDone());
}

TEST(omi_UintTable, SortedWalk) {
    UTable table;
    std::vector<std::pair<int, uint32_t>> byValue;
    std::mt19937 rng(3);
    for (int i = 0; i < 500; ++i) {
        uint32_t key = rng();
        int value = static_cast<int>(rng() % 100000);
        if (table.Insert(key, value)) byValue.push_back({value, key});
    }
    std::sort(byValue.rbegin(), byValue.rend());
    UIter it(table, ByValueDescending);
    size_t i = 0;
    for (it.First(); !it.IsDone(); it.Next(), ++i) {
        ASSERT_LT(i, byValue.size());
        EXPECT_EQ(it.CurrentValue(), byValue[i].first);
        EXPECT_EQ(table.Get(it.CurrentKey()), it.CurrentValue());
    }
    EXPECT_EQ(i, byValue.size());

    it.First();  // reuses the nodes
    EXPECT_EQ(it.CurrentValue(), byValue.front().first);
    it.Previous();  // stays at the first node, not finished
    EXPECT_FALSE(it.IsDone());
    EXPECT_EQ(it.CurrentValue(), byValue.front().first);
    it.Last();
    EXPECT_EQ(it.CurrentValue(), byValue.back().first);
    it.Next();
    EXPECT_TRUE(it.IsDone());

    // The nodes are built once: a key inserted after the first First is not seen by a later
    // First, and the walk ends after the count taken at construction.
    UTable small;
    small.Insert(10, 1);
    small.Insert(20, 2);
    UIter late(small, ByValueDescending);
    late.First();
    small.Insert(5, 9);
    std::vector<int> seen;
    for (late.First(); !late.IsDone(); late.Next()) seen.push_back(late.CurrentValue());
    EXPECT_EQ(seen, (std::vector<int>{2, 1}));
    // Walk over a sorted walk goes in the comparator's order and stops where told.
    seen.clear();
    late.First();
    late.Walk([&](unsigned, const int& value) {
        seen.push_back(value);
        return value != 1;
    });
    EXPECT_EQ(seen, (std::vector<int>{2, 1}));
    EXPECT_FALSE(late.IsDone());
    EXPECT_EQ(late.CurrentValue(), 1);
}

TEST(omi_UintTable, BulkConstructors) {
    std::vector<unsigned> keys = {5, 1u << 26, 3, 5};
    std::vector<int> values = {1, 2, 3, 4};
    UTable table(keys.size(), keys.data(), values.data());
    EXPECT_EQ(table.Size(), 3);
    EXPECT_EQ(table.Get(5), 4);
    // Presized: 128 block pointers, and the block's page table spans its whole block.
    UTable presized(size_t(1));
    EXPECT_EQ(presized.Footprint(), sizeof(UTable) + 128 * 8);

    std::vector<int> signedKeys = {-3, 0, 9};
    ITable itable(signedKeys.size(), signedKeys.data(), values.data());
    EXPECT_EQ(itable.Size(), 3);
    EXPECT_EQ(itable.Get(-3), 1);
    EXPECT_EQ(itable.Get(9), 3);
}

TEST(omi_IntTable, ComparatorIsAcceptedWithoutNegativesAndNeverCalled) {
    ITable table;
    for (int key : {9, 2, 5}) table.Insert(key, -key);
    g_compareCalls = 0;
    IIter it(table, CountingCompare);
    std::vector<int> walked;
    for (it.First(); !it.IsDone(); it.Next()) walked.push_back(it.CurrentKey());
    EXPECT_EQ(walked, (std::vector<int>{2, 5, 9}));
    EXPECT_EQ(g_compareCalls, 0);
}

// Other elements and allocators share the body; a string table keeps its strings, a pointer
// table its pointers, and each allocator serves the skeleton.
TEST(omi_UintTable, OtherPairs) {
    omi_UintTable<cow_String, ZORBasOmiDefaultAllocator> strings;
    strings.Insert(1u << 21, "mesh");
    strings.Insert(7, cow_String("part"));
    auto* copy = strings.Copy();
    strings.Get(7) = "changed";
    EXPECT_EQ(copy->ConstGet(7), "part");
    omi_UintTableIterator<cow_String, ZORBasOmiDefaultAllocator> sit(*copy);
    sit.First();
    EXPECT_EQ(sit.CurrentValue(), "part");
    sit.Next();
    EXPECT_EQ(sit.CurrentValue(), "mesh");
    delete copy;

    omi_IntTable<int, ZORBasMemSmallBlockAllocator> small;
    small.Insert(-1, 1);
    EXPECT_EQ(small.Get(-1), 1);
    omi_IntTable<double, ZORBasSrmAllocator<61>> doubles;
    doubles.Insert(3, 0.5);
    EXPECT_EQ(doubles.ConstGet(3), 0.5);
    omi_UintTable<void*, ZORBasOmiDefaultAllocator> pointers;
    EXPECT_EQ(pointers.KeyModulus(), 0xFFFFFu);
    omi_UintTable<void*, ZORBasOmiDefaultAllocator> narrow(8, 4, 2);
    EXPECT_EQ(narrow.KeyModulus(), 0xFFFFFFu);
    // The one pair that offers it.
    static_assert(!HasKeyModulus<UTable>);
    static_assert(!HasKeyModulus<omi_UintTable<void*, ZORBasSrmAllocator<0>>>);
    static_assert(HasKeyModulus<omi_UintTable<void*, ZORBasOmiDefaultAllocator>>);
}

TEST(omi_UintTable, ScopedAllocatorSeesTheSkeletonOnly) {
    using Table = omi_UintTable<int, ZORBasSrmAllocator<9>>;
    ZORBasCamPool pool("tables");
    ZORBasSrmAllocator<9>::SetPool(&pool);
    Table* table = new Table;
    EXPECT_EQ(pool.MemoryCurrent(), sizeof(Table) + 2 * sizeof(void*));
    table->Insert(1, 1);
    size_t withBlock = pool.MemoryCurrent();
    EXPECT_EQ(withBlock, sizeof(Table) + 2 * sizeof(void*) + sizeof(Table::Block));
    for (unsigned k = 2; k < 50000; ++k) table->Insert(k, 1);  // pages only
    EXPECT_EQ(pool.MemoryCurrent(), withBlock);
    {
        omi_UintTableIterator<int, ZORBasSrmAllocator<9>> sorted(*table, ByValueDescending);
        sorted.First();
        EXPECT_EQ(pool.MemoryCurrent(), withBlock + 49999 * sizeof(void*));
    }
    delete table;
    EXPECT_EQ(pool.MemoryCurrent(), 0u);
    ZORBasSrmAllocator<9>::Finalize();
}

// Footprint against the bytes the tracked heap really handed out for the table.
TEST(omi_UintTable, FootprintFollowsTrackedHeap) {
    std::mt19937 rng(11);
    size_t before = mem_Footprint();
    UTable* table = new UTable;
    std::vector<uint32_t> keys = ClusteredKeys(rng, 20, 5000);
    for (uint32_t k : keys) table->Insert(k, 1);
    size_t held = mem_Footprint() - before;
    size_t claimed = table->Footprint();
    // The footprint rounds each bit vector up and counts object sizes as laid out; it stays
    // within 64 bytes per block of what was allocated.
    int blocks = 0;
    for (unsigned top = 0; top < 4096; ++top) blocks += table->FindTableBlock(top << 20) != nullptr;
    EXPECT_LE(held > claimed ? held - claimed : claimed - held, size_t(blocks) * 64 + 64)
        << held << " vs " << claimed;
    delete table;
    EXPECT_EQ(mem_Footprint(), before);
}

TEST(omi_UintTableDeathTest, IteratorUsedBeforePositioning) {
    UTable table;
    table.Insert(1, 1);
    EXPECT_DEATH(
        {
            UIter it(table);
            (void)it.IsDone();
        },
        "Assertion failed: currentIndex != -2, file ZORBase/ProtectedInterfaces/omi_UintTable, "
        "line [0-9]+");
    EXPECT_DEATH(
        {
            UIter it(table);
            it.Next();
        },
        "Assertion failed: currentIndex != -2");
    EXPECT_DEATH(
        {
            UIter it(table);
            (void)it.CurrentKey();
        },
        "Assertion failed: currentIndex > -2, file ZORBase/ProtectedInterfaces/omi_UintTable");
    EXPECT_DEATH(
        {
            UIter it(table);
            (void)it.CurrentValue();
        },
        "Assertion failed: currentIndex > -2");
}

TEST(omi_IntTableDeathTest, ComparatorWithNegativeKeys) {
    ITable table;
    table.Insert(-1, 1);
    EXPECT_DEATH(IIter(table, CountingCompare),
                 "Assertion failed: totalNegative == 0 \\|\\| \"Special sort integer table "
                 "iterator unimplemented\" == 0, file ZORBase/ProtectedInterfaces/omi_IntTable");
}

// Footprint is the table's one virtual operation: a caller may derive to count what it adds.
namespace {
struct AnnotatedTable : UTable {
    size_t Footprint() const override { return UTable::Footprint() + sizeof notes; }
    char notes[100] = {};
};

TEST(omi_UintTable, ADerivedTableOverridesFootprint) {
    AnnotatedTable table;
    table.Insert(7, 70);
    const UTable& base = table;
    UTable plain;
    plain.Insert(7, 70);
    EXPECT_EQ(base.Footprint(), plain.Footprint() + 100);
    EXPECT_EQ(base.ConstGet(7), 70);
}
}  // namespace

#include "zorbas/cow/cow_Btree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "zorbas/cow/cow_Tracked_test.h"

namespace {

using Pairs = std::vector<std::pair<int, int>>;

template <class K, class V>
std::vector<std::pair<K, V>> Walk(const cow_Btree<K, V>& tree) {
    std::vector<std::pair<K, V>> out;
    cow_BtreeIterator<K, V> it(tree);
    for (it.First(); !it.IsDone(); it.Next()) out.emplace_back(it.CurrentKey(), it.CurrentValue());
    return out;
}

std::vector<std::pair<int, int>> WalkTracked(const cow_Btree<int, Tracked>& tree) {
    std::vector<std::pair<int, int>> out;
    cow_BtreeIterator<int, Tracked> it(tree);
    for (it.First(); !it.IsDone(); it.Next())
        out.emplace_back(it.CurrentKey(), it.CurrentValue().value);
    return out;
}

template <class K, class V>
void CollectNodes(const cow_BtreeNode<K, V>* n, std::set<const void*>& out) {
    if (!n) return;
    out.insert(n);
    CollectNodes(n->LeftNode(), out);
    CollectNodes(n->RightNode(), out);
}

using CowBtreeTest = TrackedLeakTest;

TEST_F(CowBtreeTest, AMissingChildCountsAsALeafSoShortChainsStay) {
    cow_Btree<int, int> t;
    for (int k : {1, 2, 3}) EXPECT_TRUE(t.InsertUnlessMember(k, k * 10));
    const auto* root = t.RootNode();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->Key(), 1);
    EXPECT_EQ(root->LeftNode(), nullptr);
    ASSERT_NE(root->RightNode(), nullptr);
    EXPECT_EQ(root->RightNode()->Key(), 2);
    EXPECT_EQ(root->RightNode()->RightNode()->Key(), 3);
    EXPECT_EQ(root->MaxDepth(), 2);

    t.InsertUnlessMember(4, 40);  // now the root's right is two deeper: a left rotation
    root = t.RootNode();
    EXPECT_EQ(root->Key(), 2);
    EXPECT_EQ(root->LeftNode()->Key(), 1);
    EXPECT_EQ(root->RightNode()->Key(), 3);
    EXPECT_EQ(root->RightNode()->RightNode()->Key(), 4);
}

TEST_F(CowBtreeTest, AZigZagIsNotRotated) {
    cow_Btree<int, int> t;
    for (int k : {3, 1, 2}) t.InsertUnlessMember(k, k);
    const auto* root = t.RootNode();
    EXPECT_EQ(root->Key(), 3);
    EXPECT_EQ(root->LeftNode()->Key(), 1);
    EXPECT_EQ(root->LeftNode()->RightNode()->Key(), 2);
    EXPECT_EQ(root->RightNode(), nullptr);
}

TEST_F(CowBtreeTest, AnExistingKeyKeepsItsValueButItsPathIsUnshared) {
    cow_Btree<int, int> t;
    for (int k : {5, 3, 8}) t.InsertUnlessMember(k, k);
    cow_Btree<int, int> copy(t);
    EXPECT_EQ(copy.RootNode(), t.RootNode());
    EXPECT_FALSE(copy.InsertUnlessMember(3, 99));
    EXPECT_EQ(copy.Count(), 3);
    EXPECT_EQ(copy.ConstGet(3), 3);
    EXPECT_NE(copy.RootNode(), t.RootNode()) << "the path was copied all the same";
    EXPECT_NE(copy.RootNode()->LeftNode(), t.RootNode()->LeftNode());
    EXPECT_EQ(copy.RootNode()->RightNode(), t.RootNode()->RightNode());
}

TEST_F(CowBtreeTest, RemoveFromEmptyAndOfTheLastNode) {
    cow_Btree<int, cow_String> t;
    EXPECT_FALSE(t.Remove(1));
    t.InsertUnlessMember(1, "one");
    EXPECT_FALSE(t.Remove(2));
    EXPECT_EQ(t.Count(), 1);
    EXPECT_TRUE(t.Remove(1));
    EXPECT_EQ(t.RootNode(), nullptr);
    EXPECT_EQ(t.Count(), 0);
    EXPECT_TRUE(t.ConstGet(1).Empty()) << "an absent key reads the null value";
    EXPECT_TRUE(t.InsertUnlessMember(2, "two"));
    EXPECT_EQ(t.ConstGet(2), "two");
}

TEST_F(CowBtreeTest, ACopySharesTheRootAndAnInsertCopiesOnlyItsPath) {
    cow_Btree<int, Tracked> t;
    std::mt19937 rng(3);
    for (int i = 0; i < 1000; ++i)
        t.InsertUnlessMember(static_cast<int>(rng() % 100000), Tracked(i));
    std::vector<std::pair<int, int>> before = WalkTracked(t);

    long copiedBefore = Tracked::copied;
    cow_Btree<int, Tracked> copy(t);
    EXPECT_EQ(copy.RootNode(), t.RootNode());
    EXPECT_EQ(Tracked::copied, copiedBefore + 1) << "a copy copies its null value, no node";
    copiedBefore = Tracked::copied;

    copy.InsertUnlessMember(100001, Tracked(-1));
    std::set<const void*> a, b;
    CollectNodes(t.RootNode(), a);
    CollectNodes(copy.RootNode(), b);
    int fresh = 0;
    for (const void* n : b) fresh += a.count(n) == 0;
    int depth = t.RootNode()->MaxDepth();
    EXPECT_GE(fresh, 2);
    EXPECT_LE(fresh, depth + 2) << "only the nodes on the insert's path are new";
    // Each new node holds one value: the copied path's values, and the inserted one.
    EXPECT_LE(Tracked::copied - copiedBefore, fresh + 1);
    EXPECT_EQ(WalkTracked(t), before);
    EXPECT_EQ(copy.Count(), t.Count() + 1);
}

TEST_F(CowBtreeTest, FindUnsharesThePathAndConstFindDoesNot) {
    cow_Btree<int, int> t;
    for (int k = 0; k < 50; ++k) t.InsertUnlessMember(k, k);
    cow_Btree<int, int> copy = t;
    EXPECT_EQ(copy.ConstGet(10), 10);
    EXPECT_TRUE(copy.IsMember(20));
    EXPECT_FALSE(copy.IsMember(500));
    EXPECT_EQ(copy.RootNode(), t.RootNode());
    copy.Get(500);  // absent: the null value, and still a write along the search path
    EXPECT_NE(copy.RootNode(), t.RootNode());
    copy.Get(10) = -10;
    EXPECT_EQ(t.ConstGet(10), 10);
    EXPECT_EQ(copy.ConstGet(10), -10);
}

TEST_F(CowBtreeTest, TheIteratorWalksBothWays) {
    cow_Btree<int, int> t;
    std::mt19937 rng(11);
    std::map<int, int> model;
    for (int i = 0; i < 500; ++i) {
        int k = static_cast<int>(rng() % 2000);
        t.InsertUnlessMember(k, i);
        model.emplace(k, i);
    }
    EXPECT_EQ(Walk(t), Pairs(model.begin(), model.end()));

    std::vector<int> backward;
    cow_BtreeIterator<int, int> it(t);
    for (it.Last(); !it.IsDone(); it.Previous()) backward.push_back(it.CurrentKey());
    std::vector<int> expect;
    for (auto r = model.rbegin(); r != model.rend(); ++r) expect.push_back(r->first);
    EXPECT_EQ(backward, expect);

    cow_Btree<int, int> empty;
    cow_BtreeIterator<int, int> none(empty);
    none.First();
    EXPECT_TRUE(none.IsDone());
}

TEST_F(CowBtreeTest, StringKeysFollowTheNaturalOrderSetting) {
    int saved = atr_getNaturalOrder();
    for (int natural : {0, 1}) {
        atr_setNaturalOrder(natural);
        cow_Btree<cow_String, int> t;
        for (const char* k : {"item10", "item9", "item100", "item1"}) t.InsertUnlessMember(k, 1);
        std::vector<cow_String> keys;
        for (auto& kv : Walk(t)) keys.push_back(kv.first);
        if (natural)
            EXPECT_EQ(keys, (std::vector<cow_String>{"item1", "item9", "item10", "item100"}));
        else
            EXPECT_EQ(keys, (std::vector<cow_String>{"item1", "item10", "item100", "item9"}));
        EXPECT_TRUE(t.IsMember("item9"));
    }
    atr_setNaturalOrder(saved);

    cow_Btree<atr_String, cow_List<int>> lists;
    lists.InsertUnlessMember("b", cow_List<int>(1, 2));
    lists.InsertUnlessMember("a", cow_List<int>(3));
    EXPECT_EQ(lists.ConstGet("b").Length(), 2);
    EXPECT_TRUE(lists.ConstGet("zz").IsEmpty());
}

// Random inserts and removes against std::map, with copies taken at random points that must keep
// their contents. Keys come from a small range so that removals hit inner nodes and the root.
TEST_F(CowBtreeTest, DifferentialAgainstStdMap) {
    for (int seed = 1; seed <= 8; ++seed) {
        std::mt19937 rng(seed);
        cow_Btree<int, Tracked> tree;
        std::map<int, int> model;
        std::vector<std::pair<cow_Btree<int, Tracked>, Pairs>> snapshots;
        int range = seed % 2 ? 300 : 5000;
        for (int step = 0; step < 5000; ++step) {
            int op = static_cast<int>(rng() % 100);
            int k = static_cast<int>(rng() % range);
            if (op < 50) {
                bool added = tree.InsertUnlessMember(k, Tracked(step));
                EXPECT_EQ(added, model.emplace(k, step).second);
            } else if (op < 90) {
                EXPECT_EQ(tree.Remove(k), model.erase(k) == 1) << "seed " << seed << " key " << k;
            } else if (op < 95) {
                auto found = model.find(k);
                if (found != model.end()) {
                    tree.Get(k).value = -step;
                    found->second = -step;
                }
                EXPECT_EQ(tree.IsMember(k), found != model.end());
            } else if (op < 99) {
                snapshots.emplace_back(tree, Pairs(model.begin(), model.end()));
                if (snapshots.size() > 6) snapshots.erase(snapshots.begin());
            } else {
                cow_Btree<int, Tracked> other(tree);
                tree = other;
            }
            ASSERT_EQ(tree.Count(), static_cast<int>(model.size()));
            if (step % 100 == 0) {
                ASSERT_EQ(WalkTracked(tree), Pairs(model.begin(), model.end()))
                    << "seed " << seed << " step " << step;
            }
        }
        EXPECT_EQ(WalkTracked(tree), Pairs(model.begin(), model.end()));
        for (auto& [copy, contents] : snapshots) EXPECT_EQ(WalkTracked(copy), contents);
        for (auto& [key, value] : model) EXPECT_EQ(tree.ConstGet(key).value, value);
    }
}

TEST_F(CowBtreeTest, TreesAreListElements) {
    cow_Btree<int, int> t;
    t.InsertUnlessMember(1, 2);
    cow_List<cow_Btree<int, int>> list(t, t);
    list.Get(1).InsertUnlessMember(3, 4);
    EXPECT_EQ(list.ConstGet(0).Count(), 1);
    EXPECT_EQ(list.ConstGet(1).Count(), 2);
    EXPECT_EQ(t.Count(), 1);
    EXPECT_EQ(list.FindMember(t), 0);
}

// Trees order as std::map orders its contents: entry by entry, key then value, a prefix first.
TEST_F(CowBtreeTest, AListOfTreesSortsByTheTreesEntries) {
    auto tree = [](Pairs entries) {
        cow_Btree<int, int> t;
        for (auto [k, v] : entries) t.InsertUnlessMember(k, v);
        return t;
    };
    EXPECT_LT(tree({}), tree({{1, 1}}));
    EXPECT_LT(tree({{1, 1}}), tree({{1, 2}}));
    EXPECT_LT(tree({{1, 9}}), tree({{2, 0}}));
    EXPECT_LT(tree({{1, 1}, {2, 2}}), tree({{1, 1}, {3, 0}}));
    EXPECT_LT(tree({{1, 1}, {0, 5}}), tree({{1, 1}})) << "the first entries differ: 0 before 1";
    EXPECT_FALSE(tree({{2, 2}, {1, 1}}) < tree({{1, 1}, {2, 2}}));  // equal: neither smaller

    std::mt19937 rng(11);
    std::vector<std::map<int, int>> twins;
    cow_List<cow_Btree<int, int>> list;
    for (int i = 0; i < 300; ++i) {
        std::map<int, int> m;
        int n = static_cast<int>(rng() % 4);
        for (int e = 0; e < n; ++e)
            m.emplace(static_cast<int>(rng() % 4), static_cast<int>(rng() % 3));
        twins.push_back(m);
        list.Append(tree(Pairs(m.begin(), m.end())));
    }
    cow_List<cow_Btree<int, int>> unsorted(list);
    list.Sort();
    std::sort(twins.begin(), twins.end());
    ASSERT_EQ(list.Length(), 300);
    for (int i = 0; i < 300; ++i)
        ASSERT_EQ(Walk(list.ConstGet(i)), Pairs(twins[i].begin(), twins[i].end())) << i;
    EXPECT_FALSE(unsorted.IsEqual(list)) << "the copy taken before keeps its order";
}

}  // namespace

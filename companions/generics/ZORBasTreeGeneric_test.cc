#include "companions/generics/ZORBasTreeGeneric.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <new>
#include <random>
#include <string>
#include <utility>

namespace {

// The node a typed map over <int, std::string> would use, and its replicator. Live keys and
// values are counted, so a leak or a double destruction shows.
struct Node {
    ZORBasTreeNodeGeneric header;
    int key;
    std::string value;
};
using Pair = std::pair<int, std::string>;
int g_live = 0;

const ZORBasNodeOffsets kOffsets{sizeof(Node), offsetof(Node, key), offsetof(Node, value)};
const ZORBasReplicatorGeneric kReplicator{
    [](void* key, void* value, const void* source) {
        auto* p = static_cast<const Pair*>(source);
        new (key) int(p->first);
        new (value) std::string(p->second);
        ++g_live;
    },
    [](void*, void* value) {
        static_cast<std::string*>(value)->~basic_string();
        --g_live;
    },
    [](const void* source) -> const void* { return &static_cast<const Pair*>(source)->first; }};

// Ordered by key modulo a context value first, to check the context reaches the comparison.
bool LessMod(const void* a, const void* b, const void* context) {
    int m = *static_cast<const int*>(context);
    int x = *static_cast<const int*>(a), y = *static_cast<const int*>(b);
    return std::make_pair(x % m, x) < std::make_pair(y % m, y);
}

struct ModLess {
    int m;
    bool operator()(int x, int y) const {
        return std::make_pair(x % m, x) < std::make_pair(y % m, y);
    }
};

using Tree = ZORBasTreeGeneric<ZORBasNodeAllocator>;

int KeyOf(const Tree& t, ZORBasTreeNodeGeneric* n) { return *static_cast<int*>(t.Key(n)); }
std::string& ValueOf(const Tree& t, ZORBasTreeNodeGeneric* n) {
    return *static_cast<std::string*>(t.Value(n));
}

}  // namespace

TEST(TreeGeneric, RandomOperationsMatchStdMap) {
    static const int kMod = 7;
    bool (*less)(const void*, const void*, const void*) = LessMod;
    std::mt19937 rng(12345);
    {
        Tree tree(kOffsets, kReplicator, less, &kMod);
        std::map<int, std::string, ModLess> model(ModLess{kMod});
        for (int step = 0; step < 20000; ++step) {
            int key = static_cast<int>(rng() % 2000);
            Pair pair(key, "v" + std::to_string(step));
            switch (rng() % 6) {
                case 0:
                case 1: {
                    auto r = tree.InsertUnique(&pair);
                    auto m = model.insert(pair);
                    ASSERT_EQ(r.inserted, m.second);
                    ASSERT_EQ(ValueOf(tree, r.node), m.first->second);
                    break;
                }
                case 2: {  // a right hint (the model's position), or a random wrong one
                    auto pos = model.lower_bound(key);
                    ZORBasTreeNodeGeneric* hint =
                        pos == model.end() ? tree.End() : tree.Find(&pos->first);
                    if (rng() % 4 == 0)
                        hint =
                            tree.LowerBound(&pair.first) == tree.End() ? tree.Begin() : tree.End();
                    auto r = tree.InsertUniqueAtPosition(hint, &pair);
                    auto m = model.insert(pair);
                    ASSERT_EQ(r.inserted, m.second);
                    ASSERT_EQ(KeyOf(tree, r.node), key);
                    break;
                }
                case 3: {
                    ZORBasTreeNodeGeneric* n = tree.Find(&key);
                    auto m = model.find(key);
                    ASSERT_EQ(n == tree.End(), m == model.end());
                    if (n != tree.End()) {
                        ZORBasTreeNodeGeneric* next = tree.Erase(n);
                        auto mnext = model.erase(m);
                        ASSERT_EQ(next == tree.End(), mnext == model.end());
                        if (next != tree.End()) {
                            ASSERT_EQ(KeyOf(tree, next), mnext->first);
                        }
                    }
                    break;
                }
                default: {
                    ZORBasTreeNodeGeneric* n = tree.LowerBound(&key);
                    auto m = model.lower_bound(key);
                    ASSERT_EQ(n == tree.End(), m == model.end());
                    if (n != tree.End()) {
                        ASSERT_EQ(KeyOf(tree, n), m->first);
                    }
                }
            }
            ASSERT_EQ(tree.Size(), model.size());
            ASSERT_EQ(g_live, static_cast<int>(model.size()));
            if (step % 1000 == 0) {
                ASSERT_TRUE(tree.Validate());
            }
        }
        ASSERT_TRUE(tree.Validate());
        auto m = model.begin();
        for (auto* n = tree.Begin(); n != tree.End(); n = tree.Next(n), ++m)
            ASSERT_EQ(KeyOf(tree, n), m->first);
        auto rm = model.rbegin();
        for (auto* n = tree.Prev(tree.End()); rm != model.rend(); n = tree.Prev(n), ++rm)
            ASSERT_EQ(KeyOf(tree, n), rm->first);
        tree.Clear();
        EXPECT_EQ(g_live, 0);
        EXPECT_EQ(tree.Begin(), tree.End());
        for (int k = 0; k < 100; ++k) {
            Pair p(k, "x");
            tree.InsertUnique(&p);
        }
    }
    EXPECT_EQ(g_live, 0);  // the destructor ended the rest
}

TEST(TreeGeneric, AscendingHintedInsertsStayBalancedEnough) {
    static const int kMod = 1 << 30;
    bool (*less)(const void*, const void*, const void*) = LessMod;
    Tree tree(kOffsets, kReplicator, less, &kMod);
    for (int k = 0; k < 100000; ++k) {
        Pair p(k, "");
        ASSERT_TRUE(tree.InsertUniqueAtPosition(tree.End(), &p).inserted);
    }
    ASSERT_TRUE(tree.Validate());
    int probe = 99999;
    EXPECT_EQ(KeyOf(tree, tree.Find(&probe)), probe);
    int absent = 100000;
    EXPECT_EQ(tree.Find(&absent), tree.End());
    EXPECT_EQ(tree.LowerBound(&absent), tree.End());
    tree.Clear();
    EXPECT_EQ(g_live, 0);
}

#include "zorbas/cow/cow_List.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <deque>
#include <random>
#include <vector>

#include "zorbas/cow/cow_Tracked_test.h"

namespace {

template <class T>
std::vector<T> Contents(const cow_List<T>& list) {
    std::vector<T> out;
    for (cow_ListIter<T> it(list); it.NotDone(); it.Next()) out.push_back(it.CurrentItem());
    return out;
}

std::vector<int> Values(const cow_List<Tracked>& list) {
    std::vector<int> out;
    for (int i = 0; i < list.Length(); ++i) out.push_back(list.ConstGet(i).value);
    return out;
}

std::vector<Tracked> Range(int n) {
    std::vector<Tracked> v;
    v.reserve(n);
    for (int i = 0; i < n; ++i) v.emplace_back(i);
    return v;
}

using CowListTest = TrackedLeakTest;

TEST_F(CowListTest, PresizeTakesTheBlockSizeFromTheFloatExponent) {
    std::vector<int> data(1000, 7);
    cow_List<int> l255(data.data(), 255, 0);
    EXPECT_EQ(l255.BlockShift(), 4);
    EXPECT_EQ(l255.BlockLimit(), 16);

    cow_List<int> l256(data.data(), 256, 0);
    EXPECT_EQ(l256.BlockShift(), 5);  // 8 blocks of 32, and 16 free slots
    EXPECT_EQ(l256.BlockLimit(), 24);
    EXPECT_EQ(l256.Length(), 256);

    cow_List<int> l1000(data.data(), 1000, 0);
    EXPECT_EQ(l1000.BlockShift(), 6);  // 16 blocks of 64
    EXPECT_EQ(l1000.BlockLimit(), 32);

    cow_List<int> reserved(cow_ListPreSize, 1000);
    EXPECT_EQ(reserved.Length(), 0);
    EXPECT_EQ(reserved.BlockShift(), 6);
    EXPECT_EQ(reserved.BlockLimit(), 32);
    for (int i = 0; i < 2000; ++i) reserved.Append(i);  // grows by blocks, size stays fixed
    EXPECT_EQ(reserved.BlockShift(), 6);
    EXPECT_EQ(reserved.ConstGet(1999), 1999);
}

// Resize fits the directory to the elements in steps of 16 slots, growing and shrinking at once;
// only the array constructor keeps the free slots of its presize.
TEST_F(CowListTest, TheDirectoryFollowsResizeBothWays) {
    cow_List<int> presized(cow_ListPreSize, 1000);
    ASSERT_EQ(presized.BlockLimit(), 32);
    presized.Append(1);
    EXPECT_EQ(presized.BlockLimit(), 16);  // one block of 64 in use
    EXPECT_EQ(presized.BlockShift(), 6);
    for (int i = 2; i <= 16 * 64 + 1; ++i) presized.Append(i);
    EXPECT_EQ(presized.BlockLimit(), 32);
    presized.Resize(64);
    EXPECT_EQ(presized.BlockLimit(), 16);
    EXPECT_EQ(presized.Last(), 64);

    // Making room for fewer slots than the directory has shrinks it too, elements untouched.
    std::vector<int> data(1000);
    for (int i = 0; i < 1000; ++i) data[i] = i;
    cow_List<int> l256(data.data(), 256, 0);
    ASSERT_EQ(l256.BlockLimit(), 24);
    cow_List<int> shared(l256);
    l256.Resize(257);
    EXPECT_EQ(l256.BlockLimit(), 16);
    EXPECT_EQ(l256.Length(), 256);
    EXPECT_EQ(Contents(l256), Contents(shared));
    EXPECT_EQ(shared.BlockLimit(), 24) << "the copy keeps its directory";

    // SetFromArray goes through Resize; the constructor does not.
    cow_List<int> reset(data.data(), 1000, 0);
    ASSERT_EQ(reset.BlockLimit(), 32);
    reset.SetFromArray(data.data(), 1000);
    EXPECT_EQ(reset.BlockLimit(), 16);
    EXPECT_EQ(Contents(reset), data);
    cow_List<int> reserving(data.data(), 10, 1000);
    EXPECT_EQ(reserving.BlockLimit(), 32);
    EXPECT_EQ(reserving.Length(), 10);
    EXPECT_EQ(reserving.Last(), 9);
}

TEST_F(CowListTest, ResizeToZeroResetsTheLayout) {
    cow_List<int> big(cow_ListPreSize, 1000000);
    EXPECT_EQ(big.BlockShift(), 16);
    for (int i = 0; i < 100; ++i) big.Prepend(i);
    EXPECT_GT(big.Offset(), 0);
    big.Resize(0);
    EXPECT_EQ(big.BlockShift(), 4);
    EXPECT_EQ(big.Offset(), 0);
    EXPECT_EQ(big.BlockLimit(), 0);
    EXPECT_TRUE(big.IsEmpty());
    big.Append(5);
    EXPECT_EQ(big.BlockLimit(), 16);
    EXPECT_EQ(big.ConstGet(0), 5);
}

TEST_F(CowListTest, PrependToAFullDirectoryAddsSixteenSlotsAndMovesBlocksUp) {
    cow_List<int> l;
    for (int i = 0; i < 256; ++i) l.Append(i);
    ASSERT_EQ(l.BlockLimit(), 16);
    ASSERT_EQ(l.Offset(), 0);
    l.Prepend(-1);
    EXPECT_EQ(l.BlockLimit(), 32);
    EXPECT_EQ(l.Offset(), 16 * 16 - 1);
    EXPECT_EQ(l.Length(), 257);
    EXPECT_EQ(l.ConstGet(0), -1);
    EXPECT_EQ(l.ConstGet(1), 0);
    EXPECT_EQ(l.Last(), 255);
}

TEST_F(CowListTest, GrowingTheFrontOfASharedDirectoryMovesOnlyTheCopy) {
    cow_List<int> a;
    for (int i = 0; i < 256; ++i) a.Append(i);
    cow_List<int> b(a);
    b.Prepend(-1);
    EXPECT_EQ(a.BlockLimit(), 16);
    EXPECT_EQ(a.Offset(), 0);
    EXPECT_EQ(Contents(a), Contents(b.Slice(1, 257)));
    EXPECT_EQ(b.ConstGet(0), -1);
    EXPECT_EQ(&a.ConstGet(0), &b.ConstGet(1)) << "the blocks moved up are still shared";

    // Prepends from empty: every growth adds 16 slots and puts them all in front.
    cow_List<int> c;
    for (int i = 0; i < 3000; ++i) {
        int limitBefore = c.BlockLimit();
        bool full = c.Offset() == 0 && c.Length() == limitBefore * 16;
        c.Prepend(i);
        ASSERT_EQ(c.BlockLimit(), full ? limitBefore + 16 : limitBefore) << i;
    }
    for (int i = 0; i < 3000; ++i) ASSERT_EQ(c.ConstGet(i), 2999 - i);
}

TEST_F(CowListTest, ACopySharesTheDirectoryAndAWriteCopiesOneBlock) {
    std::vector<Tracked> data = Range(1000);
    {
        cow_List<Tracked> a(data.data(), 1000, 0);  // 16 blocks of 64
        ASSERT_EQ(a.BlockShift(), 6);
        long copiedBefore = Tracked::copied;
        auto copies = [&] { return Tracked::copied - copiedBefore; };
        cow_List<Tracked> b(a);
        EXPECT_EQ(copies(), 0);
        EXPECT_EQ(a.DirectoryReferences(), 2);

        b.Get(500).value = -1;
        EXPECT_EQ(copies(), 64) << "exactly the written element's block is copied";
        EXPECT_EQ(a.DirectoryReferences(), 1);
        EXPECT_EQ(b.DirectoryReferences(), 1);
        EXPECT_EQ(a.ConstGet(500).value, 500);
        EXPECT_EQ(b.ConstGet(500).value, -1);
        EXPECT_NE(&a.ConstGet(500), &b.ConstGet(500));
        EXPECT_EQ(&a.ConstGet(0), &b.ConstGet(0)) << "other blocks stay shared";
        EXPECT_EQ(&a.ConstGet(999), &b.ConstGet(999));

        b.Get(501).value = -2;  // same block, now exclusive: no copy
        EXPECT_EQ(copies(), 64);
        a.Get(0).value = -3;  // the block at 0 is still shared with b
        EXPECT_EQ(copies(), 128);
        EXPECT_EQ(b.ConstGet(0).value, 0);
    }
}

TEST_F(CowListTest, RemovingTheOnlyElementTakesTheHeadPath) {
    cow_List<Tracked> l(Tracked(3));
    l.RemoveIndex(0);
    EXPECT_TRUE(l.IsEmpty());
    EXPECT_EQ(l.Offset(), 1);
    l.Append(Tracked(4));
    EXPECT_EQ(l.Offset(), 1);
    EXPECT_EQ(l.ConstGet(0).value, 4);
    l.RemoveLast();
    l.Resize(0);
    EXPECT_EQ(l.Offset(), 0);
}

TEST_F(CowListTest, InsertAndRemoveMoveTheShorterSide) {
    cow_List<int> l;
    for (int i = 0; i < 100; ++i) l.Append(i);
    l.InsertIndex(10, -10);  // head side: room is made in front
    EXPECT_GT(l.Offset(), 0);
    int offsetAfterHead = l.Offset();
    l.InsertIndex(90, -90);  // tail side: the front stays
    EXPECT_EQ(l.Offset(), offsetAfterHead);
    l.RemoveIndex(2);  // head side
    EXPECT_EQ(l.Offset(), offsetAfterHead + 1);
    l.RemoveIndex(l.Length() - 3);  // tail side
    EXPECT_EQ(l.Offset(), offsetAfterHead + 1);

    std::vector<int> expect;
    for (int i = 0; i < 100; ++i) expect.push_back(i);
    expect.insert(expect.begin() + 10, -10);
    expect.insert(expect.begin() + 90, -90);
    expect.erase(expect.begin() + 2);
    expect.erase(expect.end() - 3);
    EXPECT_EQ(Contents(l), expect);
}

TEST_F(CowListTest, SliceClipsItsRange) {
    cow_List<int> l(1, 2, 3, 4, 5);
    EXPECT_EQ(Contents(l.Slice(-3, 1000)), (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_EQ(Contents(l.Slice(1, 3)), (std::vector<int>{2, 3}));
    EXPECT_TRUE(l.Slice(4, 2).IsEmpty());
    EXPECT_TRUE(l.Slice(7, 9).IsEmpty());
}

TEST_F(CowListTest, MembershipAndSetOperations) {
    cow_List<cow_String> l("b", "a", "c", "a");
    EXPECT_EQ(l.FindMember("a"), 1);
    EXPECT_EQ(l.FindMember("z"), -1);
    l.AppendUnlessMember("c").AppendUnlessMember("d");
    EXPECT_EQ(l.Length(), 5);
    l.RemoveMember("a");
    EXPECT_EQ(Contents(l), (std::vector<cow_String>{"b", "c", "a", "d"}));
    l.RemoveMember("zz");
    EXPECT_EQ(l.Length(), 4);

    cow_List<cow_String> other("a", "d");
    EXPECT_EQ(Contents(l.Difference(other)), (std::vector<cow_String>{"b", "c"}));
    EXPECT_TRUE(l.IsEqual(cow_List<cow_String>(l)));
    EXPECT_FALSE(l.IsEqual(other));
    EXPECT_TRUE(l == cow_List<cow_String>("b", "c", "a", "d"));

    l.Concatenate(l);  // reads the contents from before the call
    EXPECT_EQ(l.Length(), 8);
    EXPECT_EQ(l.ConstGet(7), "d");

    EXPECT_EQ(l.Pop(), "d");
    EXPECT_EQ(l.Length(), 7);
    l.Fill(9, "x");
    l.Fill(3, "y");  // not above the length: nothing
    EXPECT_EQ(l.Length(), 9);
    EXPECT_EQ(l.Last(), "x");
}

TEST_F(CowListTest, SortIsAscendingAndFollowsNaturalOrderForStrings) {
    std::mt19937 rng(7);
    std::vector<int> data(5000);
    for (int& x : data) x = static_cast<int>(rng() % 1000) - 500;
    cow_List<int> l(data.data(), 5000, 0);
    cow_List<int> before(l);
    l.Sort();
    std::sort(data.begin(), data.end());
    EXPECT_EQ(Contents(l), data);
    EXPECT_FALSE(before.IsEqual(l)) << "the copy taken before keeps its order";

    int saved = atr_getNaturalOrder();
    cow_List<cow_String> s("x10", "x9", "x100", "x1");
    atr_setNaturalOrder(0);
    EXPECT_EQ(Contents(cow_List<cow_String>(s).Sort()),
              (std::vector<cow_String>{"x1", "x10", "x100", "x9"}));
    atr_setNaturalOrder(1);
    EXPECT_EQ(Contents(cow_List<cow_String>(s).Sort()),
              (std::vector<cow_String>{"x1", "x9", "x10", "x100"}));
    atr_setNaturalOrder(saved);

    cow_List<Tracked> t(Tracked(3), Tracked(1), Tracked(2));
    t.Sort();
    EXPECT_EQ(Values(t), (std::vector<int>{1, 2, 3}));
}

TEST_F(CowListTest, AnIteratorKeepsTheListItWasMadeFrom) {
    cow_List<int> l(1, 2, 3);
    cow_ListIter<int> it(l);
    l.Get(0) = 10;
    l.Append(4);
    l.RemoveIndex(1);
    std::vector<int> seen;
    for (; it.NotDone(); it.Next()) seen.push_back(it.CurrentItem());
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 3}));
    it.First();
    EXPECT_EQ(it.ArrayIndex(), 0);
    EXPECT_EQ(it.CurrentItem(), 1);
}

TEST_F(CowListTest, GetCArrayAndSetFromArrayRoundTrip) {
    cow_List<cow_String> l("p", "q", "r");
    int n = 0;
    cow_String* array = l.GetCArray(n);
    ASSERT_EQ(n, 3);
    EXPECT_EQ(array[2], "r");
    cow_List<cow_String> m("z");
    m.SetFromArray(array, n);
    EXPECT_TRUE(m == l);
    m.SetFromArray(array, 1);
    EXPECT_EQ(m.Length(), 1);
    for (int i = 0; i < n; ++i) array[i].~cow_String();
    mem_Free(array);
}

TEST_F(CowListTest, NestedListsShareTheirInnerLists) {
    cow_List<cow_List<int>> outer;
    cow_List<int> inner(1, 2);
    outer.Append(inner).Append(inner);
    EXPECT_EQ(inner.DirectoryReferences(), 3);
    outer.Get(1).Append(3);
    EXPECT_EQ(inner.Length(), 2);
    EXPECT_EQ(outer.ConstGet(1).Length(), 3);
    EXPECT_EQ(outer.ConstGet(0).Length(), 2);
    EXPECT_EQ(outer.FindMember(cow_List<int>(1, 2, 3)), 1);
}

// Random operations against std::deque, with copies taken at random points that must keep the
// contents they had. Small and presized lists, so that both block sizes and both moving sides of
// insert and remove are exercised.
TEST_F(CowListTest, DifferentialAgainstDeque) {
    for (int seed = 1; seed <= 6; ++seed) {
        std::mt19937 rng(seed);
        cow_List<Tracked> list =
            seed % 2 ? cow_List<Tracked>() : cow_List<Tracked>(cow_ListPreSize, 700);
        std::deque<int> model;
        std::vector<std::pair<cow_List<Tracked>, std::vector<int>>> snapshots;
        int next = 0;
        for (int step = 0; step < 4000; ++step) {
            int n = static_cast<int>(model.size());
            int op = static_cast<int>(rng() % 100);
            if (op < 20) {
                list.Append(Tracked(next));
                model.push_back(next++);
            } else if (op < 40) {
                list.Prepend(Tracked(next));
                model.push_front(next++);
            } else if (op < 55) {
                int i = static_cast<int>(rng() % (n + 1));
                list.InsertIndex(i, Tracked(next));
                model.insert(model.begin() + i, next++);
            } else if (op < 75 && n > 0) {
                int i = static_cast<int>(rng() % n);
                list.RemoveIndex(i);
                model.erase(model.begin() + i);
            } else if (op < 85 && n > 0) {
                int i = static_cast<int>(rng() % n);
                list.Get(i).value = next;
                model[i] = next++;
            } else if (op < 88) {
                int sz = n ? static_cast<int>(rng() % n) : 0;
                list.Resize(sz);
                model.resize(sz);
            } else if (op < 90) {
                int sz = n + static_cast<int>(rng() % 40);
                list.Fill(sz, Tracked(-7));
                model.resize(sz, -7);
            } else if (op < 92 && n > 0) {
                int v = list.Pop().value;
                EXPECT_EQ(v, model.back());
                model.pop_back();
            } else if (op < 93 && n > 0) {
                int a = static_cast<int>(rng() % n), b = static_cast<int>(rng() % n);
                cow_List<Tracked> s = list.Slice(a, b);
                std::vector<int> expect(model.begin() + std::min(a, b), model.begin() + b);
                if (b < a) expect.clear();
                EXPECT_EQ(Values(s), expect);
            } else if (op < 96) {
                snapshots.emplace_back(list, std::vector<int>(model.begin(), model.end()));
                if (snapshots.size() > 8) snapshots.erase(snapshots.begin());
            } else if (op < 97) {
                list.Sort();
                std::sort(model.begin(), model.end());
            } else if (op < 98 && n > 0) {
                int target = model[rng() % n];
                list.RemoveMember(Tracked(target));
                model.erase(std::find(model.begin(), model.end(), target));
            } else {
                cow_List<Tracked> copy(list);
                list = copy;  // assignment through a shared directory
            }
            ASSERT_EQ(list.Length(), static_cast<int>(model.size())) << "seed " << seed;
            if (step % 50 == 0) {
                ASSERT_EQ(Values(list), std::vector<int>(model.begin(), model.end()))
                    << "seed " << seed << " step " << step;
            }
        }
        EXPECT_EQ(Values(list), std::vector<int>(model.begin(), model.end()));
        for (auto& [copy, contents] : snapshots)
            EXPECT_EQ(Values(copy), contents) << "seed " << seed;
    }
}

TEST(CowListDeathTest, ContractFaultsEndTheProgram) {
    cow_List<int> empty;
    EXPECT_EXIT(empty.Pop(), ::testing::KilledBySignal(SIGABRT), "");
    cow_List<int> l(1, 2);
    EXPECT_EXIT(l.ConstGet(2), ::testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(l.Get(-1), ::testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(l.RemoveIndex(5), ::testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(l.InsertIndex(3, 0), ::testing::KilledBySignal(SIGABRT), "");
    EXPECT_DEATH(l.Resize(-1),
                 "Assertion failed: 0 <= sz, file ZORBase/ProtectedInterfaces/cow_List, line 141");
    EXPECT_DEATH(l.SetFromArray(nullptr, -2),
                 "Assertion failed: C_arrLen >= 0, file ZORBase/ProtectedInterfaces/cow_List, "
                 "line 368");
}

}  // namespace

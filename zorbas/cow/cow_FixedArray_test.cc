#include "zorbas/cow/cow_FixedArray.h"

#include <gtest/gtest.h>

#include "zorbas/cow/cow_2DArray.h"
#include "zorbas/cow/cow_Tracked_test.h"

namespace {

TEST(CowFixedArrayTest, CopiesShareAndTheFirstWriteCopiesTheStore) {
    Tracked::Reset();
    {
        Tracked init[3] = {Tracked(1), Tracked(2), Tracked(3)};
        cow_FixedArray<Tracked> a(init, 3);
        long copiedBefore = Tracked::copied;
        cow_FixedArray<Tracked> b(a);
        EXPECT_EQ(Tracked::copied, copiedBefore);
        EXPECT_EQ(a.References(), 2);
        EXPECT_EQ(b.ConstData(), a.ConstData());
        b.Set(1, Tracked(20));
        EXPECT_EQ(Tracked::copied - copiedBefore, 3) << "the whole store, once";
        b.Get(2).value = 30;
        EXPECT_EQ(Tracked::copied - copiedBefore, 3);
        EXPECT_EQ(a[1].value, 2);
        EXPECT_EQ(b[1].value, 20);
        EXPECT_EQ(a.References(), 1);
        EXPECT_FALSE(a == b);
        b = a;
        EXPECT_TRUE(a == b);
    }
    EXPECT_EQ(Tracked::Live(), 0);

    cow_FixedArray<int> zeros(4);
    EXPECT_EQ(zeros.Length(), 4);
    EXPECT_EQ(zeros[3], 0);
    cow_FixedArray<double> filled(2, 1.5);
    filled.Fill(2.5);
    EXPECT_EQ(filled[0], 2.5);
    EXPECT_TRUE(cow_FixedArray<int>().IsEmpty());
    EXPECT_TRUE(cow_FixedArray<int>(2, 1) < cow_FixedArray<int>(3, 1));
    EXPECT_TRUE(cow_FixedArray<int>(3, 0) < cow_FixedArray<int>(2, 1));
}

TEST(CowFixedArrayTest, TablesAreRowsByColumns) {
    cow_2DArray<double> t(2, 3, 0.5);
    t.Set(1, 2, 7.0);
    cow_2DArray<double> copy(t);
    EXPECT_EQ(copy.References(), 2);
    copy.Get(0, 0) = -1.0;
    EXPECT_EQ(t.ConstGet(0, 0), 0.5);
    EXPECT_EQ(copy.ConstGet(0, 0), -1.0);
    EXPECT_EQ(t.ConstRow(1)[2], 7.0);
    EXPECT_EQ(t.Rows(), 2);
    EXPECT_EQ(t.Columns(), 3);
    EXPECT_FALSE(t == copy);
    EXPECT_TRUE(cow_2DArray<int>(2, 2) == cow_2DArray<int>(2, 2, 0));
}

TEST(CowFixedArrayDeathTest, AnIndexOutsideEndsTheProgram) {
    cow_FixedArray<int> a(2);
    EXPECT_DEATH(a.ConstGet(2),
                 "Assertion failed: 0 <= i && i < Length\\(\\), file "
                 "ZORBase/PublicInterfaces/cow_FixedArray");
    cow_2DArray<int> t(2, 2);
    EXPECT_DEATH(t.Get(0, 2), "file ZORBase/PublicInterfaces/cow_2DArray");
}

}  // namespace

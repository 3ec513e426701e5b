#include "zorbas/intsets/omi_BlkBitVectMap.h"

#include <gtest/gtest.h>

// A map of bit vectors shares each vector with its copies until one of them writes.
TEST(omi_BlkBitVectMap, ACopyWritesItsOwnVectorOnly) {
    cow_Map<int, omi_BlkBitVect> sets;
    omi_BlkBitVect bits;
    bits.SetBit(70000);
    sets.Insert(1, bits);
    cow_Map<int, omi_BlkBitVect> setsCopy(sets);
    setsCopy.Get(1).SetBit(3);
    EXPECT_EQ(sets.ConstGet(1).BitCount(), 1u);
    EXPECT_EQ(setsCopy.ConstGet(1).BitCount(), 2u);
    EXPECT_EQ((cow_MapUtils<int, omi_BlkBitVect>::cow_Values(setsCopy).ConstGet(0).BitCount()), 2u);
    EXPECT_TRUE(setsCopy.ConstGet(1).GetBit(70000));
}

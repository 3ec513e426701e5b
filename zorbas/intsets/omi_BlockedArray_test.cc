#include "zorbas/intsets/omi_BlockedArray.h"

#include <gtest/gtest.h>

#include <string>

#include "companions/alloc/mem_Malloc.h"

namespace {

TEST(omi_BlockedArray, GrowsOnWriteOnlyAndByWholeSteps) {
    omi_BlockedArray<int> a(0, 8);
    EXPECT_EQ(a.BlockCount(), 0u);
    EXPECT_EQ(a.GetCell(0), nullptr);
    EXPECT_EQ(a.GetCell(0xFFFFFFFFu), nullptr);
    EXPECT_EQ(a.BlockCount(), 0u) << "a read must not grow the table";

    a.SetCell(0, 7);
    EXPECT_EQ(a.BlockCount(), 128u);
    ASSERT_NE(a.GetCell(0), nullptr);
    EXPECT_EQ(*a.GetCell(0), 7);
    EXPECT_EQ(*a.GetCell(255), 0) << "a new page is zero-filled";
    EXPECT_EQ(a.GetCell(256), nullptr) << "the next page is not made";

    // Page 300 lies in the third step of 128 entries.
    a.SetCell(300u << 8, -1);
    EXPECT_EQ(a.BlockCount(), 384u);
    EXPECT_EQ(*a.GetCell(300u << 8), -1);
    EXPECT_EQ(*a.GetCell(0), 7) << "growing the table keeps the pages";
    EXPECT_EQ(a.GetCell(384u << 8), nullptr);
}

TEST(omi_BlockedArray, HeapHoldsExactlyTableAndPresentPages) {
    size_t before = mem_Footprint();
    {
        omi_BlockedArray<double> a(16, 4);
        EXPECT_EQ(mem_Footprint() - before, 16 * sizeof(double*));
        a.SetCell(3, 1.5);
        a.SetCell(5, 2.5);  // same page
        a.SetCell(200, 3.5);
        EXPECT_EQ(mem_Footprint() - before, 16 * sizeof(double*) + 2 * 16 * sizeof(double));
        EXPECT_EQ(a.Footprint(), sizeof(a) + 8 * 16 + 2 * 16 * sizeof(double));
    }
    EXPECT_EQ(mem_Footprint(), before);
}

TEST(omi_BlockedArray, CopyAndAssignmentAreDeepAndFollowTheSource) {
    omi_BlockedArray<unsigned> src(0, 2);
    for (unsigned i = 0; i < 40; i += 3) src.SetCell(i, i * 10);
    omi_BlockedArray<unsigned> copy(src);
    src.SetCell(0, 999);
    EXPECT_EQ(*copy.GetCell(0), 0u);
    EXPECT_EQ(*copy.GetCell(39), 390u);

    // Same table length: a page the source lacks is released, the others are overwritten.
    omi_BlockedArray<unsigned> same(128, 2);
    same.SetCell(100, 1);
    same.SetCell(3, 5);
    size_t before = mem_Footprint();
    same = copy;
    EXPECT_EQ(same.GetCell(100), nullptr);
    EXPECT_EQ(*same.GetCell(3), 30u);
    EXPECT_EQ(*same.GetCell(39), 390u);
    // Pages of 4 cells: the source has 10 (cells 0..39), this had 2, one of them overlapping.
    EXPECT_EQ(mem_Footprint() - before, (10 - 2) * 4 * sizeof(unsigned));

    // Different length and shape: the target takes the source's.
    omi_BlockedArray<unsigned> other(7, 5);
    other.SetCell(31, 4);
    other = copy;
    EXPECT_EQ(other.BlockCount(), copy.BlockCount());
    EXPECT_EQ(other.CellsPerBlock(), 4u);
    EXPECT_EQ(*other.GetCell(39), 390u);
    EXPECT_EQ(*other.GetCell(31), 0u);

    other = other;
    EXPECT_EQ(*other.GetCell(39), 390u);
}

TEST(omi_BlockedArray, StringPagesHoldDefaultStringsAndShareOnCopy) {
    size_t live = mem_LiveBlocks();
    {
        omi_BlockedArray<cow_String> a(0, 3);
        a.SetCell(9, cow_String("nine"));
        EXPECT_STREQ(a.GetCell(8)->CStr(), "");
        EXPECT_STREQ(a.GetCell(9)->CStr(), "nine");
        omi_BlockedArray<cow_String> b(a);
        *b.GetCell(9) = "changed";
        EXPECT_STREQ(a.GetCell(9)->CStr(), "nine");
        a = b;
        EXPECT_STREQ(a.GetCell(9)->CStr(), "changed");
    }
    EXPECT_EQ(mem_LiveBlocks(), live) << "string pages must release their strings";
}

TEST(omi_BlockedArray, DumpArrayPrintsPresentPagesCellByCell) {
    omi_BlockedArray<unsigned> a(4, 3);
    a.SetCell(9, 0x04030201u);
    testing::internal::CaptureStdout();
    a.DumpArray();
    std::string out = testing::internal::GetCapturedStdout();
    std::string cells =
        "00000000|01020304|00000000|00000000|00000000|00000000|00000000|00000000|\n";
    EXPECT_EQ(out, "Block indices= 8 - 15\n" + cells + "\n");
}

}  // namespace

#include "zorbas/spatial/omi_Octree.h"
#include "zorbas/spatial/omi_Octree_test_models.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace octree_test;

// The Dump figures below are byte sizes of these cells on a 64-bit build.
static_assert(sizeof(omi_OctreeLeaf) == 40);
static_assert(sizeof(omi_OctreeLeafFix) == 168);
static_assert(sizeof(omi_OctreeBranch) == 104);
static_assert(sizeof(omi_OctreeMemory) == 56);

// Client boxes, handed back through getBox; records every request.

// Tree level of the leaf that finds `p` (the root is level 1).
unsigned LevelOf(const omi_Octree& tree, const float* p) {
    const omi_OctreeLeaf* target = tree.FindCell(p);
    const omi_OctreeCell* cell = tree.Root();
    unsigned level = 1;
    while (cell != target) {
        const omi_OctreeBranch* branch = AsBranch(cell);
        const omi_OctreeCell* next = nullptr;
        for (unsigned c = 0; c < 8 && !next; ++c) {
            const omi_OctreeCell* child = branch->Child(c);
            if (child && child->FindCell(p) == target) next = child;
        }
        cell = next;
        ++level;
    }
    return level;
}

std::vector<std::string> DumpLines(const omi_Octree& tree, unsigned* nodeCount = nullptr) {
    testing::internal::CaptureStdout();
    unsigned n = tree.Dump();
    std::fflush(stdout);
    std::istringstream text(testing::internal::GetCapturedStdout());
    if (nodeCount) *nodeCount = n;
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

const omi_OctVector kUnitCenter(0.5f, 0.5f, 0.5f);
const omi_OctVector kUnitHalf(0.5f, 0.5f, 0.5f);

TEST(OctreeConstruction, ChildrenAreNumberedInWalkOrderAndPlacedAroundTheCentre) {
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.01f, Boxes::GetBox, nullptr);
    const omi_OctreeBranch* root = AsBranch(tree.Root());
    ASSERT_NE(root, nullptr);
    const unsigned expectedNumber[8] = {0, 1, 3, 2, 7, 6, 4, 5};
    for (unsigned c = 0; c < 8; ++c) {
        auto* leaf = dynamic_cast<const omi_OctreeLeafFix*>(root->Child(c));
        ASSERT_NE(leaf, nullptr) << c;
        EXPECT_EQ(leaf->Index(), expectedNumber[c]) << c;
        for (unsigned k = 0; k < 3; ++k) {
            EXPECT_FLOAT_EQ(leaf->Center()[k], (c >> k) & 1 ? 0.75f : 0.25f) << c << " " << k;
            EXPECT_FLOAT_EQ(leaf->HalfSize()[k], 0.25f);
        }
    }
    EXPECT_EQ(tree.NextCellIndex(), 8u);
    for (unsigned k = 0; k < 3; ++k) EXPECT_TRUE(tree.CompFlags()[k] && root->Splits(k));
    EXPECT_FLOAT_EQ(tree.MinSize()[0], 0.25f);
}

TEST(OctreeConstruction, FlatAxisIsNotSplitAndItsChildrenSitHalfSizeBelow) {
    // z half size 0.001 is below the tolerance: a quadtree.
    omi_Octree tree(omi_OctVector(0, 0, 5), omi_OctVector(2, 1, 0.001f), 0.01f, Boxes::GetBox,
                    nullptr);
    EXPECT_TRUE(tree.CompFlags()[0]);
    EXPECT_TRUE(tree.CompFlags()[1]);
    EXPECT_FALSE(tree.CompFlags()[2]);
    EXPECT_EQ(tree.MinComponent(), 1u);
    const omi_OctreeBranch* root = AsBranch(tree.Root());
    for (unsigned c = 4; c < 8; ++c) EXPECT_EQ(root->Child(c), nullptr);
    const unsigned expectedNumber[4] = {0, 1, 3, 2};
    for (unsigned c = 0; c < 4; ++c) {
        const omi_OctreeCell* child = root->Child(c);
        ASSERT_NE(child, nullptr);
        EXPECT_EQ(static_cast<const omi_OctreeLeaf*>(child)->Index(), expectedNumber[c]);
        EXPECT_FLOAT_EQ(child->HalfSize()[2], 0.001f);
        EXPECT_FLOAT_EQ(child->Center()[2], 5.0f - 0.001f);
    }
    EXPECT_EQ(tree.NextCellIndex(), 4u);
    // Points off the plane in z still find the leaf that x and y choose.
    const float above[3] = {1, 0.5f, 100}, below[3] = {1, 0.5f, -100};
    EXPECT_EQ(tree.FindCell(above), root->Child(3));
    EXPECT_EQ(tree.FindCell(below), root->Child(3));
}

TEST(OctreeConstruction, HalfSizesAllBelowToleranceBecomeTheTolerance) {
    omi_Octree tree(omi_OctVector(1, 1, 1), omi_OctVector(0.01f, 0.02f, 0.03f), 0.5f, Boxes::GetBox,
                    nullptr);
    omi_OctVector min, max;
    tree.GetBounds(min, max);
    for (unsigned k = 0; k < 3; ++k) {
        EXPECT_TRUE(tree.CompFlags()[k]);
        EXPECT_FLOAT_EQ(min[k], 0.5f);
        EXPECT_FLOAT_EQ(max[k], 1.5f);
    }
    // The halves would be thinner than the tolerance: the root makes eight children but tells
    // none of them apart, so every point and every box goes to child 0.
    const omi_OctreeBranch* root = AsBranch(tree.Root());
    for (unsigned c = 0; c < 8; ++c) ASSERT_NE(root->Child(c), nullptr);
    for (unsigned k = 0; k < 3; ++k) EXPECT_FALSE(root->Splits(k));
    const float far[3] = {1.4f, 1.4f, 1.4f};
    EXPECT_EQ(tree.FindCell(far), root->Child(0));
}

TEST(OctreeConstruction, MinComponentIsTheThinnestActiveAxisLowestIndexOnATie) {
    struct Case {
        omi_OctVector half;
        unsigned expected;
    } cases[] = {
        {omi_OctVector(4, 2, 2), 1},     {omi_OctVector(4, 2, 1), 2},
        {omi_OctVector(1, 1, 1), 0},     {omi_OctVector(0.01f, 3, 2), 2},
        {omi_OctVector(0.01f, 2, 3), 1}, {omi_OctVector(2, 0.01f, 3), 0},
        {omi_OctVector(3, 0.01f, 2), 2},
    };
    for (const Case& c : cases) {
        omi_Octree tree(omi_OctVector(), c.half, 0.1f, Boxes::GetBox, nullptr);
        EXPECT_EQ(tree.MinComponent(), c.expected)
            << c.half[0] << " " << c.half[1] << " " << c.half[2];
    }
}

TEST(OctreeInsert, CentrePlanesAndWholeRootBoxes) {
    Boxes boxes;
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.01f, Boxes::GetBox, &boxes);
    const omi_OctreeBranch* root = AsBranch(tree.Root());
    auto holders = [&](unsigned item) {
        unsigned mask = 0;
        for (unsigned c = 0; c < 8; ++c) {
            auto items = Items(static_cast<const omi_OctreeLeaf*>(root->Child(c)));
            if (std::count(items.begin(), items.end(), item)) mask |= 1u << c;
        }
        return mask;
    };
    const unsigned maxOnPlane = boxes.Add(0.1f, 0.1f, 0.1f, 0.5f, 0.2f, 0.2f);
    const unsigned minOnPlane = boxes.Add(0.5f, 0.1f, 0.1f, 0.6f, 0.2f, 0.2f);
    const unsigned upperXY = boxes.Add(0.6f, 0.6f, 0.1f, 0.7f, 0.7f, 0.6f);
    const unsigned whole = boxes.Add(0, 0, 0, 1, 1, 1);
    const unsigned outside = boxes.Add(-5, 3, -5, -4, 4, -4);
    for (unsigned i = 0; i < boxes.box.size(); ++i) boxes.Insert(tree, i);
    EXPECT_EQ(holders(maxOnPlane), 0x01u);
    EXPECT_EQ(holders(minOnPlane), 0x03u);
    EXPECT_EQ(holders(upperXY), 0x08u | 0x80u);
    EXPECT_EQ(holders(whole), 0xFFu);
    EXPECT_EQ(holders(outside), 0x04u);
    EXPECT_TRUE(boxes.asked.empty());

    const float centre[3] = {0.5f, 0.5f, 0.5f};
    EXPECT_EQ(tree.FindCell(centre), root->Child(0));
    const float farOut[3] = {-10, 10, 0.7f};
    EXPECT_EQ(tree.FindCell(farOut), root->Child(6));
}

TEST(OctreeInsert, The257thBoxSplitsAndAsksForEachHeldItemOnceInStorageOrder) {
    Boxes boxes;
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.001f, Boxes::GetBox, &boxes);
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> in(0.01f, 0.49f);
    for (unsigned i = 0; i < 257; ++i) {
        float x = in(rng), y = in(rng), z = in(rng);
        boxes.Add(x, y, z, x, y, z);
    }
    for (unsigned i = 0; i < 256; ++i) boxes.Insert(tree, i);
    const omi_OctreeBranch* root = AsBranch(tree.Root());
    ASSERT_NE(dynamic_cast<const omi_OctreeLeafFix*>(root->Child(0)), nullptr);
    EXPECT_TRUE(boxes.asked.empty());

    boxes.Insert(tree, 256);
    std::vector<unsigned> expected(256);
    for (unsigned i = 0; i < 256; ++i) expected[i] = i;
    EXPECT_EQ(boxes.asked, expected);
    const omi_OctreeBranch* split = AsBranch(root->Child(0));
    ASSERT_NE(split, nullptr);
    EXPECT_EQ(tree.NextCellIndex(), 16u);
    unsigned held = 0;
    for (unsigned c = 0; c < 8; ++c) {
        auto* leaf = static_cast<const omi_OctreeLeaf*>(split->Child(c));
        EXPECT_GE(leaf->Index(), 8u);
        held += leaf->Count();
    }
    EXPECT_EQ(held, 257u);
}

TEST(OctreeInsert, OneBoxOverTheWholeRootSplitsAllEightLeavesInChildOrder) {
    Boxes boxes;
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.001f, Boxes::GetBox, &boxes);
    // 256 points per child, 32 in each of its octants, added child by child.
    for (unsigned c = 0; c < 8; ++c) {
        for (unsigned i = 0; i < 256; ++i) {
            float p[3];
            for (unsigned k = 0; k < 3; ++k) {
                const float octant = ((i >> k) & 1) ? 0.125f : -0.125f;
                p[k] = ((c >> k) & 1 ? 0.75f : 0.25f) + octant + 0.002f * static_cast<float>(i / 8);
            }
            boxes.Insert(tree, boxes.Add(p[0], p[1], p[2], p[0], p[1], p[2]));
        }
    }
    EXPECT_TRUE(boxes.asked.empty());
    const unsigned whole = boxes.Add(0, 0, 0, 1, 1, 1);
    boxes.Insert(tree, whole);

    std::vector<unsigned> expected(8 * 256);
    for (unsigned i = 0; i < expected.size(); ++i) expected[i] = i;
    EXPECT_EQ(boxes.asked, expected);
    EXPECT_EQ(tree.NextCellIndex(), 8u + 64u);
    const omi_OctreeBranch* root = AsBranch(tree.Root());
    for (unsigned c = 0; c < 8; ++c) {
        const omi_OctreeBranch* split = AsBranch(root->Child(c));
        ASSERT_NE(split, nullptr) << c;
        for (unsigned s = 0; s < 8; ++s) {
            auto* leaf = dynamic_cast<const omi_OctreeLeafFix*>(split->Child(s));
            ASSERT_NE(leaf, nullptr) << c << " " << s;
            std::vector<unsigned> items = Items(leaf);
            ASSERT_EQ(items.size(), 33u) << c << " " << s;
            EXPECT_EQ(items.back(), whole);
        }
    }
}

void InsertCopies(omi_Octree& tree, Boxes& boxes, const float* p, unsigned n) {
    for (unsigned i = 0; i < n; ++i)
        boxes.Insert(tree, boxes.Add(p[0], p[1], p[2], p[0], p[1], p[2]));
}

// Places 256 copies of a point in its leaf, then splits that leaf with one item mirrored across
// its centre, so that each split moves the copies one level down without a cascade.
TEST(OctreeInsert, ALeafAtLevel11BecomesAnInfiniteLeafThatDoublesItsRun) {
    Boxes boxes;
    omi_Octree tree(kUnitCenter, kUnitHalf, 1e-7f, Boxes::GetBox, &boxes);
    const float p[3] = {0.123f, 0.456f, 0.789f};
    InsertCopies(tree, boxes, p, 256);
    EXPECT_EQ(LevelOf(tree, p), 2u);
    for (unsigned level = 3; level <= 11; ++level) {
        const omi_OctVector& c = tree.FindCell(p)->Center();
        float q[3];
        for (unsigned k = 0; k < 3; ++k) q[k] = 2 * c[k] - p[k];
        boxes.Insert(tree, boxes.Add(q[0], q[1], q[2], q[0], q[1], q[2]));
        EXPECT_EQ(LevelOf(tree, p), level);
        EXPECT_NE(tree.FindCell(q), tree.FindCell(p));
    }
    ASSERT_NE(dynamic_cast<const omi_OctreeLeafFix*>(tree.FindCell(p)), nullptr);
    boxes.Insert(tree, boxes.Add(p[0], p[1], p[2], p[0], p[1], p[2]));
    auto* inf = dynamic_cast<const omi_OctreeLeafInf*>(tree.FindCell(p));
    ASSERT_NE(inf, nullptr);
    EXPECT_EQ(LevelOf(tree, p), 11u);
    EXPECT_EQ(inf->Capacity(), 512u);
    EXPECT_EQ(inf->Count(), 257u);
    EXPECT_EQ(inf->Index(), tree.NextCellIndex() - 1);
    InsertCopies(tree, boxes, p, 255);
    EXPECT_EQ(inf->Capacity(), 512u);
    EXPECT_EQ(inf->Count(), 512u);
    boxes.Insert(tree, boxes.Add(p[0], p[1], p[2], p[0], p[1], p[2]));
    EXPECT_EQ(tree.FindCell(p), inf);
    EXPECT_EQ(inf->Capacity(), 1024u);
    EXPECT_EQ(inf->Count(), 513u);
    // The run keeps its items across the move: the 256 copies, then the later ones.
    std::vector<unsigned> items = Items(inf);
    EXPECT_EQ(items[0], 0u);
    EXPECT_EQ(items[255], 255u);
    EXPECT_EQ(items[512], static_cast<unsigned>(boxes.box.size() - 1));
}

// Within a split the re-inserted items run two calls deeper than their leaves' level, so a
// cascade of splits (all items at one point) stops early, at level 7.
TEST(OctreeInsert, CascadedSplitsCountTheirNesting) {
    Boxes boxes;
    omi_Octree tree(kUnitCenter, kUnitHalf, 1e-7f, Boxes::GetBox, &boxes);
    const float p[3] = {0.123f, 0.456f, 0.789f};
    InsertCopies(tree, boxes, p, 257);
    ASSERT_NE(dynamic_cast<const omi_OctreeLeafInf*>(tree.FindCell(p)), nullptr);
    EXPECT_EQ(LevelOf(tree, p), 7u);
    // Five splits, each asking for the 256 items that the leaf held.
    EXPECT_EQ(boxes.asked.size(), 5u * 256u);
}

TEST(OctreeMemory, BlocksAreSizedByTheRequestAndReusedWhenEmptied) {
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.01f, Boxes::GetBox, nullptr);
    omi_OctreeMemory* first = tree.Blocks();
    EXPECT_EQ(first->BlockSize(), 1024u);
    omi_OctreeMemPtr a = tree.MemAlloc(1000);
    EXPECT_EQ(a.mem, first);
    EXPECT_EQ(first->Available(), 24u);

    omi_OctreeMemPtr b = tree.MemAlloc(1024);
    EXPECT_EQ(b.mem, tree.Blocks());
    EXPECT_EQ(b.mem->BlockSize(), 1024u);
    EXPECT_EQ(b.mem->Available(), 0u);
    EXPECT_EQ(b.mem->NextBlk(), first);

    omi_OctreeMemPtr c = tree.MemAlloc(2000);
    EXPECT_EQ(c.mem->BlockSize(), 4000u);
    EXPECT_EQ(c.mem, tree.CurrentBlock());
    EXPECT_EQ(c.words + 2000, tree.MemAlloc(10).words);

    // Emptying the first block rewinds it and puts it on the emptied list.
    a.mem->MemFree();
    EXPECT_EQ(tree.FreedBlocks(), first);
    EXPECT_EQ(first->Available(), 1024u);
    // The current block (1,990 words left) serves first; then the emptied head is taken.
    EXPECT_EQ(tree.MemAlloc(1990).mem, c.mem);
    omi_OctreeMemPtr d = tree.MemAlloc(500);
    EXPECT_EQ(d.mem, first);
    EXPECT_EQ(d.words, a.words);
    EXPECT_EQ(tree.CurrentBlock(), first);
    EXPECT_EQ(tree.FreedBlocks(), nullptr);

    // A block that empties while current stays current and is listed as emptied.
    d.mem->MemFree();
    EXPECT_EQ(tree.CurrentBlock(), first);
    EXPECT_EQ(tree.FreedBlocks(), first);
    EXPECT_EQ(tree.MemAlloc(1024).words, a.words);
}

TEST(OctreeDump, FreshTreeAndLoneLeaf) {
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.01f, Boxes::GetBox, nullptr);
    std::vector<std::string> expected = {
        "Total nodeCount=0, numCell=10, numLeaf=8, maxDepth=3, size=1552",
        "MemoryBlocks: Count=1, Size=4152, Waste=4096",
        "FreedBlocks: Count=0, Size=0",
    };
    EXPECT_EQ(DumpLines(tree), expected);
    // A second report starts from the same counters.
    EXPECT_EQ(DumpLines(tree), expected);

    omi_OctreeLeafFix lone(3, kUnitCenter, kUnitHalf);
    testing::internal::CaptureStdout();
    EXPECT_EQ(lone.Dump(), 0u);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Total nodeCount=0, numCell=1, numLeaf=1, maxDepth=1, size=40\n");
    EXPECT_EQ(DumpLines(tree), expected);
}

TEST(OctreeDump, QuadtreeWithASplitAndEmptiedBlocks) {
    Boxes boxes;
    omi_Octree tree(omi_OctVector(0, 0, 0), omi_OctVector(1, 1, 0.001f), 0.01f, Boxes::GetBox,
                    &boxes);
    // Item 0 spans the whole plane: it lands in all four leaves (four chunks of 32 words).
    boxes.Insert(tree, boxes.Add(-1, -1, 0, 1, 1, 0));
    unsigned nodeCount = 0;
    EXPECT_EQ(DumpLines(tree, &nodeCount),
              (std::vector<std::string>{
                  "Total nodeCount=4, numCell=6, numLeaf=4, maxDepth=3, size=880",
                  "MemoryBlocks: Count=1, Size=4152, Waste=3584",
                  "FreedBlocks: Count=0, Size=0",
              }));
    EXPECT_EQ(nodeCount, 4u);

    // A 16 x 16 grid of points in the lower-left quarter splits it on the last point. Before,
    // that leaf took 8 chunks; its 4 new leaves hold 65 items each (3 chunks each); the old
    // leaf's chunks are released, but the block still serves the others: 23 chunks stay.
    for (unsigned i = 0; i < 256; ++i) {
        const float x = -0.875f + 0.05f * static_cast<float>(i % 16);
        const float y = -0.875f + 0.05f * static_cast<float>(i / 16);
        boxes.Insert(tree, boxes.Add(x, y, 0, x, y, 0));
    }
    EXPECT_EQ(boxes.asked.size(), 256u);
    EXPECT_EQ(DumpLines(tree),
              (std::vector<std::string>{
                  "Total nodeCount=263, numCell=10, numLeaf=7, maxDepth=4, size=1488",
                  "MemoryBlocks: Count=1, Size=4152, Waste=1152",
                  "FreedBlocks: Count=0, Size=0",
              }));
}

TEST(OctreeDump, FreedBlocksLineWalksTheListOfAllBlocksFromTheEmptiedHead) {
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.01f, Boxes::GetBox, nullptr);
    omi_OctreeMemory* first = tree.Blocks();
    omi_OctreeMemPtr a = tree.MemAlloc(1024);  // fills the first block
    tree.MemAlloc(2000);                       // a block of 4,000 words in front of it
    tree.MemAlloc(3000);                       // and one of 6,000 in front of that
    a.mem->MemFree();
    EXPECT_EQ(tree.FreedBlocks(), first);
    EXPECT_EQ(DumpLines(tree)[1], "MemoryBlocks: Count=3, Size=44264, Waste=24096");
    // Only the first block is emptied, and it is the last of all blocks.
    EXPECT_EQ(DumpLines(tree)[2], "FreedBlocks: Count=1, Size=4152");

    // Emptying the middle block puts it at the head; the walk then counts the first block too.
    omi_OctreeMemory* middle = tree.Blocks()->NextBlk();
    ASSERT_EQ(middle->BlockSize(), 4000u);
    middle->MemFree();
    EXPECT_EQ(tree.FreedBlocks(), middle);
    EXPECT_EQ(DumpLines(tree)[2], "FreedBlocks: Count=2, Size=20208");
}

// ---------------------------------------------------------------------------------------------
// Geometry properties over random box sets.

void CheckBoxesAreFoundFromInside(const omi_Octree& tree, const Boxes& boxes, unsigned seed) {
    std::map<const omi_OctreeLeaf*, std::vector<unsigned>> held;
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    unsigned misses = 0;
    for (unsigned i = 0; i < boxes.box.size(); ++i) {
        const auto& b = boxes.box[i];
        for (unsigned s = 0; s < 10; ++s) {
            float p[3];
            for (unsigned k = 0; k < 3; ++k) {
                // Corners first (the closed box includes them), then random inner points.
                const float t = s < 8 ? static_cast<float>((s >> k) & 1) : unit(rng);
                p[k] = s < 8 ? (t == 0 ? b[k] : b[k + 3]) : b[k] + t * (b[k + 3] - b[k]);
            }
            const omi_OctreeLeaf* leaf = tree.FindCell(p);
            ASSERT_NE(leaf, nullptr);
            auto it = held.find(leaf);
            if (it == held.end()) {
                it = held.emplace(leaf, Items(leaf)).first;
                std::sort(it->second.begin(), it->second.end());
            }
            if (!std::binary_search(it->second.begin(), it->second.end(), i)) ++misses;
        }
    }
    EXPECT_EQ(misses, 0u);
}

unsigned CountInfiniteLeaves(const omi_OctreeCell* cell) {
    if (dynamic_cast<const omi_OctreeLeafInf*>(cell)) return 1;
    unsigned n = 0;
    if (const omi_OctreeBranch* branch = AsBranch(cell)) {
        for (unsigned c = 0; c < 8; ++c) {
            if (branch->Child(c)) n += CountInfiniteLeaves(branch->Child(c));
        }
    }
    return n;
}

class OctreeGeometry : public testing::TestWithParam<Shape> {};

TEST_P(OctreeGeometry, EveryBoxIsInEveryLeafThatAPointInsideItFinds) {
    RandomModel m;
    MakeModel(m, GetParam(), 30000, 11 + static_cast<unsigned>(GetParam()));
    omi_Octree tree(m.center, m.half, m.tolerance, Boxes::GetBox, &m.boxes);
    unsigned leavesPerBranch = 1;
    for (unsigned k = 0; k < 3; ++k) leavesPerBranch *= tree.CompFlags()[k] ? 2 : 1;
    unsigned splitRuns = 0, infiniteMade = 0;
    for (unsigned i = 0; i < m.boxes.box.size(); ++i) {
        m.boxes.asked.clear();
        const unsigned cellsBefore = tree.NextCellIndex();
        m.boxes.Insert(tree, i);
        // Each split asks for each of the 256 items it held exactly once, and makes one branch.
        ASSERT_EQ(m.boxes.asked.size() % 256, 0u);
        for (size_t run = 0; run < m.boxes.asked.size(); run += 256) {
            std::vector<unsigned> items(m.boxes.asked.begin() + run,
                                        m.boxes.asked.begin() + run + 256);
            std::sort(items.begin(), items.end());
            ASSERT_EQ(std::adjacent_find(items.begin(), items.end()), items.end());
            ASSERT_LE(items.back(), i);
            ++splitRuns;
        }
        // Leaves numbered beyond the split's are infinite leaves, made without asking getBox.
        const unsigned madeBySplits =
            static_cast<unsigned>(m.boxes.asked.size() / 256) * leavesPerBranch;
        ASSERT_GE(tree.NextCellIndex() - cellsBefore, madeBySplits);
        infiniteMade += tree.NextCellIndex() - cellsBefore - madeBySplits;
    }
    EXPECT_GT(splitRuns, 10u);
    EXPECT_EQ(infiniteMade, CountInfiniteLeaves(tree.Root()));
    CheckBoxesAreFoundFromInside(tree, m.boxes, 5);

    // A point far outside the root still finds a leaf, and that leaf is the one its nearest
    // point of the root finds when the comparisons agree.
    const float far[3] = {-100, 50, 3}, clamped[3] = {0, 1, 1};
    ASSERT_NE(tree.FindCell(far), nullptr);
    EXPECT_EQ(tree.FindCell(far), tree.FindCell(clamped));

    unsigned nodeCount = 0;
    std::vector<std::string> lines = DumpLines(tree, &nodeCount);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].rfind("Total nodeCount=" + std::to_string(nodeCount) + ", ", 0), 0u);
    EXPECT_GE(nodeCount, m.boxes.box.size());
}

std::string ShapeName(const testing::TestParamInfo<Shape>& info) {
    static const char* const kNames[] = {"Uniform", "Clustered", "FlatZ", "LineX"};
    return kNames[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(Shapes, OctreeGeometry,
                         testing::Values(Shape::kUniform, Shape::kClustered, Shape::kFlatZ,
                                         Shape::kLineX),
                         ShapeName);

// Inserts into different trees on different threads give the trees that one thread builds: the
// insertion depth belongs to each tree.
TEST(OctreeThreads, TreesBuiltConcurrentlyMatchOneBuiltAlone) {
    RandomModel m;
    MakeModel(m, Shape::kClustered, 20000, 3);
    auto signature = [&](std::vector<unsigned>& out) {
        Boxes copy;
        copy.box = m.boxes.box;
        omi_Octree tree(m.center, m.half, m.tolerance, Boxes::GetBox, &copy);
        for (unsigned i = 0; i < copy.box.size(); ++i) copy.Insert(tree, i);
        for (const auto& b : copy.box) out.push_back(tree.FindCell(b.data())->Index());
        out.push_back(tree.NextCellIndex());
    };
    std::vector<unsigned> alone, first, second;
    signature(alone);
    std::thread a([&] { signature(first); });
    std::thread b([&] { signature(second); });
    a.join();
    b.join();
    EXPECT_EQ(first, alone);
    EXPECT_EQ(second, alone);
}

// A caller's float triples stand wherever a vector is expected, as in `omi_OctVector v = p;`.
TEST(OctVector, AFloatTripleConvertsWhereAVectorIsExpected) {
    const float lo[3] = {0.25f, -1.5f, 3.0f};
    omi_OctVector v = lo;
    EXPECT_EQ(v[0], 0.25f);
    EXPECT_EQ(v[1], -1.5f);
    EXPECT_EQ(v[2], 3.0f);
    EXPECT_TRUE(v <= omi_OctVector(0.25f, -1.5f, 3.0f) && v >= omi_OctVector(0.25f, -1.5f, 3.0f));

    const float centre[3] = {0.5f, 0.5f, 0.5f};
    const float half[3] = {0.5f, 0.5f, 0.5f};
    omi_Octree tree(centre, half, 0.01f, Boxes::GetBox, nullptr);
    EXPECT_EQ(tree.Root()->Center()[1], 0.5f);
    EXPECT_EQ(tree.Root()->HalfSize()[2], 0.5f);
}

}  // namespace

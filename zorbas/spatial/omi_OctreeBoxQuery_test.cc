#include "zorbas/spatial/omi_OctreeBoxQuery.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "zorbas/spatial/omi_Octree_test_models.h"

namespace {

using namespace octree_test;

std::vector<unsigned> HoldingBruteForce(const Boxes& boxes, const float* p, unsigned n) {
    std::vector<unsigned> out;
    for (unsigned i = 0; i < n; ++i) {
        const auto& b = boxes.box[i];
        if (b[0] <= p[0] && p[0] <= b[3] && b[1] <= p[1] && p[1] <= b[4] && b[2] <= p[2] &&
            p[2] <= b[5])
            out.push_back(i);
    }
    return out;
}

std::vector<unsigned> TouchingBruteForce(const Boxes& boxes, const float* lo, const float* hi) {
    std::vector<unsigned> out;
    for (unsigned i = 0; i < boxes.box.size(); ++i) {
        const auto& b = boxes.box[i];
        if (b[0] <= hi[0] && lo[0] <= b[3] && b[1] <= hi[1] && lo[1] <= b[4] && b[2] <= hi[2] &&
            lo[2] <= b[5])
            out.push_back(i);
    }
    return out;
}

std::vector<unsigned> Sorted(std::vector<unsigned> v) {
    std::sort(v.begin(), v.end());
    return v;
}

// Points drawn in the model's bounds and on the corners of its boxes (closed boxes hold their
// corners), answered by the query and by a scan of every box; then the same after more boxes
// went into the tree, so that leaves whose copies exist have changed.
TEST(OctreeBoxQuery, PointAndBoxQueriesMatchAScanOfEveryBoxBeforeAndAfterInserts) {
    for (Shape shape : {Shape::kUniform, Shape::kClustered, Shape::kFlatZ, Shape::kLineX}) {
        RandomModel m;
        MakeModel(m, shape, 6000, 7 + static_cast<unsigned>(shape));
        omi_Octree tree(m.center, m.half, m.tolerance, Boxes::GetBox, &m.boxes);
        for (unsigned i = 0; i < 3000; ++i) m.boxes.Insert(tree, i);
        omi_OctreeBoxQuery query(tree);
        std::mt19937 rng(3);
        std::uniform_real_distribution<float> unit(-0.05f, 1.05f);
        std::vector<unsigned> found;
        size_t hits = 0;
        for (unsigned inserted : {3000u, 6000u}) {
            for (unsigned i = 3000; i < inserted; ++i) m.boxes.Insert(tree, i);
            for (unsigned q = 0; q < 600; ++q) {
                float p[3];
                if (q % 2) {
                    const auto& b = m.boxes.box[rng() % inserted];
                    for (unsigned k = 0; k < 3; ++k) p[k] = b[k + 3 * ((q >> (k + 1)) & 1)];
                } else {
                    for (float& c : p) c = unit(rng);
                    if (shape != Shape::kUniform && shape != Shape::kClustered) p[2] = 0.5f;
                }
                const unsigned n = query.BoxesAt(p, found);
                EXPECT_EQ(n, found.size());
                const auto expected = HoldingBruteForce(m.boxes, p, inserted);
                ASSERT_EQ(Sorted(found), expected) << "shape " << int(shape) << " query " << q;
                hits += expected.size();
            }
            for (unsigned q = 0; q < 40; ++q) {
                float lo[3], hi[3];
                for (unsigned k = 0; k < 3; ++k) {
                    lo[k] = unit(rng);
                    hi[k] = lo[k] + 0.05f * unit(rng);
                }
                query.BoxesTouching(lo, hi, found);
                std::vector<unsigned> expected;
                for (unsigned i : TouchingBruteForce(m.boxes, lo, hi))
                    if (i < inserted) expected.push_back(i);
                ASSERT_EQ(found, expected) << "shape " << int(shape) << " box " << q;
            }
        }
        EXPECT_GT(hits, 600u);  // the corner points hold at least their own box
        EXPECT_GT(query.Footprint(), sizeof(query));
    }
}

// A leaf's copy is made once, kept while the leaf is unchanged, and made again after an insert
// into that leaf, which the next query then sees.
TEST(OctreeBoxQuery, AnInsertIntoALeafDropsItsCopy) {
    Boxes boxes;
    omi_Octree tree(omi_OctVector(0, 0, 0), omi_OctVector(1, 1, 1), 1e-4f, Boxes::GetBox, &boxes);
    for (unsigned i = 0; i < 10; ++i) {
        const float x = 0.1f + 0.05f * i;
        boxes.Insert(tree, boxes.Add(x, x, x, x + 0.04f, x + 0.04f, x + 0.04f));
    }
    omi_OctreeBoxQuery query(tree);
    const float p[3] = {0.52f, 0.52f, 0.52f};
    std::vector<unsigned> found;
    EXPECT_EQ(query.BoxesAt(p, found), 1u);
    EXPECT_EQ(found, std::vector<unsigned>{8});
    const size_t afterFirst = query.Footprint();
    EXPECT_EQ(query.CopiesMade(), 1u);
    boxes.asked.clear();
    query.BoxesAt(p, found);
    EXPECT_EQ(query.CopiesMade(), 1u);
    EXPECT_TRUE(boxes.asked.empty());

    // Into the same leaf, holding the point: found at once.
    boxes.Insert(tree, boxes.Add(0.5f, 0.5f, 0.5f, 0.6f, 0.6f, 0.6f));
    EXPECT_EQ(query.BoxesAt(p, found), 2u);
    EXPECT_EQ(found, (std::vector<unsigned>{8, 10}));
    EXPECT_EQ(query.CopiesMade(), 2u);
    EXPECT_EQ(boxes.asked.size(), 11u);
    // The old copy was given back for the new one: no leaf was made, so the footprint is the same.
    EXPECT_EQ(query.Footprint(), afterFirst);

    // An insert into another leaf leaves this copy alone.
    boxes.Insert(tree, boxes.Add(-0.9f, -0.9f, -0.9f, -0.8f, -0.8f, -0.8f));
    query.BoxesAt(p, found);
    EXPECT_EQ(query.CopiesMade(), 2u);

    // A point that no box holds, in a leaf with no items.
    const float empty[3] = {-0.5f, 0.5f, -0.5f};
    EXPECT_EQ(query.BoxesAt(empty, found), 0u);
    EXPECT_TRUE(found.empty());
}

// Past 256 items the leaf splits: the query then reaches the new leaves and finds every box.
TEST(OctreeBoxQuery, FindsBoxesAfterTheirLeafSplit) {
    Boxes boxes;
    omi_Octree tree(omi_OctVector(0, 0, 0), omi_OctVector(1, 1, 1), 1e-4f, Boxes::GetBox, &boxes);
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> unit(0.01f, 0.99f);
    omi_OctreeBoxQuery query(tree);
    std::vector<unsigned> found;
    for (unsigned i = 0; i < 600; ++i) {
        const float x = unit(rng), y = unit(rng), z = unit(rng);
        boxes.Insert(tree, boxes.Add(x, y, z, x + 0.01f, y + 0.01f, z + 0.01f));
        const float p[3] = {x + 0.005f, y + 0.005f, z + 0.005f};
        query.BoxesAt(p, found);
        ASSERT_EQ(Sorted(found), HoldingBruteForce(boxes, p, i + 1)) << "after item " << i;
    }
}

}  // namespace

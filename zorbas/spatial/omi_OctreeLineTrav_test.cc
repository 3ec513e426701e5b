#include "zorbas/spatial/omi_OctreeLineTrav.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <set>
#include <vector>

#include "zorbas/spatial/omi_Octree_test_models.h"

namespace {

using namespace octree_test;

std::vector<const omi_OctreeLeaf*> Walk(omi_OctreeLineTrav& trav, const omi_Octree& tree,
                                        std::array<float, 3> start, std::array<float, 3> end,
                                        float tolerance, bool* touched = nullptr) {
    std::vector<const omi_OctreeLeaf*> leaves;
    const bool init = trav.Init(&tree, start.data(), end.data(), tolerance);
    if (touched) *touched = init;
    if (!init) return leaves;
    while (const omi_OctreeLeaf* leaf = trav.NextCell()) leaves.push_back(leaf);
    EXPECT_EQ(trav.NextCell(), nullptr);
    return leaves;
}

const omi_OctVector kUnitCenter(0.5f, 0.5f, 0.5f);
const omi_OctVector kUnitHalf(0.5f, 0.5f, 0.5f);

// Fills child 0 of the unit tree past capacity, so that it splits into leaves of 0.25.
void SplitChildZero(omi_Octree& tree, Boxes& boxes) {
    for (unsigned i = 0; i < 257; ++i) {
        const float x = 0.05f + 0.4f * static_cast<float>(i % 7) / 6;
        const float y = 0.05f + 0.4f * static_cast<float>((i / 7) % 7) / 6;
        const float z = 0.05f + 0.4f * static_cast<float>(i / 49) / 6;
        boxes.Insert(tree, boxes.Add(x, y, z, x, y, z));
    }
}

TEST(LineInterCubeFace, ToleranceWidensTheFaceAndTheParameterRange) {
    const float start[3] = {0, 0, 0}, min[3] = {1, 1, 1}, max[3] = {2, 2, 2};
    float t, hit[3];
    const float dir[3] = {4, 4, 4};
    ASSERT_TRUE(LineInterCubeFace(dir, start, nullptr, min, max, 1, 0.01f, 0, 1, 2, t, hit));
    EXPECT_FLOAT_EQ(t, 0.25f);
    EXPECT_FLOAT_EQ(hit[0], 1);
    EXPECT_FLOAT_EQ(hit[1], 1);
    EXPECT_FLOAT_EQ(hit[2], 1);
    // The plane at 4.02 is reached at t = 1.005, within the tolerance taken as a parameter.
    const float wide[3] = {0, 0, 0}, wideMax[3] = {5, 5, 5};
    EXPECT_TRUE(
        LineInterCubeFace(dir, start, nullptr, wide, wideMax, 4.02f, 0.01f, 2, 0, 1, t, hit));
    EXPECT_FALSE(
        LineInterCubeFace(dir, start, nullptr, wide, wideMax, 4.1f, 0.01f, 2, 0, 1, t, hit));
    // A face just behind the start counts while -t is within the tolerance.
    const float flat[3] = {4, 0, 0};
    const float justPast[3] = {1.01f, 1.5f, 1.5f}, wellPast[3] = {1.1f, 1.5f, 1.5f};
    ASSERT_TRUE(LineInterCubeFace(flat, justPast, nullptr, min, max, 1, 0.01f, 0, 1, 2, t, hit));
    EXPECT_NEAR(t, -0.0025f, 1e-8f);
    EXPECT_FALSE(LineInterCubeFace(flat, wellPast, nullptr, min, max, 1, 0.01f, 0, 1, 2, t, hit));
    // Off the face sideways: within the tolerance counts, beyond it does not.
    const float below[3] = {0, 0.995f, 1.5f};
    EXPECT_TRUE(LineInterCubeFace(flat, below, nullptr, min, max, 1, 0.01f, 0, 1, 2, t, hit));
    EXPECT_FLOAT_EQ(hit[1], 0.995f);
    const float under[3] = {0, 0.98f, 1.5f};
    EXPECT_FALSE(LineInterCubeFace(flat, under, nullptr, min, max, 1, 0.01f, 0, 1, 2, t, hit));
}

TEST(OctreeLineTrav, InitRejectsSegmentsBeyondTheTreeOnOneAxis) {
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.01f, Boxes::GetBox, nullptr);
    omi_OctreeLineTrav trav;
    bool touched = true;
    EXPECT_TRUE(Walk(trav, tree, {0.2f, 0.2f, 1.02f}, {0.8f, 0.9f, 1.5f}, 0.01f, &touched).empty());
    EXPECT_FALSE(touched);
    EXPECT_TRUE(Walk(trav, tree, {-3, 0.2f, 0.5f}, {-0.02f, 0.9f, 0.5f}, 0.01f, &touched).empty());
    EXPECT_FALSE(touched);
    // Within the tolerance of the max face: touched.
    Walk(trav, tree, {0.2f, 0.2f, 1.005f}, {0.8f, 0.9f, 1.5f}, 0.01f, &touched);
    EXPECT_TRUE(touched);
    // Crossing the corner region outside the tree on two axes misses every face.
    Walk(trav, tree, {1.5f, -0.2f, 0.5f}, {2.5f, 0.5f, 0.5f}, 0.01f, &touched);
    EXPECT_FALSE(touched);
}

TEST(OctreeLineTrav, EntersThroughTheNearestFaceWhenStartingOutside) {
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.01f, Boxes::GetBox, nullptr);
    const omi_OctreeBranch* root = AsBranch(tree.Root());
    omi_OctreeLineTrav trav;
    // From the far -x side to the middle of child 1: enters child 0 at x = 0 and goes on into 1.
    auto leaves = Walk(trav, tree, {-5, 0.2f, 0.2f}, {0.7f, 0.2f, 0.2f}, 0.01f);
    ASSERT_EQ(leaves.size(), 2u);
    EXPECT_EQ(leaves[0], root->Child(0));
    EXPECT_EQ(leaves[1], root->Child(1));
    // A segment parallel to x at y = 0.5 (a centre plane) reaches both y halves within the
    // tolerance; the y and z faces are never tried since the line does not move on them.
    leaves = Walk(trav, tree, {0.1f, 0.5f, 0.2f}, {0.9f, 0.5f, 0.2f}, 0.01f);
    std::set<const omi_OctreeLeaf*> got(leaves.begin(), leaves.end());
    EXPECT_EQ(got.size(), leaves.size());
    std::set<const omi_OctreeLeaf*> want;
    for (unsigned c : {0u, 1u, 2u, 3u})
        want.insert(static_cast<const omi_OctreeLeaf*>(root->Child(c)));
    EXPECT_EQ(got, want);
}

TEST(OctreeLineTrav, SegmentInsideOneLeafGivesOneBatchThenStaysAtTheEnd) {
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.01f, Boxes::GetBox, nullptr);
    omi_OctreeLineTrav trav;
    float start[3] = {0.1f, 0.1f, 0.1f}, end[3] = {0.3f, 0.35f, 0.2f};
    ASSERT_TRUE(trav.Init(&tree, start, end, 0.01f));
    EXPECT_EQ(trav.NextCell(), tree.FindCell(start));
    EXPECT_EQ(trav.NextCell(), nullptr);
    EXPECT_EQ(trav.NextCell(), nullptr);
    // Init again clears what was delivered.
    ASSERT_TRUE(trav.Init(&tree, start, end, 0.01f));
    EXPECT_EQ(trav.NextCell(), tree.FindCell(start));
    EXPECT_EQ(trav.NextCell(), nullptr);
    // A zero-length segment gives the batch of its point.
    ASSERT_TRUE(trav.Init(&tree, start, start, 0.01f));
    EXPECT_EQ(trav.NextCell(), tree.FindCell(start));
    EXPECT_EQ(trav.NextCell(), nullptr);
}

TEST(OctreeLineTrav, ShortSegmentTakesOneStepToTheEnd) {
    Boxes boxes;
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.001f, Boxes::GetBox, &boxes);
    SplitChildZero(tree, boxes);
    omi_OctreeLineTrav trav;
    // Shorter than twice the tolerance: step 1. The start probe finds the leaf at (0.24, ...);
    // its exit lies at the far side of the segment, past which one probe more is made.
    auto leaves = Walk(trav, tree, {0.2495f, 0.1f, 0.1f}, {0.2505f, 0.1f, 0.1f}, 0.001f);
    ASSERT_EQ(leaves.size(), 2u);
    const float a[3] = {0.2f, 0.1f, 0.1f}, b[3] = {0.3f, 0.1f, 0.1f};
    EXPECT_EQ(leaves[0], tree.FindCell(a));
    EXPECT_EQ(leaves[1], tree.FindCell(b));
}

TEST(OctreeLineTrav, AWideToleranceBatchHoldsNineLeavesInProbeOrder) {
    Boxes boxes;
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.001f, Boxes::GetBox, &boxes);
    SplitChildZero(tree, boxes);
    const omi_OctreeBranch* root = AsBranch(tree.Root());
    omi_OctreeLineTrav trav;
    // The point's leaf [0.25, 0.5]^3 holds none of the corners at 0 and 0.6.
    auto leaves = Walk(trav, tree, {0.3f, 0.3f, 0.3f}, {0.3f, 0.3f, 0.3f}, 0.3f);
    const float p[3] = {0.3f, 0.3f, 0.3f}, low[3] = {0, 0, 0};
    std::vector<const omi_OctreeLeaf*> want = {tree.FindCell(p), tree.FindCell(low)};
    for (unsigned c : {4u, 2u, 6u, 1u, 5u, 3u, 7u})
        want.push_back(static_cast<const omi_OctreeLeaf*>(root->Child(c)));
    EXPECT_EQ(leaves, want);
}

// The case the stepping search misses by design: the segment leaves child 0 through x = 1 at
// t = 0.862 and runs on to its end within the tolerance of child 0's face y = 1, which it would
// reach at t = 1.02. That face gives child 0 its exit, clipped to 1, and the walk ends there:
// child 1, where the last eighth of the segment lies, is never delivered.
TEST(OctreeLineTrav, ShallowExitPastAFaceSkipsTheLeafBeyondIt) {
    omi_Octree tree(omi_OctVector(1, 1, 1), omi_OctVector(1, 1, 1), 0.1f, Boxes::GetBox, nullptr);
    const omi_OctreeBranch* root = AsBranch(tree.Root());
    omi_OctreeLineTrav trav;
    auto leaves = Walk(trav, tree, {0.5f, 0.02f, 0.5f}, {1.08f, 0.98f, 0.5f}, 0.1f);
    const float endPoint[3] = {1.08f, 0.98f, 0.5f};
    EXPECT_EQ(tree.FindCell(endPoint), root->Child(1));
    ASSERT_EQ(leaves.size(), 1u);
    EXPECT_EQ(leaves[0], root->Child(0));
}

// The other early end by design: a batch made only of leaves that the line grazes has no exit
// beyond parameter 0, so the walk stops. The segment starts in the leaf [0.25, 0.5] x [0, 0.25]
// of the split child 0 and crosses x = 0.5 into child 1: the first batch. The next probe lies in
// child 1 (already delivered) at (0.56, 0.24); its corner (0.50, 0.30) finds one new leaf,
// [0.25, 0.5]^2 of child 0, which the line passes more than the tolerance away at every face
// plane it crosses. Child 3, where the segment runs from t = 0.52 to its end, is never reached.
TEST(OctreeLineTrav, ABatchOfGrazedLeavesEndsTheWalk) {
    Boxes boxes;
    omi_Octree tree(kUnitCenter, kUnitHalf, 0.001f, Boxes::GetBox, &boxes);
    SplitChildZero(tree, boxes);
    const omi_OctreeBranch* root = AsBranch(tree.Root());
    const float startLeaf[3] = {0.4f, 0.1f, 0.1f}, grazed[3] = {0.4f, 0.4f, 0.1f};
    const float tolerance = 0.0625f;
    float start[3] = {0.47f, 0.075f, 0.125f}, end[3] = {0.93f, 0.89f, 0.125f};
    ASSERT_EQ(tree.FindCell(end), root->Child(3));

    omi_OctreeLineTrav trav;
    ASSERT_TRUE(trav.Init(&tree, start, end, tolerance));
    EXPECT_EQ(trav.NextCell(), tree.FindCell(startLeaf));
    EXPECT_EQ(trav.NextCell(), root->Child(1));
    EXPECT_EQ(trav.NextCell(), tree.FindCell(grazed));
    EXPECT_NEAR(trav.Parameter(), 0.1988f, 1e-3f);
    EXPECT_EQ(trav.NextCell(), nullptr);

    // Child 3 is within reach: the rest of the segment, walked on its own, delivers it.
    auto rest = Walk(trav, tree, {0.7f, 0.482f, 0.125f}, {0.93f, 0.89f, 0.125f}, tolerance);
    EXPECT_NE(std::find(rest.begin(), rest.end(), root->Child(3)), rest.end());
}

// Brute force: every leaf that a fine sample of the segment falls in is delivered, none twice.
// A leaf may be missed only as the header explains: (1) its samples lie within the tolerance of
// a delivered leaf, or (2) they lie beyond the last batch's probe, and that batch holds no leaf
// that the rest of the segment passes through (so it had no exit to jump to).
struct TravStats {
    unsigned segments = 0, touched = 0, delivered = 0, nearMisses = 0, endMisses = 0;
};

struct Delivery {
    const omi_OctreeLeaf* leaf;
    float parameter;
};

bool NearAny(const std::vector<Delivery>& got, const std::array<float, 3>& p, float tolerance) {
    const float slack = tolerance * 1.01f + 1e-6f;
    for (const Delivery& d : got) {
        omi_OctVector lo, hi;
        d.leaf->GetBounds(lo, hi);
        bool inside = true;
        for (unsigned k = 0; k < 3; ++k) {
            inside = inside && p[k] >= lo[k] - slack && p[k] <= hi[k] + slack;
        }
        if (inside) return true;
    }
    return false;
}

void CheckAgainstSamples(const omi_Octree& tree, float tolerance, unsigned segments, unsigned seed,
                         TravStats& stats) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> coord(-0.1f, 1.1f);
    omi_OctVector rootMin, rootMax;
    tree.GetBounds(rootMin, rootMax);
    omi_OctreeLineTrav trav;
    for (unsigned s = 0; s < segments; ++s) {
        std::array<float, 3> a, b;
        for (unsigned k = 0; k < 3; ++k) a[k] = coord(rng), b[k] = coord(rng);
        if (s % 4 == 0) b = {a[0] + 0.3f * (b[0] - a[0]), a[1], a[2]};  // parallel to x
        std::vector<Delivery> got;
        if (trav.Init(&tree, a.data(), b.data(), tolerance)) {
            while (const omi_OctreeLeaf* leaf = trav.NextCell())
                got.push_back({leaf, trav.Parameter()});
        }
        ++stats.segments;
        stats.touched += !got.empty();
        stats.delivered += static_cast<unsigned>(got.size());
        std::set<const omi_OctreeLeaf*> delivered, lastBatch;
        for (const Delivery& d : got) {
            delivered.insert(d.leaf);
            if (d.parameter == got.back().parameter) lastBatch.insert(d.leaf);
        }
        ASSERT_EQ(delivered.size(), got.size()) << "a leaf delivered twice, segment " << s;
        const float lastProbe = got.empty() ? 0 : got.back().parameter;

        const unsigned n = 4000;
        std::vector<std::pair<float, std::array<float, 3>>> far;
        std::set<const omi_OctreeLeaf*> nearMissed, endMissed;
        bool lastBatchCrossedLater = false;
        for (unsigned i = 0; i <= n; ++i) {
            const float t = static_cast<float>(i) / n;
            std::array<float, 3> p;
            for (unsigned k = 0; k < 3; ++k) p[k] = a[k] + t * (b[k] - a[k]);
            if (!(omi_OctVector(p.data()) >= rootMin && omi_OctVector(p.data()) <= rootMax)) {
                continue;
            }
            const omi_OctreeLeaf* leaf = tree.FindCell(p.data());
            if (t > lastProbe && lastBatch.count(leaf)) lastBatchCrossedLater = true;
            if (delivered.count(leaf)) continue;
            if (NearAny(got, p, tolerance)) {
                nearMissed.insert(leaf);
                continue;
            }
            ASSERT_GT(t, lastProbe) << "tolerance " << tolerance << ", segment " << s
                                    << " misses leaf " << leaf->Index() << " at t=" << t;
            endMissed.insert(leaf);
        }
        ASSERT_TRUE(endMissed.empty() || !lastBatchCrossedLater)
            << "tolerance " << tolerance << ", segment " << s << " ended early after a batch "
            << "that the segment passes through";
        for (const omi_OctreeLeaf* leaf : endMissed) nearMissed.erase(leaf);
        stats.nearMisses += static_cast<unsigned>(nearMissed.size());
        stats.endMisses += static_cast<unsigned>(endMissed.size());
    }
}

TEST(OctreeLineTravProperty, EverySampledLeafIsDeliveredOnce) {
    for (Shape shape : {Shape::kUniform, Shape::kClustered}) {
        for (float tolerance : {0.002f, 0.01f}) {
            RandomModel m;
            MakeModel(m, shape, 20000, 21);
            omi_Octree tree(m.center, m.half, tolerance, Boxes::GetBox, &m.boxes);
            for (unsigned i = 0; i < m.boxes.box.size(); ++i) m.boxes.Insert(tree, i);
            TravStats stats;
            CheckAgainstSamples(tree, tolerance, 150, 99, stats);
            if (HasFatalFailure()) return;
            EXPECT_GT(stats.touched, stats.segments / 2);
            EXPECT_GT(stats.delivered, stats.segments * 3);
            // Misses by design stay a small part of what is delivered.
            EXPECT_LT((stats.nearMisses + stats.endMisses) * 5, stats.delivered)
                << stats.nearMisses << " + " << stats.endMisses << " of " << stats.delivered;
            std::printf(
                "tolerance %g: %u segments, %u leaves delivered, missed by design: %u "
                "near a delivered leaf, %u after an early end\n",
                static_cast<double>(tolerance), stats.segments, stats.delivered, stats.nearMisses,
                stats.endMisses);
        }
    }
}

}  // namespace

// Client boxes and random box models shared by the octree tests.
#pragma once

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "zorbas/spatial/omi_Octree.h"

namespace octree_test {

struct Boxes {
    std::vector<std::array<float, 6>> box;
    std::vector<unsigned> asked;

    unsigned Add(float x0, float y0, float z0, float x1, float y1, float z1) {
        box.push_back({x0, y0, z0, x1, y1, z1});
        return static_cast<unsigned>(box.size() - 1);
    }
    static void GetBox(void* data, unsigned index, float* min, float* max) {
        Boxes* self = static_cast<Boxes*>(data);
        self->asked.push_back(index);
        const auto& b = self->box[index];
        std::copy(b.begin(), b.begin() + 3, min);
        std::copy(b.begin() + 3, b.end(), max);
    }
    void Insert(omi_Octree& tree, unsigned i) const {
        const auto& b = box[i];
        tree.InsertBox(i, omi_OctVector(b.data()), omi_OctVector(b.data() + 3));
    }
};

inline std::vector<unsigned> Items(const omi_OctreeLeaf* leaf) {
    std::vector<unsigned> items;
    for (unsigned i = 0; i < leaf->Count(); ++i) items.push_back(leaf->CellIndex(i));
    return items;
}

inline const omi_OctreeBranch* AsBranch(const omi_OctreeCell* cell) {
    return dynamic_cast<const omi_OctreeBranch*>(cell);
}

enum class Shape { kUniform, kClustered, kFlatZ, kLineX };

struct RandomModel {
    Boxes boxes;
    omi_OctVector center, half;
    float tolerance = 1e-4f;
};

inline void MakeModel(RandomModel& m, Shape shape, unsigned n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::normal_distribution<float> gauss(0.0f, 0.03f);
    std::vector<std::array<float, 3>> clusters;
    for (int i = 0; i < 5; ++i) clusters.push_back({unit(rng), unit(rng), unit(rng)});
    m.center = omi_OctVector(0.5f, 0.5f, 0.5f);
    m.half = omi_OctVector(0.5f, 0.5f, 0.5f);
    if (shape == Shape::kFlatZ) m.half[2] = 1e-5f;
    if (shape == Shape::kLineX) m.half[1] = m.half[2] = 1e-5f;
    for (unsigned i = 0; i < n; ++i) {
        float p[3], size[3];
        for (unsigned k = 0; k < 3; ++k) {
            // Some boxes stick out of the root: they must be found all the same.
            p[k] = -0.05f + 1.1f * unit(rng);
            size[k] = 0.02f * unit(rng) * unit(rng);
        }
        if (shape == Shape::kClustered) {
            const auto& c = clusters[i % clusters.size()];
            for (unsigned k = 0; k < 3; ++k) p[k] = c[k] + gauss(rng);
            for (float& s : size) s *= 0.1f;
        }
        if (shape == Shape::kFlatZ || shape == Shape::kLineX) p[2] = 0.5f, size[2] = 0;
        if (shape == Shape::kLineX) p[1] = 0.5f + 1e-6f * unit(rng), size[1] = 0;
        m.boxes.Add(p[0], p[1], p[2], p[0] + size[0], p[1] + size[1], p[2] + size[2]);
    }
}

}  // namespace octree_test

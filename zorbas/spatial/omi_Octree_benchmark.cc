// The octree against boost::geometry::index::rtree on the same element boxes, in the same run:
// building from 10^6 boxes (the octree by insertion; the rtree by incremental insertion and by
// its bulk-loading packing constructor), finding the boxes that hold each of 10^6 points, and
// walking 10^4 segments with the line traversal. Both sides of a point query answer the same
// set of boxes and the benchmark sums their number: the octree's FindCell gives a leaf, whose
// candidates are then tested for containment. Bytes per item after the build are reported as
// counters: the tracked heap's growth for the octree, a counting allocator for the rtree.
//
// Meshes: "block", a 100^3 hex block refined towards one corner with jittered nodes; "shell", a
// sphere of 1,000 x 1,000 quads of thickness 1e-3.
#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>

#include "bench/CountingAllocator.h"
#include "companions/alloc/mem_Malloc.h"
#include "zorbas/spatial/omi_Octree.h"
#include "zorbas/spatial/omi_OctreeBoxQuery.h"
#include "zorbas/spatial/omi_OctreeLineTrav.h"

namespace {

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;

using Box6 = std::array<float, 6>;
using Point3 = std::array<float, 3>;

constexpr float kTolerance = 1e-4f;

struct Mesh {
    const char* name;
    std::vector<Box6> boxes;
    std::vector<Point3> points;                    // 10^6 locations inside elements
    std::vector<std::pair<Point3, Point3>> lines;  // 10^4 segments across the model
    Box6 bounds;
};

void Finish(Mesh& m, std::mt19937& rng) {
    m.bounds = {1e30f, 1e30f, 1e30f, -1e30f, -1e30f, -1e30f};
    for (const Box6& b : m.boxes) {
        for (unsigned k = 0; k < 3; ++k) {
            m.bounds[k] = std::min(m.bounds[k], b[k]);
            m.bounds[k + 3] = std::max(m.bounds[k + 3], b[k + 3]);
        }
    }
    std::uniform_int_distribution<size_t> pick(0, m.boxes.size() - 1);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    m.points.resize(1000000);
    for (Point3& p : m.points) {
        const Box6& b = m.boxes[pick(rng)];
        for (unsigned k = 0; k < 3; ++k) p[k] = b[k] + unit(rng) * (b[k + 3] - b[k]);
    }
    m.lines.resize(10000);
    for (auto& [a, b] : m.lines) {
        for (unsigned k = 0; k < 3; ++k) {
            a[k] = m.bounds[k] + unit(rng) * (m.bounds[k + 3] - m.bounds[k]);
            b[k] = m.bounds[k] + unit(rng) * (m.bounds[k + 3] - m.bounds[k]);
        }
    }
}

const Mesh& Block() {
    static const Mesh mesh = [] {
        Mesh m{"block", {}, {}, {}, {}};
        constexpr int n = 100;
        std::mt19937 rng(1);
        std::uniform_real_distribution<float> jitter(-0.2f, 0.2f);
        auto coord = [](int i) { return std::pow(static_cast<float>(i) / n, 1.5f); };
        std::vector<Point3> nodes;
        nodes.reserve((n + 1) * (n + 1) * (n + 1));
        for (int k = 0; k <= n; ++k) {
            for (int j = 0; j <= n; ++j) {
                for (int i = 0; i <= n; ++i) {
                    auto jit = [&](int c) {
                        if (c == 0 || c == n) return coord(c);
                        return coord(c) + jitter(rng) * (coord(c + 1) - coord(c));
                    };
                    nodes.push_back({jit(i), jit(j), jit(k)});
                }
            }
        }
        auto node = [&](int i, int j, int k) { return nodes[(k * (n + 1) + j) * (n + 1) + i]; };
        m.boxes.reserve(n * n * n);
        for (int k = 0; k < n; ++k) {
            for (int j = 0; j < n; ++j) {
                for (int i = 0; i < n; ++i) {
                    Box6 b = {1e30f, 1e30f, 1e30f, -1e30f, -1e30f, -1e30f};
                    for (int c = 0; c < 8; ++c) {
                        Point3 p = node(i + (c & 1), j + ((c >> 1) & 1), k + ((c >> 2) & 1));
                        for (unsigned a = 0; a < 3; ++a) {
                            b[a] = std::min(b[a], p[a]);
                            b[a + 3] = std::max(b[a + 3], p[a]);
                        }
                    }
                    m.boxes.push_back(b);
                }
            }
        }
        Finish(m, rng);
        return m;
    }();
    return mesh;
}

const Mesh& Shell() {
    static const Mesh mesh = [] {
        Mesh m{"shell", {}, {}, {}, {}};
        constexpr int n = 1000;
        constexpr float r = 0.5f, thick = 1e-3f;
        const float pi = 3.14159265f;
        auto at = [&](int i, int j) {
            const float theta = pi * (0.001f + 0.998f * static_cast<float>(j) / n);
            const float phi = 2 * pi * static_cast<float>(i) / n;
            return Point3{r * std::sin(theta) * std::cos(phi) + 0.5f,
                          r * std::sin(theta) * std::sin(phi) + 0.5f, r * std::cos(theta) + 0.5f};
        };
        m.boxes.reserve(n * n);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                Box6 b = {1e30f, 1e30f, 1e30f, -1e30f, -1e30f, -1e30f};
                for (int c = 0; c < 4; ++c) {
                    Point3 p = at(i + (c & 1), j + (c >> 1));
                    for (unsigned a = 0; a < 3; ++a) {
                        b[a] = std::min(b[a], p[a] - thick / 2);
                        b[a + 3] = std::max(b[a + 3], p[a] + thick / 2);
                    }
                }
                m.boxes.push_back(b);
            }
        }
        std::mt19937 rng(2);
        Finish(m, rng);
        return m;
    }();
    return mesh;
}

const Mesh& MeshOf(const benchmark::State& state) {
    const Mesh& m = state.range(0) == 0 ? Block() : Shell();
    return m;
}

// ---------------------------------------------------------------------------------------------
// Octree.

void GetBox(void* data, unsigned index, float* min, float* max) {
    const Box6& b = (*static_cast<const std::vector<Box6>*>(data))[index];
    min[0] = b[0], min[1] = b[1], min[2] = b[2];
    max[0] = b[3], max[1] = b[4], max[2] = b[5];
}

omi_Octree* BuildOctree(const Mesh& m) {
    const omi_OctVector center((m.bounds[0] + m.bounds[3]) / 2, (m.bounds[1] + m.bounds[4]) / 2,
                               (m.bounds[2] + m.bounds[5]) / 2);
    const omi_OctVector half((m.bounds[3] - m.bounds[0]) / 2, (m.bounds[4] - m.bounds[1]) / 2,
                             (m.bounds[5] - m.bounds[2]) / 2);
    auto* tree =
        new omi_Octree(center, half, kTolerance, GetBox, const_cast<std::vector<Box6>*>(&m.boxes));
    for (unsigned i = 0; i < m.boxes.size(); ++i) {
        const Box6& b = m.boxes[i];
        tree->InsertBox(i, omi_OctVector(b.data()), omi_OctVector(b.data() + 3));
    }
    return tree;
}

const omi_Octree& SharedOctree(const Mesh& m) {
    static std::unique_ptr<omi_Octree> trees[2];
    std::unique_ptr<omi_Octree>& t = trees[&m == &Block() ? 0 : 1];
    if (!t) t.reset(BuildOctree(m));
    return *t;
}

void BM_Build_Octree(benchmark::State& state) {
    const Mesh& m = MeshOf(state);
    size_t bytes = 0;
    for (auto _ : state) {
        const size_t before = mem_Footprint();
        omi_Octree* tree = BuildOctree(m);
        state.PauseTiming();
        bytes = mem_Footprint() - before;
        delete tree;
        state.ResumeTiming();
    }
    state.SetLabel(m.name);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(m.boxes.size()));
    state.counters["bytes_per_item"] = static_cast<double>(bytes) / m.boxes.size();
}

bool Holds(const Box6& b, const Point3& p) {
    return b[0] <= p[0] && p[0] <= b[3] && b[1] <= p[1] && p[1] <= b[4] && b[2] <= p[2] &&
           p[2] <= b[5];
}

// The leaf alone, without the containment test: what FindCell costs by itself.
void BM_FindCell_Octree(benchmark::State& state) {
    const Mesh& m = MeshOf(state);
    const omi_Octree& tree = SharedOctree(m);
    for (auto _ : state) {
        unsigned sum = 0;
        for (const Point3& p : m.points) sum += tree.FindCell(p.data())->Count();
        benchmark::DoNotOptimize(sum);
    }
    state.SetLabel(m.name);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(m.points.size()));
}

// The boxes that hold the point, the way a client of FindCell finds them: each candidate of the
// leaf through CellIndex, its box from the client's array.
void BM_Locate_OctreeClient(benchmark::State& state) {
    const Mesh& m = MeshOf(state);
    const omi_Octree& tree = SharedOctree(m);
    size_t hits = 0;
    for (auto _ : state) {
        hits = 0;
        for (const Point3& p : m.points) {
            const omi_OctreeLeaf* leaf = tree.FindCell(p.data());
            for (unsigned i = 0, n = leaf->Count(); i < n; ++i)
                hits += Holds(m.boxes[leaf->CellIndex(i)], p);
        }
        benchmark::DoNotOptimize(hits);
    }
    state.SetLabel(m.name);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(m.points.size()));
    state.counters["hits_per_point"] = static_cast<double>(hits) / m.points.size();
}

void BM_LineTrav_Octree(benchmark::State& state) {
    const Mesh& m = MeshOf(state);
    const omi_Octree& tree = SharedOctree(m);
    omi_OctreeLineTrav trav;
    int64_t leaves = 0;
    for (auto _ : state) {
        for (const auto& [a, b] : m.lines) {
            Point3 start = a, end = b;
            if (!trav.Init(&tree, start.data(), end.data(), kTolerance)) continue;
            while (trav.NextCell()) ++leaves;
        }
    }
    state.SetLabel(m.name);
    state.counters["leaves_per_second"] =
        benchmark::Counter(static_cast<double>(leaves), benchmark::Counter::kIsRate);
    state.counters["leaves_per_segment"] =
        static_cast<double>(leaves) / static_cast<double>(state.iterations() * m.lines.size());
}

// The same answer through omi_OctreeBoxQuery, which tests the leaf's compact copy of its
// candidates' boxes. The copies are made by a first pass over all the points before the timed
// runs (its time and the copies' bytes per item are reported as counters).
void BM_Locate_OctreeQuery(benchmark::State& state) {
    const Mesh& m = MeshOf(state);
    const omi_Octree& tree = SharedOctree(m);
    omi_OctreeBoxQuery query(tree);
    std::vector<unsigned> found;
    const size_t before = mem_Footprint();
    const auto start = std::chrono::steady_clock::now();
    for (const Point3& p : m.points) query.BoxesAt(p.data(), found);
    const std::chrono::duration<double, std::milli> firstPass =
        std::chrono::steady_clock::now() - start;
    const size_t bytes = mem_Footprint() - before;
    size_t hits = 0;
    for (auto _ : state) {
        hits = 0;
        for (const Point3& p : m.points) hits += query.BoxesAt(p.data(), found);
        benchmark::DoNotOptimize(hits);
    }
    state.SetLabel(m.name);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(m.points.size()));
    state.counters["hits_per_point"] = static_cast<double>(hits) / m.points.size();
    state.counters["copy_bytes_per_item"] = static_cast<double>(bytes) / m.boxes.size();
    state.counters["first_pass_ms"] = firstPass.count();
}

// ---------------------------------------------------------------------------------------------
// The rtree anchor.

using BgPoint = bg::model::point<float, 3, bg::cs::cartesian>;
using BgBox = bg::model::box<BgPoint>;
using BgValue = std::pair<BgBox, unsigned>;
template <class Params>
using Rtree = bgi::rtree<BgValue, Params, bgi::indexable<BgValue>, bgi::equal_to<BgValue>,
                         CountingAllocator<BgValue>>;

BgBox ToBg(const Box6& b) { return BgBox(BgPoint(b[0], b[1], b[2]), BgPoint(b[3], b[4], b[5])); }

template <class Params>
std::unique_ptr<Rtree<Params>> BuildRtree(const Mesh& m) {
    auto tree = std::make_unique<Rtree<Params>>();
    for (unsigned i = 0; i < m.boxes.size(); ++i) tree->insert(BgValue(ToBg(m.boxes[i]), i));
    return tree;
}

// The packing constructor: the rtree's bulk load, its best build and best-shaped tree.
template <class Params>
std::unique_ptr<Rtree<Params>> PackRtree(const Mesh& m) {
    std::vector<BgValue> values;
    values.reserve(m.boxes.size());
    for (unsigned i = 0; i < m.boxes.size(); ++i) values.emplace_back(ToBg(m.boxes[i]), i);
    return std::make_unique<Rtree<Params>>(values.begin(), values.end());
}

// Argument 1 of the rtree rows: 0 incremental insertion, 1 the packing constructor.
template <class Params>
std::unique_ptr<Rtree<Params>> MakeRtree(const Mesh& m, bool packed) {
    return packed ? PackRtree<Params>(m) : BuildRtree<Params>(m);
}

template <class Params>
void BM_Build_Rtree(benchmark::State& state) {
    const Mesh& m = MeshOf(state);
    size_t bytes = 0;
    for (auto _ : state) {
        const size_t before = bench_countedBytes;
        auto tree = MakeRtree<Params>(m, state.range(1) != 0);
        state.PauseTiming();
        bytes = bench_countedBytes - before;
        tree.reset();
        state.ResumeTiming();
    }
    state.SetLabel(std::string(m.name) + (state.range(1) ? " packed" : " inserted"));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(m.boxes.size()));
    state.counters["bytes_per_item"] = static_cast<double>(bytes) / m.boxes.size();
}

template <class Params>
void BM_Locate_Rtree(benchmark::State& state) {
    const Mesh& m = MeshOf(state);
    static std::unique_ptr<Rtree<Params>> trees[2][2];
    auto& tree = trees[state.range(0)][state.range(1)];
    if (!tree) tree = MakeRtree<Params>(m, state.range(1) != 0);
    std::vector<BgValue> found;
    size_t hits = 0;
    for (auto _ : state) {
        hits = 0;
        for (const Point3& p : m.points) {
            found.clear();
            tree->query(bgi::intersects(BgPoint(p[0], p[1], p[2])), std::back_inserter(found));
            hits += found.size();
        }
        benchmark::DoNotOptimize(hits);
    }
    state.SetLabel(std::string(m.name) + (state.range(1) ? " packed" : " inserted"));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(m.points.size()));
    state.counters["hits_per_point"] = static_cast<double>(hits) / m.points.size();
}

using Quadratic = bgi::quadratic<16>;
using Linear = bgi::linear<16>;
using RStar = bgi::rstar<16>;

// Rtree rows: first argument the mesh, second 0 for incremental insertion, 1 for packing.
#define ZORBAS_RTREE ->ArgsProduct({{0, 1}, {0, 1}})->Unit(benchmark::kMillisecond)
BENCHMARK(BM_Build_Octree)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Build_Rtree, Quadratic) ZORBAS_RTREE;
BENCHMARK_TEMPLATE(BM_Build_Rtree, Linear)
    ->Args({0, 0})
    ->Args({1, 0})
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Build_Rtree, RStar) ZORBAS_RTREE;
BENCHMARK(BM_FindCell_Octree)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Locate_OctreeClient)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Locate_OctreeQuery)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Locate_Rtree, Quadratic) ZORBAS_RTREE;
BENCHMARK_TEMPLATE(BM_Locate_Rtree, RStar) ZORBAS_RTREE;
BENCHMARK(BM_LineTrav_Octree)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

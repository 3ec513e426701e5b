// omi_UintTable<int> against JudyL, absl::flat_hash_map, std::unordered_map and std::map on the
// same mesh-like keys: 10^7 insertions, 10^7 lookups (in a shuffled order, and in the insertion
// order that element loops follow), the ordered walk, and the bytes held per key.
//   dense:     ids 1..N with every tenth id (at random) missing, inserted in ascending order
//   scattered: blocks of 10^4 consecutive ids at random places of the 32-bit range
#include <Judy.h>
#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <unordered_map>
#include <vector>

#include "bench/CountingAllocator.h"
#include "companions/alloc/mem_Malloc.h"
#include "zorbas/intsets/omi_UintTable.h"

namespace {

constexpr size_t kKeys = 10'000'000;

struct KeySet {
    std::vector<uint32_t> insertOrder;
    std::vector<uint32_t> lookupOrder;
    uint32_t range;  // max key - min key + 1
};

const KeySet& Dense() {
    static KeySet set = [] {
        KeySet s;
        std::mt19937 rng(1);
        s.insertOrder.reserve(kKeys);
        for (uint32_t id = 1; s.insertOrder.size() < kKeys; ++id) {
            if (rng() % 10 != 0) s.insertOrder.push_back(id);
        }
        s.range = s.insertOrder.back();
        s.lookupOrder = s.insertOrder;
        std::shuffle(s.lookupOrder.begin(), s.lookupOrder.end(), rng);
        return s;
    }();
    return set;
}

const KeySet& Scattered() {
    static KeySet set = [] {
        KeySet s;
        std::mt19937 rng(2);
        while (s.insertOrder.size() < kKeys) {
            uint32_t base = rng() % (0xFFFFFFFFu - 10'000);
            for (uint32_t i = 0; i < 10'000; ++i) s.insertOrder.push_back(base + i);
        }
        std::vector<uint32_t> sorted = s.insertOrder;
        std::sort(sorted.begin(), sorted.end());
        s.range = sorted.back() - sorted.front() + 1;
        s.lookupOrder = s.insertOrder;
        std::shuffle(s.lookupOrder.begin(), s.lookupOrder.end(), rng);
        return s;
    }();
    return set;
}

// Scattered keys in blocks of 10^4 at n = 10^5, 10^6 and 10^7 keys (the 10^7 set is Scattered()).
const KeySet& ScatteredOf(size_t n) {
    static std::map<size_t, KeySet> sets;
    if (n == kKeys) return Scattered();
    auto [it, fresh] = sets.try_emplace(n);
    if (fresh) {
        KeySet& s = it->second;
        std::mt19937 rng(static_cast<unsigned>(n));
        while (s.insertOrder.size() < n) {
            uint32_t base = rng() % (0xFFFFFFFFu - 10'000);
            for (uint32_t i = 0; i < 10'000; ++i) s.insertOrder.push_back(base + i);
        }
        s.range = 0;
        s.lookupOrder = s.insertOrder;
        std::shuffle(s.lookupOrder.begin(), s.lookupOrder.end(), rng);
    }
    return it->second;
}

const KeySet& Keys(const benchmark::State& state) {
    return state.range(0) == 0 ? Dense() : Scattered();
}

using Table = omi_UintTable<int, ZORBasOmiDefaultAllocator>;
using Absl = absl::flat_hash_map<uint32_t, int, absl::Hash<uint32_t>, std::equal_to<uint32_t>,
                                 CountingAllocator<std::pair<const uint32_t, int>>>;
using Unordered = std::unordered_map<uint32_t, int, std::hash<uint32_t>, std::equal_to<uint32_t>,
                                     CountingAllocator<std::pair<const uint32_t, int>>>;
using Ordered =
    std::map<uint32_t, int, std::less<uint32_t>, CountingAllocator<std::pair<const uint32_t, int>>>;

// Each adapter: Insert, Find (value or -1), Bytes held, Walk sum.
struct Ours {
    Table table;
    size_t base = mem_Footprint();
    void Insert(uint32_t k, int v) { table.Insert(k, v); }
    int Find(uint32_t k) const {
        int v = -1;
        table.ConstGetValue(k, v);
        return v;
    }
    size_t Bytes() const { return mem_Footprint() - base; }
    int64_t Walk() const {
        int64_t sum = 0;
        omi_UintTableIterator<int, ZORBasOmiDefaultAllocator> it(table);
        for (it.First(); !it.IsDone(); it.Next()) sum += it.CurrentKey() + it.CurrentValue();
        return sum;
    }
};

// The same table walked through the iterator's Walk, which steps within a page on locals.
struct OursWalk : Ours {
    int64_t Walk() const {
        int64_t sum = 0;
        omi_UintTableIterator<int, ZORBasOmiDefaultAllocator> it(table);
        it.First();
        it.Walk([&](unsigned key, const int& value) {
            sum += key + value;
            return true;
        });
        return sum;
    }
};

struct JudyL {
    Pvoid_t array = nullptr;
    ~JudyL() { JudyLFreeArray(&array, PJE0); }
    void Insert(uint32_t k, int v) {
        auto* cell = reinterpret_cast<PWord_t>(JudyLIns(&array, k, PJE0));
        *cell = static_cast<Word_t>(v);
    }
    int Find(uint32_t k) const {
        auto* cell = reinterpret_cast<PWord_t>(JudyLGet(array, k, PJE0));
        return cell ? static_cast<int>(*cell) : -1;
    }
    size_t Bytes() const { return JudyLMemUsed(array); }
};

template <class Map>
struct Std {
    Map map;
    size_t base = bench_countedBytes;
    void Insert(uint32_t k, int v) { map[k] = v; }
    int Find(uint32_t k) const {
        auto it = map.find(k);
        return it == map.end() ? -1 : it->second;
    }
    size_t Bytes() const { return bench_countedBytes - base; }
    int64_t Walk() const {
        int64_t sum = 0;
        for (const auto& [k, v] : map) sum += k + v;
        return sum;
    }
};

template <class C>
void BM_Insert(benchmark::State& state) {
    const KeySet& keys = Keys(state);
    double bytesPerKey = 0;
    for (auto _ : state) {
        auto* c = new C;
        for (uint32_t k : keys.insertOrder) c->Insert(k, static_cast<int>(k));
        state.PauseTiming();
        bytesPerKey = double(c->Bytes()) / double(keys.insertOrder.size());
        delete c;
        state.ResumeTiming();
    }
    state.counters["bytes_per_key"] = bytesPerKey;
    // A plain int array spanning the key range, per key present.
    state.counters["int_array_bytes_per_key"] =
        double(keys.range) * sizeof(int) / double(keys.insertOrder.size());
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(keys.insertOrder.size()));
}

template <class C>
void BM_Lookup(benchmark::State& state) {
    const KeySet& keys = Keys(state);
    C c;
    for (uint32_t k : keys.insertOrder) c.Insert(k, static_cast<int>(k));
    const std::vector<uint32_t>& order = state.range(1) == 0 ? keys.lookupOrder : keys.insertOrder;
    for (auto _ : state) {
        int64_t sum = 0;
        for (uint32_t k : order) sum += c.Find(k);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(keys.lookupOrder.size()));
}

// Shuffled lookups of scattered keys; the argument is the number of keys.
template <class C>
void BM_LookupScattered(benchmark::State& state) {
    const KeySet& keys = ScatteredOf(static_cast<size_t>(state.range(0)));
    C c;
    for (uint32_t k : keys.insertOrder) c.Insert(k, static_cast<int>(k));
    const int64_t runs = kKeys / keys.lookupOrder.size();
    for (auto _ : state) {
        int64_t sum = 0;
        for (int64_t r = 0; r < runs; ++r) {
            for (uint32_t k : keys.lookupOrder) sum += c.Find(k);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * runs * int64_t(keys.lookupOrder.size()));
}

template <class C>
void BM_Walk(benchmark::State& state) {
    const KeySet& keys = Keys(state);
    C c;
    for (uint32_t k : keys.insertOrder) c.Insert(k, static_cast<int>(k));
    for (auto _ : state) benchmark::DoNotOptimize(c.Walk());
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(keys.insertOrder.size()));
}

// Argument 0: dense keys, 1: scattered blocks.
#define ZORBAS_KEYS ->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(3)
BENCHMARK_TEMPLATE(BM_Insert, Ours) ZORBAS_KEYS;
BENCHMARK_TEMPLATE(BM_Insert, JudyL) ZORBAS_KEYS;
BENCHMARK_TEMPLATE(BM_Insert, Std<Absl>) ZORBAS_KEYS;
BENCHMARK_TEMPLATE(BM_Insert, Std<Unordered>) ZORBAS_KEYS;
// Lookups: second argument 0 for a shuffled order, 1 for the insertion order.
#define ZORBAS_LOOKUPS ->ArgsProduct({{0, 1}, {0, 1}})->Unit(benchmark::kMillisecond)->Iterations(3)
BENCHMARK_TEMPLATE(BM_Lookup, Ours) ZORBAS_LOOKUPS;
BENCHMARK_TEMPLATE(BM_Lookup, JudyL) ZORBAS_LOOKUPS;
BENCHMARK_TEMPLATE(BM_Lookup, Std<Absl>) ZORBAS_LOOKUPS;
BENCHMARK_TEMPLATE(BM_Lookup, Std<Unordered>) ZORBAS_LOOKUPS;
// Each run makes 10^7 lookups: the smaller sets are looked up 10 or 100 times over.
#define ZORBAS_SCATTERED \
    ->Arg(100'000)->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond)->Iterations(3)
BENCHMARK_TEMPLATE(BM_LookupScattered, Ours) ZORBAS_SCATTERED;
BENCHMARK_TEMPLATE(BM_LookupScattered, Std<Absl>) ZORBAS_SCATTERED;
BENCHMARK_TEMPLATE(BM_LookupScattered, JudyL) ZORBAS_SCATTERED;
BENCHMARK_TEMPLATE(BM_Walk, Ours) ZORBAS_KEYS;
BENCHMARK_TEMPLATE(BM_Walk, OursWalk) ZORBAS_KEYS;
BENCHMARK_TEMPLATE(BM_Walk, Std<Ordered>) ZORBAS_KEYS;

}  // namespace

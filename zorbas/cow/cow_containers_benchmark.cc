// The copy-on-write containers against the standard containers, on the same 10^6 elements in the
// same run: copy then write, indexed reads, growth at both ends, and for the ordered tree and the
// digital search map: insert, find, ordered walk, and copy then insert.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <numeric>
#include <random>
#include <vector>

#include "companions/alloc/mem_Malloc.h"
#include "zorbas/cow/cow_Btree.h"
#include "zorbas/cow/cow_List.h"
#include "zorbas/cow/cow_Map.h"

namespace {

constexpr int kN = 1000000;

const std::vector<int>& Sequence() {
    static const std::vector<int> v = [] {
        std::vector<int> s(kN);
        std::iota(s.begin(), s.end(), 0);
        return s;
    }();
    return v;
}

// The keys 0..N-1 in a fixed random order, for inserts and finds.
const std::vector<int>& Shuffled() {
    static const std::vector<int> v = [] {
        std::vector<int> s = Sequence();
        std::shuffle(s.begin(), s.end(), std::mt19937(42));
        return s;
    }();
    return v;
}

// Built by Append: the default blocks of 16 elements, a directory of 62500 slots.
const cow_List<int>& AppendedList() {
    static const cow_List<int> l = [] {
        cow_List<int> r;
        for (int x : Sequence()) r.Append(x);
        return r;
    }();
    return l;
}

// Built from an array: presized, blocks of 65536 elements.
const cow_List<int>& PresizedList() {
    static const cow_List<int> l(Sequence().data(), kN, 0);
    return l;
}

const cow_Btree<int, int>& Tree() {
    static const cow_Btree<int, int> t = [] {
        cow_Btree<int, int> r;
        for (int k : Shuffled()) r.InsertUnlessMember(k, k);
        return r;
    }();
    return t;
}

const cow_Map<int, int>& DigitalMap() {
    static const cow_Map<int, int> m = [] {
        cow_Map<int, int> r;
        for (int k : Shuffled()) r.Insert(k, k);
        return r;
    }();
    return m;
}

const std::map<int, int>& StdMap() {
    static const std::map<int, int> m = [] {
        std::map<int, int> r;
        for (int k : Shuffled()) r.emplace(k, k);
        return r;
    }();
    return m;
}

// ---- list: copy then one write ----

void BM_ListCopyWrite_Appended(benchmark::State& state) {
    const cow_List<int>& source = AppendedList();
    for (auto _ : state) {
        cow_List<int> copy(source);
        copy.Get(kN / 2) = -1;
        benchmark::DoNotOptimize(copy.ConstGet(kN / 2));
    }
}
BENCHMARK(BM_ListCopyWrite_Appended)->Unit(benchmark::kMicrosecond);

void BM_ListCopyWrite_Presized(benchmark::State& state) {
    const cow_List<int>& source = PresizedList();
    for (auto _ : state) {
        cow_List<int> copy(source);
        copy.Get(kN / 2) = -1;
        benchmark::DoNotOptimize(copy.ConstGet(kN / 2));
    }
}
BENCHMARK(BM_ListCopyWrite_Presized)->Unit(benchmark::kMicrosecond);

void BM_ListCopyOnly(benchmark::State& state) {
    const cow_List<int>& source = PresizedList();
    for (auto _ : state) {
        cow_List<int> copy(source);
        benchmark::DoNotOptimize(copy.ConstGet(kN / 2));
    }
}
BENCHMARK(BM_ListCopyOnly)->Unit(benchmark::kMicrosecond);

void BM_VectorCopyWrite(benchmark::State& state) {
    const std::vector<int>& source = Sequence();
    for (auto _ : state) {
        std::vector<int> copy(source);
        copy[kN / 2] = -1;
        benchmark::DoNotOptimize(copy[kN / 2]);
    }
}
BENCHMARK(BM_VectorCopyWrite)->Unit(benchmark::kMicrosecond);

// ---- list: indexed reads over the whole list ----

void BM_ListConstGetSum(benchmark::State& state) {
    const cow_List<int>& l = PresizedList();
    for (auto _ : state) {
        long long sum = 0;
        for (int i = 0; i < kN; ++i) sum += l.ConstGet(i);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_ListConstGetSum)->Unit(benchmark::kMicrosecond);

void BM_ListConstGetSum_Appended(benchmark::State& state) {
    const cow_List<int>& l = AppendedList();
    for (auto _ : state) {
        long long sum = 0;
        for (int i = 0; i < kN; ++i) sum += l.ConstGet(i);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_ListConstGetSum_Appended)->Unit(benchmark::kMicrosecond);

void BM_ListIterSum(benchmark::State& state) {
    const cow_List<int>& l = PresizedList();
    for (auto _ : state) {
        long long sum = 0;
        for (cow_ListIter<int> it(l); it.NotDone(); it.Next()) sum += it.CurrentItem();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_ListIterSum)->Unit(benchmark::kMicrosecond);

void BM_VectorIndexSum(benchmark::State& state) {
    const std::vector<int>& v = Sequence();
    for (auto _ : state) {
        long long sum = 0;
        for (int i = 0; i < kN; ++i) sum += v[i];
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_VectorIndexSum)->Unit(benchmark::kMicrosecond);

// ---- list: growth at both ends ----

void BM_ListAppend(benchmark::State& state) {
    for (auto _ : state) {
        cow_List<int> l;
        for (int i = 0; i < kN; ++i) l.Append(i);
        benchmark::DoNotOptimize(l.Length());
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_ListAppend)->Unit(benchmark::kMicrosecond);

// Presized for the whole run: blocks of 65536 and a directory that never grows.
void BM_ListAppend_Presized(benchmark::State& state) {
    for (auto _ : state) {
        cow_List<int> l(cow_ListPreSize, kN);
        for (int i = 0; i < kN; ++i) l.Append(i);
        benchmark::DoNotOptimize(l.Length());
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_ListAppend_Presized)->Unit(benchmark::kMicrosecond);

void BM_VectorPushBack(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<int> v;
        for (int i = 0; i < kN; ++i) v.push_back(i);
        benchmark::DoNotOptimize(v.data());
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_VectorPushBack)->Unit(benchmark::kMicrosecond);

// From an empty list: the directory grows by 16 slots at a time, and each growth at the front
// moves every block pointer up, so the cost grows with the square of the length.
void BM_ListPrepend(benchmark::State& state) {
    for (auto _ : state) {
        cow_List<int> l;
        for (int i = 0; i < kN; ++i) l.Prepend(i);
        benchmark::DoNotOptimize(l.Length());
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_ListPrepend)->Unit(benchmark::kMicrosecond);

// The directory traffic alone that 10^6 prepends from empty must make when the directory grows
// by 16 slots and every growth at the front puts the new slots below the used ones: at each of
// the 3,906 growths, a realloc 16 slots larger and a move of every used slot, 977 MB in all. No
// elements, no blocks: the lower bound of BM_ListPrepend for this layout.
void BM_ListPrependDirectoryOnly(benchmark::State& state) {
    for (auto _ : state) {
        void** directory = nullptr;
        int slots = 0;
        for (int used = 0; used * 16 < kN; used += 16) {
            slots += 16;
            directory = static_cast<void**>(mem_Realloc(directory, sizeof(void*) * slots));
            std::memmove(directory + 16, directory, sizeof(void*) * used);
            std::memset(static_cast<void*>(directory), 0, sizeof(void*) * 16);
        }
        benchmark::DoNotOptimize(directory[0]);
        mem_Free(directory);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_ListPrependDirectoryOnly)->Unit(benchmark::kMicrosecond);

// Presized: the first Prefix puts all the free directory room in front, so nothing moves again.
void BM_ListPrepend_Presized(benchmark::State& state) {
    for (auto _ : state) {
        cow_List<int> l(cow_ListPreSize, kN);
        for (int i = 0; i < kN; ++i) l.Prepend(i);
        benchmark::DoNotOptimize(l.Length());
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_ListPrepend_Presized)->Unit(benchmark::kMicrosecond);

void BM_DequePushFront(benchmark::State& state) {
    for (auto _ : state) {
        std::deque<int> d;
        for (int i = 0; i < kN; ++i) d.push_front(i);
        benchmark::DoNotOptimize(d.size());
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_DequePushFront)->Unit(benchmark::kMicrosecond);

// ---- ordered tree, digital map, std::map: insert ----

void BM_BtreeInsert(benchmark::State& state) {
    for (auto _ : state) {
        cow_Btree<int, int> t;
        for (int k : Shuffled()) t.InsertUnlessMember(k, k);
        benchmark::DoNotOptimize(t.Count());
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_BtreeInsert)->Unit(benchmark::kMillisecond);

void BM_CowMapInsert(benchmark::State& state) {
    for (auto _ : state) {
        cow_Map<int, int> m;
        for (int k : Shuffled()) m.Insert(k, k);
        benchmark::DoNotOptimize(m.Size());
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_CowMapInsert)->Unit(benchmark::kMillisecond);

void BM_StdMapInsert(benchmark::State& state) {
    for (auto _ : state) {
        std::map<int, int> m;
        for (int k : Shuffled()) m.emplace(k, k);
        benchmark::DoNotOptimize(m.size());
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_StdMapInsert)->Unit(benchmark::kMillisecond);

// ---- find every key, in random order ----

void BM_BtreeFind(benchmark::State& state) {
    const cow_Btree<int, int>& t = Tree();
    for (auto _ : state) {
        long long sum = 0;
        for (int k : Shuffled()) sum += t.ConstGet(k);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_BtreeFind)->Unit(benchmark::kMillisecond);

void BM_CowMapFind(benchmark::State& state) {
    const cow_Map<int, int>& m = DigitalMap();
    for (auto _ : state) {
        long long sum = 0;
        for (int k : Shuffled()) sum += m.ConstGet(k);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_CowMapFind)->Unit(benchmark::kMillisecond);

void BM_StdMapFind(benchmark::State& state) {
    const std::map<int, int>& m = StdMap();
    for (auto _ : state) {
        long long sum = 0;
        for (int k : Shuffled()) sum += m.find(k)->second;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_StdMapFind)->Unit(benchmark::kMillisecond);

// ---- ordered walk ----

void BM_BtreeWalk(benchmark::State& state) {
    const cow_Btree<int, int>& t = Tree();
    for (auto _ : state) {
        long long sum = 0;
        cow_BtreeIterator<int, int> it(t);
        for (it.First(); !it.IsDone(); it.Next()) sum += it.CurrentValue();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_BtreeWalk)->Unit(benchmark::kMillisecond);

void BM_CowMapSortedWalk(benchmark::State& state) {
    const cow_Map<int, int>& m = DigitalMap();
    for (auto _ : state) {
        long long sum = 0;
        cow_ConstMapSortedIt<int, int> it(m);
        for (it.First(); !it.IsDone(); it.Next()) sum += it.CurrentValue();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_CowMapSortedWalk)->Unit(benchmark::kMillisecond);

void BM_CowMapPreorderWalk(benchmark::State& state) {
    const cow_Map<int, int>& m = DigitalMap();
    for (auto _ : state) {
        long long sum = 0;
        cow_ConstMapIterator<int, int> it(m);
        for (it.First(); !it.IsDone(); it.Next()) sum += it.CurrentValue();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_CowMapPreorderWalk)->Unit(benchmark::kMillisecond);

void BM_StdMapWalk(benchmark::State& state) {
    const std::map<int, int>& m = StdMap();
    for (auto _ : state) {
        long long sum = 0;
        for (const auto& kv : m) sum += kv.second;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kN);
}
BENCHMARK(BM_StdMapWalk)->Unit(benchmark::kMillisecond);

// ---- copy then one insert ----

void BM_BtreeCopyInsert(benchmark::State& state) {
    const cow_Btree<int, int>& t = Tree();
    for (auto _ : state) {
        cow_Btree<int, int> copy(t);
        copy.InsertUnlessMember(kN + 1, 1);
        benchmark::DoNotOptimize(copy.Count());
    }
}
BENCHMARK(BM_BtreeCopyInsert)->Unit(benchmark::kMicrosecond);

void BM_CowMapCopyInsert(benchmark::State& state) {
    const cow_Map<int, int>& m = DigitalMap();
    for (auto _ : state) {
        cow_Map<int, int> copy(m);
        copy.Insert(kN + 1, 1);
        benchmark::DoNotOptimize(copy.Size());
    }
}
BENCHMARK(BM_CowMapCopyInsert)->Unit(benchmark::kMicrosecond);

void BM_StdMapCopyInsert(benchmark::State& state) {
    const std::map<int, int>& m = StdMap();
    for (auto _ : state) {
        std::map<int, int> copy(m);
        copy.emplace(kN + 1, 1);
        benchmark::DoNotOptimize(copy.size());
    }
}
BENCHMARK(BM_StdMapCopyInsert)->Unit(benchmark::kMicrosecond);

}  // namespace

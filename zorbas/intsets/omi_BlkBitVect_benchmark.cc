// omi_BlkBitVect against CRoaring and a flat std::vector<uint64_t> bitmap on the same id sets.
// Arguments: the number of ids (10^6, 10^7) and the density: 1 draws ids from [0, 1.25 n) (the
// near-contiguous numbering of a mesh, ~80% of the bits set, every page present), 0 from
// [0, 32 n) (~3% set, every page present, about one bit per word). Each in-place operator is
// timed on a fresh copy of A made while the timer is paused. The flat bitmap's bulk loops are
// written with AVX2 where the processor has it (SSE2 otherwise), as the library's page kernels
// choose, so that both sides run the same vector code.
#include <benchmark/benchmark.h>
#include <immintrin.h>
#include <roaring/roaring.h>

#include <bit>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "zorbas/intsets/omi_BlkBitVect.h"

namespace {

struct IdSets {
    std::vector<uint32_t> a, b;
    uint32_t universe = 0;
};

const IdSets& Ids(int64_t n, bool dense) {
    static std::map<std::pair<int64_t, bool>, IdSets> cache;
    auto [it, fresh] = cache.try_emplace({n, dense});
    if (fresh) {
        IdSets& s = it->second;
        s.universe = static_cast<uint32_t>(dense ? n + n / 4 : 32 * n);
        std::mt19937 rng(static_cast<unsigned>(n) + dense);
        double keep = static_cast<double>(n) / s.universe;
        std::bernoulli_distribution pick(keep);
        for (uint32_t id = 0; id < s.universe; ++id) {
            if (pick(rng)) s.a.push_back(id);
            if (pick(rng)) s.b.push_back(id);
        }
    }
    return it->second;
}

// The anchor: one bit per id in 64-bit words, as a solver would write it by hand.
struct FlatBitmap {
    std::vector<uint64_t> words;
    explicit FlatBitmap(uint32_t universe) : words((universe + 63) / 64) {}
    void Set(uint32_t id) { words[id >> 6] |= uint64_t{1} << (id & 63); }
    enum class Kind { And, Or, Minus };
    // SSE2: two 128-bit lanes a step, then the odd words one at a time.
    template <Kind kind>
    void CombineSse2(const FlatBitmap& o) {
        uint64_t* __restrict own = words.data();
        const uint64_t* __restrict other = o.words.data();
        const size_t n = words.size();
        size_t i = 0;
        for (; i + 4 <= n; i += 4) {
            for (size_t j = 0; j < 2; ++j) {
                auto* d = reinterpret_cast<__m128i*>(own + i) + j;
                __m128i a = _mm_loadu_si128(d);
                __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(other + i) + j);
                if constexpr (kind == Kind::And) a = _mm_and_si128(a, b);
                if constexpr (kind == Kind::Or) a = _mm_or_si128(a, b);
                if constexpr (kind == Kind::Minus) a = _mm_andnot_si128(b, a);
                _mm_storeu_si128(d, a);
            }
        }
        for (; i < n; ++i) own[i] = Scalar<kind>(own[i], other[i]);
    }
    // AVX2, used where the processor has it, as the library's page kernels are.
    template <Kind kind>
    __attribute__((target("avx2"))) void CombineAvx2(const FlatBitmap& o) {
        uint64_t* __restrict own = words.data();
        const uint64_t* __restrict other = o.words.data();
        const size_t n = words.size();
        size_t i = 0;
        for (; i + 8 <= n; i += 8) {
            for (size_t j = 0; j < 2; ++j) {
                auto* d = reinterpret_cast<__m256i*>(own + i) + j;
                __m256i a = _mm256_loadu_si256(d);
                __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(other + i) + j);
                if constexpr (kind == Kind::And) a = _mm256_and_si256(a, b);
                if constexpr (kind == Kind::Or) a = _mm256_or_si256(a, b);
                if constexpr (kind == Kind::Minus) a = _mm256_andnot_si256(b, a);
                _mm256_storeu_si256(d, a);
            }
        }
        for (; i < n; ++i) own[i] = Scalar<kind>(own[i], other[i]);
    }
    template <Kind kind>
    static uint64_t Scalar(uint64_t a, uint64_t b) {
        if constexpr (kind == Kind::And) return a & b;
        if constexpr (kind == Kind::Or) return a | b;
        return a & ~b;
    }
    template <Kind kind>
    void Combine(const FlatBitmap& o) {
        static const bool avx2 = __builtin_cpu_supports("avx2");
        if (avx2) {
            CombineAvx2<kind>(o);
        } else {
            CombineSse2<kind>(o);
        }
    }
    void And(const FlatBitmap& o) { Combine<Kind::And>(o); }
    void Or(const FlatBitmap& o) { Combine<Kind::Or>(o); }
    void Minus(const FlatBitmap& o) { Combine<Kind::Minus>(o); }
    // Given the processor's population count, as the library's own recount has.
    __attribute__((target("popcnt"))) uint64_t Count() const {
        uint64_t n = 0;
        for (uint64_t w : words) n += static_cast<uint64_t>(std::popcount(w));
        return n;
    }
    template <class F>
    void ForEach(F f) const {
        for (size_t i = 0; i < words.size(); ++i) {
            for (uint64_t w = words[i]; w; w &= w - 1) {
                f(static_cast<uint32_t>(i * 64 + static_cast<unsigned>(std::countr_zero(w))));
            }
        }
    }
};

enum class Op { And, Or, Minus };

struct Structures {
    omi_BlkBitVect va, vb;
    FlatBitmap fa, fb;
    roaring_bitmap_t* ra;
    roaring_bitmap_t* rb;
    explicit Structures(const IdSets& s) : fa(s.universe), fb(s.universe) {
        for (uint32_t id : s.a) va.SetBit(id), fa.Set(id);
        for (uint32_t id : s.b) vb.SetBit(id), fb.Set(id);
        ra = roaring_bitmap_of_ptr(s.a.size(), s.a.data());
        rb = roaring_bitmap_of_ptr(s.b.size(), s.b.data());
    }
    ~Structures() {
        roaring_bitmap_free(ra);
        roaring_bitmap_free(rb);
    }
};

Structures& Get(const benchmark::State& state) {
    static std::map<std::pair<int64_t, bool>, std::unique_ptr<Structures>> cache;
    std::pair<int64_t, bool> key{state.range(0), state.range(1) != 0};
    auto& slot = cache[key];
    if (!slot) slot = std::make_unique<Structures>(Ids(key.first, key.second));
    return *slot;
}

void Label(benchmark::State& state) {
    state.SetLabel(state.range(1) ? "dense" : "sparse");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <Op op>
void BM_BlkBitVect(benchmark::State& state) {
    Structures& s = Get(state);
    for (auto _ : state) {
        state.PauseTiming();
        std::optional<omi_BlkBitVect> c(s.va);
        state.ResumeTiming();
        if constexpr (op == Op::And) *c &= s.vb;
        if constexpr (op == Op::Or) *c |= s.vb;
        if constexpr (op == Op::Minus) *c -= s.vb;
        benchmark::DoNotOptimize(c->Blocks());
        state.PauseTiming();
        c.reset();
        state.ResumeTiming();
    }
    Label(state);
}

template <Op op>
void BM_Flat(benchmark::State& state) {
    Structures& s = Get(state);
    for (auto _ : state) {
        state.PauseTiming();
        std::optional<FlatBitmap> c(s.fa);
        state.ResumeTiming();
        if constexpr (op == Op::And) c->And(s.fb);
        if constexpr (op == Op::Or) c->Or(s.fb);
        if constexpr (op == Op::Minus) c->Minus(s.fb);
        benchmark::DoNotOptimize(c->words.data());
        state.PauseTiming();
        c.reset();
        state.ResumeTiming();
    }
    Label(state);
}

template <Op op>
void BM_Roaring(benchmark::State& state) {
    Structures& s = Get(state);
    for (auto _ : state) {
        state.PauseTiming();
        roaring_bitmap_t* c = roaring_bitmap_copy(s.ra);
        state.ResumeTiming();
        if constexpr (op == Op::And) roaring_bitmap_and_inplace(c, s.rb);
        if constexpr (op == Op::Or) roaring_bitmap_or_inplace(c, s.rb);
        if constexpr (op == Op::Minus) roaring_bitmap_andnot_inplace(c, s.rb);
        benchmark::DoNotOptimize(c);
        state.PauseTiming();
        roaring_bitmap_free(c);
        state.ResumeTiming();
    }
    Label(state);
}

// The count right after a bulk operator. Each side runs the same untimed step first (a timer
// pause and resume, and a bulk OR with an empty set), so that the timer costs are the same on all
// three: the vector then must count again (a single-bit edit keeps the count, so a count without
// a bulk operator before it costs nothing); CRoaring keeps each container's cardinality up to date
// and only sums them; the flat bitmap counts every word.
void BM_BlkBitVect_BitCount(benchmark::State& state) {
    Structures& s = Get(state);
    omi_BlkBitVect none;
    for (auto _ : state) {
        state.PauseTiming();
        s.va |= none;
        state.ResumeTiming();
        benchmark::DoNotOptimize(s.va.BitCount());
    }
    Label(state);
}

void BM_Flat_BitCount(benchmark::State& state) {
    Structures& s = Get(state);
    FlatBitmap none(0);
    none.words.resize(s.fa.words.size());
    for (auto _ : state) {
        state.PauseTiming();
        s.fa.Or(none);
        state.ResumeTiming();
        benchmark::DoNotOptimize(s.fa.Count());
    }
    Label(state);
}

void BM_Roaring_BitCount(benchmark::State& state) {
    Structures& s = Get(state);
    roaring_bitmap_t* none = roaring_bitmap_create();
    for (auto _ : state) {
        state.PauseTiming();
        roaring_bitmap_or_inplace(s.ra, none);
        state.ResumeTiming();
        benchmark::DoNotOptimize(roaring_bitmap_get_cardinality(s.ra));
    }
    roaring_bitmap_free(none);
    Label(state);
}

void BM_BlkBitVect_Traverse(benchmark::State& state) {
    Structures& s = Get(state);
    for (auto _ : state) {
        omi_BlkBitVectTrav t(&s.va);
        uint64_t sum = 0;
        unsigned bit = 0;
        for (bool ok = t.First(bit); ok; ok = t.Next(bit)) sum += bit;
        benchmark::DoNotOptimize(sum);
    }
    Label(state);
}

// The same sum through Walk, which steps within a page on locals.
void BM_BlkBitVect_Walk(benchmark::State& state) {
    Structures& s = Get(state);
    for (auto _ : state) {
        omi_BlkBitVectTrav t(&s.va);
        uint64_t sum = 0;
        unsigned bit = 0;
        if (t.First(bit)) {
            sum = bit;
            t.Walk([&](unsigned b) {
                sum += b;
                return true;
            });
        }
        benchmark::DoNotOptimize(sum);
    }
    Label(state);
}

void BM_Flat_Traverse(benchmark::State& state) {
    Structures& s = Get(state);
    for (auto _ : state) {
        uint64_t sum = 0;
        s.fa.ForEach([&](uint32_t id) { sum += id; });
        benchmark::DoNotOptimize(sum);
    }
    Label(state);
}

bool AddTo(uint32_t value, void* sum) {
    *static_cast<uint64_t*>(sum) += value;
    return true;
}

void BM_Roaring_Traverse(benchmark::State& state) {
    Structures& s = Get(state);
    for (auto _ : state) {
        uint64_t sum = 0;
        roaring_iterate(s.ra, AddTo, &sum);
        benchmark::DoNotOptimize(sum);
    }
    Label(state);
}

void Sizes(benchmark::internal::Benchmark* b) {
    for (int64_t n : {1000000, 10000000}) {
        for (int64_t dense : {1, 0}) b->Args({n, dense});
    }
    b->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_BlkBitVect<Op::And>)->Name("And/BlkBitVect")->Apply(Sizes);
BENCHMARK(BM_Flat<Op::And>)->Name("And/Flat")->Apply(Sizes);
BENCHMARK(BM_Roaring<Op::And>)->Name("And/Roaring")->Apply(Sizes);
BENCHMARK(BM_BlkBitVect<Op::Or>)->Name("Or/BlkBitVect")->Apply(Sizes);
BENCHMARK(BM_Flat<Op::Or>)->Name("Or/Flat")->Apply(Sizes);
BENCHMARK(BM_Roaring<Op::Or>)->Name("Or/Roaring")->Apply(Sizes);
BENCHMARK(BM_BlkBitVect<Op::Minus>)->Name("Minus/BlkBitVect")->Apply(Sizes);
BENCHMARK(BM_Flat<Op::Minus>)->Name("Minus/Flat")->Apply(Sizes);
BENCHMARK(BM_Roaring<Op::Minus>)->Name("Minus/Roaring")->Apply(Sizes);
BENCHMARK(BM_BlkBitVect_BitCount)->Name("BitCount/BlkBitVect")->Apply(Sizes);
BENCHMARK(BM_Flat_BitCount)->Name("BitCount/Flat")->Apply(Sizes);
BENCHMARK(BM_Roaring_BitCount)->Name("BitCount/Roaring")->Apply(Sizes);
BENCHMARK(BM_BlkBitVect_Traverse)->Name("Traverse/BlkBitVect")->Apply(Sizes);
BENCHMARK(BM_BlkBitVect_Walk)->Name("Traverse/BlkBitVectWalk")->Apply(Sizes);
BENCHMARK(BM_Flat_Traverse)->Name("Traverse/Flat")->Apply(Sizes);
BENCHMARK(BM_Roaring_Traverse)->Name("Traverse/Roaring")->Apply(Sizes);

}  // namespace

// Copying and writing strings and handles, against std::string and a deep copy.
#include <benchmark/benchmark.h>

#include <string>

#include "zorbas/cow/cow_COW.h"
#include "zorbas/cow/cow_String.h"

namespace {

const char kText[] =
    "element block 42 of the refined plate, rank 17, material steel_s355, 100 byte text!";
static_assert(sizeof kText - 1 >= 80);

std::string Hundred() { return std::string(kText) + std::string(100 - (sizeof kText - 1), 'x'); }

void BM_StringCopy_Cow(benchmark::State& state) {
    cow_String source(Hundred().c_str());
    for (auto _ : state) {
        cow_String copy(source);
        benchmark::DoNotOptimize(copy.CStr());
    }
}
BENCHMARK(BM_StringCopy_Cow);

void BM_StringCopy_Std(benchmark::State& state) {
    std::string source = Hundred();
    for (auto _ : state) {
        std::string copy(source);
        benchmark::DoNotOptimize(copy.data());
    }
}
BENCHMARK(BM_StringCopy_Std);

// Assignment between two texts of 100 bytes, alternating, so neither side allocates per step.
void BM_StringAssign_Cow(benchmark::State& state) {
    cow_String a(Hundred().c_str()), b((Hundred() + "!").c_str());
    cow_String target;
    for (auto _ : state) {
        target = a;
        benchmark::DoNotOptimize(target.CStr());
        target = b;
        benchmark::DoNotOptimize(target.CStr());
    }
}
BENCHMARK(BM_StringAssign_Cow);

void BM_StringAssign_Std(benchmark::State& state) {
    std::string a = Hundred(), b = Hundred() + "!";
    std::string target;
    for (auto _ : state) {
        target = a;
        benchmark::DoNotOptimize(target.data());
        target = b;
        benchmark::DoNotOptimize(target.data());
    }
}
BENCHMARK(BM_StringAssign_Std);

// Copy, then the first write: the cow string pays its deferred copy here.
void BM_StringCopyThenWrite_Cow(benchmark::State& state) {
    cow_String source(Hundred().c_str());
    for (auto _ : state) {
        cow_String copy(source);
        copy[0] = 'E';
        benchmark::DoNotOptimize(copy.CStr());
    }
}
BENCHMARK(BM_StringCopyThenWrite_Cow);

void BM_StringCopyThenWrite_Std(benchmark::State& state) {
    std::string source = Hundred();
    for (auto _ : state) {
        std::string copy(source);
        copy[0] = 'E';
        benchmark::DoNotOptimize(copy.data());
    }
}
BENCHMARK(BM_StringCopyThenWrite_Std);

struct Payload {
    double values[16];
};

void BM_CowHandleCopy(benchmark::State& state) {
    cow_COW<Payload> a(Payload{});
    size_t blocks = mem_LiveBlocks();
    for (auto _ : state) {
        cow_COW<Payload> b(a);
        benchmark::DoNotOptimize(b.GetPtr());
    }
    state.counters["blocks_allocated"] = static_cast<double>(mem_LiveBlocks() - blocks);
}
BENCHMARK(BM_CowHandleCopy);

void BM_CowGetExclusive(benchmark::State& state) {
    cow_COW<Payload> a(Payload{});
    size_t blocks = mem_LiveBlocks();
    for (auto _ : state) {
        Payload& p = a.Get();
        benchmark::DoNotOptimize(&p);
    }
    state.counters["blocks_allocated"] = static_cast<double>(mem_LiveBlocks() - blocks);
}
BENCHMARK(BM_CowGetExclusive);

}  // namespace

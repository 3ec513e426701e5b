// The tiny allocator against malloc/free for 4-byte blocks: a batch of a million allocations,
// then their frees, the pattern of the reference counters of a large copy-on-write model.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "companions/alloc/mem_Malloc.h"
#include "companions/alloc/mem_Tiny.h"

namespace {

constexpr int kBatch = 1000000;

void BM_Tiny4(benchmark::State& state) {
    std::vector<void*> blocks(kBatch);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) blocks[i] = mem_TinyAlloc(4);
        benchmark::DoNotOptimize(blocks.data());
        for (int i = 0; i < kBatch; ++i) mem_Free(blocks[i]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_TinyOperatorNew4(benchmark::State& state) {
    std::vector<void*> blocks(kBatch);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) blocks[i] = mem_OperatorNewTinyThrow(4);
        benchmark::DoNotOptimize(blocks.data());
        for (int i = 0; i < kBatch; ++i) mem_Free(blocks[i]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_Malloc4(benchmark::State& state) {
    std::vector<void*> blocks(kBatch);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) blocks[i] = std::malloc(4);
        benchmark::DoNotOptimize(blocks.data());
        for (int i = 0; i < kBatch; ++i) std::free(blocks[i]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

}  // namespace

BENCHMARK(BM_Tiny4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TinyOperatorNew4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Malloc4)->Unit(benchmark::kMillisecond);

// The tiny allocator against malloc/free for 4-byte blocks: a batch of a million allocations,
// then their frees, the pattern of the reference counters of a large copy-on-write model.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "companions/alloc/mem_Malloc.h"
#include "companions/alloc/mem_Tiny.h"

namespace {

constexpr int kBatch = 1000000;

void* Malloc(size_t size) { return std::malloc(size); }
void* TinyAlloc(size_t size) { return mem_TinyAlloc(size); }

// One iteration: a batch of 4-byte allocations, then their frees in the same order.
template <void* (*Alloc)(size_t), void (*Free)(void*)>
void BM_Batch4(benchmark::State& state) {
    std::vector<void*> blocks(kBatch);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) blocks[i] = Alloc(4);
        benchmark::DoNotOptimize(blocks.data());
        for (int i = 0; i < kBatch; ++i) Free(blocks[i]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

}  // namespace

// mem_TinyAlloc with mem_Free (which recognises the block by its address); the class-level
// operator's path (mem_OperatorNewTinyThrow); and the C heap.
BENCHMARK(BM_Batch4<TinyAlloc, mem_Free>)->Name("BM_Tiny4")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Batch4<mem_OperatorNewTinyThrow, mem_Free>)
    ->Name("BM_TinyOperatorNew4")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Batch4<Malloc, std::free>)->Name("BM_Malloc4")->Unit(benchmark::kMillisecond);

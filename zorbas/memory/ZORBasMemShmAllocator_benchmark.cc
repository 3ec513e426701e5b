// ZORBasMemShmAllocator against malloc/free (allocate, write the first byte, free), and a block of
// 64 MiB summed by a second process that mapped it by name against the same sum by the owner over
// a malloc block: the mapping is read at memory speed when the two are alike.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "zorbas/memory/ZORBasMemShmAllocator.h"

namespace {

void BM_ShmAllocFree(benchmark::State& state) {
    ZORBasMemShmAllocator shm("zorbasbench");
    size_t size = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        auto* p = static_cast<char*>(shm.Alloc(size));
        p[0] = 1;
        benchmark::DoNotOptimize(p);
        shm.Free(p);
    }
}
BENCHMARK(BM_ShmAllocFree)->Arg(4096)->Arg(1 << 20);

void BM_MallocFree(benchmark::State& state) {
    size_t size = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        auto* p = static_cast<char*>(std::malloc(size));
        p[0] = 1;
        benchmark::DoNotOptimize(p);
        std::free(p);
    }
}
BENCHMARK(BM_MallocFree)->Arg(4096)->Arg(1 << 20);

constexpr size_t kRead = size_t{64} << 20;

__attribute__((noinline)) uint64_t Sum(const uint64_t* words, size_t count) {
    uint64_t sum = 0;
    for (size_t i = 0; i < count; ++i) sum += words[i];
    return sum;
}

void Fill(void* p) {
    auto* w = static_cast<uint64_t*>(p);
    for (size_t i = 0; i < kRead / 8; ++i) w[i] = i;
}

// The child maps the block by name and sums it on each byte it gets from the pipe, answering the
// sum; the pipe's round trip is a few microseconds against milliseconds of reading.
void BM_ShmReadBySecondProcess(benchmark::State& state) {
    ZORBasMemShmAllocator shm("zorbasbench");
    void* block = shm.Alloc(kRead);
    Fill(block);
    int ask[2], answer[2];
    if (pipe(ask) != 0 || pipe(answer) != 0) std::abort();
    const char* name = shm.Name(block);
    pid_t child = fork();
    if (child == 0) {
        close(ask[1]);  // so that the parent's close ends the loop
        close(answer[0]);
        size_t size;
        auto* words = static_cast<const uint64_t*>(ZORBasMemShmAllocator::Map(name, size));
        char c;
        while (read(ask[0], &c, 1) == 1) {
            uint64_t sum = Sum(words, kRead / 8);
            if (write(answer[1], &sum, sizeof sum) != sizeof sum) _exit(1);
        }
        _exit(0);
    }
    const uint64_t expected = (kRead / 8) * (kRead / 8 - 1) / 2;
    for (auto _ : state) {
        uint64_t sum = 0;
        if (write(ask[1], "s", 1) != 1 || read(answer[0], &sum, sizeof sum) != sizeof sum ||
            sum != expected) {
            state.SkipWithError("child");
            break;
        }
    }
    close(ask[1]);
    waitpid(child, nullptr, 0);
    close(ask[0]);
    close(answer[0]);
    close(answer[1]);
    shm.Free(block);
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(kRead));
}
BENCHMARK(BM_ShmReadBySecondProcess)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_LocalReadOfMallocBlock(benchmark::State& state) {
    void* block = std::malloc(kRead);
    Fill(block);
    const uint64_t expected = (kRead / 8) * (kRead / 8 - 1) / 2;
    for (auto _ : state) {
        uint64_t sum = Sum(static_cast<const uint64_t*>(block), kRead / 8);
        if (sum != expected) state.SkipWithError("sum");
        benchmark::DoNotOptimize(sum);
    }
    std::free(block);
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(kRead));
}
BENCHMARK(BM_LocalReadOfMallocBlock)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

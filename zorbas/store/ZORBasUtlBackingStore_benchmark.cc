// Purge and reload of 1 GiB in blocks of 1 MiB: the store under a limit of 0 (each access of a
// block writes the previously used one out and reads this one back) against the same transfers as
// plain pwrite/pread from one reused buffer. Both touch one byte of each block so that every block
// is dirty. The scratch file lies under /tmp and is removed at the end of each benchmark; only one
// exists at a time.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "zorbas/store/ZORBasUtlBackingStore.h"

namespace {

constexpr int kBlocks = 1024;
constexpr size_t kBlock = size_t{1} << 20;

std::string ScratchPath(const char* what) {
    return "/tmp/zorbas_bench_" + std::string(what) + "_" + std::to_string(getpid());
}

void BM_StorePurgeReload(benchmark::State& state) {
    std::string path = ScratchPath("store");
    {
        ZORBasUtlBackingStore store(ZORString(path.c_str()), 0, -1);
        for (int id = 0; id < kBlocks; ++id) {
            store.Create(id, kBlock);
            static_cast<char*>(store.Access(id))[0] = 1;
            store.Release(id);
        }
        for (auto _ : state) {
            for (int id = 0; id < kBlocks; ++id) {
                auto* p = static_cast<char*>(store.Access(id));
                ++p[id];
                store.Release(id);
            }
        }
        long long reads, writes;
        store.GetTransfers(reads, writes);
        state.counters["reads/iter"] = static_cast<double>(reads) / state.iterations();
    }
    state.SetBytesProcessed(state.iterations() * 2LL * kBlocks * static_cast<long long>(kBlock));
}
BENCHMARK(BM_StorePurgeReload)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_PlainPwritePread(benchmark::State& state) {
    std::string path = ScratchPath("plain");
    int fd = open(path.c_str(), O_CREAT | O_TRUNC | O_RDWR, 0600);
    if (fd < 0) {
        state.SkipWithError("open");
        return;
    }
    std::vector<char> buffer(kBlock, 0);
    for (int id = 0; id < kBlocks; ++id)
        if (pwrite(fd, buffer.data(), kBlock, static_cast<off_t>(id) * kBlock) !=
            static_cast<ssize_t>(kBlock))
            std::abort();
    for (auto _ : state) {
        // The same transfers as the store: write the block used before, read this one.
        int previous = kBlocks - 1;
        for (int id = 0; id < kBlocks; ++id) {
            if (pwrite(fd, buffer.data(), kBlock, static_cast<off_t>(previous) * kBlock) !=
                    static_cast<ssize_t>(kBlock) ||
                pread(fd, buffer.data(), kBlock, static_cast<off_t>(id) * kBlock) !=
                    static_cast<ssize_t>(kBlock))
                std::abort();
            ++buffer[static_cast<size_t>(id)];
            previous = id;
        }
    }
    close(fd);
    unlink(path.c_str());
    state.SetBytesProcessed(state.iterations() * 2LL * kBlocks * static_cast<long long>(kBlock));
}
BENCHMARK(BM_PlainPwritePread)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

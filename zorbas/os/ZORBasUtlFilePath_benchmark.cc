// Splitting a path and asking for its absolute name, against std::filesystem doing the same for
// the same POSIX paths: absolute() for a relative path (it asks for the current directory, as we
// do), lexically_normal() for all, and the variables expanded by getenv before it.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "zorbas/os/ZORBasUtlFilePath.h"

namespace {

// One third absolute, one third relative, one third with a variable reference.
const std::vector<std::string>& Mix() {
    static const std::vector<std::string> paths = [] {
        setenv("ZORBAS_BENCH_DECKS", "/data/projects/crash/decks", 1);
        std::vector<std::string> v;
        for (int i = 0; i < 30; ++i) {
            std::string n = std::to_string(i);
            v.push_back("/scratch/job" + n + "/results/binout" + n + ".d3plot");
            v.push_back("input/part" + n + "/mesh" + n + ".k");
            v.push_back("$ZORBAS_BENCH_DECKS/model" + n + "/main.key");
        }
        return v;
    }();
    return paths;
}

void BM_FilePathAbsolute(benchmark::State& state) {
    std::vector<cow_String> paths;
    for (const std::string& s : Mix()) paths.emplace_back(s.c_str());
    size_t i = 0;
    for (auto _ : state) {
        ZORBasUtlFilePath p(paths[i++ % paths.size()]);
        benchmark::DoNotOptimize(p.AbsolutePathName().Length());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

std::string ExpandVariable(const std::string& p) {
    if (p[0] != '$') return p;
    size_t end = p.find('/');
    const char* value = getenv(p.substr(1, end - 1).c_str());
    return value ? value + p.substr(end) : p;
}

void BM_StdFilesystemAbsolute(benchmark::State& state) {
    const std::vector<std::string>& paths = Mix();
    size_t i = 0;
    for (auto _ : state) {
        std::filesystem::path p(ExpandVariable(paths[i++ % paths.size()]));
        if (p.is_relative()) p = std::filesystem::absolute(p);
        benchmark::DoNotOptimize(p.lexically_normal().native().size());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

BENCHMARK(BM_FilePathAbsolute);
BENCHMARK(BM_StdFilesystemAbsolute);

}  // namespace

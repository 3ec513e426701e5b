// The scientific form against std::to_chars writing the same digits (lower-case exponent) into a
// buffer, over the same 4096 values; printf's "%.*E" for the habit it replaces.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "zorbas/text/ZORBasUtlNumFormat.h"

namespace {

const std::vector<double>& Values() {
    static const std::vector<double> values = [] {
        std::mt19937_64 rng(9);
        std::vector<double> v(4096);
        for (double& x : v)
            x = std::ldexp(std::uniform_real_distribution<double>(-10, 10)(rng),
                           static_cast<int>(rng() % 120) - 60);
        return v;
    }();
    return values;
}

void BM_NumFormat_Scientific_Ours(benchmark::State& state) {
    const ZORBasUtlNumFormat format(ZORBasUtlNumFormat::Scientific,
                                    static_cast<int>(state.range(0)));
    char text[ZORBasUtlNumFormat::kBufferSize];
    for (auto _ : state)
        for (double v : Values()) {
            benchmark::DoNotOptimize(format.Format(v, text));
            benchmark::ClobberMemory();
        }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * Values().size()));
}

void BM_NumFormat_Scientific_ToChars(benchmark::State& state) {
    const int precision = static_cast<int>(state.range(0)) - 1;
    char text[ZORBasUtlNumFormat::kBufferSize];
    for (auto _ : state)
        for (double v : Values()) {
            char* end = std::to_chars(text, text + sizeof text - 1, v,
                                      std::chars_format::scientific, precision)
                            .ptr;
            *end = 0;
            benchmark::DoNotOptimize(end);
            benchmark::ClobberMemory();
        }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * Values().size()));
}

void BM_NumFormat_Scientific_Printf(benchmark::State& state) {
    const int precision = static_cast<int>(state.range(0)) - 1;
    char text[ZORBasUtlNumFormat::kBufferSize];
    for (auto _ : state)
        for (double v : Values()) {
            benchmark::DoNotOptimize(std::snprintf(text, sizeof text, "%.*E", precision, v));
            benchmark::ClobberMemory();
        }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * Values().size()));
}

void BM_NumFormat_Engineering_Ours(benchmark::State& state) {
    const ZORBasUtlNumFormat format(ZORBasUtlNumFormat::Engineering,
                                    static_cast<int>(state.range(0)));
    char text[ZORBasUtlNumFormat::kBufferSize];
    for (auto _ : state)
        for (double v : Values()) {
            benchmark::DoNotOptimize(format.Format(v, text));
            benchmark::ClobberMemory();
        }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * Values().size()));
}

BENCHMARK(BM_NumFormat_Scientific_Ours)->Arg(6)->Arg(17);
BENCHMARK(BM_NumFormat_Scientific_ToChars)->Arg(6)->Arg(17);
BENCHMARK(BM_NumFormat_Scientific_Printf)->Arg(6)->Arg(17);
BENCHMARK(BM_NumFormat_Engineering_Ours)->Arg(6)->Arg(17);

}  // namespace

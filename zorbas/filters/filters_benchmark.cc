// Throughput of the filters over 10^7 samples against the speed limit of a recursive filter: the
// same recursion written as the plainest loop over a double array. Two forms of it: one loop per
// stage and pass ("PlainLoop"), and all the stages of a pass fused in one loop ("FusedLoop"),
// which overlaps the stages' independent recursion chains as the library's cascade does; the
// fused loop is the anchor that sets the limit. A stage is a chain of dependent multiply-adds,
// so each loop is bound by latency, not memory.
//
// Run, then time scipy on the same signal in the same session:
//   build/release/bench/filters_benchmark --benchmark_repetitions=3
//       --benchmark_report_aggregates_only=true        (one command line)
//   /usr/bin/python3 zorbas/filters/bench_scipy.py
// Counters: items_per_second is samples per second; ns_stage_sample is nanoseconds per stage per
// sample, each pass counting its stages again (Google Benchmark prints it with an "s" suffix: it
// is an inverted rate). bench_scipy.py prints the same figure for scipy. Both use CPU time.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "zorbas/filters/ZORBasPlt_Filters.h"

namespace {

constexpr double kPi = 3.141592653589793;
constexpr int kSamples = 10'000'000;
constexpr int kPad = 64;
constexpr double kDt = 1e-4;
constexpr float kCutoff = 500.0f;

// The signal bench_scipy.py builds too: a slow wave, a fast one and a near-Nyquist one.
std::vector<float> Signal() {
    std::vector<float> x(kSamples + 2 * kPad, 0.0f);
    for (int i = 0; i < kSamples; ++i)
        x[kPad + i] = static_cast<float>(std::sin(0.0031 * i) + 0.3 * std::sin(0.113 * i) +
                                         0.1 * std::sin(1.7 * i));
    return x;
}

const std::vector<float>& Input() {
    static const std::vector<float> x = Signal();
    return x;
}

std::vector<float> Times() {
    std::vector<float> t(kSamples + 2 * kPad, 0.0f);
    for (int i = 0; i < kSamples; ++i) t[kPad + i] = static_cast<float>(i * kDt);
    return t;
}

// Nanoseconds per unit of work, through the inverted rate counter (seconds per 1e-9 units).
benchmark::Counter NsPer(double units) {
    return benchmark::Counter(
        units * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

struct Section {
    double b0, b1, b2, a1, a2;
};

// The 4th-order Butterworth sections, for the plain loop and the stage-by-stage run.
std::vector<Section> Butterworth4() {
    const double c = 1.0 / std::tan(kPi * kCutoff * kDt);
    std::vector<Section> out;
    for (int k = 1; k <= 2; ++k) {
        const double s = -2.0 * c * std::cos((2 * k + 4 - 1) * kPi / 8.0);
        const double g = 1.0 / (c * c + s + 1.0);
        out.push_back({g, 2.0 * g, g, 2.0 * (1.0 - c * c) * g, (c * c - s + 1.0) * g});
    }
    return out;
}

// One stage's recursion state; Step filters one sample.
struct StageState {
    double x1, x2, y1, y2;
    double Step(const Section& c, double x) {
        const double y = c.b0 * x + c.b1 * x1 + c.b2 * x2 - c.a1 * y1 - c.a2 * y2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    }
};

// One stage as a plain loop over doubles, from the start or from the end.
void PlainForward(double* x, long n, const Section& c) {
    StageState s{x[0], x[0], x[0], x[0]};
    for (long i = 0; i < n; ++i) x[i] = s.Step(c, x[i]);
}

void PlainBackward(double* x, long n, const Section& c) {
    StageState s{x[n - 1], x[n - 1], x[n - 1], x[n - 1]};
    for (long i = n - 1; i >= 0; --i) x[i] = s.Step(c, x[i]);
}

// The same two stages fused in one pass, forward or from the end: stage 2 reads stage 1's output
// of the same sample, so the two recursion chains run side by side. Each stage is started from
// its own first input, as PlainForward and PlainBackward start it.
void FusedPass(double* x, long n, const Section& c, const Section& d, bool backward) {
    const long first = backward ? n - 1 : 0, step = backward ? -1 : 1;
    const double x0 = x[first];
    const double y0 = (c.b0 + c.b1 + c.b2) * x0 - (c.a1 + c.a2) * x0;
    StageState one{x0, x0, x0, x0}, two{y0, y0, y0, y0};
    for (long k = 0, i = first; k < n; ++k, i += step) x[i] = two.Step(d, one.Step(c, x[i]));
}

// Times `filter(data, count, backward)` over a fresh copy of the signal in each iteration (the
// copy is not timed); `stages` is the number of stages of one pass.
template <class T, class Filter>
void Measure(benchmark::State& state, int stages, Filter filter) {
    const bool backward = state.range(0) != 0;
    const std::vector<float>& in = Input();
    std::vector<T> x(in.size());
    for (auto _ : state) {
        state.PauseTiming();
        x.assign(in.begin(), in.end());
        state.ResumeTiming();
        filter(x.data(), static_cast<int>(x.size()), backward);
        benchmark::DoNotOptimize(x.data());
    }
    state.SetItemsProcessed(state.iterations() * x.size());
    state.counters["ns_stage_sample"] = NsPer((backward ? 2.0 : 1.0) * stages * x.size());
}

void BM_Butterworth4_Library(benchmark::State& state) {
    std::vector<float> times = Times();
    Measure<float>(state, 2, [&](float* v, int n, bool backward) {
        float* t = times.data();
        ZORBasPlt_iirFilter(t, v, n, kPad, kCutoff, kDt, 4, 0.0f, ZORBasPlt_EndMirror,
                            ZORBasPlt_EndMirror, ZORBasPlt_Butterworth, backward);
    });
}

// The exported single stage called once per stage and pass, as a caller assembling its own
// cascade would: what sweeping the stages together saves.
void BM_Butterworth4_StageByStage(benchmark::State& state) {
    const std::vector<Section> sections = Butterworth4();
    Measure<float>(state, 2, [&](float* v, int n, bool backward) {
        for (const Section& c : sections)
            ZORBasPlt_filter_forward(v, n, 0, c.b0, c.b1, c.b2, c.a1, c.a2, v[0], v[0], v[0], v[0]);
        if (backward)
            for (const Section& c : sections)
                ZORBasPlt_filter_backward(v, n, c.b0, c.b1, c.b2, c.a1, c.a2, v[n - 1], v[n - 1],
                                          v[n - 1], v[n - 1]);
    });
}

void BM_Butterworth4_PlainLoop(benchmark::State& state) {
    const std::vector<Section> sections = Butterworth4();
    Measure<double>(state, 2, [&](double* x, int n, bool backward) {
        for (const Section& c : sections) PlainForward(x, n, c);
        if (backward)
            for (const Section& c : sections) PlainBackward(x, n, c);
    });
}

void BM_Butterworth4_FusedLoop(benchmark::State& state) {
    const std::vector<Section> sections = Butterworth4();
    Measure<double>(state, 2, [&](double* x, int n, bool backward) {
        FusedPass(x, n, sections[0], sections[1], false);
        if (backward) FusedPass(x, n, sections[0], sections[1], true);
    });
}

void BM_Sae_Library(benchmark::State& state) {
    std::vector<float> times = Times();
    Measure<float>(state, 1, [&](float* v, int n, bool backward) {
        float* t = times.data();
        ZORBasPlt_saeFilter(t, v, n, kPad, kCutoff, kDt, ZORBasPlt_EndMirror, ZORBasPlt_EndMirror,
                            backward);
    });
}

void BM_Sae_PlainLoop(benchmark::State& state) {
    const double c = std::tan(kPi * (kCutoff * 1.25) * kDt);
    const double d = std::sqrt(2.0) * c, e = c * c, g = 1.0 / (1.0 + d + e);
    const Section sae{e * g, 2.0 * e * g, e * g, -2.0 * (1.0 - e) * g, -(d - e - 1.0) * g};
    Measure<double>(state, 1, [&](double* x, int n, bool backward) {
        PlainForward(x, n, sae);
        if (backward) PlainBackward(x, n, sae);
    });
}

}  // namespace

// Argument "backward": 0 forward pass only, 1 forward and backward.
#define ZORBAS_FILTER_BENCHMARK(fn) \
    BENCHMARK(fn)->ArgName("backward")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)
ZORBAS_FILTER_BENCHMARK(BM_Butterworth4_Library);
ZORBAS_FILTER_BENCHMARK(BM_Butterworth4_PlainLoop);
ZORBAS_FILTER_BENCHMARK(BM_Butterworth4_FusedLoop);
ZORBAS_FILTER_BENCHMARK(BM_Butterworth4_StageByStage);
ZORBAS_FILTER_BENCHMARK(BM_Sae_Library);
ZORBAS_FILTER_BENCHMARK(BM_Sae_PlainLoop);

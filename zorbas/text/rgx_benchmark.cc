// The regex facade against its engine used directly (a precompiled, JIT-compiled pattern and one
// match workspace: the least a caller can do) and against std::regex, on the same subjects.
#define PCRE2_CODE_UNIT_WIDTH 8
#include <benchmark/benchmark.h>
#include <pcre2.h>

#include <cstdio>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "zorbas/text/rgx_Regex.h"

namespace {

struct Case {
    const char* pattern;
    std::vector<std::string> subjects;
};

std::vector<std::string> Urls() {
    std::vector<std::string> v;
    for (int i = 0; i < 64; ++i)
        v.push_back("vldrdb://user" + std::to_string(i) + ":pw@host" + std::to_string(i % 7) +
                    ".example.org:" + std::to_string(8000 + i) + "/runs/job" + std::to_string(i) +
                    "/result.d3plot?rev=" + std::to_string(i));
    return v;
}

std::vector<std::string> LogLines() {
    std::vector<std::string> v;
    const char* levels[] = {"INFO", "WARN", "ERROR", "DEBUG"};
    for (int i = 0; i < 64; ++i) {
        char line[160];
        std::snprintf(line, sizeof line,
                      "2026-11-%02d 12:%02d:%02d [%s] rank %d: cycle %d dt=%.3e mass=%d",
                      i % 28 + 1, i % 60, (i * 7) % 60, levels[i % 4], i % 16, 1000 + i,
                      1e-6 * (i + 1), i * 31);
        v.push_back(line);
    }
    return v;
}

const Case& Pick(int which) {
    static const Case cases[] = {
        {"^[a-zA-Z\\+\\.-]+://([^/]*)", Urls()},
        {"^[a-zA-Z\\+\\.-]+://[^/]*/([^\\?]+)", Urls()},
        {"^(\\d{4}-\\d{2}-\\d{2}) (\\d{2}:\\d{2}:\\d{2}) \\[(\\w+)\\] rank (\\d+): (.*)$",
         LogLines()},
    };
    return cases[which];
}

const char* Label(int which) {
    static const char* labels[] = {"url-server", "url-path", "log-line"};
    return labels[which];
}

void BM_FacadeMatch(benchmark::State& state) {
    const Case& c = Pick(static_cast<int>(state.range(0)));
    std::vector<cow_String> subjects;
    for (const std::string& s : c.subjects) subjects.emplace_back(s.c_str());
    const cow_String pattern(c.pattern);
    size_t i = 0;
    for (auto _ : state) {
        rgx_ReIterator it = rgx_match(pattern, subjects[i++ & 63]);
        benchmark::DoNotOptimize(it.End());
    }
    state.SetLabel(Label(static_cast<int>(state.range(0))));
}

// Compiled with the JIT once, one match workspace; the offsets are read as the facade reads them.
void BM_RawPcre2Jit(benchmark::State& state) {
    const Case& c = Pick(static_cast<int>(state.range(0)));
    int error;
    PCRE2_SIZE offset;
    pcre2_code* code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(c.pattern), PCRE2_ZERO_TERMINATED,
                                     0, &error, &offset, nullptr);
    pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
    pcre2_match_data* data = pcre2_match_data_create(16, nullptr);
    size_t i = 0;
    for (auto _ : state) {
        const std::string& s = c.subjects[i++ & 63];
        int rc = pcre2_jit_match(code, reinterpret_cast<PCRE2_SPTR>(s.data()), s.size(), 0, 0, data,
                                 nullptr);
        benchmark::DoNotOptimize(rc > 0 ? pcre2_get_ovector_pointer(data)[1] : 0);
    }
    pcre2_match_data_free(data);
    pcre2_code_free(code);
    state.SetLabel(Label(static_cast<int>(state.range(0))));
}

void BM_StdRegexSearch(benchmark::State& state) {
    const Case& c = Pick(static_cast<int>(state.range(0)));
    const std::regex re(c.pattern);
    std::smatch m;
    size_t i = 0;
    for (auto _ : state) {
        bool found = std::regex_search(c.subjects[i++ & 63], m, re);
        benchmark::DoNotOptimize(found ? m.position(0) + m.length(0) : 0);
    }
    state.SetLabel(Label(static_cast<int>(state.range(0))));
}

BENCHMARK(BM_FacadeMatch)->DenseRange(0, 2);
BENCHMARK(BM_RawPcre2Jit)->DenseRange(0, 2);
BENCHMARK(BM_StdRegexSearch)->DenseRange(0, 2);

// ---- split and substitute on 1 MB ----

const std::string& Megabyte() {
    static const std::string text = [] {
        std::string t;
        const std::vector<std::string> lines = LogLines();
        for (size_t i = 0; t.size() < (1u << 20); ++i) (t += lines[i & 63]) += ", ";
        return t;
    }();
    return text;
}

constexpr const char* kSplitPattern = ",\\s*";
constexpr const char* kSubnPattern = "\\d+";

pcre2_code* JitCode(const char* pattern) {
    int error;
    PCRE2_SIZE offset;
    pcre2_code* code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern), PCRE2_ZERO_TERMINATED,
                                     0, &error, &offset, nullptr);
    pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
    return code;
}

void BM_FacadeSplit1MB(benchmark::State& state) {
    const cow_String text(Megabyte().c_str());
    const cow_String pattern(kSplitPattern);
    int pieces = 0;
    for (auto _ : state) pieces = rgx_split(pattern, text).Length();
    state.counters["pieces"] = pieces;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * text.Length());
}

// The same fields with the engine called in a loop from each match's end.
void BM_RawPcre2Split1MB(benchmark::State& state) {
    const std::string& text = Megabyte();
    pcre2_code* code = JitCode(kSplitPattern);
    pcre2_match_data* data = pcre2_match_data_create(16, nullptr);
    const auto* s = reinterpret_cast<PCRE2_SPTR>(text.data());
    size_t pieces = 0;
    for (auto _ : state) {
        std::vector<std::string> out;
        size_t at = 0;
        while (pcre2_jit_match(code, s, text.size(), at, 0, data, nullptr) > 0) {
            const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(data);
            if (ov[0] > at) out.emplace_back(text, at, ov[0] - at);
            at = ov[1];
        }
        out.emplace_back(text, at);
        pieces = out.size();
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["pieces"] = static_cast<double>(pieces);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
    pcre2_match_data_free(data);
    pcre2_code_free(code);
}

// Not an anchor but the split's floor: the same fields made as cow_Strings in a cow_List (and
// freed) with no matching at all, bounds found beforehand. What the facade spends above it is
// the matching; what the raw split spends below it is the tracked heap's price per field.
void BM_TrackedFieldsOnly1MB(benchmark::State& state) {
    const std::string& text = Megabyte();
    pcre2_code* code = JitCode(kSplitPattern);
    pcre2_match_data* data = pcre2_match_data_create(16, nullptr);
    const auto* s = reinterpret_cast<PCRE2_SPTR>(text.data());
    std::vector<std::pair<size_t, size_t>> bounds;
    size_t at = 0;
    while (pcre2_jit_match(code, s, text.size(), at, 0, data, nullptr) > 0) {
        const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(data);
        if (ov[0] > at) bounds.emplace_back(at, ov[0] - at);
        at = ov[1];
    }
    bounds.emplace_back(at, text.size() - at);
    int pieces = 0;
    for (auto _ : state) {
        cow_List<cow_String> out;
        for (const auto& [from, length] : bounds)
            out.Append(cow_String(text.data() + from, static_cast<int>(length)));
        pieces = out.Length();
        benchmark::DoNotOptimize(pieces);
    }
    state.counters["pieces"] = pieces;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
    pcre2_match_data_free(data);
    pcre2_code_free(code);
}

void BM_FacadeSubn1MB(benchmark::State& state) {
    const cow_String text(Megabyte().c_str());
    const cow_String pattern(kSubnPattern);
    int length = 0;
    for (auto _ : state) length = rgx_subn(pattern, "#", text, 1 << 30).Length();
    state.counters["length"] = length;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * text.Length());
}

void BM_RawPcre2Subn1MB(benchmark::State& state) {
    const std::string& text = Megabyte();
    pcre2_code* code = JitCode(kSubnPattern);
    pcre2_match_data* data = pcre2_match_data_create(16, nullptr);
    const auto* s = reinterpret_cast<PCRE2_SPTR>(text.data());
    size_t length = 0;
    for (auto _ : state) {
        std::string out;
        out.reserve(text.size());
        size_t at = 0;
        while (pcre2_jit_match(code, s, text.size(), at, 0, data, nullptr) > 0) {
            const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(data);
            out.append(text, at, ov[0] - at).push_back('#');
            at = ov[1];
        }
        out.append(text, at);
        length = out.size();
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["length"] = static_cast<double>(length);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
    pcre2_match_data_free(data);
    pcre2_code_free(code);
}

BENCHMARK(BM_FacadeSplit1MB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RawPcre2Split1MB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TrackedFieldsOnly1MB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FacadeSubn1MB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RawPcre2Subn1MB)->Unit(benchmark::kMillisecond);

}  // namespace

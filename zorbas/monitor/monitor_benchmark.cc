// What the monitor costs a solver: one Mark row in each mode, and a StartTimer/StopTimer pair,
// against the bare readings they are made of (a clock_gettime pair, one getrusage). The topology
// enumeration against reading the kernel's topology files directly.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>

#include "zorbas/machine/ZORBasCpuTopology.h"
#include "zorbas/monitor/bcu_ResourceMonitor.h"

namespace {

void JobInTmp(cow_String& job, cow_String& dir) {
    job = "bench_monitor";
    dir = "/tmp";
}

bcu_ResourceMonitor& Monitor(const char* mode, bool dl) {
    setenv("VEL_RESOURCE_MONITOR", mode, 1);
    if (dl)
        setenv("VEL_RESOURCE_DLMALLINFO", "1", 1);
    else
        unsetenv("VEL_RESOURCE_DLMALLINFO");
    bcu_ResourceMonitor& m = bcu_ResourceMonitor::Instance();
    m.RegisterCmdLine(JobInTmp);
    m.Initialize("std", 0);
    return m;
}

void BM_MarkRow(benchmark::State& state) {
    static const char* const kModes[] = {"1", "FULL", "TRACE", "HEAPCHECK", "1"};
    bool dl = state.range(0) == 4;
    bcu_ResourceMonitor& m = Monitor(kModes[state.range(0)], dl);
    for (auto _ : state) m.Mark("a_mark_of_more_than_forty_characters_in_the_short_modes");
    state.SetLabel(std::string(kModes[state.range(0)]) + (dl ? "+DLMALLINFO" : ""));
    omi_SingletonBase<bcu_ResourceMonitor>::Finalize();
    std::remove("/tmp/bench_monitor.use");
}
BENCHMARK(BM_MarkRow)->DenseRange(0, 4)->Unit(benchmark::kMicrosecond);

void BM_TimerPair(benchmark::State& state) {
    bcu_ResourceMonitor& m = Monitor("1", false);
    m.IniTimer(7, "pair");
    for (auto _ : state) {
        m.StartTimer(7);
        m.StopTimer(7);
    }
    omi_SingletonBase<bcu_ResourceMonitor>::Finalize();
    std::remove("/tmp/bench_monitor.use");
}
BENCHMARK(BM_TimerPair);

// Anchors: what one timer pair must read at the least.
void BM_ClockGettimePair(benchmark::State& state) {
    timespec a{}, b{};
    for (auto _ : state) {
        clock_gettime(CLOCK_REALTIME, &a);
        clock_gettime(CLOCK_REALTIME, &b);
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
    }
}
BENCHMARK(BM_ClockGettimePair);

void BM_Getrusage(benchmark::State& state) {
    rusage ru{};
    for (auto _ : state) {
        getrusage(RUSAGE_SELF, &ru);
        benchmark::DoNotOptimize(ru);
    }
}
BENCHMARK(BM_Getrusage);

void BM_InitCpuTopology(benchmark::State& state) {
    for (auto _ : state) {
        SetCpuTopologyPlatform(nullptr);  // forgets the record, so each run enumerates anew
        InitCpuTopology();
        benchmark::DoNotOptimize(glbl_ptr->coreCount);
    }
    FiniCpuTopology();
}
BENCHMARK(BM_InitCpuTopology)->Unit(benchmark::kMicrosecond);

// The anchor: the kernel's own topology files, read for every online processor.
void BM_ReadSysTopology(benchmark::State& state) {
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    for (auto _ : state) {
        std::set<std::string> packages, cores;
        for (long c = 0; c < n; ++c) {
            std::string base = "/sys/devices/system/cpu/cpu" + std::to_string(c) + "/topology/";
            std::string pkg, core;
            std::ifstream(base + "physical_package_id") >> pkg;
            std::ifstream(base + "core_id") >> core;
            packages.insert(pkg);
            cores.insert(pkg + ":" + core);
        }
        benchmark::DoNotOptimize(cores.size());
    }
}
BENCHMARK(BM_ReadSysTopology)->Unit(benchmark::kMicrosecond);

}  // namespace

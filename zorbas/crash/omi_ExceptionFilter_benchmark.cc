// Time from a fault to the end of the process: a crash_child that faults (a null read, which
// takes the access-violation path, or raise(SIGTERM), the signal path) at rank 0, so that no
// sleep by rank is added, with the standard filter installed and, as the anchor, the same child
// with no handler. The child stamps CLOCK_MONOTONIC just before the fault; the parent stamps
// when waitpid returns. Each run of a benchmark starts 20 children and reports their median.
// The handler case also checks that its dump resolved the faulting frame to file and line.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

double NowMs() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

std::string Read(const std::string& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// One child run: milliseconds from its stamp to its end, or -1; `resolved` tells whether a dump
// with a file and line was left.
double RunOnce(const char* installer, const char* action, const std::string& dir, bool* resolved) {
    std::string out = dir + "/stdout";
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addchdir_np(&fa, dir.c_str());
    posix_spawn_file_actions_addopen(&fa, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&fa, 2, "/dev/null", O_WRONLY, 0);
    char* argv[] = {const_cast<char*>(CRASH_CHILD), const_cast<char*>(installer),
                    const_cast<char*>(action), nullptr};
    std::vector<char*> env;
    for (char** e = environ; *e; ++e)
        if (std::strncmp(*e, "PMI_RANK=", 9) && std::strncmp(*e, "MPI_RANKID=", 11))
            env.push_back(*e);
    static char stamp[] = "CRASH_CHILD_STAMP=1";
    env.push_back(stamp);
    env.push_back(nullptr);
    pid_t pid;
    if (posix_spawn(&pid, CRASH_CHILD, &fa, nullptr, argv, env.data()) != 0) return -1;
    posix_spawn_file_actions_destroy(&fa);
    int status;
    waitpid(pid, &status, 0);
    double end = NowMs();
    std::string text = Read(out);
    size_t at = text.find("stamp ");
    if (at == std::string::npos) return -1;
    double start = std::atof(text.c_str() + at + 6);
    std::string dump = Read(dir + "/crash_child." + std::to_string(pid) + ".00.dmp");
    *resolved = dump.find("NullRead") != std::string::npos &&
                dump.find("crash_child.cc:") != std::string::npos;
    return end - start;
}

void FaultToExit(benchmark::State& state, const char* installer, const char* action,
                 bool expectResolved) {
    char templ[] = "/tmp/crash_benchXXXXXX";
    std::string dir = mkdtemp(templ);
    for (auto _ : state) {
        std::vector<double> times;
        bool allResolved = true;
        for (int i = 0; i < 20; ++i) {
            bool resolved = false;
            double ms = RunOnce(installer, action, dir, &resolved);
            if (ms < 0) {
                state.SkipWithError("the child left no stamp");
                return;
            }
            allResolved &= resolved;
            times.push_back(ms);
        }
        if (expectResolved && !allResolved) {
            state.SkipWithError("a dump without file and line");
            return;
        }
        std::sort(times.begin(), times.end());
        state.counters["median_ms"] = (times[9] + times[10]) / 2;
        state.counters["max_ms"] = times.back();
    }
    std::system(("rm -rf " + dir).c_str());
}

void BM_AccessViolation_Handler(benchmark::State& s) { FaultToExit(s, "std", "segv", true); }
void BM_AccessViolation_NoHandler(benchmark::State& s) { FaultToExit(s, "none", "segv", false); }
void BM_Signal_Handler(benchmark::State& s) { FaultToExit(s, "std", "term", false); }
void BM_Signal_NoHandler(benchmark::State& s) { FaultToExit(s, "none", "term", false); }

BENCHMARK(BM_AccessViolation_Handler)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AccessViolation_NoHandler)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Signal_Handler)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Signal_NoHandler)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

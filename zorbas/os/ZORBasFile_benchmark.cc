// ZORBasFile::Write and Read of 1 GiB against plain write(2)/read(2) in steps of 65536 on the same
// file and the same buffer. Both sides go to the page cache; opening and emptying the file stay
// outside the timed region. The scratch file lives under /tmp and is removed at exit.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "zorbas/os/ZORBasFile.h"

namespace {

constexpr size_t kTotal = size_t(1) << 30;
constexpr size_t kBuffer = size_t(64) << 20;  // written or read 16 times per GiB
constexpr size_t kStep = 65536;

const std::string& ScratchName() {
    static const std::string name = [] {
        std::string n = "/tmp/zorbas_file_bench_" + std::to_string(getpid());
        std::atexit([] { unlink(("/tmp/zorbas_file_bench_" + std::to_string(getpid())).c_str()); });
        return n;
    }();
    return name;
}

std::vector<char>& Buffer() {
    static std::vector<char> buffer = [] {
        std::vector<char> b(kBuffer);
        for (size_t i = 0; i < b.size(); ++i) b[i] = static_cast<char>(i * 131 + 7);
        return b;
    }();
    return buffer;
}

void Report(benchmark::State& state) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kTotal));
}

void BM_ZORBasFileWrite(benchmark::State& state) {
    std::vector<char>& buf = Buffer();
    for (auto _ : state) {
        state.PauseTiming();
        ZORBasFile f;
        if (f.OpenWrite(ScratchName().c_str(), ZORBasFile::SharingDefault) != 0)
            state.SkipWithError("open");
        state.ResumeTiming();
        for (size_t done = 0; done < kTotal; done += kBuffer)
            if (f.Write(buf.data(), kBuffer) != 0) state.SkipWithError("write");
        state.PauseTiming();
        f.Close();
        state.ResumeTiming();
    }
    Report(state);
}

void BM_PlainWrite(benchmark::State& state) {
    std::vector<char>& buf = Buffer();
    for (auto _ : state) {
        state.PauseTiming();
        int fd = open(ScratchName().c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        state.ResumeTiming();
        for (size_t done = 0; done < kTotal; done += kStep)
            if (write(fd, buf.data() + done % kBuffer, kStep) != static_cast<ssize_t>(kStep))
                state.SkipWithError("write");
        state.PauseTiming();
        close(fd);
        state.ResumeTiming();
    }
    Report(state);
}

// The file both read benchmarks read: written once, 1 GiB.
void MakeReadFile() {
    static bool made = false;
    if (made) return;
    ZORBasFile f;
    f.OpenWrite(ScratchName().c_str(), ZORBasFile::SharingDefault);
    for (size_t done = 0; done < kTotal; done += kBuffer) f.Write(Buffer().data(), kBuffer);
    made = true;
}

void BM_ZORBasFileRead(benchmark::State& state) {
    MakeReadFile();
    std::vector<char>& buf = Buffer();
    ZORBasFile f;
    f.OpenRead(ScratchName().c_str(), ZORBasFile::SharingDefault);
    for (auto _ : state) {
        f.Seek(0);
        for (size_t done = 0; done < kTotal; done += kBuffer)
            if (f.Read(buf.data(), kBuffer) != 0) state.SkipWithError("read");
        benchmark::DoNotOptimize(buf.data());
    }
    Report(state);
}

void BM_PlainRead(benchmark::State& state) {
    MakeReadFile();
    std::vector<char>& buf = Buffer();
    int fd = open(ScratchName().c_str(), O_RDONLY | O_CLOEXEC);
    for (auto _ : state) {
        lseek(fd, 0, SEEK_SET);
        for (size_t done = 0; done < kTotal; done += kStep)
            if (read(fd, buf.data() + done % kBuffer, kStep) != static_cast<ssize_t>(kStep))
                state.SkipWithError("read");
        benchmark::DoNotOptimize(buf.data());
    }
    close(fd);
    Report(state);
}

BENCHMARK(BM_ZORBasFileWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PlainWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ZORBasFileRead)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PlainRead)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

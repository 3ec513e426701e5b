// A process that faults on request, for the tests of the crash layer: the tests start it with
// an environment and a working directory and check the streams, files and exit status it leaves.
//   crash_child INSTALLER ACTION [--job NAME] [--phases N] [--deep N] [--lose-cwd DIR]
// INSTALLER: std, plain or none. ACTION: one of the cases below. An action that should have
// ended the process and did not prints "child: survived <action>" and exits 3.
#include <setjmp.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>

#include "companions/alloc/ZORBasErrorStack.h"
#include "companions/alloc/ZORBasPhaseTracker.h"
#include "zorbas/crash/omi_ExceptionFilter.h"
#include "zorbas/crash/omi_ExceptionReport.h"

extern char** environ;

namespace {

volatile int* volatile g_null = nullptr;
volatile int g_zero = 0;
volatile int g_numerator = 7;  // a constant 1 would let the compiler answer 1 / x without dividing
volatile double g_zeroDouble = 0.0;

// The faults are the point: the undefined-behaviour sanitizer must let the hardware see them.
__attribute__((noinline, no_sanitize("undefined"))) int NullRead() { return *g_null; }
__attribute__((noinline, no_sanitize("undefined"))) int Divide() { return g_numerator / g_zero; }

__attribute__((noinline)) int Recurse(int depth) {
    if (depth < 0) return 0;  // never: the recursion ends in the guard area
    volatile char pad[512];
    pad[0] = static_cast<char>(depth);
    return Recurse(depth + 1) + pad[0];
}

__attribute__((noinline)) int Deep(int depth) {
    if (depth <= 0) return NullRead();
    int r = Deep(depth - 1);
    __asm__ volatile("" ::: "memory");
    return r + 1;
}

// Repeated faults in one process: each one goes through ExceptCallback from a handler of this
// program, which then jumps back instead of ending the process.
sigjmp_buf g_back;
void RepeatHandler(int signal, siginfo_t* info, void* context) {
    omn_ExceptionPointers pointers{omn_ExceptionCode(signal, info, false), signal, info, context};
    ExceptCallback(&pointers);
    siglongjmp(g_back, 1);
}

// An environment entry in a page that cannot be read: whoever looks up a variable after this
// faults, as a report does when it reads PLXTemp.
void PoisonEnvironment() {
    long page = sysconf(_SC_PAGESIZE);
    void* mem = mmap(nullptr, static_cast<size_t>(page), PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    std::strcpy(static_cast<char*>(mem), "POISONED=1");
    int n = 0;
    while (environ[n]) ++n;
    static char* entries[1024];
    for (int i = 0; i < n && i < 1022; ++i) entries[i] = environ[i];
    entries[0] = static_cast<char*>(mem);
    entries[n < 1022 ? n : 1022] = nullptr;
    environ = entries;
    mprotect(mem, static_cast<size_t>(page), PROT_NONE);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: crash_child std|plain|none ACTION [options]\n");
        return 2;
    }
    std::string installer = argv[1], action = argv[2];
    int phases = 0;
    static int deep = 0;  // read again after a siglongjmp
    for (int i = 3; i + 1 < argc; i += 2) {
        std::string option = argv[i];
        if (option == "--job") ZORBasErrorStack::SetJobname(argv[i + 1]);
        if (option == "--phases") phases = std::atoi(argv[i + 1]);
        if (option == "--deep") deep = std::atoi(argv[i + 1]);
        // A working directory that is gone: no report file can be created there, even by root.
        if (option == "--lose-cwd") rmdir(argv[i + 1]);
    }
    for (int i = 1; i <= phases; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "phase%d", i);
        ZORBasPhaseTracker::SaveMarker(name);
    }
    ZORBasErrorStack::SetContext(ZORBasErrorStack::kAssembly);
    ZORBasErrorStack::PushMessage("assembling block 7");
    if (installer == "std") omi_SetExceptionFilterStd();
    if (installer == "plain") omi_SetExceptionFilter();
    rlimit core{};
    getrlimit(RLIMIT_CORE, &core);
    std::printf("child: error mode %08x, core limit %s\n", omi_GetErrorMode(),
                core.rlim_cur == RLIM_INFINITY ? "unlimited" : "limited");
    std::fflush(stdout);

    // The moment of the fault, for the benchmark of fault-to-exit time.
    if (std::getenv("CRASH_CHILD_STAMP")) {
        timespec t;
        clock_gettime(CLOCK_MONOTONIC, &t);
        dprintf(1, "stamp %.3f\n", t.tv_sec * 1e3 + t.tv_nsec / 1e6);
    }
    if (action == "segv") std::printf("%d\n", Deep(deep));
    if (action == "stack") std::printf("%d\n", Recurse(0));
    if (action == "fpe") std::printf("%d\n", Divide());
    if (action == "fpdiv") {
        std::printf("child: 1/0 = %g\n", 1.0 / g_zeroDouble);
        return 0;
    }
    if (action == "abort") std::abort();
    if (action == "term") std::raise(SIGTERM);
    if (action == "int") std::raise(SIGINT);
    if (action == "raise-segv") std::raise(SIGSEGV);
    if (action == "thread") std::thread([] { std::printf("%d\n", NullRead()); }).join();
    if (action == "dumpstack") {
        zorbasdumpcallstack();
        std::printf("child: went on after the dump\n");
        return 0;
    }
    if (action == "second-fault") {
        PoisonEnvironment();
        std::raise(SIGTERM);
    }
    if (action == "std-handler") omi_SignalHandlerStd(SIGTERM);
    if (action == "repeat") {
        struct sigaction own {};
        own.sa_sigaction = RepeatHandler;
        own.sa_flags = SA_SIGINFO | SA_NODEFER;
        sigaction(SIGSEGV, &own, nullptr);
        for (static int i = 0; i < 3; ++i)
            if (sigsetjmp(g_back, 1) == 0) Deep(deep);
        std::printf("child: frames written %d\n", omi_FramesWritten());
        return 0;
    }
    std::printf("child: survived %s\n", action.c_str());
    return 3;
}

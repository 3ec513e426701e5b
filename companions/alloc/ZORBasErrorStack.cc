#include "companions/alloc/ZORBasErrorStack.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "companions/alloc/ZORBasMemInfo.h"

namespace {

using ES = ZORBasErrorStack;

const char* const kWords[ES::kContextCount] = {"UNKNOWN",
                                               "PRE",
                                               "ELEMENT LOOP",
                                               "ORDERING",
                                               "ASSEMBLY",
                                               "SOLVER",
                                               "ITERATIVE SOLVER",
                                               "REGULARIZATION SOLVER",
                                               "LANCZOS SOLVER",
                                               "AMS SOLVER",
                                               "CONTACT",
                                               "INITIAL STRESS",
                                               "PACKAGE",
                                               "EXPLICIT",
                                               "SENSITIVITY ANALYSIS",
                                               "LINEAR DYNAMICS",
                                               "CFD"};

constexpr size_t kTextBytes = 7 * ES::kPathBytes + ES::kMaxMessages * (ES::kMessageBytes + 1) + 256;

struct State {
    char job[ES::kPathBytes];
    char exe[ES::kPathBytes];
    char tmp[ES::kPathBytes];
    char out[ES::kPathBytes];
    char in[ES::kPathBytes];
    char cwd[ES::kPathBytes];
    char messages[ES::kMaxMessages][ES::kMessageBytes];
    int count;
    int context;
    char joined[ES::kMaxMessages * (ES::kMessageBytes + 1) + 1];
    char text[kTextBytes];
};

// Zero-initialised static storage: readable (as empty texts) before the load-time defaults run.
State g;
std::atomic<bool> g_fatal{false};
std::atomic<size_t> g_mem_at_error{0};  // megabytes, 0 when unknown
std::atomic_flag g_writer = ATOMIC_FLAG_INIT;

struct WriterGuard {
    WriterGuard() {
        while (g_writer.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~WriterGuard() { g_writer.clear(std::memory_order_release); }
};

void Copy(char* dst, const char* src, size_t cap) { std::snprintf(dst, cap, "%s", src ? src : ""); }

void Rebuild() {
    size_t at = 0;
    g.joined[0] = 0;
    for (int i = 0; i < g.count; ++i)
        at += static_cast<size_t>(
            std::snprintf(g.joined + at, sizeof g.joined - at, "%s\n", g.messages[i]));
    std::snprintf(g.text, sizeof g.text,
                  "Job: %s\nPhase: %s\nExecutable: %s\nWorking directory: %s\n"
                  "Input directory: %s\nOutput directory: %s\nTemporary directory: %s\n"
                  "Messages:\n%s",
                  g.job, ES::ContextWord(g.context), g.exe, g.cwd, g.in, g.out, g.tmp, g.joined);
}

template <class Edit>
void Write(Edit edit) {
    if (g_fatal.load(std::memory_order_relaxed)) return;
    WriterGuard guard;
    edit();
    Rebuild();
}

struct LoadDefaults {
    LoadDefaults() {
        WriterGuard guard;
        ssize_t n = readlink("/proc/self/exe", g.exe, sizeof g.exe - 1);
        g.exe[n > 0 ? n : 0] = 0;
        if (!getcwd(g.cwd, sizeof g.cwd)) g.cwd[0] = 0;
        Copy(g.in, g.cwd, sizeof g.in);
        Copy(g.out, g.cwd, sizeof g.out);
        const char* tmp = std::getenv("TMPDIR");
        Copy(g.tmp, tmp && *tmp ? tmp : "/tmp", sizeof g.tmp);
        Rebuild();
    }
} g_defaults;

}  // namespace

const char* ZORBasErrorStack::CStr() { return g.text; }
const char* ZORBasErrorStack::ContextAsString() { return ContextWord(g.context); }
const char* ZORBasErrorStack::ErrorMessages() { return g.joined; }
int ZORBasErrorStack::Length() { return g.count; }
size_t ZORBasErrorStack::GetMem() { return g_mem_at_error.load(std::memory_order_relaxed); }
const char* ZORBasErrorStack::Jobname() { return g.job; }
const char* ZORBasErrorStack::ExePath() { return g.exe; }
const char* ZORBasErrorStack::Tmpdir() { return g.tmp; }
const char* ZORBasErrorStack::Outdir() { return g.out; }
const char* ZORBasErrorStack::Indir() { return g.in; }
const char* ZORBasErrorStack::Cwd() { return g.cwd; }

void ZORBasErrorStack::SetFatalException(bool on) {
    if (on && !g_fatal.load(std::memory_order_relaxed))
        g_mem_at_error.store(ZORBasMemInfo().Current() >> 20, std::memory_order_relaxed);
    g_fatal.store(on, std::memory_order_relaxed);
}
bool ZORBasErrorStack::FatalException() { return g_fatal.load(std::memory_order_relaxed); }

void ZORBasErrorStack::SetJobname(const char* name) {
    Write([&] { Copy(g.job, name, sizeof g.job); });
}
void ZORBasErrorStack::SetExePath(const char* path) {
    Write([&] { Copy(g.exe, path, sizeof g.exe); });
}
void ZORBasErrorStack::SetTmpdir(const char* path) {
    Write([&] { Copy(g.tmp, path, sizeof g.tmp); });
}
void ZORBasErrorStack::SetOutdir(const char* path) {
    Write([&] { Copy(g.out, path, sizeof g.out); });
}
void ZORBasErrorStack::SetIndir(const char* path) {
    Write([&] { Copy(g.in, path, sizeof g.in); });
}
void ZORBasErrorStack::SetCwd(const char* path) {
    Write([&] { Copy(g.cwd, path, sizeof g.cwd); });
}

void ZORBasErrorStack::PushMessage(const char* message) {
    Write([&] {
        if (g.count == kMaxMessages) {
            std::memmove(g.messages[0], g.messages[1], sizeof g.messages - sizeof g.messages[0]);
            --g.count;
        }
        // A message is one line of the report: line breaks inside it become spaces.
        char* dst = g.messages[g.count++];
        Copy(dst, message, kMessageBytes);
        for (char* p = dst; *p; ++p)
            if (*p == '\n' || *p == '\r') *p = ' ';
    });
}

void ZORBasErrorStack::PopMessage() {
    Write([&] {
        if (g.count > 0) --g.count;
    });
}

void ZORBasErrorStack::ClearMessages() {
    Write([&] { g.count = 0; });
}

void ZORBasErrorStack::SetContext(int index) {
    Write([&] { g.context = index; });
}
int ZORBasErrorStack::GetContext() { return g.context; }

const char* ZORBasErrorStack::ContextWord(int index) {
    return index >= 0 && index < kContextCount ? kWords[index] : kWords[kUnknown];
}

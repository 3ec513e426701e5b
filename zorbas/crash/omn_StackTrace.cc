#include "zorbas/crash/omn_StackTrace.h"

#define UNW_LOCAL_ONLY
#include <cxxabi.h>
#include <dirent.h>
#include <elfutils/libdwfl.h>
#include <fcntl.h>
#include <libunwind.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "zorbas/crash/detail/omn_CrashWriter.h"

using omn_detail::CopyText;
using omn_detail::CrashFile;
using omn_detail::Utf8ToWide;

namespace {

constexpr int kMaxFrames = 256;
constexpr size_t kLineBytes = 2048;

Dwfl* g_dwfl = nullptr;
bool IsSystemLibrary(const char* path) {
    for (const char* prefix : {"/lib/", "/lib64/", "/usr/lib/", "/usr/lib64/"})
        if (path && std::strncmp(path, prefix, std::strlen(prefix)) == 0) return true;
    return false;
}

// The system's libraries keep their debug data in separate compressed files, whose
// decompression costs hundreds of milliseconds on a fault; their frames are named from their
// own symbol tables instead, without lines. The library and the programs built with it carry
// their debug data inside (-g), which is read as it stands.
int FindDebuginfo(Dwfl_Module* module, void** userdata, const char* name, Dwarf_Addr base,
                  const char* file, const char* debuglink, GElf_Word crc, char** debugFile) {
    if (IsSystemLibrary(file ? file : name)) return -1;
    return dwfl_standard_find_debuginfo(module, userdata, name, base, file, debuglink, crc,
                                        debugFile);
}

const Dwfl_Callbacks g_callbacks = {dwfl_linux_proc_find_elf, FindDebuginfo, nullptr, nullptr};

// The frames of the last walk, innermost first, and where the line reader stands.
uintptr_t g_frames[kMaxFrames];
int g_frameCount = 0;
int g_nextFrame = 0;
bool g_firstIsFaulting = false;  // frame 0 is the interrupted instruction, not a return address

char g_line[kLineBytes];
wchar_t g_wideLine[kLineBytes];
char g_reason[1024];
wchar_t g_wideReason[1024];
char g_demangled[kLineBytes];

// The calling thread's stack bounds, set by omn_PrepareThreadForFaults.
struct ThreadStack {
    uintptr_t low, high;
    void* altStack;
};
__thread ThreadStack t_stack __attribute__((tls_model("initial-exec"))) = {0, 0, nullptr};
constexpr size_t kAltStackBytes = 256 * 1024;
constexpr uintptr_t kGuardReach =
    1024 * 1024;  // how far below the stack a fault counts as overflow

int Walk(void* ucontext, int skip) {
    unw_context_t local;
    unw_cursor_t cursor;
    int ok;
    if (ucontext) {
        // libunwind's context on x86-64 is a ucontext_t; a copy keeps the kernel's frame intact.
        std::memcpy(&local, ucontext, sizeof local);
        ok = unw_init_local2(&cursor, &local, UNW_INIT_SIGNAL_FRAME);
    } else {
        unw_getcontext(&local);
        ok = unw_init_local(&cursor, &local);
        ++skip;  // Walk's own frame
    }
    int n = 0;
    if (ok != 0) return 0;
    int index = 0;
    do {
        unw_word_t ip = 0;
        unw_get_reg(&cursor, UNW_REG_IP, &ip);
        if (ip == 0) break;
        if (index++ < skip) continue;
        g_frames[n++] = static_cast<uintptr_t>(ip);
    } while (n < kMaxFrames && unw_step(&cursor) > 0);
    return n;
}

const char* BaseName(const char* path) {
    const char* slash = path ? std::strrchr(path, '/') : nullptr;
    return slash ? slash + 1 : (path ? path : "??");
}

const char* Demangle(const char* name) {
    if (!name) return "??";
    if (name[0] != '_' || name[1] != 'Z') return name;
    size_t length = sizeof g_demangled;
    int status = 0;
    // The output buffer must come from malloc for __cxa_demangle; a static one would be handed
    // to realloc. So this allocates once a name.
    char* out = abi::__cxa_demangle(name, nullptr, &length, &status);
    if (status != 0 || !out) return name;
    CopyText(g_demangled, sizeof g_demangled, out);
    std::free(out);
    return g_demangled;
}

// One frame as text into g_line.
void FormatFrame(uintptr_t pc, bool isReturnAddress, unsigned options) {
    // A return address points after the call; the call's own line is one byte before.
    uintptr_t lookup = isReturnAddress ? pc - 1 : pc;
    const char* module = nullptr;
    const char* function = nullptr;
    uintptr_t offset = 0;
    const char* file = nullptr;
    int line = 0;
    if (g_dwfl) {
        if (Dwfl_Module* m = dwfl_addrmodule(g_dwfl, lookup)) {
            module =
                dwfl_module_info(m, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
            GElf_Off symOffset = 0;
            GElf_Sym sym;
            function = dwfl_module_addrinfo(m, lookup, &symOffset, &sym, nullptr, nullptr, nullptr);
            if (function) offset = pc - (lookup - symOffset);
            if (Dwfl_Line* l = dwfl_module_getsrc(m, lookup)) {
                Dwarf_Addr addr;
                file = dwfl_lineinfo(l, &addr, &line, nullptr, nullptr, nullptr);
            }
        }
    }
    size_t at = 0;
    auto add = [&](const char* format, auto... values) {
        if (at >= sizeof g_line) return;
        int n = std::snprintf(g_line + at, sizeof g_line - at, format, values...);
        if (n > 0) at += static_cast<size_t>(n);
    };
    if (options & omn_GSTSO_MODULE) add("%s!", BaseName(module));
    if (options & omn_GSTSO_SYMBOL) {
        if (function)
            add("%s+0x%lx", Demangle(function), static_cast<unsigned long>(offset));
        else
            add("0x%016lx", static_cast<unsigned long>(pc));
    }
    if ((options & omn_GSTSO_SRCLINE) && file && line > 0) add(" [%s:%d]", file, line);
    if (at == 0) add("0x%016lx", static_cast<unsigned long>(pc));
}

const wchar_t* Widen(const char* text, wchar_t* out, size_t capacity) {
    Utf8ToWide(text, out, capacity);
    return out;
}

const char* SignalName(int signal) {
    switch (signal) {
        case SIGSEGV:
            return "SIGSEGV";
        case SIGBUS:
            return "SIGBUS";
        case SIGILL:
            return "SIGILL";
        case SIGFPE:
            return "SIGFPE";
        case SIGABRT:
            return "SIGABRT";
        case SIGTERM:
            return "SIGTERM";
        case SIGINT:
            return "SIGINT";
        case SIGKILL:
            return "SIGKILL";
        default:
            return "signal";
    }
}

struct CodeWords {
    int signal, code;
    const char* name;
    const char* words;
};
constexpr CodeWords kCodes[] = {
    {SIGSEGV, SEGV_MAPERR, "SEGV_MAPERR", "unmapped address"},
    {SIGSEGV, SEGV_ACCERR, "SEGV_ACCERR", "page without that access"},
    {SIGBUS, BUS_ADRALN, "BUS_ADRALN", "a misaligned access"},
    {SIGBUS, BUS_ADRERR, "BUS_ADRERR", "an access beyond the end of a mapped file"},
    {SIGBUS, BUS_OBJERR, "BUS_OBJERR", "a hardware error of the memory"},
    {SIGFPE, FPE_INTDIV, "FPE_INTDIV", "an integer division by zero"},
    {SIGFPE, FPE_INTOVF, "FPE_INTOVF", "an integer overflow"},
    {SIGFPE, FPE_FLTDIV, "FPE_FLTDIV", "a floating-point division by zero"},
    {SIGFPE, FPE_FLTOVF, "FPE_FLTOVF", "a floating-point overflow"},
    {SIGFPE, FPE_FLTUND, "FPE_FLTUND", "a floating-point underflow"},
    {SIGFPE, FPE_FLTRES, "FPE_FLTRES", "an inexact floating-point result"},
    {SIGFPE, FPE_FLTINV, "FPE_FLTINV", "an invalid floating-point operation"},
    {SIGFPE, FPE_FLTSUB, "FPE_FLTSUB", "a subscript out of range"},
    {SIGILL, ILL_ILLOPC, "ILL_ILLOPC", "an illegal opcode"},
    {SIGILL, ILL_ILLOPN, "ILL_ILLOPN", "an illegal operand"},
    {SIGILL, ILL_ILLADR, "ILL_ILLADR", "an illegal addressing mode"},
    {SIGILL, ILL_ILLTRP, "ILL_ILLTRP", "an illegal trap"},
    {SIGILL, ILL_PRVOPC, "ILL_PRVOPC", "a privileged opcode"},
    {SIGILL, ILL_PRVREG, "ILL_PRVREG", "a privileged register"},
    {SIGILL, ILL_COPROC, "ILL_COPROC", "a coprocessor error"},
    {SIGILL, ILL_BADSTK, "ILL_BADSTK", "an internal stack error"},
};

const CodeWords* FindCode(int signal, int code) {
    for (const CodeWords& c : kCodes)
        if (c.signal == signal && c.code == code) return &c;
    return nullptr;
}

uintptr_t ContextPc(const void* ucontext) {
    if (!ucontext) return 0;
    return static_cast<uintptr_t>(
        static_cast<const ucontext_t*>(ucontext)->uc_mcontext.gregs[REG_RIP]);
}

}  // namespace

unsigned omn_ExceptionCode(int signal, const siginfo_t* info, bool stackOverflow) {
    int code = info ? info->si_code : 0;
    switch (signal) {
        case SIGSEGV:
            return stackOverflow ? omn_EXCEPTION_STACK_OVERFLOW : omn_EXCEPTION_ACCESS_VIOLATION;
        case SIGBUS:
            return code == BUS_ADRALN ? omn_EXCEPTION_DATATYPE_MISALIGNMENT
                                      : omn_EXCEPTION_IN_PAGE_ERROR;
        case SIGILL:
            return code == ILL_PRVOPC || code == ILL_PRVREG ? omn_EXCEPTION_PRIV_INSTRUCTION
                                                            : omn_EXCEPTION_ILLEGAL_INSTRUCTION;
        case SIGFPE:
            switch (code) {
                case FPE_INTDIV:
                    return omn_EXCEPTION_INT_DIVIDE_BY_ZERO;
                case FPE_INTOVF:
                    return omn_EXCEPTION_INT_OVERFLOW;
                case FPE_FLTDIV:
                    return omn_EXCEPTION_FLT_DIVIDE_BY_ZERO;
                case FPE_FLTOVF:
                    return omn_EXCEPTION_FLT_OVERFLOW;
                case FPE_FLTUND:
                    return omn_EXCEPTION_FLT_UNDERFLOW;
                case FPE_FLTRES:
                    return omn_EXCEPTION_FLT_INEXACT;
                default:
                    return omn_EXCEPTION_FLT_INVALID;
            }
        default:
            return omn_EXCEPTION_NONCONTINUABLE;
    }
}

bool omn_InitStackTraceRoutines() {
    if (!g_dwfl) {
        g_dwfl = dwfl_begin(&g_callbacks);
        if (!g_dwfl) return false;
    }
    // Reporting again keeps the modules already read and adds those loaded since.
    dwfl_report_begin_add(g_dwfl);
    int failed = dwfl_linux_proc_report(g_dwfl, getpid());
    dwfl_report_end(g_dwfl, nullptr, nullptr);
    return failed == 0;
}

const char* omn_GetFaultReasonA(const omn_ExceptionPointers* p) {
    if (!p || !p->info) return nullptr;
    const siginfo_t* info = p->info;
    const CodeWords* words = FindCode(p->signal, info->si_code);
    uintptr_t address = reinterpret_cast<uintptr_t>(info->si_addr);
    size_t at = 0;
    auto add = [&](const char* format, auto... values) {
        if (at >= sizeof g_reason) return;
        int n = std::snprintf(g_reason + at, sizeof g_reason - at, format, values...);
        if (n > 0) at += static_cast<size_t>(n);
    };
    if (info->si_code <= 0) {
        add("%s (%d) sent by process %d", SignalName(p->signal), p->signal,
            static_cast<int>(info->si_pid));
        return g_reason;
    }
    const ucontext_t* uc = static_cast<const ucontext_t*>(p->context);
    long err = uc ? uc->uc_mcontext.gregs[REG_ERR] : 0;
    if (p->code == omn_EXCEPTION_STACK_OVERFLOW) {
        add("Stack overflow: an access to the guard area below the stack at 0x%lx",
            static_cast<unsigned long>(address));
    } else if (p->signal == SIGSEGV && words) {
        // Page-fault error code: bit 1 a write, bit 4 an instruction fetch.
        const char* access = (err & 16) ? "an execution" : (err & 2) ? "a write" : "a read";
        if (info->si_code == SEGV_ACCERR && (err & 2))
            add("Access violation: a write to a read-only page at 0x%lx",
                static_cast<unsigned long>(address));
        else
            add("Access violation: %s of the %s 0x%lx", access,
                info->si_code == SEGV_MAPERR ? "unmapped address" : "page without that access at",
                static_cast<unsigned long>(address));
    } else if (words) {
        const char* kind = p->signal == SIGFPE   ? "Arithmetic exception"
                           : p->signal == SIGILL ? "Illegal instruction"
                                                 : "Bus error";
        add("%s: %s at 0x%lx", kind, words->words, static_cast<unsigned long>(address));
    } else {
        add("%s (%d), code %d, at 0x%lx", SignalName(p->signal), p->signal, info->si_code,
            static_cast<unsigned long>(address));
    }
    add(" (%s, %s)", SignalName(p->signal), words ? words->name : "?");
    if (uintptr_t pc = ContextPc(p->context)) {
        if (g_dwfl) {
            FormatFrame(pc, false, omn_GSTSO_MODULE | omn_GSTSO_SYMBOL);
            add(" in %.900s", g_line);
        } else {
            add(" in 0x%lx", static_cast<unsigned long>(pc));
        }
    }
    return g_reason;
}

const wchar_t* omn_GetFaultReason(const omn_ExceptionPointers* p) {
    const char* reason = omn_GetFaultReasonA(p);
    return reason ? Widen(reason, g_wideReason, sizeof g_wideReason / sizeof(wchar_t)) : nullptr;
}

const wchar_t* omn_GetFirstStackTraceString(unsigned options, const omn_ExceptionPointers* p) {
    void* context = p ? p->context : nullptr;
    g_frameCount = Walk(context, context ? 0 : 1);
    g_firstIsFaulting = context != nullptr;
    g_nextFrame = 0;
    return omn_GetNextStackTraceString(options, p);
}

const wchar_t* omn_GetNextStackTraceString(unsigned options, const omn_ExceptionPointers*) {
    if (g_nextFrame >= g_frameCount) return nullptr;
    int i = g_nextFrame++;
    FormatFrame(g_frames[i], !(i == 0 && g_firstIsFaulting), options);
    return Widen(g_line, g_wideLine, kLineBytes);
}

bool omn_MiniDumpWriteDump(const omn_ExceptionPointers* p, int kind, const char* exeName,
                           int rank) {
    static char name[1024];
    std::snprintf(name, sizeof name, "%s.r%02d.mini%d.dmp", BaseName(exeName), rank, kind);
    CrashFile file;
    if (!file.OpenAppend(name)) return false;
    file.Printf("<MiniDump kind=\"%d\">\n<Reason>\n    %s\n</Reason>\n", kind,
                omn_GetFaultReasonA(p) ? g_reason : "(no fault)");
    const ucontext_t* uc = p ? static_cast<const ucontext_t*>(p->context) : nullptr;
    if (uc) {
        static const char* const kRegs[] = {"r8",  "r9",  "r10", "r11", "r12", "r13",
                                            "r14", "r15", "rdi", "rsi", "rbp", "rbx",
                                            "rdx", "rax", "rcx", "rsp", "rip", "eflags"};
        file.Write("<Registers>\n");
        for (int r = 0; r < 18; ++r)
            file.Printf("   %-6s 0x%016llx\n", kRegs[r],
                        static_cast<unsigned long long>(uc->uc_mcontext.gregs[r]));
        file.Write("</Registers>\n");
    }
    file.Write("<Callstack>\n");
    unsigned options = omn_GSTSO_MODULE | omn_GSTSO_SYMBOL | omn_GSTSO_SRCLINE;
    for (const wchar_t* line = omn_GetFirstStackTraceString(options, p); line;
         line = omn_GetNextStackTraceString(options, p))
        file.Printf("%s\n", g_line);
    file.Write("</Callstack>\n");
    if (uc && kind >= 1) {
        // Read through the kernel, so that memory past the stack's top reads as missing rather
        // than faulting again.
        static unsigned char memory[16 * 1024];
        size_t want = kind == 1 ? 1024 : sizeof memory;
        uintptr_t sp = static_cast<uintptr_t>(uc->uc_mcontext.gregs[REG_RSP]);
        size_t got = 0;
        while (got < want) {
            iovec local{memory + got, 4096 - (sp + got) % 4096};
            if (local.iov_len > want - got) local.iov_len = want - got;
            iovec remote{reinterpret_cast<void*>(sp + got), local.iov_len};
            if (process_vm_readv(getpid(), &local, 1, &remote, 1, 0) !=
                static_cast<ssize_t>(local.iov_len))
                break;
            got += local.iov_len;
        }
        file.Printf("<StackMemory from=\"0x%lx\" bytes=\"%zu\">\n", static_cast<unsigned long>(sp),
                    got);
        for (size_t i = 0; i + 16 <= got; i += 16) {
            file.Printf("   %016lx:", static_cast<unsigned long>(sp + i));
            for (size_t b = 0; b < 16; ++b) file.Printf(" %02x", memory[i + b]);
            file.Write("\n");
        }
        file.Write("</StackMemory>\n");
    }
    auto copyFile = [&](const char* path) {
        int fd = ::open(path, O_RDONLY | O_CLOEXEC);
        if (fd < 0) return;
        static char chunk[4096];
        ssize_t n;
        while ((n = ::read(fd, chunk, sizeof chunk)) > 0)
            omn_detail::FdWrite(file.Fd(), chunk, static_cast<size_t>(n));
        ::close(fd);
    };
    if (kind >= 3) {
        file.Write("<Threads>\n");
        if (DIR* dir = opendir("/proc/self/task")) {
            while (dirent* entry = readdir(dir)) {
                if (entry->d_name[0] == '.') continue;
                static char path[300];
                std::snprintf(path, sizeof path, "/proc/self/task/%s/stat", entry->d_name);
                copyFile(path);
            }
            closedir(dir);
        }
        file.Write("</Threads>\n");
    }
    file.Write("<Maps>\n");
    copyFile("/proc/self/maps");
    file.Write("</Maps>\n</MiniDump>\n");
    file.Close();
    return true;
}

void omn_PrepareThreadForFaults() {
    if (t_stack.altStack) return;
    pthread_attr_t attr;
    if (pthread_getattr_np(pthread_self(), &attr) == 0) {
        void* base = nullptr;
        size_t size = 0;
        if (pthread_attr_getstack(&attr, &base, &size) == 0) {
            t_stack.low = reinterpret_cast<uintptr_t>(base);
            t_stack.high = t_stack.low + size;
        }
        pthread_attr_destroy(&attr);
    }
    stack_t current;
    // A stack the thread has already is kept when it is as large as ours. A smaller one (the
    // sanitizers give each thread 32 KiB) is replaced: the report and the stack walk need more.
    if (sigaltstack(nullptr, &current) == 0 && !(current.ss_flags & SS_DISABLE) &&
        current.ss_size >= kAltStackBytes) {
        t_stack.altStack = current.ss_sp;
        return;
    }
    void* mem =
        mmap(nullptr, kAltStackBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mem == MAP_FAILED) return;
    stack_t alt{};
    alt.ss_sp = mem;
    alt.ss_size = kAltStackBytes;
    if (sigaltstack(&alt, nullptr) == 0)
        t_stack.altStack = mem;
    else
        munmap(mem, kAltStackBytes);
}

bool omn_IsStackOverflow(const void* address, const void* sp) {
    uintptr_t a = reinterpret_cast<uintptr_t>(address);
    uintptr_t s = reinterpret_cast<uintptr_t>(sp);
    if (t_stack.low) return a < t_stack.low + 4096 && a + kGuardReach >= t_stack.low;
    // A thread whose bounds are unknown: an access next to its stack pointer, below it.
    return a <= s + 256 && a + 65536 >= s;
}

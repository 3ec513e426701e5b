#include "zorbas/crash/omi_ExceptionFilter.h"

#include <dlfcn.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "companions/alloc/ZORBasCallStack.h"
#include "companions/alloc/ZORBasErrorStack.h"
#include "companions/alloc/ZORBasMemInfo.h"
#include "zorbas/base/ZORBasUtlSystem.h"
#include "zorbas/crash/detail/omn_CrashWriter.h"
#include "zorbas/crash/omi_ExceptionReport.h"
#include "zorbas/machine/ZORBasUtlVersion.h"
#include "zorbas/os/ZORBasOmniProcessInfo.h"

using omn_detail::CopyText;
using omn_detail::CrashFile;
using omn_detail::FdPrintf;
using omn_detail::FdWrite;

namespace {

// Environment switches, read when the library is loaded; a later change has no effect.
struct LoadTimeSwitches {
    const char* mrwDebugPopup = std::getenv("MRW_DEBUG_POPUP");
    const char* velDebugPopup = std::getenv("VEL_DEBUG_POPUP");
    const char* vldDebugger = std::getenv("VLD_DEBUGGER");
    const char* grnOdtIn = std::getenv("GRN_ODT_IN");
    const char* mcResult = std::getenv("MC_RESULT");
    bool DebugPopup() const { return mrwDebugPopup || velDebugPopup; }
};
const LoadTimeSwitches g_env;

// State of the crash paths: static, so that nothing is allocated on a stack that may have
// just overflowed.
unsigned g_exceptionCode = 0;
unsigned g_lastError = 0;
char g_message[4096];
char g_details[401];
char g_dumpName[1024];
const char kBanner[] = "\n---------- RUNTIME EXCEPTION HAS OCCURED ----------\n";
const int kBannerLength = 53;
static_assert(sizeof kBanner - 1 == kBannerLength);

bool g_continueSearch = false;  // set by the plain installer under a debug-popup variable
bool g_standardFlag = false;    // set by the standard installer under a debug-popup variable
int g_frameCounter = 0;         // never reset: 201 stack lines in the life of the process
constexpr int kMaxFrames = 201;
unsigned g_errorMode = 0xFFFFFFFFu;
unsigned g_modeValue = 0xFFFFFFFFu;
int (*g_rankPointer)() = nullptr;
int g_dumpSwitch = 0;

enum class Route : unsigned char { kNone, kPlain, kStandard };
Route g_route[NSIG];
bool g_filterOn[NSIG];  // ExceptCallback takes the kernel's faults of this signal
struct sigaction g_previous[NSIG];
bool g_hooked[NSIG];

constexpr int kFaultSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE};

void WriteMsg(const char* text, int length) { ZORBasWriteMsg(text, &length); }

int Rank() { return ZORBasOmniProcessInfo::Rank(); }

void OnSignal(int signal, siginfo_t* info, void* context);

// Puts the common handler on `signal`, keeping the handler before it for faults the library
// passes on. A second install keeps the first saved handler, not the library's own.
void Hook(int signal) {
    struct sigaction action {};
    action.sa_sigaction = OnSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    struct sigaction previous {};
    sigaction(signal, &action, &previous);
    if (!g_hooked[signal]) g_previous[signal] = previous;
    g_hooked[signal] = true;
}

void RestoreDefault(int signal) {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

// The handler that was there before the library's: the fault goes on to it, or to the default
// action. A fault's instruction runs again on return; a sent signal is raised again.
void PassOn(int signal, siginfo_t* info, void* context, bool fault) {
    const struct sigaction& previous = g_previous[signal];
    if (g_hooked[signal] && (previous.sa_flags & SA_SIGINFO) && previous.sa_sigaction &&
        previous.sa_sigaction != OnSignal) {
        previous.sa_sigaction(signal, info, context);
        return;
    }
    if (g_hooked[signal] && !(previous.sa_flags & SA_SIGINFO) && previous.sa_handler != SIG_DFL &&
        previous.sa_handler != SIG_IGN && previous.sa_handler != nullptr) {
        previous.sa_handler(signal);
        return;
    }
    RestoreDefault(signal);
    if (!fault) raise(signal);
}

void OnSignal(int signal, siginfo_t* info, void* context) {
    bool fault = info && info->si_code > 0 &&
                 (signal == SIGSEGV || signal == SIGBUS || signal == SIGILL || signal == SIGFPE);
    if (fault && g_filterOn[signal]) {
        const ucontext_t* uc = static_cast<const ucontext_t*>(context);
        const void* sp = reinterpret_cast<const void*>(uc->uc_mcontext.gregs[REG_RSP]);
        bool overflow = signal == SIGSEGV && omn_IsStackOverflow(info->si_addr, sp);
        omn_ExceptionPointers pointers{omn_ExceptionCode(signal, info, overflow), signal, info,
                                       context};
        if (ExceptCallback(&pointers) == 1) {
            RestoreDefault(signal);  // the instruction faults again and the process ends by it
            return;
        }
        PassOn(signal, info, context, true);
        return;
    }
    switch (g_route[signal]) {
        case Route::kPlain:
            omi_SignalHandler(signal);
            return;
        case Route::kStandard:
            omi_SignalHandlerStd(signal);
            return;
        case Route::kNone:
            PassOn(signal, info, context, fault);
            return;
    }
}

void Install(Route route, std::initializer_list<int> signals) {
    for (int s : signals) {
        g_route[s] = route;
        Hook(s);
    }
}

void InstallFilter() {
    for (int s : kFaultSignals) {
        g_filterOn[s] = true;
        Hook(s);
    }
}

// Reads once what a fault would otherwise read for the first time: the process identity, the
// symbol reader, the version texts, and an alternate stack for this thread.
void Prepare() {
    ZORBasOmniProcessInfo::Initialize();  // name and rank, from the environment, fixed now
    omn_PrepareThreadForFaults();
    omn_InitStackTraceRoutines();
    // The report prints the version from fixed buffers; they are filled here, not on a fault.
    ZORBasUtlVersion::InitReleaseInfo();
    ZORBasUtlVersion::InitBuildInfo();
    ZORBasUtlVersion::Instance().VersionNumber();
}

void ComposeDumpName() {
    std::memset(g_dumpName, 0, sizeof g_dumpName);
    std::snprintf(g_dumpName, sizeof g_dumpName, "%s.%d.%02d.dmp", ZORBasOmniProcessInfo::ExeName(),
                  ZORBasOmniProcessInfo::ProcessId(), Rank());
}

// A function of a module that may be loaded in the process: null when it is not.
void* LoadedFunction(const char* module, const char* function, void** handle) {
    char name[256];
    std::snprintf(name, sizeof name, "lib%s.so", module);
    *handle = dlopen(name, RTLD_LAZY | RTLD_NOLOAD);
    return *handle ? dlsym(*handle, function) : nullptr;
}

long StackOverflowPath(omn_ExceptionPointers* pointers) {
    CopyText(g_message, sizeof g_message, "Runtime stack limit has been exceeded.           \n");
    CopyText(g_details, sizeof g_details,
             "    This may be caused by user subroutines with large data structures allocated "
             "on   \n    the stack or recursion.  For suggestions on how to resolve this problem,"
             "  please \n    refer to the chapter \"Ensuring thread safety\" in the VELDOR "
             "documentation.     \n");
    ZORBasUtlsleep(Rank() * 500 + 100);
    FdPrintf(2, "\n*** Error: %s%s", g_message, g_details);
    WriteMsg(kBanner, kBannerLength);
    WriteMsg(g_message, static_cast<int>(std::strlen(g_message)));
    const char* stack = ZORBasCallStack::ExceptionCallStack(pointers->context, 10);
    omi_ExceptionReport(g_message, g_details, stack, nullptr);
    CrashFile dump;
    if (dump.OpenAppend(g_dumpName)) {
        dump.Write("\n<Callstack>\n");
        dump.Write(stack);
        dump.Write("</Callstack>\n");
        dump.Close();
    }
    return 0;
}

}  // namespace

long ExceptCallback(omn_ExceptionPointers* pointers) {
    g_lastError = static_cast<unsigned>(errno);
    g_exceptionCode = pointers ? pointers->code : 0;
    ComposeDumpName();
    if (g_exceptionCode == omn_EXCEPTION_STACK_OVERFLOW) return StackOverflowPath(pointers);

    if (g_lastError != 0) {
        FdPrintf(2, "*** OS ERROR CODE: %lu", static_cast<unsigned long>(g_lastError));
        char text[256];
        FdPrintf(2, ": %s\n", strerror_r(static_cast<int>(g_lastError), text, sizeof text));
    }
    if (!omn_InitStackTraceRoutines()) return g_continueSearch ? 0 : 1;

    if (const char* windump = std::getenv("VLD_ENABLE_WINDUMP")) {
        int kind = std::strcmp(windump, "1") == 0   ? 1
                   : std::strcmp(windump, "2") == 0 ? 2
                   : std::strcmp(windump, "3") == 0 ? 3
                                                    : 0;
        omn_MiniDumpWriteDump(pointers, kind, ZORBasOmniProcessInfo::ExeName(), Rank());
        return g_continueSearch ? 0 : 1;
    }

    CrashFile dump;
    dump.OpenAppend(g_dumpName);
    const char* reason = omn_GetFaultReasonA(pointers);
    size_t at = CopyText(g_message, sizeof g_message, reason);
    if (g_lastError != 0)
        at +=
            static_cast<size_t>(std::snprintf(g_message + at, sizeof g_message - at, " (code %lx)",
                                              static_cast<unsigned long>(g_lastError)));
    if (at + 1 < sizeof g_message) {
        g_message[at++] = '\n';
        g_message[at] = 0;
    }
    if (reason) FdPrintf(2, "\n*** Error: %s\n", reason);
    CopyText(g_details, sizeof g_details, reason);
    WriteMsg(kBanner, kBannerLength);
    // The count is the message's and the text the details': the stream stops at the details'
    // end, so the code in parentheses never reaches it.
    WriteMsg(g_details, static_cast<int>(at));

    if (reason) {
        dump.Write("<Description>\n");
        dump.Printf("    %s\n", g_message);
        dump.Write("</Description>\n");
    }
    dump.Write("\n<Callstack>\n");
    unsigned options = omn_GSTSO_MODULE | omn_GSTSO_SYMBOL | omn_GSTSO_SRCLINE;
    wchar_t const* line = omn_GetFirstStackTraceString(options, pointers);
    static char narrow[4096];
    while (line) {
        omn_detail::WideToUtf8(line, narrow, sizeof narrow);
        dump.Printf("%s\n", narrow);
        line = omn_GetNextStackTraceString(options, pointers);
        if (++g_frameCounter >= kMaxFrames) break;
    }
    dump.Write("</Callstack>\n");
    dump.Close();
    return g_continueSearch ? 0 : 1;
}

const char* omi_SignalText(int signal, bool standard) {
    const char* format;
    switch (signal) {
        case SIGINT:
            format = "***  VELDOR/%s rank %d received the INTERRUPT signal\n";
            break;
        case SIGFPE:
            format = "***  VELDOR/%s rank %d encountered a FLOATING-POINT EXCEPTION\n";
            break;
        case SIGSEGV:
            format = "***  VELDOR/%s rank %d encountered a SEGMENTATION FAULT\n";
            break;
        case SIGTERM:
            format = standard ? "***  VELDOR/%s rank %d received the TERM signal\n"
                              : "***  VELDOR/%s rank %d received the SIGTERM signal\n";
            break;
        case omi_SIGBREAK:
            format = standard ? "***  VELDOR/%s rank %d received the BREAK signal\n"
                              : "***  VELDOR/%s rank %d received the SIGBREAK signal\n";
            break;
        case SIGABRT:
            format = standard ? "***  VELDOR/%s rank %d received the ABORT signal\n"
                              : "***  VELDOR/%s rank %d received the SIGABRT signal\n";
            break;
        default:
            std::snprintf(g_message, sizeof g_message,
                          "***  VELDOR/%s rank %d received signal %d\n",
                          ZORBasOmniProcessInfo::ExeName(), Rank(), signal);
            return g_message;
    }
    std::snprintf(g_message, sizeof g_message, format, ZORBasOmniProcessInfo::ExeName(), Rank());
    return g_message;
}

void omi_SignalHandler(int signal) {
    omi_SignalText(signal, false);
    ZORBasUtlsleep(Rank() * 500);
    FdPrintf(1, "%s\n", g_message);
    WriteMsg(kBanner, kBannerLength);
    WriteMsg(g_message, static_cast<int>(std::strlen(g_message)));
    try {
        ZORBasCallStack stack(20, nullptr);
        omi_ExceptionReport(g_message, g_details, stack.Available() ? stack.CStr() : nullptr,
                            nullptr);
    } catch (...) {
        // The process is ending by this signal either way.
    }
    RestoreDefault(signal);
    raise(signal);
}

void omi_SignalHandlerStd(int signal) {
    ZORBasErrorStack::SetFatalException(true);
    void* module = nullptr;
    using Printf = int (*)(const char*, ...);
    if (auto mcPrintf = reinterpret_cast<Printf>(LoadedFunction("MCRuntime", "MCPrintf", &module)))
        mcPrintf("Emergency termination on signal %d / Fatal exception\n", signal);
    if (module) {
        ZORBasErrorStack::SetFatalException(false);
        dlclose(module);
    }
    omi_SignalText(signal, true);
    ZORBasUtlsleep(Rank() * 500);
    FdPrintf(1, "%s\n", g_message);
    WriteMsg(kBanner, kBannerLength);
    WriteMsg(g_message, static_cast<int>(std::strlen(g_message)));
    omi_ExceptionReport(g_message, g_details, nullptr, nullptr);
    void* threads = nullptr;
    if (auto terminate = reinterpret_cast<void (*)()>(
            LoadedFunction("VLDZORVbuBasicUtils", "thr_TerminateThreads", &threads)))
        terminate();
    if (threads) dlclose(threads);
    if (g_env.mcResult) std::exit(signal);
    RestoreDefault(signal);
    raise(signal);
}

void omi_setErrorMode() {
    if (g_modeValue == 0xFFFFFFFFu && g_env.DebugPopup()) g_modeValue = 1;
    g_errorMode = g_modeValue;
}

unsigned omi_GetErrorMode() { return g_errorMode; }

void omi_SetExceptionFilter() {
    if (g_env.DebugPopup()) {
        g_continueSearch = true;
        g_errorMode = 0;
    } else {
        omi_setErrorMode();
    }
    Prepare();
    InstallFilter();
    Install(Route::kPlain, {SIGINT, SIGTERM, SIGABRT, SIGILL, SIGFPE});
}

void omi_SetExceptionFilterStd() {
    if (std::getenv("VEL_PARALLEL_DEBUG")) ZORBasMemInfo::CoreSize(ZORBasMemInfo::UNLIMITED);
    if (g_env.DebugPopup()) {
        g_standardFlag = true;
        g_errorMode = 0;
        return;
    }
    omi_setErrorMode();
    if (g_env.mcResult || g_env.grnOdtIn || g_env.vldDebugger) return;
    Prepare();
    Install(Route::kStandard, {SIGINT, SIGTERM, SIGABRT, SIGSEGV, SIGILL, SIGFPE});
    InstallFilter();
}

void omi_SetGetRankPointer(int (*rank)()) { g_rankPointer = rank; }
int (*omi_GetRankPointer())() { return g_rankPointer; }

// The software exception of an on-demand dump: its code, and the three frames of the dump
// machinery (the guard's filter, the raise, zorbasdumpcallstack) that the dump leaves out.
namespace {
constexpr unsigned kDumpCode = 11247617;

__attribute__((noinline)) int DumpCallstackFilter(unsigned code) {
    if (code != kDumpCode) return 0;
    if (!omn_InitStackTraceRoutines()) {
        FdPrintf(2, "*** Warning: cannot generate callstack for error code %X\n", code);
        return -1;
    }
    static char name[1024];
    std::snprintf(name, sizeof name, "%s.%02d.dmp", ZORBasOmniProcessInfo::ExeName(), Rank());
    CrashFile file;
    if (!file.OpenAppend(name)) {
        FdPrintf(2, "*** Warning: cannot write callstack for error code %X\n", code);
        return -1;
    }
    file.Write("=== CALLSTACK ===\n");
    unsigned options = omn_GSTSO_MODULE | omn_GSTSO_SYMBOL | omn_GSTSO_SRCLINE;
    const wchar_t* line = omn_GetFirstStackTraceString(options, nullptr);
    for (int i = 0; i < 2 && line; ++i) line = omn_GetNextStackTraceString(options, nullptr);
    static char narrow[4096];
    for (int n = 0; n < kMaxFrames && (line = omn_GetNextStackTraceString(options, nullptr)); ++n) {
        omn_detail::WideToUtf8(line, narrow, sizeof narrow);
        file.Printf("%s\n", narrow);
    }
    file.Close();
    return 1;
}

__attribute__((noinline)) int RaiseUnderGuard(unsigned code) {
    int result = DumpCallstackFilter(code);
    __asm__ volatile("" ::: "memory");  // keeps this frame: no tail call
    return result;
}
}  // namespace

void zorbasdumpcallstack() {
    if (g_dumpSwitch == 0) return;
    RaiseUnderGuard(kDumpCode);
    __asm__ volatile("" ::: "memory");
}

void ZORBasCallstackInit() {
    if (const char* value = VEL_PARALLEL_DEBUG) g_dumpSwitch = std::atoi(value);
}

int omi_DumpCallstackSwitch() { return g_dumpSwitch; }

char* omi_MemoryReport() {
    static char buffer[500];
    CopyText(buffer, sizeof buffer, "Hello");
    return buffer;
}

char* omi_DiskSpaceReport() {
    static char buffer[500];
    CopyText(buffer, sizeof buffer, "World");
    return buffer;
}

int omi_FramesWritten() { return g_frameCounter; }

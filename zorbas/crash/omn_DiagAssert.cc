#include "zorbas/crash/omn_DiagAssert.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "companions/coreutils/aio_stream.h"
#include "companions/framework/PLXError.h"
#include "zorbas/crash/detail/omn_CrashWriter.h"

namespace {

unsigned g_options = 3;
int g_assertFd = -1;
int g_outputFd = -1;
constexpr int kMaxModules = 16;
void* g_modules[kMaxModules];
int g_moduleCount = 0;

char g_assertBuffer[4096];
char g_outputBuffer[4096];
char g_text[512];
wchar_t g_wideText[512];
char g_errorText[256];
char g_program[261];

using MessageText = const char* (*)(unsigned);

const char* ErrorText(int code) {
    for (int i = 0; i < g_moduleCount; ++i) {
        auto fn = reinterpret_cast<MessageText>(dlsym(g_modules[i], "omn_MessageText"));
        if (const char* text = fn ? fn(static_cast<unsigned>(code)) : nullptr) return text;
    }
    // The GNU strerror_r answers "Unknown error N" for a code it has no text for.
    const char* text = strerror_r(code, g_errorText, sizeof g_errorText);
    if (!text || std::strncmp(text, "Unknown error", 13) == 0)
        return "**Last error code does not exist!!!!";
    return text;
}

// The answer of the terminal prompt: 'a', 'r' or 'i' (or 'o' for OK without retry buttons).
char Ask(int retryButtons) {
    omn_detail::FdPrintf(2, "ASSERTION FAILURE...\n%s%s", g_assertBuffer,
                         retryButtons == 1 ? "(A)bort, (R)etry, (I)gnore? " : "(O)K? ");
    char c = 0;
    while (::read(0, &c, 1) == 1) {
        char lower = static_cast<char>(c | 0x20);
        if (retryButtons != 1) return 'o';
        if (lower == 'a' || lower == 'r' || lower == 'i') return lower;
    }
    return 'i';  // end of input: the user is gone
}

}  // namespace

unsigned omn_SetDiagAssertOptions(unsigned options) {
    if (options == 0) return 0;
    unsigned old = g_options;
    g_options = options;
    return old;
}

int omn_SetDiagAssertFile(int fd) {
    int old = g_assertFd;
    g_assertFd = fd;
    return old;
}

int omn_SetDiagOutputFile(int fd) {
    int old = g_outputFd;
    g_outputFd = fd;
    return old;
}

int omn_AddDiagAssertModule(void* module) {
    if (g_moduleCount < kMaxModules) g_modules[g_moduleCount++] = module;
    return 1;
}

int omn_RealAssert(unsigned options, const char* text, int retryButtons) {
    int lastError = errno;
    if (options == 0) options = g_options;
    const char* errorText = ErrorText(lastError);
    ssize_t n = ::readlink("/proc/self/exe", g_program, sizeof g_program - 1);
    const char* program = "<unknown application>";
    if (n > 0) {
        g_program[n] = 0;
        program = g_program;
    }
    std::snprintf(g_assertBuffer, sizeof g_assertBuffer,
                  "Debug Assertion Failed!\n\nProgram : %s\n%s\nLast Error (0x%08X) : %s\n",
                  program, text ? text : "", static_cast<unsigned>(lastError), errorText);
    if (options & omn_DIAG_DEBUG_OUTPUT) omn_detail::FdWrite(2, g_assertBuffer);
    if (g_assertFd >= 0) omn_detail::FdWrite(g_assertFd, g_assertBuffer);
    char answer = 'i';
    if ((options & omn_DIAG_ASK) && isatty(0)) answer = Ask(retryButtons);
    errno = lastError;
    if (answer == 'i' || answer == 'o') return 0;
    if (answer == 'r') return 1;
    std::exit(-1);
}

const char* omn_LastAssertText() { return g_assertBuffer; }

int omn_DiagAssertA(unsigned options, const char* expression, const char* file, unsigned line) {
    int lastError = errno;
    std::snprintf(g_text, sizeof g_text, "File : %s\nLine : %d\nExpression : %s", file ? file : "",
                  static_cast<int>(line), expression ? expression : "");
    errno = lastError;
    return omn_RealAssert(options, g_text, 1);
}

int omn_DiagAssertW(unsigned options, const wchar_t* expression, const char* file, unsigned line) {
    int lastError = errno;
    std::swprintf(g_wideText, sizeof g_wideText / sizeof(wchar_t),
                  L"File : %s\nLine : %d\nExpression : %ls", file ? file : "",
                  static_cast<int>(line), expression ? expression : L"");
    omn_detail::WideToUtf8(g_wideText, g_text, sizeof g_text);
    errno = lastError;
    return omn_RealAssert(options, g_text, 1);
}

void omn_DiagOutputA(const char* format, ...) {
    int lastError = errno;
    va_list args;
    va_start(args, format);
    std::vsnprintf(g_outputBuffer, sizeof g_outputBuffer, format ? format : "", args);
    va_end(args);
    omn_detail::FdWrite(2, g_outputBuffer);
    if (g_outputFd >= 0) omn_detail::FdWrite(g_outputFd, g_outputBuffer);
    errno = lastError;
}

void omn_DiagOutputW(const wchar_t* format, ...) {
    int lastError = errno;
    va_list args;
    va_start(args, format);
    std::vswprintf(g_wideText, sizeof g_wideText / sizeof(wchar_t), format ? format : L"", args);
    va_end(args);
    omn_detail::WideToUtf8(g_wideText, g_outputBuffer, sizeof g_outputBuffer);
    omn_detail::FdWrite(2, g_outputBuffer);
    if (g_outputFd >= 0) omn_detail::FdWrite(g_outputFd, g_outputBuffer);
    errno = lastError;
}

char* omn_CloseExponent(char* text, int width) {
    size_t length = std::strlen(text);
    char* e = std::strchr(text, 'e');
    if (length < 4 || !e) return text;
    char* digits = e + 1;
    if (*digits == '+' || *digits == '-') ++digits;
    if (std::strlen(digits) != 3 || digits[0] != '0') return text;
    std::memmove(digits, digits + 1, 3);  // the two digits and the terminator
    if (width != 0) {
        std::memmove(text + 1, text, std::strlen(text) + 1);
        text[0] = ' ';
    }
    return text;
}

aio_ostream& operator<<(aio_ostream& out, const omn_MRWdouble& v) {
    static char buffer[512];
    int n = (v.width == 0 && v.precision == 15)
                ? std::snprintf(buffer, sizeof buffer - 1, "%lg", v.value)
                : std::snprintf(buffer, sizeof buffer - 1, "%*.*lg", v.width, v.precision, v.value);
    if (n < 0 || static_cast<size_t>(n) >= sizeof buffer - 1) return out;
    return out.print(omn_CloseExponent(buffer, v.width));
}

void omn_enableAbortTrace(int) {
    std::raise(SIGABRT);
    std::abort();  // a handler that returned: the exception is not continuable
}

void omni_PlxError(long code) {
    PLXUnicodeString text("Program has failed:\n");
    if (PLXErrorObject* error = PLXError::PLXGetLastError(code, nullptr)) {
        text.Append(error->Text());
        error->Release();
    }
    PLXError::PLXCleanLastError();
    std::fprintf(stderr, "%s\n", text.CastToCharPtr());
}

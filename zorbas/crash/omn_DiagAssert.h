// The diagnostic assertion: what failed, where, and the last system error, told to a developer
// at a terminal (Abort/Retry/Ignore) or to standard error and a log descriptor in a batch job.
// The text is built in one static buffer, so an assertion allocates nothing; the process-wide
// options and descriptors are unlocked, as crash paths are.
#pragma once

#include <cwchar>

#include "companions/framework/zorbas_export.h"

class aio_ostream;

// Option bits: ask the user (bit 0), send the text to the debug output, standard error (bit 1).
constexpr unsigned omn_DIAG_ASK = 1;
constexpr unsigned omn_DIAG_DEBUG_OUTPUT = 2;

// Returns the old options; 0 is not stored and answers 0.
ZORBAS_API unsigned omn_SetDiagAssertOptions(unsigned options);
// A file descriptor that also receives the texts (-1: none); returns the old one.
ZORBAS_API int omn_SetDiagAssertFile(int fd);
ZORBAS_API int omn_SetDiagOutputFile(int fd);
// A module (a dlopen handle) asked first for the text of an error code: it exports
// `const char* omn_MessageText(unsigned code)`, answering null for codes it does not know.
// Returns 1.
ZORBAS_API int omn_AddDiagAssertModule(void* module);

// "File : ...\nLine : ...\nExpression : ..." handed to omn_RealAssert with retry buttons.
// Answers 0 (ignore) or 1 (retry); an abort ends the process with code -1.
ZORBAS_API int omn_DiagAssertA(unsigned options, const char* expression, const char* file,
                               unsigned line);
ZORBAS_API int omn_DiagAssertW(unsigned options, const wchar_t* expression, const char* file,
                               unsigned line);
// Builds "Debug Assertion Failed!..." with the program and the last error (errno) in words, sends
// it where the options say, and asks the user when bit 0 is set and standard input is a
// terminal; otherwise the answer is Ignore. errno is as it was on return.
ZORBAS_API int omn_RealAssert(unsigned options, const char* text, int retryButtons);
// The text of the last assertion (the static buffer).
ZORBAS_API const char* omn_LastAssertText();

ZORBAS_API void omn_DiagOutputA(const char* format, ...) __attribute__((format(printf, 1, 2)));
ZORBAS_API void omn_DiagOutputW(const wchar_t* format, ...);

// A double with its output form for tables: width and precision as printf's, and three-digit
// exponents closed up to two ("1.5e+005" prints "1.5e+05", kept at its width).
struct omn_MRWdouble {
    double value;
    int width;
    int precision;
    omn_MRWdouble(double v, int w = 0, int p = 15) : value(v), width(w), precision(p) {}
};
ZORBAS_API aio_ostream& operator<<(aio_ostream& out, const omn_MRWdouble& value);
// The exponent rule on a formatted text, in place: returns the text.
ZORBAS_API char* omn_CloseExponent(char* text, int width);

// Ends the process through the fatal path with the non-continuable exception (SIGABRT on this
// platform), so that an installed filter leaves its report. The argument is ignored.
[[noreturn]] ZORBAS_API void omn_enableAbortTrace(int);

// Prints "Program has failed:\n" and the framework's last error of `code` to standard error, and
// clears that error.
ZORBAS_API void omni_PlxError(long code);

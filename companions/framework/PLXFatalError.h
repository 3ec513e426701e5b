// The framework's fatal error entry and the assertion forms that the library's contract checks use.
// Both end the process; neither returns. They write with plain stdio and allocate nothing, so a
// broken heap still gets its message out.
#pragma once

#include "companions/framework/zorbas_export.h"

// Reports a broken invariant as "*** Error: <what>, file <file>, line <line>" on standard error and
// aborts. Callers pass the middle three as null and `what` as "AssertionFailed:" and the test.
[[noreturn]] ZORBAS_API void PLXFatalError(const char* what, const char*, const char*, const char*,
                                           const char* file, int line);

// The C runtime's assertion report: "Assertion failed: <expr>, file <file>, line <line>", then
// abort(). Used where the library's contract checks are plain assertions rather than fatal errors.
[[noreturn]] ZORBAS_API void zorbas_wassert(const char* expr, const char* file, int line);

// A contract check reported in the runtime's assertion style with the library's own source path.
#define ZORBAS_ASSERT(expr, file, line) \
    ((expr) ? static_cast<void>(0) : zorbas_wassert(#expr, file, line))

// A contract check reported through PLXFatalError as "AssertionFailed:<expr>".
#define ZORBAS_FATAL_ASSERT(expr, file, line) \
    ((expr) ? static_cast<void>(0)            \
            : PLXFatalError("AssertionFailed:" #expr, nullptr, nullptr, nullptr, file, line))

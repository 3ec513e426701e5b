// Stack text, fault reasons and dumps for the crash layer: the fault of a signal handler in
// words, the faulting thread's stack one frame a line (module, demangled function, offset, and
// source file and line from the debug information), and a dump file with registers and maps.
// Lines and reasons live in static buffers overwritten by the next call; nothing here locks, but
// naming frames reads ELF and DWARF data through libdw, which allocates: the stack overflow path
// uses the companion's allocation-free walk instead.
#pragma once

#include <signal.h>

#include <cstddef>

#include "companions/framework/zorbas_export.h"

// Exception codes, as the suite's reports and callers know them.
constexpr unsigned omn_EXCEPTION_ACCESS_VIOLATION = 0xC0000005u;
constexpr unsigned omn_EXCEPTION_IN_PAGE_ERROR = 0xC0000006u;
constexpr unsigned omn_EXCEPTION_ILLEGAL_INSTRUCTION = 0xC000001Du;
constexpr unsigned omn_EXCEPTION_NONCONTINUABLE = 0xC0000025u;
constexpr unsigned omn_EXCEPTION_FLT_DENORMAL = 0xC000008Du;
constexpr unsigned omn_EXCEPTION_FLT_DIVIDE_BY_ZERO = 0xC000008Eu;
constexpr unsigned omn_EXCEPTION_FLT_INEXACT = 0xC000008Fu;
constexpr unsigned omn_EXCEPTION_FLT_INVALID = 0xC0000090u;
constexpr unsigned omn_EXCEPTION_FLT_OVERFLOW = 0xC0000091u;
constexpr unsigned omn_EXCEPTION_FLT_UNDERFLOW = 0xC0000093u;
constexpr unsigned omn_EXCEPTION_INT_DIVIDE_BY_ZERO = 0xC0000094u;
constexpr unsigned omn_EXCEPTION_INT_OVERFLOW = 0xC0000095u;
constexpr unsigned omn_EXCEPTION_PRIV_INSTRUCTION = 0xC0000096u;
constexpr unsigned omn_EXCEPTION_STACK_OVERFLOW = 0xC00000FDu;
constexpr unsigned omn_EXCEPTION_DATATYPE_MISALIGNMENT = 0x80000002u;

// Options of the stack lines: which parts a line shows.
constexpr unsigned omn_GSTSO_MODULE = 2;   // the module's file name
constexpr unsigned omn_GSTSO_SYMBOL = 4;   // the function and the offset into it
constexpr unsigned omn_GSTSO_SRCLINE = 8;  // source file and line, where the debug data has them

// A fault as a signal handler sees it. `context` is the handler's ucontext_t*, or null for "the
// calling thread, here" (software exceptions of the dump machinery).
struct omn_ExceptionPointers {
    unsigned code;
    int signal;
    const siginfo_t* info;
    void* context;
};

// The exception code of a kernel-raised signal: by signal and si_code; a SIGSEGV in the guard
// area below a stack is a stack overflow.
ZORBAS_API unsigned omn_ExceptionCode(int signal, const siginfo_t* info, bool stackOverflow);

// Prepares the symbol reader for this process (once; later calls refresh the module list, so
// that libraries loaded since are named). False when stack walking is not available.
ZORBAS_API bool omn_InitStackTraceRoutines();

// The fault in words, e.g. "Access violation: read of the unmapped address 0x0 (SIGSEGV,
// SEGV_MAPERR) at solver_job!Fault()+0x14"; null without a fault.
ZORBAS_API const wchar_t* omn_GetFaultReason(const omn_ExceptionPointers* pointers);
ZORBAS_API const char* omn_GetFaultReasonA(const omn_ExceptionPointers* pointers);

// The first stack line of the fault (the interrupted frame first), or of the caller when
// `pointers` or its context is null; then one line a call until null. A line reads
// "module!function+0xoffset [file:line]", the parts chosen by `options`.
ZORBAS_API const wchar_t* omn_GetFirstStackTraceString(unsigned options,
                                                       const omn_ExceptionPointers* pointers);
ZORBAS_API const wchar_t* omn_GetNextStackTraceString(unsigned options,
                                                      const omn_ExceptionPointers* pointers);

// Writes the dump file "<executable>.r<rank as %02d>.mini<kind>.dmp": the reason, the
// registers, the stack lines and /proc/self/maps; kind 1 adds 1 KiB of stack memory above the
// stack pointer, kind 2 16 KiB, kind 3 16 KiB and the state of every thread. False when the
// file cannot be written.
ZORBAS_API bool omn_MiniDumpWriteDump(const omn_ExceptionPointers* pointers, int kind,
                                      const char* exeName, int rank);

// Gives the calling thread an alternate signal stack (so that a stack overflow can be reported)
// and records its stack's bounds for the overflow test. Idempotent per thread; the stack is
// mapped once per thread and kept for the thread's life.
ZORBAS_API void omn_PrepareThreadForFaults();
// Whether a SIGSEGV at `address` with stack pointer `sp` lies in the guard area of the calling
// thread's stack.
ZORBAS_API bool omn_IsStackOverflow(const void* address, const void* sp);

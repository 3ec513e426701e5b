// The process-wide hook between a fault and the end of the process: one of two installers puts
// a handler on the fault signals (SIGSEGV, SIGBUS, SIGILL, SIGFPE raised by the kernel, which
// take the ExceptCallback path) and on the signals that a process is sent or raises (INT, TERM,
// ABRT, ILL, FPE, and SEGV for the standard installer), which take a signal handler path. Each
// path says what happened on the streams, leaves its files (a dump text, or an exception report
// and its copy) and ends the process by the signal's default action. Handlers run on an
// alternate signal stack, use static buffers only and take no locks; see the README for which
// files each fault leaves.
#pragma once

#include "companions/framework/zorbas_export.h"
#include "zorbas/crash/omn_StackTrace.h"

// The installer for the standard solver executables and the plain one. Debug variables read at
// load (VEL_DEBUG_POPUP, MRW_DEBUG_POPUP, VLD_DEBUGGER, GRN_ODT_IN, MC_RESULT) change what they
// install; VEL_PARALLEL_DEBUG, read here, lifts the core size limit (standard installer).
ZORBAS_API void omi_SetExceptionFilterStd();
ZORBAS_API void omi_SetExceptionFilter();

// The fault callback. 1: the fault is handled and the process ends by the fault's signal;
// 0: the fault goes on to the previous handler or the default action.
extern "C" ZORBAS_API long ExceptCallback(omn_ExceptionPointers* pointers);

// The signal handlers: text on standard output, the message stream, the exception report, then
// the signal's default action (or exit(signal) under MC_RESULT for the standard one).
ZORBAS_API void omi_SignalHandler(int signal);
ZORBAS_API void omi_SignalHandlerStd(int signal);
// The text of `signal` for a handler (the standard handler's words when `standard`), into the
// message buffer, which it returns. SIGBREAK has no signal here: omi_SIGBREAK routes to its row.
constexpr int omi_SIGBREAK = 21;
ZORBAS_API const char* omi_SignalText(int signal, bool standard);

// The process error mode: 0xFFFFFFFF (no dialog may stop a batch job) or 1 with a debug-popup
// variable; 0 after an installer saw a debug-popup variable. No dialog exists on this platform:
// the word is kept for callers and tests.
ZORBAS_API void omi_setErrorMode();
ZORBAS_API unsigned omi_GetErrorMode();

// Stored and never read: the rank always comes from the process information.
ZORBAS_API void omi_SetGetRankPointer(int (*rank)());
ZORBAS_API int (*omi_GetRankPointer())();

// Writes the caller's stack to "<executable>.<rank as %02d>.dmp", when the on-demand switch
// (VEL_PARALLEL_DEBUG's integer value, read by ZORBasCallstackInit) is not 0; the job goes on.
extern "C" ZORBAS_API void zorbasdumpcallstack();
// Reads VEL_PARALLEL_DEBUG into the on-demand switch, when the variable is present.
ZORBAS_API void ZORBasCallstackInit();
ZORBAS_API int omi_DumpCallstackSwitch();

// Kept placeholders: "Hello" and "World" in static buffers of 500 bytes.
ZORBAS_API char* omi_MemoryReport();
ZORBAS_API char* omi_DiskSpaceReport();

// Stack lines written by ExceptCallback in the life of the process (at most 201 are).
ZORBAS_API int omi_FramesWritten();

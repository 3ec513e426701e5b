// The process's floating-point setting: decided once at start (from GLOBAL_ENABLE_FPE), after
// which callers asking for traps or no flush-to-zero get the fixed setting reapplied instead.
// Before it is fixed, a freeze or the ignore flag stops every change. The control registers
// (x87 control word and MXCSR) are per thread: a setting applies to threads that call these.
#pragma once

#include "companions/framework/zorbas_export.h"

// The control-word encoding of the C runtime's _controlfp: exception masks (1 = masked)
// invalid 0x10, denormal 0x80000, divide by zero 0x08, overflow 0x04, underflow 0x02, inexact 0x01;
// rounding 0x300; denormal control 0x3000000 (0x1000000 flushes operands and results).
constexpr unsigned omn_MCW_EM = 0x8001F;
constexpr unsigned omn_MCW_RC = 0x300;
constexpr unsigned omn_MCW_DN = 0x3000000;

// Sets the bits of `value` selected by `mask` in both units and returns the resulting word.
// Precision control (0x30000) has no meaning for SSE arithmetic and is ignored, as on x64.
ZORBAS_API unsigned omn_controlfp(unsigned value, unsigned mask);
// Clears the exception status flags of both units.
ZORBAS_API void omn_clearfp();
ZORBAS_API unsigned omn_getMXCSR();
ZORBAS_API void omn_setMXCSR(unsigned value);

ZORBAS_API void omn_ignoreFPESetting(bool ignore);
ZORBAS_API void omn_freezeFPESetting(bool freeze);
ZORBAS_API void omn_enableFPE();
ZORBAS_API void omn_disableFPE();
ZORBAS_API void omn_enableFlushToZero();
ZORBAS_API void omn_disableFlushToZero();
ZORBAS_API void omn_globalFPESetting();

ZORBAS_API void omn_private_enableFPE();
ZORBAS_API void omn_private_disableFPE();
ZORBAS_API void omn_private_enableFlushToZero();
ZORBAS_API void omn_private_disableFlushToZero();

// The process-wide state, for tests and reports.
struct omn_FPEState {
    int freezeDepth;
    bool ignore;
    bool fixed;
    bool wantedTraps;
    bool wantedFlushToZero;
};
ZORBAS_API omn_FPEState omn_getFPEState();
// Forgets the fixed setting (tests only: a process decides once).
ZORBAS_API void omn_resetFPEStateForTesting();

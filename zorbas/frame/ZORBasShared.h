// Start and end of the library. The library starts itself when it is loaded and ends when it is
// unloaded; a program that calls ZORBasShared_initialize again nests, and only the last matching
// finalize ends anything. `use` counts the sections that are started.
#pragma once

#include "companions/framework/zorbas_export.h"

ZORBAS_API void ZORBasShared_initialize(int& use);
ZORBAS_API void ZORBasShared_finalize(int& use);
// C-callable forms; they keep a counter of their own.
extern "C" ZORBAS_API void ZORBasShared_initializeC();
extern "C" ZORBAS_API void ZORBasShared_finalizeC();

// The library's sections, in start order (the three companions start before them). Each keeps a
// count of its own: the first initialize adds one to `use` and does the section's start work, the
// last finalize takes one off and does its end work.
#define ZORBAS_SECTION(name)                     \
    ZORBAS_API void name##_initialize(int& use); \
    ZORBAS_API void name##_finalize(int& use)
ZORBAS_SECTION(ZORBasUts);
ZORBAS_SECTION(ZORBasUtils);
ZORBAS_SECTION(ZORBasSrm);
ZORBAS_SECTION(ZORBasRgx);
ZORBAS_SECTION(ZORBasPlt);
ZORBAS_SECTION(ZORBasOmni);
ZORBAS_SECTION(ZORBasFil);
ZORBAS_SECTION(ZORBasCow);
ZORBAS_SECTION(ZORBasShared_specific);
#undef ZORBAS_SECTION

// Exported for callers that link against it; does nothing.
ZORBAS_API void omni_formalize();

// The copies of the crash layer's environment switches, taken by static initialisers before the
// library starts: pointers into the environment as it was at load, null when unset.
struct ZORBAS_API ZORBasStartupEnvironment {
    const char* velDebugPopup;       // VEL_DEBUG_POPUP, for the fatal filter
    const char* velDebugPopupStack;  // VEL_DEBUG_POPUP, for the stack walker
    const char* mrwDebugPopup;       // MRW_DEBUG_POPUP, for the fatal filter
    const char* mrwDebugPopupStack;  // MRW_DEBUG_POPUP, for the stack walker
    const char* vldDebugger;         // VLD_DEBUGGER
    const char* grnOdtIn;            // GRN_ODT_IN
    const char* mcResult;            // MC_RESULT
    const char* zorParent;           // ZOR_PARENT, lower-cased in place
    const char* zorWs;               // ZOR_WS, lower-cased in place
};
ZORBAS_API const ZORBasStartupEnvironment& ZORBasGetStartupEnvironment();

#include "zorbas/frame/ZORBasShared.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "companions/alloc/ZORBasAlloc_section.h"
#include "companions/coreutils/ZORBasCoreUtils_section.h"
#include "companions/framework/zorbas_section.h"
#include "companions/generics/ZORBasGenericsLib_section.h"
#include "zorbas/frame/ZORBasSectionWork.h"

namespace {

char* LowerInPlace(char* text) {
    if (text)
        for (char* p = text; *p; ++p)
            *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
    return text;
}

ZORBasStartupEnvironment ReadStartupEnvironment() {
    ZORBasStartupEnvironment env{};
    env.velDebugPopup = std::getenv("VEL_DEBUG_POPUP");
    env.velDebugPopupStack = std::getenv("VEL_DEBUG_POPUP");
    env.mrwDebugPopup = std::getenv("MRW_DEBUG_POPUP");
    env.mrwDebugPopupStack = std::getenv("MRW_DEBUG_POPUP");
    env.vldDebugger = std::getenv("VLD_DEBUGGER");
    env.grnOdtIn = std::getenv("GRN_ODT_IN");
    env.mcResult = std::getenv("MC_RESULT");
    env.zorParent = LowerInPlace(std::getenv("ZOR_PARENT"));
    env.zorWs = LowerInPlace(std::getenv("ZOR_WS"));
    return env;
}

// Runs before the load-time start below (priority), as the static initialisers do.
__attribute__((init_priority(1000))) ZORBasStartupEnvironment g_startup_environment =
    ReadStartupEnvironment();

zorbas_Section s_shared, s_uts, s_utils, s_srm, s_rgx, s_plt, s_omni, s_fil, s_cow, s_specific;

int g_load_use = 0;
int g_c_use = 0;

}  // namespace

const ZORBasStartupEnvironment& ZORBasGetStartupEnvironment() { return g_startup_environment; }

void ZORBasUts_initialize(int& use) { s_uts.Start(use, nullptr); }
void ZORBasUts_finalize(int& use) { s_uts.End(use, nullptr); }
void ZORBasUtils_initialize(int& use) { s_utils.Start(use, ZORBasUtils_startWork); }
void ZORBasUtils_finalize(int& use) { s_utils.End(use, ZORBasUtils_endWork); }
void ZORBasSrm_initialize(int& use) { s_srm.Start(use, nullptr); }
void ZORBasSrm_finalize(int& use) { s_srm.End(use, nullptr); }
void ZORBasRgx_initialize(int& use) { s_rgx.Start(use, nullptr); }
void ZORBasRgx_finalize(int& use) { s_rgx.End(use, nullptr); }
void ZORBasPlt_initialize(int& use) { s_plt.Start(use, nullptr); }
void ZORBasPlt_finalize(int& use) { s_plt.End(use, nullptr); }
void ZORBasOmni_initialize(int& use) { s_omni.Start(use, ZORBasOmni_startWork); }
void ZORBasOmni_finalize(int& use) { s_omni.End(use, ZORBasOmni_endWork); }
void ZORBasFil_initialize(int& use) { s_fil.Start(use, nullptr); }
void ZORBasFil_finalize(int& use) { s_fil.End(use, ZORBasFil_endWork); }
void ZORBasCow_initialize(int& use) { s_cow.Start(use, nullptr); }
void ZORBasCow_finalize(int& use) { s_cow.End(use, nullptr); }
void ZORBasShared_specific_initialize(int& use) { s_specific.Start(use, nullptr); }
void ZORBasShared_specific_finalize(int& use) { s_specific.End(use, nullptr); }

void ZORBasShared_initialize(int& use) {
    int old = s_shared.count;
    ++s_shared.count;
    if (old != 0) return;
    ++use;
    ZORBasCoreUtils_initialize(use);
    ZORBasGenericsLib_initialize(use);
    ZORBasAlloc_initialize(use);
    ZORBasUts_initialize(use);
    ZORBasUtils_initialize(use);
    ZORBasSrm_initialize(use);
    ZORBasRgx_initialize(use);
    ZORBasPlt_initialize(use);
    ZORBasOmni_initialize(use);
    ZORBasFil_initialize(use);
    ZORBasCow_initialize(use);
    ZORBasShared_specific_initialize(use);
}

void ZORBasShared_finalize(int& use) {
    --s_shared.count;
    if (s_shared.count != 0) return;
    --use;
    ZORBasShared_specific_finalize(use);
    ZORBasCow_finalize(use);
    ZORBasFil_finalize(use);
    ZORBasOmni_finalize(use);
    ZORBasPlt_finalize(use);
    ZORBasRgx_finalize(use);
    ZORBasSrm_finalize(use);
    ZORBasUtils_finalize(use);
    ZORBasUts_finalize(use);
    ZORBasAlloc_finalize(use);
    ZORBasGenericsLib_finalize(use);
    ZORBasCoreUtils_finalize(use);
}

void ZORBasShared_initializeC() { ZORBasShared_initialize(g_c_use); }
void ZORBasShared_finalizeC() { ZORBasShared_finalize(g_c_use); }

void omni_formalize() {}

// The entry point: the library starts when it is loaded and ends when it is unloaded.
__attribute__((constructor(1100))) static void ZORBasSharedOnLoad() {
    ZORBasShared_initialize(g_load_use);
}
__attribute__((destructor(1100))) static void ZORBasSharedOnUnload() {
    ZORBasShared_finalize(g_load_use);
}

#include "zorbas/frame/ZORBasSectionWork.h"

#include <cstdlib>
#include <cstring>

#include "companions/alloc/ZORBasCallStack.h"
#include "zorbas/crash/omi_ExceptionFilter.h"
#include "zorbas/crash/omn_manageFPE.h"
#include "zorbas/errors/ZORBasUtlException.h"
#include "zorbas/frame/ZORBas_SingletonRegistry.h"
#include "zorbas/frame/omi_AlertListener.h"
#include "zorbas/machine/ZORBasUtlVersion.h"
#include "zorbas/monitor/bcu_ResourceMonitor.h"
#include "zorbas/os/ZORBasFilStracePhase.h"
#include "zorbas/os/ZORBasOmniProcessInfo.h"
#include "zorbas/os/ZORBasUtlIOStats.h"
#include "zorbas/text/rgx_Regex.h"

void ZORBasUtils_startWork() {
    ZORBasUtlExceptionModel::setBehavior(new ZORBasUtlExcDefaultFactory);
    // The process identity, a floor below the version, has the version read its release and
    // build facts each time it learns the executable's name.
    ZORBasOmniProcessInfo::SetInitializeFollower([] {
        ZORBasUtlVersion::InitReleaseInfo();
        ZORBasUtlVersion::InitBuildInfo();
    });
}

// Singletons end in this order; the registry, which may still be asked for by the others, last.
void ZORBasUtils_endWork() {
    omi_SingletonBase<ZORBasUtlVersion>::Finalize();
    ZORBasUtlExceptionModel::setBehavior(nullptr);
    omi_SingletonBase<ZORBasUtlExcModelSingleton>::Finalize();
    // The monitor writes its last row and timer summary as it ends, with the I/O totals still up.
    omi_SingletonBase<bcu_ResourceMonitor>::Finalize();
    omi_SingletonBase<ZORBasUtlIOStats>::Finalize();
    omi_SingletonBase<ZORBas_SingletonRegistry>::Finalize();
}

void ZORBasOmni_startWork() {
    const char* ignore = std::getenv("VLD_IGNORE_FPE");
    if (ignore && std::strcmp(ignore, "1") == 0) {
        omn_ignoreFPESetting(true);
        setenv("VLD_IGNORE_FPE", "0", 1);
    }
    omn_globalFPESetting();
    ZORBasCallStack::WarmUp();
    ZORBasCallstackInit();  // the on-demand stack switch, from VEL_PARALLEL_DEBUG
}

void ZORBasOmni_endWork() { omi_SingletonBase<omi_AlertListener>::Finalize(); }

void ZORBasFil_endWork() { ZORBasAtiGlobalSingleton<ZORBasFilStracePhase::Impl>::Finalize(); }
// Dropping the cache frees every compiled pattern.
void ZORBasRgx_endWork() { ZORBasAtiGlobalSingleton<rgx_ReCompileCache>::Finalize(); }

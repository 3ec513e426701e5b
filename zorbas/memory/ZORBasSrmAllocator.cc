#include "zorbas/memory/ZORBasSrmAllocator.h"

#include <cstdio>

void ZORBasSrmDoNothingVoid() { std::fputs("ZORBasSrmDoNothingVoid\n", stdout); }

void ZORBasSrmDoNothingPhase(const char*) { std::fputs("ZORBasSrmDoNothingPhase\n", stdout); }

ZORBasCamPool* ZORBasSrmGetPoolNOOP(srm_ResourceEnums) { return srm_NoPoolAnswer; }

ZORBasSrmForwarder::SummaryFunction ZORBasSrmForwarder::pMemorySummary = ZORBasSrmDoNothingVoid;
ZORBasSrmForwarder::PhaseSummaryFunction ZORBasSrmForwarder::pMemorySummaryPhase =
    ZORBasSrmDoNothingPhase;
ZORBasSrmForwarder::GetPoolFunction ZORBasSrmForwarder::pGetPool = ZORBasSrmGetPoolNOOP;

uint64_t ZORBasSrmBase::m_memoryLimit = 0;
uint64_t ZORBasSrmBase::m_physical = 0;
ZORBasCamCacheManager* ZORBasSrmBase::m_cacheManager = nullptr;
bool ZORBasSrmBase::m_initialized = false;

template <int N>
ZORBasCamPool* ZORBasSrmAllocator<N>::s_pool = nullptr;

ZORBAS_SRM_ALLOCATORS(ZORBAS_SRM_DEFINE)

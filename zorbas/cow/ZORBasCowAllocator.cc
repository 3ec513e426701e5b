#include "zorbas/cow/ZORBasCowAllocator.h"

ZORBAS_SINGLETON_DEFINE(ZORBasMemPoolCow)

ZORBasCowTrackingAllocator::ZORBasCowTrackingAllocator()
    : m_pool(&omi_Singleton<ZORBasMemPoolCow>::Instance()) {
    m_pool->Activate();
}

ZORBasCowTrackingAllocator& ZORBasCowTrackingAllocator::operator=(
    const ZORBasCowTrackingAllocator& other) {
    // The whole pool object of the source over the target's; both are the one singleton.
    *m_pool = *other.m_pool;
    return *this;
}

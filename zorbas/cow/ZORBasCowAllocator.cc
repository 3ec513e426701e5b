#include "zorbas/cow/ZORBasCowAllocator.h"

template class omi_SingletonBase<ZORBasMemPoolCow>;
template class omi_Singleton<ZORBasMemPoolCow>;

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

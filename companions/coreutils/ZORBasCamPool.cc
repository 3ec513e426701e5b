#include "companions/alloc/ZORBasMemPool.h"
#include "companions/coreutils/ZORBasCam.h"

ZORBasCamPool::ZORBasCamPool(const char* name) : m_name(name ? name : "") {}

void* ZORBasCamPool::Alloc(size_t size) {
    void* p = mem_OperatorNewThrow(size);
    size_t bytes = mem_BlockSize(p);
    size_t now = m_current.fetch_add(bytes, std::memory_order_relaxed) + bytes;
    size_t peak = m_peak.load(std::memory_order_relaxed);
    while (now > peak && !m_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
    }
    return p;
}

size_t ZORBasCamPool::Free(void* block) {
    if (!block) return 0;
    size_t bytes = mem_BlockSize(block);
    m_current.fetch_sub(bytes, std::memory_order_relaxed);
    mem_Free(block);
    return bytes;
}

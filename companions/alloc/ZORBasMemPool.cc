#include "companions/alloc/ZORBasMemPool.h"

#include <new>

ZORBasMemPool::ZORBasMemPool(int id, const char* name) : m_id(id), m_name(name) {}

ZORBasMemPool::ZORBasMemPool(const ZORBasMemPool& other)
    : m_active(other.m_active), m_id(other.m_id), m_name(other.m_name) {
    m_current.store(other.MemoryCurrent());
    m_peak.store(other.MemoryPeak());
}

ZORBasMemPool& ZORBasMemPool::operator=(const ZORBasMemPool& other) {
    m_active = other.m_active;
    m_id = other.m_id;
    m_name = other.m_name;
    m_current.store(other.MemoryCurrent());
    m_peak.store(other.MemoryPeak());
    return *this;
}

void* ZORBasMemPool::Alloc(size_t size) {
    void* p = mem_OperatorNewThrow(size);
    size_t now =
        m_current.fetch_add(mem_BlockSize(p), std::memory_order_relaxed) + mem_BlockSize(p);
    size_t peak = m_peak.load(std::memory_order_relaxed);
    while (now > peak && !m_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
    }
    return p;
}

size_t ZORBasMemPool::Free(void* block) {
    if (!block) return 0;
    size_t n = mem_BlockSize(block);
    m_current.fetch_sub(n, std::memory_order_relaxed);
    mem_Free(block);
    return n;
}

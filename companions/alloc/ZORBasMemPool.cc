#include "companions/alloc/ZORBasMemPool.h"

#include <new>

ZORBasMemPool::ZORBasMemPool(int id, const char* name) : m_id(id), m_name(name) {}

ZORBasMemPool::ZORBasMemPool(const ZORBasMemPool& other)
    : m_active(other.m_active), m_id(other.m_id), m_name(other.m_name), m_bytes(other.m_bytes) {}

ZORBasMemPool& ZORBasMemPool::operator=(const ZORBasMemPool& other) {
    m_active = other.m_active;
    m_id = other.m_id;
    m_name = other.m_name;
    m_bytes = other.m_bytes;
    return *this;
}

void* ZORBasMemPool::Alloc(size_t size) { return m_bytes.Alloc(size); }

size_t ZORBasMemPool::Free(void* block) { return m_bytes.Free(block); }

mem_PoolCounter& mem_PoolCounter::operator=(const mem_PoolCounter& other) {
    m_current.store(other.Current(), std::memory_order_relaxed);
    m_peak.store(other.Peak(), std::memory_order_relaxed);
    return *this;
}

void* mem_PoolCounter::Alloc(size_t size) {
    void* p = mem_OperatorNewThrow(size);
    size_t bytes = mem_BlockSize(p);
    size_t now = m_current.fetch_add(bytes, std::memory_order_relaxed) + bytes;
    size_t peak = m_peak.load(std::memory_order_relaxed);
    while (now > peak && !m_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
    }
    return p;
}

size_t mem_PoolCounter::Free(void* block) {
    if (!block) return 0;
    size_t bytes = mem_BlockSize(block);
    m_current.fetch_sub(bytes, std::memory_order_relaxed);
    mem_Free(block);
    return bytes;
}

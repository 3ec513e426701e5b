#include "zorbas/memory/ZORBasSrmDCAllocator.h"

#include <new>

#include "companions/framework/PLXFatalError.h"

namespace {
constexpr size_t kHeader = 16;  // keeps the payload 16-byte aligned

struct ResourceCount {
    std::atomic<long long> blocks{0};
    std::atomic<size_t> bytes{0};
};
ResourceCount g_resources[srm_ResourceCount + 1];  // index -1 at 0

ResourceCount& CountOf(srm_ResourceEnums resource) {
    ZORBAS_FATAL_ASSERT(resource >= -1 && resource < srm_ResourceCount,
                        "ZORBase/ZORBasSrm.m/src/ZORBasSrmDCAllocator", __LINE__);
    return g_resources[resource + 1];
}
}  // namespace

ZORBasSrmDCAllocator::ZORBasSrmDCAllocator(srm_ResourceEnums resource)
    : m_resource(resource), m_pool(nullptr) {
    CountOf(resource);
    ZORBasCamPool* pool = ZORBasSrmForwarder::GetPool(resource);
    if (pool != srm_NoPoolAnswer) m_pool = pool;
}

ZORBasSrmDCAllocator::~ZORBasSrmDCAllocator() = default;

void* ZORBasSrmDCAllocator::Alloc(size_t size) {
    size_t given;
    return Alloc(size, given);
}

void* ZORBasSrmDCAllocator::Alloc(size_t size, size_t& given) {
    if (size > ~size_t{0} - kHeader) throw std::bad_alloc();
    char* raw;
    if (m_pool) {
        raw = static_cast<char*>(m_pool->Alloc(size + kHeader));
        given = size;
    } else {
        size_t rawGiven;
        raw = static_cast<char*>(ZORBasMemAllocator::Alloc(size + kHeader, rawGiven));
        given = rawGiven - kHeader;
    }
    *reinterpret_cast<size_t*>(raw) = given;
    m_blocks.fetch_add(1, std::memory_order_relaxed);
    size_t now = m_bytes.fetch_add(given, std::memory_order_relaxed) + given;
    size_t peak = m_peak.load(std::memory_order_relaxed);
    while (now > peak && !m_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
    }
    ResourceCount& count = CountOf(m_resource);
    count.blocks.fetch_add(1, std::memory_order_relaxed);
    count.bytes.fetch_add(given, std::memory_order_relaxed);
    return raw + kHeader;
}

void ZORBasSrmDCAllocator::Free(void* block) {
    if (!block) return;
    char* raw = static_cast<char*>(block) - kHeader;
    size_t given = *reinterpret_cast<size_t*>(raw);
    m_blocks.fetch_sub(1, std::memory_order_relaxed);
    m_bytes.fetch_sub(given, std::memory_order_relaxed);
    ResourceCount& count = CountOf(m_resource);
    count.blocks.fetch_sub(1, std::memory_order_relaxed);
    count.bytes.fetch_sub(given, std::memory_order_relaxed);
    if (m_pool)
        m_pool->Free(raw);
    else
        ZORBasMemAllocator::Free(raw);
}

long long ZORBasSrmDCAllocator::ResourceBlocks(srm_ResourceEnums resource) {
    return CountOf(resource).blocks.load(std::memory_order_relaxed);
}

size_t ZORBasSrmDCAllocator::ResourceBytes(srm_ResourceEnums resource) {
    return CountOf(resource).bytes.load(std::memory_order_relaxed);
}

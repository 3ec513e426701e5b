// An allocator source that counts its blocks under one resource: blocks, bytes and peak for the
// allocator, and the same sums across every such allocator of the resource, so that a solver can
// hand a ZORBasAllocator of a resource to code that takes a caller-chosen source (the backing
// store, a table of blocks) and still see that memory in the resource's figures. Memory comes from
// the resource's pool when the higher layer named one at construction, otherwise from the tracked
// heap through ZORBasMemAllocator (large-block routing included). Each block carries a 16-byte
// header with its size; the counters are relaxed atomics, exact once the allocating threads are
// quiet.
#pragma once

#include <atomic>
#include <cstddef>

#include "companions/alloc/ZORBasAllocator.h"
#include "companions/coreutils/ZORBasCam.h"
#include "zorbas/memory/ZORBasSrmAllocator.h"

class ZORBAS_API ZORBasSrmDCAllocator : public ZORBasMemAllocator {
  public:
    // Asks the higher layer for the resource's pool once; "no layer" means the tracked heap.
    explicit ZORBasSrmDCAllocator(srm_ResourceEnums resource);
    ~ZORBasSrmDCAllocator() override;

    void* Alloc(size_t size) override;
    // `given` is the usable size, which the counters add up.
    void* Alloc(size_t size, size_t& given) override;
    void Free(void* block) override;
    // Large blocks are counted too: a set large-block allocator is reached through this one (the
    // base routes them), never around it.
    ZORBasAllocatorBase* LargeBlockSource() override { return this; }

    srm_ResourceEnums Resource() const { return m_resource; }
    ZORBasCamPool* Pool() const { return m_pool; }
    long long Blocks() const { return m_blocks.load(std::memory_order_relaxed); }
    size_t Bytes() const { return m_bytes.load(std::memory_order_relaxed); }
    size_t PeakBytes() const { return m_peak.load(std::memory_order_relaxed); }

    // Sums over every allocator of the resource (-1 to 64) alive or gone.
    static long long ResourceBlocks(srm_ResourceEnums resource);
    static size_t ResourceBytes(srm_ResourceEnums resource);

  private:
    srm_ResourceEnums m_resource;
    ZORBasCamPool* m_pool;
    std::atomic<long long> m_blocks{0};
    std::atomic<size_t> m_bytes{0};
    std::atomic<size_t> m_peak{0};
};

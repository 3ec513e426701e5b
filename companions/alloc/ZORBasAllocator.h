// Allocator handles for code that takes its memory from a caller-chosen source (the backing store,
// the resource allocators). ZORBasAllocatorBase is the source; ZORBasAllocator is a counted handle
// to one, cheap to copy, that ends the source with its last handle. ZORBasMemAllocator is the
// tracked-heap source that derived allocators build on; it can route large blocks elsewhere.
// Counts are plain ints: a source is shared by handles of one thread, or guarded by its owner.
#pragma once

#include <cstddef>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

class ZORBasAllocator;

class ZORBAS_API ZORBasAllocatorBase : public mem_AllocationOperators {
  public:
    ZORBasAllocatorBase() = default;
    ZORBasAllocatorBase(const ZORBasAllocatorBase&) = delete;
    ZORBasAllocatorBase& operator=(const ZORBasAllocatorBase&) = delete;
    virtual ~ZORBasAllocatorBase();

    // Throws std::bad_alloc on exhaustion, never returns null.
    virtual void* Alloc(size_t size) = 0;
    // As Alloc, and sets `given` to the bytes really usable (at least `size`).
    virtual void* Alloc(size_t size, size_t& given);
    virtual void Free(void* block) = 0;
    // The source of large blocks; the source itself unless one was set.
    virtual ZORBasAllocatorBase* LargeBlockSource() { return this; }

    // The process's tracked-heap source. It is never deleted, whatever its handles do.
    static ZORBasAllocatorBase* Heap();

  private:
    friend class ZORBasAllocator;
    int m_handles = 0;
};

class ZORBAS_API ZORBasAllocator {
  public:
    // Shares ownership of `source` (may be null: every allocation then throws).
    explicit ZORBasAllocator(ZORBasAllocatorBase* source);
    ZORBasAllocator(const ZORBasAllocator& other);
    ZORBasAllocator& operator=(const ZORBasAllocator& other);
    ~ZORBasAllocator();

    void* Alloc(size_t size);
    void* Alloc(size_t size, size_t& given);
    void Free(void* block);
    // A handle to the source's large-block source.
    ZORBasAllocator LargeBlockAllocator() const;
    ZORBasAllocatorBase* Source() const { return m_source; }

  private:
    ZORBasAllocatorBase* m_source;
};

// The tracked heap as an allocator source, with STL-style and typed entry points. Blocks of at
// least LargeBlockThreshold() bytes go to the large-block allocator once one is set; Free finds
// their origin in a registry of large blocks (a hash lookup under a lock, paid only while a
// large-block allocator is set).
class ZORBAS_API ZORBasMemAllocator : public ZORBasAllocatorBase {
  public:
    ZORBasMemAllocator();
    ~ZORBasMemAllocator() override;

    virtual void* allocate(size_t size, const void* hint);
    virtual void deallocate(void* block, size_t size);
    void* Alloc(size_t size) override;
    void* Alloc(size_t size, size_t& given) override;
    virtual int* AllocInt(int count);
    virtual double* AllocDouble(int count);
    void Free(void* block) override;
    // Routes large blocks to `large` from now on; blocks already handed out keep their origin.
    virtual void LargeBlockAllocator(const ZORBasAllocator& large);
    ZORBasAllocatorBase* LargeBlockSource() override;

    static constexpr size_t LargeBlockThreshold() { return size_t{1} << 20; }

  private:
    struct Impl;
    Impl* m_impl;
};

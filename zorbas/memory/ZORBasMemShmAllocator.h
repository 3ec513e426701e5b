// An allocator source whose blocks live in POSIX shared memory, so that another process of the same
// job on the node can map a block by its name and read or write it in place. Each block is its own
// object "/<prefix>.<pid>.<n>" (shm_open, ftruncate, mmap), rounded up to whole pages; Name()
// gives the name to pass to the other process, which calls Map(). Free unmaps and unlinks the
// name: a process that mapped the block keeps its mapping until it unmaps. A block costs a few
// system calls and a page fault per page at first touch, so the allocator suits large, long-lived
// blocks, not small ones. Blocks still held when the allocator ends are freed then. A system call
// that fails throws ZORBasMemShmError naming the call and the name, and leaves nothing behind.
#pragma once

#include <cstddef>

#include "companions/alloc/ZORBasAllocator.h"
#include "companions/coreutils/ZORBasException.h"

ZORBAS_MESSAGE_EXCEPTION(ZORBasMemShmError, 402);

class ZORBAS_API ZORBasMemShmAllocator : public ZORBasMemAllocator {
  public:
    // `prefix` starts the names (no '/'); the default is "zorbas".
    explicit ZORBasMemShmAllocator(const char* prefix = nullptr);
    ~ZORBasMemShmAllocator() override;

    void* Alloc(size_t size) override;
    // `given` is the size rounded up to whole pages, all of it usable.
    void* Alloc(size_t size, size_t& given) override;
    // Null is ignored; a block not of this allocator is a contract violation.
    void Free(void* block) override;
    ZORBasAllocatorBase* LargeBlockSource() override { return this; }

    // The name of a live block of this allocator ("/zorbas.1234.7"), or null for another pointer.
    const char* Name(const void* block) const;
    int Blocks() const;

    // In any process: maps the block of that name read-write and sets `size` to its length.
    // Throws ZORBasMemShmError when there is no such block. Undo with Unmap.
    static void* Map(const char* name, size_t& size);
    static void Unmap(void* mapping, size_t size);

  private:
    struct Impl;
    Impl* m_impl;
};

// A standard-library allocator over the tracked heap, for the few bookkeeping structures that
// use std containers (never the hot containers, which have their own layouts). Stateless; every
// instance compares equal.
#pragma once

#include <cstddef>
#include <new>

#include "companions/alloc/mem_Malloc.h"

template <class T>
struct ZORBasMemStdAllocator {
    using value_type = T;

    ZORBasMemStdAllocator() = default;
    template <class U>
    ZORBasMemStdAllocator(const ZORBasMemStdAllocator<U>&) {}

    T* allocate(size_t n) { return static_cast<T*>(mem_OperatorNewThrow(n * sizeof(T))); }
    void deallocate(T* p, size_t) { mem_Free(p); }

    template <class U>
    bool operator==(const ZORBasMemStdAllocator<U>&) const {
        return true;
    }
};

// A standard allocator that counts the bytes it has handed out, for measuring the memory of an
// anchor container (the library's own structures are measured by the tracked heap). One counter
// per benchmark binary; not thread-safe, as the benchmarks fill their containers on one thread.
#pragma once

#include <cstddef>
#include <memory>

inline size_t bench_countedBytes = 0;

template <class T>
struct CountingAllocator {
    using value_type = T;
    CountingAllocator() = default;
    template <class U>
    CountingAllocator(const CountingAllocator<U>&) {}
    T* allocate(size_t n) {
        bench_countedBytes += n * sizeof(T);
        return std::allocator<T>().allocate(n);
    }
    void deallocate(T* p, size_t n) {
        bench_countedBytes -= n * sizeof(T);
        std::allocator<T>().deallocate(p, n);
    }
    template <class U>
    struct rebind {
        using other = CountingAllocator<U>;
    };
    friend bool operator==(const CountingAllocator&, const CountingAllocator&) { return true; }
    friend bool operator!=(const CountingAllocator&, const CountingAllocator&) { return false; }
};

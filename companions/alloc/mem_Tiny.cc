#include "companions/alloc/mem_Tiny.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <mutex>

void mem_AccountTinyChunk(size_t bytes);  // mem_Malloc.cc

namespace {

constexpr size_t kChunkShift = 16;  // 64 KiB chunks
constexpr size_t kChunkSize = size_t{1} << kChunkShift;
constexpr size_t kRegionSize = size_t{4} << 30;  // reserved, committed page by page on touch
constexpr size_t kChunkCount = kRegionSize / kChunkSize;
constexpr int kClasses = 4;  // 8, 16, 24, 32 bytes

struct FreeBlock {
    FreeBlock* next;
};

// Base of the region. Until the region exists it is the top kRegionSize of the address space,
// where no user pointer lies, so the one-comparison address test fails for every block. One word,
// so a thread that reads it while the region is made sees either value, never a torn pair.
std::atomic<uintptr_t> g_lo{uintptr_t{0} - kRegionSize};
unsigned char g_chunk_class[kChunkCount];
std::atomic<size_t> g_next_chunk{0};
std::once_flag g_region_once;
bool g_reserved = false;  // written once under g_region_once

// Blocks of threads that ended, and of the pool's own refills, per class.
std::mutex g_pool_lock;
FreeBlock* g_pool[kClasses];

// Trivially destructible so the fast path pays no TLS guard; the registrar below empties the
// lists into the pool when the thread ends.
struct ThreadLists {
    FreeBlock* free[kClasses];
    char* bump[kClasses];
    char* bump_end[kClasses];
};
__attribute__((tls_model("initial-exec"))) thread_local ThreadLists t_lists;

void DonateLists();

struct ThreadRegistrar {
    ~ThreadRegistrar() { DonateLists(); }
};
__attribute__((tls_model("initial-exec"))) thread_local ThreadRegistrar* t_registered = nullptr;

// A thread's first allocation or free arms the hand-over of its lists at thread end.
__attribute__((noinline)) void RegisterThread() {
    static thread_local ThreadRegistrar registrar;
    t_registered = &registrar;
}

void Reserve() {
    void* p = mmap(nullptr, kRegionSize, PROT_READ | PROT_WRITE,
                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (p == MAP_FAILED) return;  // every tiny request then falls back to the tracked heap
    g_reserved = true;
    g_lo.store(reinterpret_cast<uintptr_t>(p), std::memory_order_release);
}

inline int ClassOf(size_t size) { return static_cast<int>((size - 1) >> 3); }
inline size_t ClassSize(int c) { return static_cast<size_t>(c + 1) << 3; }

void DonateLists() {
    std::lock_guard<std::mutex> guard(g_pool_lock);
    for (int c = 0; c < kClasses; ++c) {
        // Uncarved space of the thread's current chunk goes back as blocks, so nothing is lost.
        while (t_lists.bump[c] && t_lists.bump[c] + ClassSize(c) <= t_lists.bump_end[c]) {
            auto* b = reinterpret_cast<FreeBlock*>(t_lists.bump[c]);
            t_lists.bump[c] += ClassSize(c);
            b->next = g_pool[c];
            g_pool[c] = b;
        }
        while (FreeBlock* b = t_lists.free[c]) {
            t_lists.free[c] = b->next;
            b->next = g_pool[c];
            g_pool[c] = b;
        }
        t_lists.bump[c] = t_lists.bump_end[c] = nullptr;
    }
}

__attribute__((noinline)) void* Refill(int c) {
    std::call_once(g_region_once, Reserve);
    if (!g_reserved) return nullptr;
    if (!t_registered) RegisterThread();
    {
        std::lock_guard<std::mutex> guard(g_pool_lock);
        if (FreeBlock* b = g_pool[c]) {
            g_pool[c] = nullptr;
            t_lists.free[c] = b->next;
            return b;
        }
    }
    size_t index = g_next_chunk.fetch_add(1, std::memory_order_relaxed);
    if (index >= kChunkCount) return nullptr;
    g_chunk_class[index] = static_cast<unsigned char>(c);
    char* chunk =
        reinterpret_cast<char*>(g_lo.load(std::memory_order_relaxed) + index * kChunkSize);
    mem_AccountTinyChunk(kChunkSize);
    t_lists.bump[c] = chunk + ClassSize(c);
    t_lists.bump_end[c] = chunk + kChunkSize;
    return chunk;
}

}  // namespace

void* mem_TinyAlloc(size_t size) {
    if (size - 1 >= 32) return nullptr;  // also rejects 0
    int c = ClassOf(size);
    if (FreeBlock* b = t_lists.free[c]) {
        t_lists.free[c] = b->next;
        return b;
    }
    char* p = t_lists.bump[c];
    if (p && p + ClassSize(c) <= t_lists.bump_end[c]) {
        t_lists.bump[c] = p + ClassSize(c);
        return p;
    }
    return Refill(c);
}

bool mem_IsTinyBlock(const void* block) {
    return reinterpret_cast<uintptr_t>(block) - g_lo.load(std::memory_order_relaxed) < kRegionSize;
}

namespace {
inline void Push(void* block, uintptr_t offset) {
    int c = g_chunk_class[offset >> kChunkShift];
    if (__builtin_expect(!t_registered, 0)) RegisterThread();
    auto* b = static_cast<FreeBlock*>(block);
    b->next = t_lists.free[c];
    t_lists.free[c] = b;
}
}  // namespace

void mem_TinyFree(void* block) {
    Push(block, reinterpret_cast<uintptr_t>(block) - g_lo.load(std::memory_order_relaxed));
}

// mem_Free's one call into this file: the range test and the free together.
bool mem_TinyTryFree(void* block) {
    uintptr_t offset = reinterpret_cast<uintptr_t>(block) - g_lo.load(std::memory_order_relaxed);
    if (offset >= kRegionSize) return false;
    Push(block, offset);
    return true;
}

size_t mem_TinyChunkBytes() {
    size_t n = g_next_chunk.load(std::memory_order_relaxed);
    return (n < kChunkCount ? n : kChunkCount) * kChunkSize;
}

size_t mem_TinyClassSize(const void* block) {
    auto p = reinterpret_cast<uintptr_t>(block);
    return ClassSize(g_chunk_class[(p - g_lo.load(std::memory_order_relaxed)) >> kChunkShift]);
}

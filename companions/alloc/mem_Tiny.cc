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
constexpr int kClasses = 5;  // 4, 8, 16, 24, 32 bytes

// Free lists link blocks by their 32-bit offset in the region (4 GiB), so a 4-byte block can hold
// its link and a free costs no address rebuild: mem_Free has the offset from its range test.
// No block starts at an odd offset, so this one can end a list.
using Offset = uint32_t;
constexpr Offset kNone = 0xFFFFFFFFu;
static_assert(kRegionSize - 1 <= kNone);

// Base of the region. Until the region exists it is the top kRegionSize of the address space,
// where no user pointer lies, so the one-comparison address test fails for every block. One word,
// so a thread that reads it while the region is made sees either value, never a torn pair.
std::atomic<uintptr_t> g_lo{uintptr_t{0} - kRegionSize};
unsigned char g_chunk_class[kChunkCount];
std::atomic<size_t> g_next_chunk{0};
std::once_flag g_region_once;
bool g_reserved = false;  // written once under g_region_once

// Blocks of threads that ended, per class.
std::mutex g_pool_lock;
Offset g_pool[kClasses] = {kNone, kNone, kNone, kNone, kNone};

// Trivially destructible and constant-initialised (empty lists are kNone), so the fast path pays
// no TLS guard; the registrar below empties the lists into the pool when the thread ends.
struct ThreadLists {
    Offset free[kClasses];
    char* bump[kClasses];
    char* bump_end[kClasses];
};
__attribute__((tls_model("initial-exec"))) thread_local ThreadLists t_lists = {
    {kNone, kNone, kNone, kNone, kNone}, {}, {}};

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

// Sizes 1-4 share the 4-byte class (reference counters); 5-32 go by eight bytes.
constexpr unsigned char kClassOf[33] = {0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2,
                                        3, 3, 3, 3, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4};
constexpr size_t kClassSize[kClasses] = {4, 8, 16, 24, 32};
inline size_t ClassSize(int c) { return kClassSize[c]; }

inline char* Base() { return reinterpret_cast<char*>(g_lo.load(std::memory_order_relaxed)); }
inline Offset& Link(char* base, Offset block) { return *reinterpret_cast<Offset*>(base + block); }

void DonateLists() {
    std::lock_guard<std::mutex> guard(g_pool_lock);
    char* base = Base();
    for (int c = 0; c < kClasses; ++c) {
        // Uncarved space of the thread's current chunk goes back as blocks, so nothing is lost.
        while (t_lists.bump[c] && t_lists.bump[c] + ClassSize(c) <= t_lists.bump_end[c]) {
            auto b = static_cast<Offset>(t_lists.bump[c] - base);
            t_lists.bump[c] += ClassSize(c);
            Link(base, b) = g_pool[c];
            g_pool[c] = b;
        }
        Offset head = t_lists.free[c];
        if (head != kNone) {
            Offset tail = head;
            while (Link(base, tail) != kNone) tail = Link(base, tail);
            Link(base, tail) = g_pool[c];
            g_pool[c] = head;
        }
        t_lists.free[c] = kNone;
        t_lists.bump[c] = t_lists.bump_end[c] = nullptr;
    }
}

__attribute__((noinline)) void* Refill(int c) {
    std::call_once(g_region_once, Reserve);
    if (!g_reserved) return nullptr;
    if (!t_registered) RegisterThread();
    char* base = Base();
    {
        std::lock_guard<std::mutex> guard(g_pool_lock);
        if (Offset b = g_pool[c]; b != kNone) {
            g_pool[c] = kNone;
            t_lists.free[c] = Link(base, b);
            return base + b;
        }
    }
    size_t index = g_next_chunk.fetch_add(1, std::memory_order_relaxed);
    if (index >= kChunkCount) return nullptr;
    g_chunk_class[index] = static_cast<unsigned char>(c);
    char* chunk = base + index * kChunkSize;
    mem_AccountTinyChunk(kChunkSize);
    t_lists.bump[c] = chunk + ClassSize(c);
    t_lists.bump_end[c] = chunk + kChunkSize;
    return chunk;
}

// The first free on a thread that never allocated arms its hand-over, then pushes.
__attribute__((noinline)) void PushFirst(char* base, Offset offset);

// A leaf on the common path (no frame): the registration is a tail call off to the side.
inline void Push(char* base, Offset offset) {
    if (__builtin_expect(!t_registered, 0)) return PushFirst(base, offset);
    int c = g_chunk_class[offset >> kChunkShift];
    Link(base, offset) = t_lists.free[c];
    t_lists.free[c] = offset;
}

void PushFirst(char* base, Offset offset) {
    RegisterThread();
    Push(base, offset);
}

}  // namespace

void* mem_TinyAlloc(size_t size) {
    if (size - 1 >= 32) return nullptr;  // also rejects 0
    int c = kClassOf[size];
    if (Offset b = t_lists.free[c]; b != kNone) {
        char* base = Base();
        t_lists.free[c] = Link(base, b);
        return base + b;
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

void mem_TinyFree(void* block) {
    char* base = Base();
    Push(base, static_cast<Offset>(static_cast<char*>(block) - base));
}

// mem_Free's one call into this file: a tiny block is pushed here; anything else (null included:
// it lies below the region) goes on to `other` as a tail call, so the free of a counter is one
// jump and a leaf.
void mem_TinyFreeOr(void* block, void (*other)(void*)) {
    uintptr_t lo = g_lo.load(std::memory_order_relaxed);
    uintptr_t offset = reinterpret_cast<uintptr_t>(block) - lo;
    if (offset >= kRegionSize) return other(block);
    Push(reinterpret_cast<char*>(lo), static_cast<Offset>(offset));
}

size_t mem_TinyChunkBytes() {
    size_t n = g_next_chunk.load(std::memory_order_relaxed);
    return (n < kChunkCount ? n : kChunkCount) * kChunkSize;
}

size_t mem_TinyClassSize(const void* block) {
    auto p = reinterpret_cast<uintptr_t>(block);
    return ClassSize(g_chunk_class[(p - g_lo.load(std::memory_order_relaxed)) >> kChunkShift]);
}

#include "companions/alloc/mem_Malloc.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "companions/alloc/ZORBasMemPool.h"
#include "companions/alloc/mem_Tiny.h"
#include "companions/framework/PLXFatalError.h"

namespace {

constexpr uint32_t kLiveMagic = 0x5A4F5242u;  // "ZORB"
constexpr uint32_t kDeadMagic = 0xDEADB10Cu;
constexpr uint32_t kTailCanary = 0xC0FFEE11u;
constexpr const char* kFile = "companions/alloc/mem_Malloc";

// 16 bytes so that payloads keep malloc's alignment.
struct BlockHeader {
    size_t size;
    uint32_t magic;
    uint32_t reserved;
};
static_assert(sizeof(BlockHeader) == 16);

// Footprint = payload bytes of live blocks + tiny chunks; both move through g_footprint, and
// g_tiny_bytes remembers the chunks' share so that the two can be checked against each other.
std::atomic<long long> g_footprint{0};
std::atomic<long long> g_peak{0};
std::atomic<long long> g_live_blocks{0};
std::atomic<long long> g_tiny_bytes{0};

void RaisePeak(long long now) {
    long long peak = g_peak.load(std::memory_order_relaxed);
    while (now > peak && !g_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
    }
}

BlockHeader* HeaderOf(void* payload) {
    return reinterpret_cast<BlockHeader*>(static_cast<char*>(payload) - sizeof(BlockHeader));
}

void WriteTail(BlockHeader* h) {
    std::memcpy(reinterpret_cast<char*>(h + 1) + h->size, &kTailCanary, sizeof kTailCanary);
}

void CheckBlock(BlockHeader* h) {
    ZORBAS_FATAL_ASSERT(h->magic == kLiveMagic, kFile, __LINE__);
    uint32_t tail;
    std::memcpy(&tail, reinterpret_cast<char*>(h + 1) + h->size, sizeof tail);
    ZORBAS_FATAL_ASSERT(tail == kTailCanary, kFile, __LINE__);
}

void Account(long long bytes, long long blocks) {
    long long now = g_footprint.fetch_add(bytes, std::memory_order_relaxed) + bytes;
    if (blocks) g_live_blocks.fetch_add(blocks, std::memory_order_relaxed);
    if (bytes > 0) RaisePeak(now);
}

std::recursive_mutex& ThreadLock() {
    static std::recursive_mutex lock;
    return lock;
}

}  // namespace

void mem_TinyFreeOr(void* block, void (*other)(void*));  // mem_Tiny.cc

// Tiny chunks count in the footprint too; mem_Tiny.cc reports them here.
void mem_AccountTinyChunk(size_t bytes) {
    g_tiny_bytes.fetch_add(static_cast<long long>(bytes), std::memory_order_relaxed);
    long long now =
        g_footprint.fetch_add(static_cast<long long>(bytes), std::memory_order_relaxed) +
        static_cast<long long>(bytes);
    RaisePeak(now);
}

void* mem_Malloc(size_t size) {
    if (size > SIZE_MAX - sizeof(BlockHeader) - sizeof(kTailCanary)) return nullptr;
    auto* h =
        static_cast<BlockHeader*>(std::malloc(sizeof(BlockHeader) + size + sizeof kTailCanary));
    if (!h) return nullptr;
    h->size = size;
    h->magic = kLiveMagic;
    h->reserved = 0;
    WriteTail(h);
    Account(static_cast<long long>(size), 1);
    return h + 1;
}

namespace {
void FreeTracked(void* block) {
    if (!block) return;
    BlockHeader* h = HeaderOf(block);
    CheckBlock(h);
    h->magic = kDeadMagic;
    Account(-static_cast<long long>(h->size), -1);
    std::free(h);
}
}  // namespace

void mem_Free(void* block) { mem_TinyFreeOr(block, FreeTracked); }

void* mem_Realloc(void* block, size_t size) {
    if (!block) return mem_Malloc(size);
    if (mem_IsTinyBlock(block)) {
        void* fresh = mem_Malloc(size);
        if (!fresh) return nullptr;
        size_t keep = mem_TinyClassSize(block);
        std::memcpy(fresh, block, size < keep ? size : keep);
        mem_TinyFree(block);
        return fresh;
    }
    BlockHeader* h = HeaderOf(block);
    CheckBlock(h);
    if (size > SIZE_MAX - sizeof(BlockHeader) - sizeof(kTailCanary)) return nullptr;
    size_t old = h->size;
    auto* n =
        static_cast<BlockHeader*>(std::realloc(h, sizeof(BlockHeader) + size + sizeof kTailCanary));
    if (!n) return nullptr;  // the old block is untouched and still counted
    n->size = size;
    WriteTail(n);
    Account(static_cast<long long>(size) - static_cast<long long>(old), 0);
    return n + 1;
}

void* mem_OperatorNewThrow(size_t size) {
    void* p = mem_Malloc(size ? size : 1);
    if (!p) throw std::bad_alloc();
    return p;
}

void* mem_OperatorNewTinyThrow(size_t size) {
    void* p = mem_TinyAlloc(size ? size : 1);
    if (!p) p = mem_Malloc(size ? size : 1);
    if (!p) throw std::bad_alloc();
    return p;
}

void* mem_OperatorNewThrowBuiltin(size_t size) { return mem_OperatorNewThrow(size); }

size_t mem_Footprint() {
    long long v = g_footprint.load(std::memory_order_relaxed);
    return v > 0 ? static_cast<size_t>(v) : 0;
}

size_t mem_MaxFootprint() { return static_cast<size_t>(g_peak.load(std::memory_order_relaxed)); }

size_t mem_LiveBlocks() {
    long long v = g_live_blocks.load(std::memory_order_relaxed);
    return v > 0 ? static_cast<size_t>(v) : 0;
}

bool mem_Mallinfo::useDL = false;

mem_DLMallinfoType mem_DLMallinfo() {
    struct mallinfo2 mi = mallinfo2();
    mem_DLMallinfoType r{};
    r.arena = mi.arena;
    r.ordblks = mi.ordblks;
    r.hblkhd = mi.hblkhd;
    r.hblks = mi.hblks;
    r.uordblks = mi.uordblks + mi.hblkhd;
    r.fordblks = mi.fordblks;
    r.keepcost = mi.keepcost;
    r.usmblks = mem_MaxFootprint();
    return r;
}

int mem_HeapCheck() {
    long long fp = g_footprint.load(std::memory_order_relaxed);
    long long blocks = g_live_blocks.load(std::memory_order_relaxed);
    long long tiny = g_tiny_bytes.load(std::memory_order_relaxed);
    long long tracked = fp - tiny;
    if (fp < 0 || blocks < 0) return mem_HEAPBADCOUNT;
    if (tracked < 0 || (blocks == 0 && tracked != 0)) return mem_HEAPBADBLOCKS;
    if (static_cast<size_t>(tiny) != mem_TinyChunkBytes()) return mem_HEAPBADTINY;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // The C heap must hold at least the payloads we believe live (sanitizers replace the C heap,
    // whose statistics then mean nothing).
    struct mallinfo2 mi = mallinfo2();
    if (static_cast<size_t>(tracked) > mi.uordblks + mi.hblkhd) return mem_HEAPBADCHEAP;
#endif
    if (g_peak.load(std::memory_order_relaxed) < fp) return mem_HEAPBADPEAK;
    return mem_HEAPOK;
}

void mem_TBThreadLock(bool take) {
    if (take)
        ThreadLock().lock();
    else
        ThreadLock().unlock();
}

size_t mem_BlockSize(const void* block) {
    if (!block) return 0;
    if (mem_IsTinyBlock(block)) return mem_TinyClassSize(block);
    BlockHeader* h = HeaderOf(const_cast<void*>(block));
    CheckBlock(h);
    return h->size;
}

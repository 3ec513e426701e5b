#include "zorbas/memory/ZORBasMemShmAllocator.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string>

#include "companions/framework/PLXFatalError.h"
#include "zorbas/memory/ZORBasMemStdAllocator.h"

#define SHM_FILE "ZORBase/ZORBasSrm.m/src/ZORBasMemShmAllocator"

namespace {
struct Block {
    size_t size;
    char name[64];
};

[[noreturn]] void Fail(const char* call, const char* name, int error) {
    char text[256];
    std::snprintf(text, sizeof text, "%s %s: %s", call, name, std::strerror(error));
    ZORBasMemShmError(text).Throw(SHM_FILE, __LINE__);
}

size_t PageSize() {
    static const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    return page;
}

// Distinguishes allocators of one process, so that their names never meet.
std::atomic<unsigned> g_allocators{0};
}  // namespace

struct ZORBasMemShmAllocator::Impl {
    mutable std::mutex lock;
    char prefix[32];
    unsigned id;
    unsigned long next = 0;
    std::map<const void*, Block, std::less<const void*>,
             ZORBasMemStdAllocator<std::pair<const void* const, Block>>>
        blocks;
};

ZORBasMemShmAllocator::ZORBasMemShmAllocator(const char* prefix) : m_impl(new Impl) {
    std::snprintf(m_impl->prefix, sizeof m_impl->prefix, "%s", prefix ? prefix : "zorbas");
    m_impl->id = g_allocators.fetch_add(1, std::memory_order_relaxed);
}

ZORBasMemShmAllocator::~ZORBasMemShmAllocator() {
    for (auto& [address, block] : m_impl->blocks) {
        munmap(const_cast<void*>(address), block.size);
        shm_unlink(block.name);
    }
    delete m_impl;
}

void* ZORBasMemShmAllocator::Alloc(size_t size) {
    size_t given;
    return Alloc(size, given);
}

void* ZORBasMemShmAllocator::Alloc(size_t size, size_t& given) {
    size_t page = PageSize();
    if (size > ~size_t{0} - page) throw std::bad_alloc();
    Block block;
    block.size = size == 0 ? page : (size + page - 1) / page * page;
    {
        std::lock_guard<std::mutex> guard(m_impl->lock);
        std::snprintf(block.name, sizeof block.name, "/%s.%d.%u.%lu", m_impl->prefix,
                      static_cast<int>(getpid()), m_impl->id, m_impl->next++);
    }
    int fd = shm_open(block.name, O_CREAT | O_EXCL | O_RDWR, 0600);
    if (fd < 0) Fail("shm_open", block.name, errno);
    if (ftruncate(fd, static_cast<off_t>(block.size)) != 0) {
        int error = errno;
        close(fd);
        shm_unlink(block.name);
        Fail("ftruncate", block.name, error);
    }
    void* address = mmap(nullptr, block.size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    int error = errno;
    close(fd);
    if (address == MAP_FAILED) {
        shm_unlink(block.name);
        Fail("mmap", block.name, error);
    }
    try {
        std::lock_guard<std::mutex> guard(m_impl->lock);
        m_impl->blocks.emplace(address, block);
    } catch (...) {
        munmap(address, block.size);
        shm_unlink(block.name);
        throw;
    }
    given = block.size;
    return address;
}

void ZORBasMemShmAllocator::Free(void* address) {
    if (!address) return;
    Block block;
    {
        std::lock_guard<std::mutex> guard(m_impl->lock);
        auto it = m_impl->blocks.find(address);
        if (it == m_impl->blocks.end())
            PLXFatalError("AssertionFailed:block of this allocator", nullptr, nullptr, nullptr,
                          SHM_FILE, __LINE__);
        block = it->second;
        m_impl->blocks.erase(it);
    }
    munmap(address, block.size);
    shm_unlink(block.name);
}

const char* ZORBasMemShmAllocator::Name(const void* address) const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    auto it = m_impl->blocks.find(address);
    return it == m_impl->blocks.end() ? nullptr : it->second.name;
}

int ZORBasMemShmAllocator::Blocks() const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    return static_cast<int>(m_impl->blocks.size());
}

void* ZORBasMemShmAllocator::Map(const char* name, size_t& size) {
    int fd = shm_open(name, O_RDWR, 0);
    if (fd < 0) Fail("shm_open", name, errno);
    struct stat st;
    if (fstat(fd, &st) != 0) {
        int error = errno;
        close(fd);
        Fail("fstat", name, error);
    }
    size = static_cast<size_t>(st.st_size);
    void* address = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    int error = errno;
    close(fd);
    if (address == MAP_FAILED) Fail("mmap", name, error);
    return address;
}

void ZORBasMemShmAllocator::Unmap(void* mapping, size_t size) {
    if (mapping) munmap(mapping, size);
}

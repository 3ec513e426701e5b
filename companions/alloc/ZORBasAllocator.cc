#include "companions/alloc/ZORBasAllocator.h"

#include <mutex>
#include <new>
#include <unordered_map>

#include "companions/alloc/ZORBasMemPool.h"

namespace {

class HeapSource final : public ZORBasAllocatorBase {
  public:
    void* Alloc(size_t size) override { return mem_OperatorNewThrow(size); }
    void Free(void* block) override { mem_Free(block); }
};

}  // namespace

ZORBasAllocatorBase::~ZORBasAllocatorBase() = default;

void* ZORBasAllocatorBase::Alloc(size_t size, size_t& given) {
    void* p = Alloc(size);
    given = size;
    return p;
}

ZORBasAllocatorBase* ZORBasAllocatorBase::Heap() {
    // One handle is held forever, so the count never falls to zero.
    static HeapSource* heap = [] {
        auto* h = new HeapSource;
        h->m_handles = 1;
        return h;
    }();
    return heap;
}

ZORBasAllocator::ZORBasAllocator(ZORBasAllocatorBase* source) : m_source(source) {
    if (m_source) ++m_source->m_handles;
}

ZORBasAllocator::ZORBasAllocator(const ZORBasAllocator& other) : ZORBasAllocator(other.m_source) {}

ZORBasAllocator& ZORBasAllocator::operator=(const ZORBasAllocator& other) {
    ZORBasAllocator keep(other);  // first: `other` may be the last handle of our own source
    std::swap(m_source, keep.m_source);
    return *this;
}

ZORBasAllocator::~ZORBasAllocator() {
    if (m_source && --m_source->m_handles == 0) delete m_source;
}

void* ZORBasAllocator::Alloc(size_t size) {
    if (!m_source) throw std::bad_alloc();
    return m_source->Alloc(size);
}

void* ZORBasAllocator::Alloc(size_t size, size_t& given) {
    if (!m_source) throw std::bad_alloc();
    return m_source->Alloc(size, given);
}

void ZORBasAllocator::Free(void* block) {
    if (m_source && block) m_source->Free(block);
}

ZORBasAllocator ZORBasAllocator::LargeBlockAllocator() const {
    return ZORBasAllocator(m_source ? m_source->LargeBlockSource() : nullptr);
}

struct ZORBasMemAllocator::Impl {
    std::mutex lock;
    ZORBasAllocator large{nullptr};
    bool routed = false;
    // Large blocks handed out, with the handle of the source that gave them.
    std::unordered_map<void*, ZORBasAllocator> origin;
};

ZORBasMemAllocator::ZORBasMemAllocator() : m_impl(new Impl) {}

ZORBasMemAllocator::~ZORBasMemAllocator() { delete m_impl; }

void* ZORBasMemAllocator::Alloc(size_t size, size_t& given) {
    if (size >= LargeBlockThreshold()) {
        ZORBasAllocator source(nullptr);
        {
            std::lock_guard<std::mutex> guard(m_impl->lock);
            if (m_impl->routed) source = m_impl->large;
        }
        if (source.Source()) {
            void* p = source.Alloc(size, given);
            try {
                std::lock_guard<std::mutex> guard(m_impl->lock);
                m_impl->origin.emplace(p, source);
            } catch (...) {
                source.Free(p);
                throw;
            }
            return p;
        }
    }
    void* p = mem_OperatorNewThrow(size);
    given = mem_BlockSize(p);
    return p;
}

void* ZORBasMemAllocator::Alloc(size_t size) {
    size_t given;
    return Alloc(size, given);
}

void* ZORBasMemAllocator::allocate(size_t size, const void*) { return Alloc(size); }

void ZORBasMemAllocator::deallocate(void* block, size_t) { Free(block); }

int* ZORBasMemAllocator::AllocInt(int count) {
    if (count < 0) throw std::bad_alloc();
    return static_cast<int*>(Alloc(sizeof(int) * static_cast<size_t>(count)));
}

double* ZORBasMemAllocator::AllocDouble(int count) {
    if (count < 0) throw std::bad_alloc();
    return static_cast<double*>(Alloc(sizeof(double) * static_cast<size_t>(count)));
}

void ZORBasMemAllocator::Free(void* block) {
    if (!block) return;
    ZORBasAllocator source(nullptr);
    {
        std::lock_guard<std::mutex> guard(m_impl->lock);
        if (!m_impl->origin.empty()) {
            auto it = m_impl->origin.find(block);
            if (it != m_impl->origin.end()) {
                source = it->second;
                m_impl->origin.erase(it);
            }
        }
    }
    // Outside the lock: a foreign source may call back into this allocator.
    if (source.Source())
        source.Free(block);
    else
        mem_Free(block);
}

void ZORBasMemAllocator::LargeBlockAllocator(const ZORBasAllocator& large) {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    m_impl->large = large;
    m_impl->routed = large.Source() != nullptr;
}

ZORBasAllocatorBase* ZORBasMemAllocator::LargeBlockSource() {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    return m_impl->routed ? m_impl->large.Source() : this;
}

#include <condition_variable>
#include <map>
#include <mutex>
#include <vector>

#include "companions/coreutils/ZORBasCam.h"
#include "companions/framework/PLXFatalError.h"

#define CAM_FILE "companions/coreutils/ZORBasCamCacheManager"

namespace {
using Item = ZORBasCamMemoryItem;

// The items of one priority and policy, oldest at the head, linked through their own next/prev.
struct Chain {
    Item* head = nullptr;
    Item* tail = nullptr;
};
}  // namespace

struct ZORBasCamCacheManager::Impl {
    mutable std::mutex lock;
    std::condition_variable freed;  // an item left the Freeing state
    size_t limit = kNoLimit;
    size_t held = 0;
    int count = 0;
    long long purged = 0;
    std::map<int, Chain> freeable;  // by priority, lowest freed first
    Chain kept;                     // policy Keep: never chosen

    Chain& ChainOf(const Item* item) {
        return item->m_policy == ZORBasCamCacheKeep ? kept : freeable[item->m_priority];
    }

    void Unlink(Item* item) {
        Chain& c = ChainOf(item);
        (item->prev ? item->prev->next : c.head) = item->next;
        (item->next ? item->next->prev : c.tail) = item->prev;
        item->next = item->prev = nullptr;
        if (!c.head && item->m_policy != ZORBasCamCacheKeep) freeable.erase(item->m_priority);
        held -= item->m_heldBytes;
        --count;
    }

    void LinkBack(Item* item) {
        Chain& c = ChainOf(item);
        item->next = nullptr;
        item->prev = c.tail;
        (c.tail ? c.tail->next : c.head) = item;
        c.tail = item;
        held += item->m_heldBytes;
        ++count;
    }

    void LinkFront(Item* item) {
        Chain& c = ChainOf(item);
        item->prev = nullptr;
        item->next = c.head;
        (c.head ? c.head->prev : c.tail) = item;
        c.head = item;
        held += item->m_heldBytes;
        ++count;
    }

    // Takes items out, oldest of the lowest priority first, until `target` is reached; they are
    // left in the Freeing state for the caller to free outside the lock.
    std::vector<Item*> Choose(size_t target) {
        std::vector<Item*> victims;
        while (held > target && !freeable.empty()) {
            Item* item = freeable.begin()->second.head;
            Unlink(item);
            item->m_state = Item::State::Freeing;
            victims.push_back(item);
        }
        return victims;
    }

    // Frees the items Choose took out, outside the lock; RemoveItem of one of them waits here.
    size_t FreeChosen(const std::vector<Item*>& victims) {
        size_t bytes = 0;
        size_t done = 0;
        try {
            for (; done < victims.size(); ++done) {
                bytes += victims[done]->FreeBulkData();
                std::lock_guard<std::mutex> guard(lock);
                victims[done]->m_state = Item::State::Out;
                victims[done]->m_holder.store(nullptr, std::memory_order_release);
                ++purged;
                freed.notify_all();
            }
        } catch (...) {
            // The failed item and those after it are held again where they were: at the front,
            // oldest first.
            std::lock_guard<std::mutex> guard(lock);
            for (size_t i = victims.size(); i-- > done;) {
                victims[i]->m_state = Item::State::Held;
                LinkFront(victims[i]);
            }
            freed.notify_all();
            throw;
        }
        return bytes;
    }
};

ZORBasCamMemoryItem::ZORBasCamMemoryItem() = default;

ZORBasCamMemoryItem::~ZORBasCamMemoryItem() {
    if (ZORBasCamCacheManager* holder = m_holder.load(std::memory_order_acquire))
        holder->RemoveItem(this);
}

ZORBasCamCacheManager::ZORBasCamCacheManager() : m_impl(new Impl) {}

ZORBasCamCacheManager::~ZORBasCamCacheManager() {
    auto release = [](Item* item) {
        while (item) {
            Item* next = item->next;
            item->next = item->prev = nullptr;
            item->m_state = Item::State::Out;
            item->m_holder.store(nullptr, std::memory_order_release);
            item = next;
        }
    };
    for (auto& [priority, chain] : m_impl->freeable) release(chain.head);
    release(m_impl->kept.head);
    delete m_impl;
}

void ZORBasCamCacheManager::AddItem(int priority, ZORBasCamCachePolicyEnm policy, Item* first,
                                    Item* last) {
    if (!first) return;
    std::vector<Item*> victims;
    {
        std::lock_guard<std::mutex> guard(m_impl->lock);
        Item* item = first;
        while (item) {
            // The chain's links are read before LinkBack reuses them.
            Item* next = item == last ? nullptr : item->next;
            ZORBAS_FATAL_ASSERT(item->m_state == Item::State::Out, CAM_FILE, __LINE__);
            item->m_priority = priority;
            item->m_policy = policy;
            item->m_heldBytes = item->AllocSize();
            item->m_state = Item::State::Held;
            item->m_holder.store(this, std::memory_order_release);
            m_impl->LinkBack(item);
            item = next;
        }
        // Chosen with the hand-over, so that no one sees the held bytes above the limit.
        victims = m_impl->Choose(m_impl->limit);
    }
    m_impl->FreeChosen(victims);
}

bool ZORBasCamCacheManager::RemoveItem(Item* item) {
    std::unique_lock<std::mutex> guard(m_impl->lock);
    if (item->m_holder.load(std::memory_order_relaxed) != this) return false;
    if (item->m_state == Item::State::Freeing) {
        m_impl->freed.wait(guard, [item] { return item->m_state != Item::State::Freeing; });
        // Put back after a failed free: held again, and the owner takes it back untouched.
        if (item->m_state != Item::State::Held) return false;
    }
    m_impl->Unlink(item);
    item->m_state = Item::State::Out;
    item->m_holder.store(nullptr, std::memory_order_release);
    return true;
}

size_t ZORBasCamCacheManager::FreeDownTo(size_t target, bool toLimit) {
    std::vector<Item*> victims;
    {
        std::lock_guard<std::mutex> guard(m_impl->lock);
        victims = m_impl->Choose(toLimit ? m_impl->limit : target);
    }
    return m_impl->FreeChosen(victims);
}

void ZORBasCamCacheManager::SetMemoryLimit(size_t bytes) {
    std::vector<Item*> victims;
    {
        std::lock_guard<std::mutex> guard(m_impl->lock);
        m_impl->limit = bytes;
        victims = m_impl->Choose(bytes);
    }
    m_impl->FreeChosen(victims);
}

size_t ZORBasCamCacheManager::Trim(size_t target) { return FreeDownTo(target, false); }

size_t ZORBasCamCacheManager::MemoryLimit() const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    return m_impl->limit;
}

size_t ZORBasCamCacheManager::MemoryHeld() const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    return m_impl->held;
}

int ZORBasCamCacheManager::ItemCount() const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    return m_impl->count;
}

long long ZORBasCamCacheManager::PurgeCount() const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    return m_impl->purged;
}

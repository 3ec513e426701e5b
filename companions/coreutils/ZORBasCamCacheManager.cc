#include <map>
#include <mutex>
#include <set>
#include <tuple>
#include <vector>

#include "companions/coreutils/ZORBasCam.h"

namespace {

struct Entry {
    int priority;
    ZORBasCamCachePolicyEnm policy;
    long long order;
    size_t bytes;
    ZORBasCamMemoryItem* related;
};

using Key = std::tuple<int, long long, ZORBasCamMemoryItem*>;  // priority, order, item

}  // namespace

struct ZORBasCamCacheManager::Impl {
    mutable std::mutex lock;
    size_t limit = kNoLimit;
    size_t held = 0;
    long long next = 0;
    long long purged = 0;
    std::map<ZORBasCamMemoryItem*, Entry> items;
    std::set<Key> purgeable;  // purge order: the smallest key first
    std::multimap<ZORBasCamMemoryItem*, ZORBasCamMemoryItem*> dependants;  // related -> item

    // Takes an item out of every structure. Its dependants are appended to `victims` (taken out
    // as well), so they are purged after it.
    void Drop(ZORBasCamMemoryItem* item, std::vector<ZORBasCamMemoryItem*>* victims) {
        auto it = items.find(item);
        if (it == items.end()) return;
        Entry e = it->second;
        items.erase(it);
        held -= e.bytes;
        if (e.policy == ZORBasCamCachePurge) purgeable.erase(Key{e.priority, e.order, item});
        if (e.related) {
            auto [lo, hi] = dependants.equal_range(e.related);
            for (auto d = lo; d != hi; ++d)
                if (d->second == item) {
                    dependants.erase(d);
                    break;
                }
        }
        item->m_holder.store(nullptr, std::memory_order_relaxed);
        auto [lo, hi] = dependants.equal_range(item);
        std::vector<ZORBasCamMemoryItem*> deps;
        for (auto d = lo; d != hi; ++d) deps.push_back(d->second);
        dependants.erase(lo, hi);
        for (ZORBasCamMemoryItem* d : deps) {
            if (!items.count(d)) continue;
            if (victims) victims->push_back(d);
            Drop(d, victims);
        }
    }

    // Chooses items to purge until the held bytes are within the limit and takes them out.
    std::vector<ZORBasCamMemoryItem*> Select() {
        std::vector<ZORBasCamMemoryItem*> victims;
        while (held > limit && !purgeable.empty()) {
            ZORBasCamMemoryItem* item = std::get<2>(*purgeable.begin());
            victims.push_back(item);
            Drop(item, &victims);
        }
        purged += static_cast<long long>(victims.size());
        return victims;
    }
};

namespace {
void PurgeAll(const std::vector<ZORBasCamMemoryItem*>& victims) {
    for (ZORBasCamMemoryItem* v : victims) v->Purge();
}
}  // namespace

ZORBasCamMemoryItem::ZORBasCamMemoryItem() = default;

ZORBasCamMemoryItem::~ZORBasCamMemoryItem() {
    if (ZORBasCamCacheManager* holder = m_holder.load(std::memory_order_relaxed))
        holder->RemoveItem(this);
}

ZORBasCamCacheManager::ZORBasCamCacheManager() : m_impl(new Impl) {}

ZORBasCamCacheManager::~ZORBasCamCacheManager() {
    for (auto& [item, entry] : m_impl->items) item->m_holder.store(nullptr);
    delete m_impl;
}

void ZORBasCamCacheManager::AddItem(int priority, ZORBasCamCachePolicyEnm policy,
                                    ZORBasCamMemoryItem* item, ZORBasCamMemoryItem* related) {
    if (!item) return;
    // An item held by another manager moves here.
    ZORBasCamCacheManager* other = item->m_holder.load(std::memory_order_relaxed);
    if (other && other != this) other->RemoveItem(item);
    size_t bytes = item->Size();
    std::vector<ZORBasCamMemoryItem*> victims;
    {
        std::lock_guard<std::mutex> guard(m_impl->lock);
        auto old = m_impl->items.find(item);
        if (old != m_impl->items.end()) {
            // Re-adding keeps the items built from this one.
            auto [lo, hi] = m_impl->dependants.equal_range(item);
            std::vector<ZORBasCamMemoryItem*> deps;
            for (auto d = lo; d != hi; ++d) deps.push_back(d->second);
            m_impl->dependants.erase(lo, hi);
            m_impl->Drop(item, nullptr);
            for (ZORBasCamMemoryItem* d : deps) m_impl->dependants.emplace(item, d);
        }
        if (related == item || (related && !m_impl->items.count(related))) related = nullptr;
        long long order = m_impl->next++;
        m_impl->items.emplace(item, Entry{priority, policy, order, bytes, related});
        if (policy == ZORBasCamCachePurge) m_impl->purgeable.emplace(priority, order, item);
        if (related) m_impl->dependants.emplace(related, item);
        m_impl->held += bytes;
        item->m_holder.store(this, std::memory_order_relaxed);
        victims = m_impl->Select();
    }
    PurgeAll(victims);
}

bool ZORBasCamCacheManager::RemoveItem(ZORBasCamMemoryItem* item) {
    std::vector<ZORBasCamMemoryItem*> victims;
    {
        std::lock_guard<std::mutex> guard(m_impl->lock);
        if (!m_impl->items.count(item)) return false;
        m_impl->Drop(item, &victims);
        m_impl->purged += static_cast<long long>(victims.size());
    }
    PurgeAll(victims);
    return true;
}

void ZORBasCamCacheManager::SetMemoryLimit(size_t bytes) {
    std::vector<ZORBasCamMemoryItem*> victims;
    {
        std::lock_guard<std::mutex> guard(m_impl->lock);
        m_impl->limit = bytes;
        victims = m_impl->Select();
    }
    PurgeAll(victims);
}

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
    return static_cast<int>(m_impl->items.size());
}

long long ZORBasCamCacheManager::PurgeCount() const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    return m_impl->purged;
}

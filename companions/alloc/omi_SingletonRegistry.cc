#include "companions/alloc/omi_SingletonRegistry.h"

#include <map>
#include <mutex>
#include <string>

struct omi_SingletonRegistry::Impl {
    mutable std::mutex lock;
    std::map<std::string, void*> live;
};

namespace {
// Set by the registry's own constructor and cleared by its destructor, so that singletons that
// end after the allocation library unloads find no registry rather than a dead one.
omi_SingletonRegistry* g_registry = nullptr;
omi_SingletonRegistry g_registry_object;
}  // namespace

omi_SingletonRegistry::omi_SingletonRegistry() : m_impl(new Impl) { g_registry = this; }

omi_SingletonRegistry::~omi_SingletonRegistry() {
    g_registry = nullptr;
    delete m_impl;
}

omi_SingletonRegistry* omi_SingletonRegistry::Instance() { return g_registry; }

int omi_SingletonRegistry::Add(const char* typeName, void* object) {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    auto [it, inserted] = m_impl->live.insert_or_assign(typeName ? typeName : "", object);
    (void)it;
    return inserted ? 1 : 0;
}

int omi_SingletonRegistry::Remove(const char* typeName) {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    return m_impl->live.erase(typeName ? typeName : "") ? 1 : 0;
}

void* omi_SingletonRegistry::Find(const char* typeName) const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    auto it = m_impl->live.find(typeName ? typeName : "");
    return it == m_impl->live.end() ? nullptr : it->second;
}

int omi_SingletonRegistry::Size() const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    return static_cast<int>(m_impl->live.size());
}

#include "companions/alloc/ZORBasPhaseTracker.h"

#include <atomic>
#include <cstdio>

namespace {

using PT = ZORBasPhaseTracker;

char g_ring[PT::kCapacity][PT::kNameBytes];
std::atomic<long long> g_saved{0};
std::atomic_flag g_writer = ATOMIC_FLAG_INIT;

}  // namespace

void ZORBasPhaseTracker::SaveMarker(const char* name) {
    while (g_writer.test_and_set(std::memory_order_acquire)) {
    }
    long long n = g_saved.load(std::memory_order_relaxed);
    std::snprintf(g_ring[n % kCapacity], kNameBytes, "%s", name ? name : "");
    g_saved.store(n + 1, std::memory_order_release);
    g_writer.clear(std::memory_order_release);
}

long long ZORBasPhaseTracker::Saved() { return g_saved.load(std::memory_order_acquire); }

ZORBasPhaseTracker::Iterator::Iterator() {
    long long saved = Saved();
    m_size = static_cast<int>(saved < kCapacity ? saved : kCapacity);
    m_first = saved - m_size;
    m_pos = 0;
}

void ZORBasPhaseTracker::Iterator::Position(int i) {
    if (i < 0) i = m_size + i < 0 ? 0 : m_size + i;
    m_pos = i;
}

const char* ZORBasPhaseTracker::Iterator::Value() const {
    if (IsDone()) return nullptr;
    return g_ring[(m_first + m_pos) % kCapacity];
}

bool ZORBasPhaseTracker::Iterator::Next() {
    if (!IsDone()) ++m_pos;
    return !IsDone();
}

#include "zorbas/intsets/HashTable.h"

#include <cstring>

namespace {
unsigned RoundedBuckets(unsigned n) {
    unsigned b = 8;
    while (b < n && b < 0x80000000u) b <<= 1;
    return b;
}
}  // namespace

template <class K, class V>
HashTable<K, V>::HashTable(unsigned buckets) : slots(nullptr), bucketCount(0), count(0) {
    Rehash(RoundedBuckets(buckets));
}

template <class K, class V>
HashTable<K, V>::HashTable(const HashTable& other)
    : slots(static_cast<Slot*>(mem_OperatorNewThrow(sizeof(Slot) * other.bucketCount))),
      bucketCount(other.bucketCount),
      count(other.count) {
    std::memcpy(static_cast<void*>(slots), other.slots, sizeof(Slot) * bucketCount);
}

template <class K, class V>
HashTable<K, V>& HashTable<K, V>::operator=(const HashTable& other) {
    if (this != &other) {
        Slot* copy = static_cast<Slot*>(mem_OperatorNewThrow(sizeof(Slot) * other.bucketCount));
        std::memcpy(static_cast<void*>(copy), other.slots, sizeof(Slot) * other.bucketCount);
        mem_Free(slots);
        slots = copy;
        bucketCount = other.bucketCount;
        count = other.count;
    }
    return *this;
}

template <class K, class V>
HashTable<K, V>::~HashTable() {
    mem_Free(slots);
}

template <class K, class V>
void HashTable<K, V>::Rehash(unsigned newBucketCount) {
    Slot* old = slots;
    unsigned oldCount = bucketCount;
    slots = static_cast<Slot*>(mem_OperatorNewThrow(sizeof(Slot) * newBucketCount));
    std::memset(static_cast<void*>(slots), 0, sizeof(Slot) * newBucketCount);
    bucketCount = newBucketCount;
    for (unsigned i = 0; i < oldCount; ++i) {
        if (!old[i].used) continue;
        unsigned at = Home(old[i].key);
        while (slots[at].used) at = (at + 1) & (bucketCount - 1);
        slots[at] = old[i];
    }
    mem_Free(old);
}

template <class K, class V>
const V* HashTable<K, V>::Find(const K& key) const {
    for (unsigned at = Home(key);; at = (at + 1) & (bucketCount - 1)) {
        const Slot& s = slots[at];
        if (!s.used) return nullptr;
        if (s.key == key) return &s.value;
    }
}

template <class K, class V>
bool HashTable<K, V>::Insert(const K& key, const V& value) {
    if (V* existing = Find(key)) {
        *existing = value;
        return false;
    }
    // Grow before the load passes three quarters, so a probe always meets a free slot.
    if ((count + 1) * 4 > bucketCount * 3) Rehash(bucketCount * 2);
    unsigned at = Home(key);
    while (slots[at].used) at = (at + 1) & (bucketCount - 1);
    slots[at].key = key;
    slots[at].value = value;
    slots[at].used = true;
    ++count;
    return true;
}

template <class K, class V>
bool HashTable<K, V>::Remove(const K& key) {
    const unsigned mask = bucketCount - 1;
    unsigned hole = Home(key);
    while (true) {
        if (!slots[hole].used) return false;
        if (slots[hole].key == key) break;
        hole = (hole + 1) & mask;
    }
    // Backward shift: move up each later entry of the run whose home does not lie cyclically
    // in (hole, at], so that every entry stays reachable from its home without tombstones.
    for (unsigned at = (hole + 1) & mask; slots[at].used; at = (at + 1) & mask) {
        unsigned home = Home(slots[at].key);
        bool reachable = hole <= at ? (home > hole && home <= at) : (home > hole || home <= at);
        if (reachable) continue;
        slots[hole] = slots[at];
        hole = at;
    }
    slots[hole].used = false;
    --count;
    return true;
}

template <class K, class V>
void HashTable<K, V>::Clear() {
    std::memset(static_cast<void*>(slots), 0, sizeof(Slot) * bucketCount);
    count = 0;
}

ZORBAS_HASH_TABLE_PAIRS(ZORBAS_HASH_TABLE_DEFINE)

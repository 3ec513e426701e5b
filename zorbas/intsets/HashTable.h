// HashTable<K, V>: an unordered map from an unsigned or pointer key to a plain value, bucketed by
// the companion's HashValue. Open addressing with linear probing in one array of slots, so a
// lookup touches one or two cache lines; the table doubles when three quarters full and removal
// shifts the following run back (no tombstones), so lookups stay short after many removals.
// For keys that are dense integers, omi_UintTable is smaller and keeps key order; this is for
// keys with no structure (addresses, hashed ids). K and V must be trivially copyable.
#pragma once

#include <cstddef>
#include <type_traits>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "companions/generics/HashValue.h"

template <class K, class V>
class ZORBAS_API HashTableIterator;

template <class K, class V>
class ZORBAS_API HashTable : public mem_AllocationOperators {
    static_assert(std::is_trivially_copyable_v<K> && std::is_trivially_copyable_v<V>,
                  "HashTable holds plain keys and values");

  public:
    // Room for about three quarters of `buckets` (rounded up to a power of two, at least 8)
    // before the first growth.
    explicit HashTable(unsigned buckets = 16);
    HashTable(const HashTable& other);
    HashTable& operator=(const HashTable& other);
    ~HashTable();

    // True when the key is new; an existing key has its value overwritten.
    bool Insert(const K& key, const V& value);
    bool Remove(const K& key);
    bool IsMember(const K& key) const { return Find(key) != nullptr; }
    // The value of the key, or null. A pointer stays valid until the next Insert or Remove.
    V* Find(const K& key) { return const_cast<V*>(static_cast<const HashTable*>(this)->Find(key)); }
    const V* Find(const K& key) const;
    bool ConstGetValue(const K& key, V& out) const {
        const V* v = Find(key);
        if (v) out = *v;
        return v != nullptr;
    }
    int Size() const { return static_cast<int>(count); }
    bool IsEmpty() const { return count == 0; }
    unsigned BucketCount() const { return bucketCount; }
    // Empties the table; the buckets stay.
    void Clear();
    // This object and the slot array.
    size_t Footprint() const { return sizeof(*this) + size_t(bucketCount) * sizeof(Slot); }

  private:
    friend class HashTableIterator<K, V>;
    struct Slot {
        K key;
        V value;
        bool used;
    };

    unsigned Home(const K& key) const { return HashValue(key, bucketCount); }
    void Rehash(unsigned newBucketCount);

    Slot* slots;
    unsigned bucketCount;
    unsigned count;
};

// Walks the pairs in bucket order, which has no meaning beyond being stable while the table does
// not change.
template <class K, class V>
class ZORBAS_API HashTableIterator {
  public:
    explicit HashTableIterator(const HashTable<K, V>& table_) : table(&table_), index(0) {}
    void First() {
        index = 0;
        Skip();
    }
    void Next() {
        ++index;
        Skip();
    }
    bool IsDone() const { return index >= table->bucketCount; }
    const K& CurrentKey() const { return table->slots[index].key; }
    const V& CurrentValue() const { return table->slots[index].value; }

  private:
    void Skip() {
        while (index < table->bucketCount && !table->slots[index].used) ++index;
    }
    const HashTable<K, V>* table;
    unsigned index;
};

// clang-format off
#define ZORBAS_HASH_TABLE_PAIRS(M) \
    M(unsigned, int) M(unsigned, unsigned) M(unsigned, void*) M(void*, int) M(void*, void*)
// clang-format on
// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in the source.
#define ZORBAS_HASH_TABLE_CLASSES(P, K, V) \
    P template class HashTable<K, V>;      \
    P template class HashTableIterator<K, V>;
#define ZORBAS_HASH_TABLE_EXTERN(K, V) ZORBAS_HASH_TABLE_CLASSES(extern, K, V)
#define ZORBAS_HASH_TABLE_DEFINE(K, V) ZORBAS_HASH_TABLE_CLASSES(, K, V)
ZORBAS_HASH_TABLE_PAIRS(ZORBAS_HASH_TABLE_EXTERN)

// cow_IntMultiMapInt: an omi_IntMultiMap<int> as a copy-on-write value. Copies share one map;
// the first write to a shared copy duplicates the map through its Copy, which reverses the order
// of each key's values: that order is not part of the value, only the multiset of pairs is.
// Reads never copy, and a removal that would change nothing does not copy either.
#pragma once

#include "zorbas/cow/cow_COW.h"
#include "zorbas/intsets/omi_IntMultiMap.h"

class ZORBAS_API cow_IntMultiMapInt {
  public:
    using Map = omi_IntMultiMap<int, ZORBasOmiDefaultAllocator>;
    using Iterator = omi_IntMultiMapIterator<int, ZORBasOmiDefaultAllocator>;

    cow_IntMultiMapInt() : rep(new Map) {}

    bool Insert(int key, int value) { return rep.Get().Insert(key, value); }
    bool InsertUnique(int key, int value) {
        return IsMember(key, value) ? false : rep.Get().Insert(key, value);
    }
    bool Remove(int key) { return IsMember(key) && rep.Get().Remove(key); }
    bool Remove(int key, int value) { return IsMember(key, value) && rep.Get().Remove(key, value); }
    void Clear() {
        if (!IsEmpty()) rep.Get().Clear();
    }

    bool IsMember(int key) const { return rep.ConstGet().IsMember(key); }
    bool IsMember(int key, int value) const { return rep.ConstGet().IsMember(key, value); }
    int Size() const { return rep.ConstGet().Size(); }
    bool IsEmpty() const { return rep.ConstGet().IsEmpty(); }
    // The number of values of `key`.
    int Count(int key) const;
    // The map itself, for walks (Iterator) and reads; valid until the next write.
    const Map& ConstGet() const { return rep.ConstGet(); }
    bool IsShared() const { return !rep.Exclusive(); }

  private:
    struct Copier {
        static Map* Copy(const Map& map) { return map.Copy(); }
    };
    cow_COW<Map, Copier> rep;
};

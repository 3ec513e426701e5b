// omi_IntMultiMap<T, Allocator>: a signed key to any number of values. The key table is an
// omi_IntTable of chain heads; each value sits in a link, and links are handed out from pooled
// blocks of 256, so one allocation serves 256 values. The newest value of a key comes first.
// Removed links are not reused: once more than 256 links were handed out and fewer than half of
// them still hold a value, the chains are rebuilt into fresh blocks (CompressValues), which
// reverses each chain. Exists for int and void*; nothing here locks.
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/PLXFatalError.h"
#include "zorbas/intsets/omi_IntTable.h"

template <class T>
struct omi_IntMultiMapLink {
    T value;
    omi_IntMultiMapLink* next;
};

// `count` links in one tracked allocation, chained to the block made before it.
template <class T>
class ZORBAS_API omi_IntMultiMapLinkBlock : public mem_AllocationOperators {
  public:
    explicit omi_IntMultiMapLinkBlock(int count)
        : links(static_cast<omi_IntMultiMapLink<T>*>(
              mem_OperatorNewThrow(sizeof(omi_IntMultiMapLink<T>) * count))),
          next(nullptr) {}
    ~omi_IntMultiMapLinkBlock() { mem_Free(links); }
    omi_IntMultiMapLinkBlock(const omi_IntMultiMapLinkBlock&) = delete;
    omi_IntMultiMapLinkBlock& operator=(const omi_IntMultiMapLinkBlock&) = delete;

    omi_IntMultiMapLink<T>* links;
    omi_IntMultiMapLinkBlock* next;
};

template <class T, class Allocator>
class ZORBAS_API omi_IntMultiMapIterator;

template <class T, class Allocator>
class ZORBAS_API omi_IntMultiMap : public omi_IntTable<void*, Allocator> {
    using KeyTableType = omi_IntTable<void*, Allocator>;

  public:
    using Link = omi_IntMultiMapLink<T>;
    using LinkBlock = omi_IntMultiMapLinkBlock<T>;
    // Orders two values; below 0, 0 or above 0 like strcmp.
    using Compare = int (*)(const T&, const T&);
    static constexpr unsigned LinksPerBlock = 256;

    omi_IntMultiMap()
        : multiMapSize(0),
          maxLinkCount(0),
          linkBlocks(nullptr),
          linkBlockUsed(LinksPerBlock),
          lastLink(nullptr) {}
    virtual ~omi_IntMultiMap() { ReleaseLinkBlocks(linkBlocks); }

    // Always true: the value goes to the head of the key's chain, duplicates included.
    bool Insert(int key, const T& value);
    // False, and nothing changes, when the pair is already held.
    bool InsertUnique(int key, const T& value) {
        return IsMember(key, value) ? false : Insert(key, value);
    }
    bool IsMember(int key) const { return KeyTableType::IsMember(key); }
    bool IsMember(int key, const T& value) const;
    // Drops every value of the key; false when the key has none.
    bool Remove(int key);
    // Drops the values of the key equal to `value`. False only when the key holds no value;
    // true otherwise, also when nothing matched. Of two adjacent matches after the head the
    // second stays in the chain (yet is taken off the count): the walk steps on from the link it
    // just removed. Callers were written against that walk and it is kept.
    bool Remove(int key, const T& value);
    void Clear();
    int Size() const { return static_cast<int>(multiMapSize); }
    bool IsEmpty() const { return multiMapSize == 0; }
    // The head link of a present key: no test is made.
    Link* GetFirst(int key) { return static_cast<Link*>(KeyTableType::Get(key)); }
    const Link* ConstGetFirst(int key) const {
        return static_cast<const Link*>(KeyTableType::ConstGet(key));
    }
    const KeyTableType& KeyTable() const { return *this; }
    // Rebuilds every chain into fresh link blocks, each value placed before the first value at
    // which compare(existing, new) is not below 0; frees the old blocks.
    void SortValues(Compare compare);
    // SortValues with a comparator that always answers 0: chains come out reversed.
    void CompressValues() { SortValues(DefaultCompare); }
    // A new copy, built by walking this map: each chain comes out reversed.
    omi_IntMultiMap* Copy() const { return new omi_IntMultiMap(*this); }

  protected:
    omi_IntMultiMap(const omi_IntMultiMap& other);
    omi_IntMultiMap& operator=(const omi_IntMultiMap&) = delete;

  private:
    static int DefaultCompare(const T&, const T&) { return 0; }
    Link* NewLink();
    void Compact();
    static void ReleaseLinkBlocks(LinkBlock* block);

    unsigned multiMapSize;
    unsigned maxLinkCount;
    LinkBlock* linkBlocks;
    unsigned linkBlockUsed;
    Link* lastLink;
};

// Every (key, value) pair: keys in ascending signed order, each key's values in chain order.
template <class T, class Allocator>
class ZORBAS_API omi_IntMultiMapIterator {
  public:
    using Map = omi_IntMultiMap<T, Allocator>;

    explicit omi_IntMultiMapIterator(const Map& map_)
        : keys(map_.KeyTable()), current(nullptr), map(&map_) {}

    void First() {
        keys.First();
        current = keys.IsDone() ? nullptr : static_cast<const Link*>(keys.CurrentValue());
    }
    void Next() {
        current = current->next;
        if (current) return;
        keys.Next();
        if (!keys.IsDone()) current = static_cast<const Link*>(keys.CurrentValue());
    }
    bool IsDone() const { return current == nullptr; }
    int CurrentKey() const { return keys.CurrentKey(); }
    const T& CurrentValue() const { return current->value; }

  private:
    using Link = typename Map::Link;

    omi_IntTableIterator<void*, Allocator> keys;
    const Link* current;
    const Map* map;
};

// ---------------------------------------------------------------------------------------------
// Implementation details.

template <class T, class Allocator>
omi_IntMultiMap<T, Allocator>::omi_IntMultiMap(const omi_IntMultiMap& other) : omi_IntMultiMap() {
    omi_IntMultiMapIterator<T, Allocator> it(other);
    for (it.First(); !it.IsDone(); it.Next()) Insert(it.CurrentKey(), it.CurrentValue());
}

template <class T, class Allocator>
typename omi_IntMultiMap<T, Allocator>::Link* omi_IntMultiMap<T, Allocator>::NewLink() {
    if (++linkBlockUsed == LinksPerBlock + 1) {
        LinkBlock* block = new LinkBlock(LinksPerBlock);
        block->next = linkBlocks;
        linkBlocks = block;
        linkBlockUsed = 1;
        lastLink = block->links;
    } else {
        ++lastLink;
    }
    ++maxLinkCount;
    return lastLink;
}

template <class T, class Allocator>
bool omi_IntMultiMap<T, Allocator>::Insert(int key, const T& value) {
    Link* link = NewLink();
    link->value = value;
    if (KeyTableType::IsMember(key)) {
        void*& head = KeyTableType::Get(key);
        link->next = static_cast<Link*>(head);
        head = link;
    } else {
        link->next = nullptr;
        KeyTableType::Insert(key, link);
    }
    ++multiMapSize;
    return true;
}

template <class T, class Allocator>
bool omi_IntMultiMap<T, Allocator>::IsMember(int key, const T& value) const {
    void* head = nullptr;
    if (!KeyTableType::ConstGetValue(key, head)) return false;
    for (const Link* l = static_cast<const Link*>(head); l; l = l->next) {
        if (l->value == value) return true;
    }
    return false;
}

template <class T, class Allocator>
bool omi_IntMultiMap<T, Allocator>::Remove(int key) {
    void* head = nullptr;
    KeyTableType::ConstGetValue(key, head);
    if (!head) return false;
    for (const Link* l = static_cast<const Link*>(head); l; l = l->next) --multiMapSize;
    KeyTableType::Remove(key);
    Compact();
    return true;
}

template <class T, class Allocator>
bool omi_IntMultiMap<T, Allocator>::Remove(int key, const T& value) {
    unsigned before = multiMapSize;
    void* headValue = nullptr;
    KeyTableType::ConstGetValue(key, headValue);
    Link* head = static_cast<Link*>(headValue);
    while (head && head->value == value) {
        head = head->next;
        --multiMapSize;
    }
    if (head) {
        KeyTableType::Get(key) = head;
        // The removed link becomes the predecessor of the next step, as it always did.
        for (Link *prev = head, *l = head->next; l; prev = l, l = l->next) {
            if (l->value == value) {
                prev->next = l->next;
                --multiMapSize;
            }
        }
    } else {
        if (multiMapSize == before) return false;
        KeyTableType::Remove(key);
    }
    Compact();
    return true;
}

template <class T, class Allocator>
void omi_IntMultiMap<T, Allocator>::Compact() {
    if (multiMapSize == 0) {
        Clear();
    } else if (maxLinkCount > LinksPerBlock && maxLinkCount / multiMapSize > 2) {
        CompressValues();
    }
}

template <class T, class Allocator>
void omi_IntMultiMap<T, Allocator>::SortValues(Compare compare) {
    LinkBlock* oldBlocks = linkBlocks;
    maxLinkCount = 0;
    linkBlocks = nullptr;
    linkBlockUsed = LinksPerBlock;
    omi_IntTableIterator<void*, Allocator> keys(*this);
    for (keys.First(); !keys.IsDone(); keys.Next()) {
        void*& head = KeyTableType::Get(keys.CurrentKey());
        Link* sortedHead = nullptr;
        for (const Link* old = static_cast<const Link*>(head); old; old = old->next) {
            Link* link = NewLink();
            link->value = old->value;
            Link** at = &sortedHead;
            while (*at && compare((*at)->value, link->value) < 0) at = &(*at)->next;
            link->next = *at;
            *at = link;
        }
        head = sortedHead;
    }
    ZORBAS_ASSERT(maxLinkCount == multiMapSize, "ZORBase/PrivateInterfaces/omi_IntMultiMap",
                  __LINE__);
    ReleaseLinkBlocks(oldBlocks);
}

template <class T, class Allocator>
void omi_IntMultiMap<T, Allocator>::Clear() {
    ReleaseLinkBlocks(linkBlocks);
    KeyTableType::Clear();
    multiMapSize = 0;
    maxLinkCount = 0;
    linkBlockUsed = LinksPerBlock;
    linkBlocks = nullptr;
    lastLink = nullptr;
}

template <class T, class Allocator>
void omi_IntMultiMap<T, Allocator>::ReleaseLinkBlocks(LinkBlock* block) {
    while (block) {
        LinkBlock* next = block->next;
        delete block;
        block = next;
    }
}

// clang-format off
#define ZORBAS_OMI_INT_MULTI_MAP_PAIRS(M) \
    M(int, ZORBasOmiDefaultAllocator) M(void*, ZORBasOmiDefaultAllocator)
// clang-format on
// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in the source.
#define ZORBAS_OMI_INT_MULTI_MAP_CLASSES(P, T, A) \
    P template class omi_IntMultiMapLinkBlock<T>; \
    P template class omi_IntMultiMap<T, A>;       \
    P template class omi_IntMultiMapIterator<T, A>;
#define ZORBAS_OMI_INT_MULTI_MAP_EXTERN(T, A) ZORBAS_OMI_INT_MULTI_MAP_CLASSES(extern, T, A)
#define ZORBAS_OMI_INT_MULTI_MAP_DEFINE(T, A) ZORBAS_OMI_INT_MULTI_MAP_CLASSES(, T, A)
ZORBAS_OMI_INT_MULTI_MAP_PAIRS(ZORBAS_OMI_INT_MULTI_MAP_EXTERN)

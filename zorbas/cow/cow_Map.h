// A unique-key map that is a digital search tree: one key and value per node, the path from the
// root steered by successive bits of the searched key (cow_MapBit), so keys need equality and a
// bit function, no order and no hash. Links are cow_COW handles: a copy shares the root, and a
// write (Get too) copies the nodes on its path. A lookup costs at most the depth of the key's
// bits; nothing rebalances, so keys that differ only in late bits make a long chain.
// Plain iteration is a pre-order walk with no meaningful order; the sorted iterator sorts keys.
#pragma once

#include <cstdlib>
#include <new>

#include "companions/alloc/mem_Malloc.h"
#include "companions/coreutils/atr_String.h"
#include "companions/framework/PLXFatalError.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_COW.h"
#include "zorbas/cow/cow_FixedArray.h"
#include "zorbas/cow/cow_List.h"
#include "zorbas/cow/cow_String.h"

// Bit `depth` of an integer key, repeating after 32 levels.
inline bool cow_MapBit(int key, int depth) {
    return (static_cast<unsigned>(key) >> (depth & 31)) & 1u;
}
inline bool cow_MapBit(unsigned int key, int depth) { return (key >> (depth & 31)) & 1u; }

// The low bit of one byte of a string key, taken alternately from the front (even depths) and
// from the end (odd depths); false beyond the length. Only that one bit of each byte is used, so
// strings that agree in it share a path and are told apart by the key comparison in each node.
inline bool cow_MapStringBit(const char* text, int length, int depth) {
    if (depth > length) return false;
    int at = (depth & 1) ? length - (depth >> 1) - 1 : depth / 2;
    return text[at] & 1;
}
inline bool cow_MapBit(const cow_String& key, int depth) {
    return cow_MapStringBit(key.CStr(), key.Length(), depth);
}
template <class S>
requires std::is_base_of_v<atr_StringBase, S>
bool cow_MapBit(const S& key, int depth) {
    return cow_MapStringBit(key.CStr(), key.Length(), depth);
}

template <class K, class V>
class ZORBAS_API cow_MapNode : public mem_AllocationOperators {
  public:
    using Link = cow_COW<cow_MapNode, cow_Direct<cow_MapNode>>;

    cow_MapNode(const K& k, const V& v) : key(k), value(v) {}
    // Used by cow_Direct when a shared node is written: the copy shares both children.
    cow_MapNode(const cow_MapNode& other) = default;
    cow_MapNode& operator=(const cow_MapNode&) = delete;

    K key;
    V value;
    Link left;  // null handle for no child
    Link right;
};

template <class K, class V>
class ZORBAS_API cow_Map : public cow_COW<cow_MapNode<K, V>, cow_Direct<cow_MapNode<K, V>>> {
  protected:
    using Node = cow_MapNode<K, V>;
    using Link = typename Node::Link;

  public:
    cow_Map() : size(0) {}
    cow_Map(const cow_Map& other) : Link(other), size(other.size) {}
    cow_Map& operator=(const cow_Map& other) {
        Link::operator=(other);
        size = other.size;
        return *this;
    }
    ~cow_Map() = default;

    // Adds the key, or replaces the value of a key that is there; always true.
    bool Insert(const K& key, const V& value);
    // False for an absent key, and nothing is copied. The removed node's place is filled by
    // pulling keys up from its descendants, so only one leaf node is freed.
    bool Remove(const K& key);
    // For members only: an absent key ends the program. Unshares the path.
    V& Get(const K& key);
    // For members only: an absent key ends the program. Copies nothing.
    const V& ConstGet(const K& key) const;
    bool IsMember(const K& key) const { return ConstFind(key) != nullptr; }
    bool IsEmpty() const { return size == 0; }
    int Size() const { return size; }

  protected:
    const Node* ConstFind(const K& key) const;

    int size;
};

// A sharing copy of a map with the pre-order list of its nodes; later writes to the map don't
// disturb it. First() must be called before anything else.
template <class K, class V>
class ZORBAS_API cow_ConstMapIterator : public cow_Map<K, V> {
  protected:
    using Node = cow_MapNode<K, V>;
    using Link = typename Node::Link;

  public:
    explicit cow_ConstMapIterator(const cow_Map<K, V>& map)
        : cow_Map<K, V>(map), current(0), nodes(nullptr) {}
    cow_ConstMapIterator(const cow_ConstMapIterator&) = delete;
    cow_ConstMapIterator& operator=(const cow_ConstMapIterator&) = delete;
    ~cow_ConstMapIterator() { mem_Free(nodes); }

    void First();
    void Next() {
        if (!IsDone()) ++current;
    }
    bool IsDone() const {
        ZORBAS_ASSERT(nodes && "Need to call First() on iterator.", kFile, kFirstLine);
        return nodes[current] == nullptr;
    }
    const K& CurrentKey() const {
        ZORBAS_ASSERT(nodes && "Need to call First() on iterator.", kFile, kFirstLine);
        return nodes[current]->key;
    }
    const V& CurrentValue() const {
        ZORBAS_ASSERT(nodes && "Need to call First() on iterator.", kFile, kFirstLine);
        return nodes[current]->value;
    }

  protected:
    static constexpr const char* kFile = "ZORBase/PublicInterfaces/cow_Map";
    static constexpr int kFirstLine = 187;

    int current;
    const Node** nodes;

  private:
    // Pre-order: the node, its left, its right. Writes at most `room` entries, counts them all.
    static int Nodes(const Link& h, const Node** out, int count, int room);
};

// The same walk in ascending key order (keys compared by < and ==), sorted by qsort at First().
template <class K, class V>
class ZORBAS_API cow_ConstMapSortedIt : public cow_ConstMapIterator<K, V> {
    using Node = cow_MapNode<K, V>;

  public:
    explicit cow_ConstMapSortedIt(const cow_Map<K, V>& map)
        : cow_ConstMapIterator<K, V>(map), compare(AscSortCmp) {}

    void First() {
        cow_ConstMapIterator<K, V>::First();
        std::qsort(static_cast<void*>(this->nodes), static_cast<size_t>(this->Size()),
                   sizeof(const Node*), compare);
    }

  private:
    static int AscSortCmp(const void* a, const void* b) {
        const Node* x = *static_cast<const Node* const*>(a);
        const Node* y = *static_cast<const Node* const*>(b);
        if (x->key < y->key) return -1;
        return x->key == y->key ? 0 : 1;
    }

    int (*compare)(const void*, const void*);
};

template <class K, class V>
class ZORBAS_API cow_MapUtils {
  public:
    // The keys, in the map's walk order (not sorted).
    static cow_List<K> cow_Keys(const cow_Map<K, V>& map);
    // The values, in the same order as cow_Keys.
    static cow_List<V> cow_Values(const cow_Map<K, V>& map);
};

// ---- implementation ----

namespace cow_MapDetail {
constexpr const char* kFile = "ZORBase/ProtectedInterfaces/cow_Map";
constexpr int kGetLine = 129;
constexpr int kConstGetLine = 151;
}  // namespace cow_MapDetail

template <class K, class V>
bool cow_Map<K, V>::Insert(const K& key, const V& value) {
    Link* h = this;
    for (int depth = 0; !h->IsNull(); ++depth) {
        Node& n = h->Get();
        if (n.key == key) {
            n.value = value;
            return true;
        }
        h = cow_MapBit(key, depth) ? &n.right : &n.left;
    }
    *h = cow_New<Node>(key, value);
    ++size;
    return true;
}

template <class K, class V>
V& cow_Map<K, V>::Get(const K& key) {
    Link* x = this;
    for (int depth = 0;; ++depth) {
        if (x->IsNull())
            zorbas_wassert("x->HasValue()", cow_MapDetail::kFile, cow_MapDetail::kGetLine);
        Node& n = x->Get();
        if (!(n.key != key)) return n.value;
        x = cow_MapBit(key, depth) ? &n.right : &n.left;
    }
}

template <class K, class V>
const V& cow_Map<K, V>::ConstGet(const K& key) const {
    const Node* n = ConstFind(key);
    if (!n) zorbas_wassert("x->HasValue()", cow_MapDetail::kFile, cow_MapDetail::kConstGetLine);
    return n->value;
}

template <class K, class V>
const cow_MapNode<K, V>* cow_Map<K, V>::ConstFind(const K& key) const {
    const Link* x = this;
    for (int depth = 0; !x->IsNull(); ++depth) {
        const Node& n = x->ConstGet();
        if (!(n.key != key)) return &n;
        x = cow_MapBit(key, depth) ? &n.right : &n.left;
    }
    return nullptr;
}

template <class K, class V>
bool cow_Map<K, V>::Remove(const K& key) {
    if (!IsMember(key)) return false;
    Link* h = this;
    for (int depth = 0; h->ConstGet().key != key; ++depth) {
        Node& n = h->Get();
        h = cow_MapBit(key, depth) ? &n.right : &n.left;
    }
    // Any key below a node shares the node's path prefix, so it may move up into it.
    Node* n = &h->Get();
    while (!n->left.IsNull() || !n->right.IsNull()) {
        Link* c = n->right.IsNull() ? &n->left : &n->right;
        Node& child = c->Get();
        n->key = child.key;
        n->value = child.value;
        h = c;
        n = &child;
    }
    *h = static_cast<Node*>(nullptr);
    --size;
    return true;
}

template <class K, class V>
int cow_ConstMapIterator<K, V>::Nodes(const Link& h, const Node** out, int count, int room) {
    if (h.IsNull()) return count;
    const Node& n = h.ConstGet();
    if (count < room) out[count] = &n;
    count = Nodes(n.left, out, count + 1, room);
    return Nodes(n.right, out, count, room);
}

template <class K, class V>
void cow_ConstMapIterator<K, V>::First() {
    mem_Free(nodes);
    nodes = nullptr;
    const cow_Map<K, V>& map = *this;
    auto* list = static_cast<const Node**>(mem_Malloc(sizeof(const Node*) * (map.Size() + 1)));
    if (!list) throw std::bad_alloc();
    int count = Nodes(map, list, 0, map.Size());
    ZORBAS_ASSERT(count == map.Size(), kFile, 171);
    list[count] = nullptr;
    nodes = list;
    current = 0;
}

template <class K, class V>
cow_List<K> cow_MapUtils<K, V>::cow_Keys(const cow_Map<K, V>& map) {
    cow_List<K> keys(cow_ListPreSize, map.Size());
    cow_ConstMapIterator<K, V> it(map);
    for (it.First(); !it.IsDone(); it.Next()) keys.Append(it.CurrentKey());
    return keys;
}

template <class K, class V>
cow_List<V> cow_MapUtils<K, V>::cow_Values(const cow_Map<K, V>& map) {
    cow_List<V> values(cow_ListPreSize, map.Size());
    cow_ConstMapIterator<K, V> it(map);
    for (it.First(); !it.IsDone(); it.Next()) values.Append(it.CurrentValue());
    return values;
}

// The instantiated key and value pairs, one list each for these declarations and the definitions in
// cow_Map.cc and cow_MapStringKeys.cc.
// clang-format off
#define ZORBAS_COW_MAP_PAIRS_INT_KEYS(M) \
    M(int, int) \
    M(int, unsigned int) \
    M(int, float) \
    M(int, double) \
    M(int, cow_String) \
    M(int, cow_List<int>) \
    M(int, cow_List<float>) \
    M(int, cow_List<cow_String>) \
    M(int, cow_FixedArray<int>) \
    M(int, cow_FixedArray<double>) \
    M(unsigned int, int) \
    M(unsigned int, unsigned int) \
    M(unsigned int, atr_String) \
    M(unsigned int, cow_String)
// clang-format on
// clang-format off
#define ZORBAS_COW_MAP_PAIRS_STRING_KEYS(M) \
    M(atr_String, atr_String) \
    M(atr_String, cow_String) \
    M(atr_String, cow_List<int>) \
    M(atr_String, cow_List<float>) \
    M(atr_String, cow_List<cow_String>) \
    M(cow_String, atr_String) \
    M(cow_String, cow_String) \
    M(cow_String, cow_List<int>) \
    M(cow_String, cow_List<float>) \
    M(cow_String, cow_List<cow_String>)
// clang-format on
// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in the sources.
#define ZORBAS_COW_MAP_CLASSES(P, A0, A1)          \
    P template class cow_MapNode<A0, A1>;          \
    P template class cow_Map<A0, A1>;              \
    P template class cow_ConstMapIterator<A0, A1>; \
    P template class cow_ConstMapSortedIt<A0, A1>; \
    P template class cow_MapUtils<A0, A1>;
#define ZORBAS_COW_MAP_EXTERN(A0, A1) ZORBAS_COW_MAP_CLASSES(extern, A0, A1)
#define ZORBAS_COW_MAP_DEFINE(A0, A1) ZORBAS_COW_MAP_CLASSES(, A0, A1)
ZORBAS_COW_MAP_PAIRS_INT_KEYS(ZORBAS_COW_MAP_EXTERN)
ZORBAS_COW_MAP_PAIRS_STRING_KEYS(ZORBAS_COW_MAP_EXTERN)

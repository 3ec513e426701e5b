// An ordered map of unique keys over type-erased nodes, the engine under the typed ZORBasMap.
// A node is a ZORBasTreeNodeGeneric header followed by the caller's key and value at the offsets
// ZORBasNodeOffsets gives; the replicator builds and ends them, and a less-than function with a
// context orders keys. Balance is kept as a treap (random priorities, rotations on insert and
// erase): expected O(log n) per operation, worst case O(n) with vanishing probability. The end
// node is a header owned by the tree; it is never a key's node. Not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>

#include "companions/framework/zorbas_export.h"

struct ZORBasTreeNodeGeneric {
    ZORBasTreeNodeGeneric* parent;
    ZORBasTreeNodeGeneric* left;
    ZORBasTreeNodeGeneric* right;
    uint32_t priority;  // heap order: a parent's priority is at least its children's
};

struct ZORBasNodeOffsets {
    size_t nodeSize;     // bytes of a node, header included
    size_t keyOffset;    // from the node's start to its key
    size_t valueOffset;  // from the node's start to its value
};

struct ZORBasReplicatorGeneric {
    // Builds the node's key and value from a source object (the caller's pair).
    void (*construct)(void* key, void* value, const void* source);
    // Ends the node's key and value.
    void (*destroy)(void* key, void* value);
    // The key within a source object, so insertion compares before building a node.
    const void* (*sourceKey)(const void* source);
};

struct ZORBasPairIterBoolGeneric {
    ZORBasTreeNodeGeneric* node;  // the node with the key
    bool inserted;                // false when the key was there already
};

// Node memory from the tracked heap.
struct ZORBAS_API ZORBasNodeAllocator {
    static void* Allocate(size_t bytes);
    static void Deallocate(void* node);
};

template <class NodeAllocator>
class ZORBAS_API ZORBasTreeGeneric {
  public:
    using Less = bool (*)(const void* a, const void* b, const void* context);

    ZORBasTreeGeneric(const ZORBasNodeOffsets& offsets, const ZORBasReplicatorGeneric& replicator,
                      bool (*const& less)(const void*, const void*, const void*),
                      const void* context);
    ~ZORBasTreeGeneric();
    ZORBasTreeGeneric(const ZORBasTreeGeneric&) = delete;
    ZORBasTreeGeneric& operator=(const ZORBasTreeGeneric&) = delete;

    ZORBasPairIterBoolGeneric InsertUnique(const void* source);
    // As InsertUnique, without the search when the key belongs just before `hint` (End() for the
    // back); a wrong hint costs the search.
    ZORBasPairIterBoolGeneric InsertUniqueAtPosition(ZORBasTreeNodeGeneric* hint,
                                                     const void* source);
    // The key's node, or End().
    ZORBasTreeNodeGeneric* Find(const void* key) const;
    // The first node whose key is not less than `key`, or End().
    ZORBasTreeNodeGeneric* LowerBound(const void* key) const;
    // Removes a node and returns the node after it.
    ZORBasTreeNodeGeneric* Erase(ZORBasTreeNodeGeneric* node);
    void Clear();

    size_t Size() const { return m_size; }
    ZORBasTreeNodeGeneric* Begin() const { return m_header.left; }
    ZORBasTreeNodeGeneric* End() const { return const_cast<ZORBasTreeNodeGeneric*>(&m_header); }
    ZORBasTreeNodeGeneric* Next(ZORBasTreeNodeGeneric* node) const;
    ZORBasTreeNodeGeneric* Prev(ZORBasTreeNodeGeneric* node) const;
    void* Key(ZORBasTreeNodeGeneric* node) const {
        return reinterpret_cast<char*>(node) + m_offsets.keyOffset;
    }
    void* Value(ZORBasTreeNodeGeneric* node) const {
        return reinterpret_cast<char*>(node) + m_offsets.valueOffset;
    }
    // Checks order, parent links, heap order and the size; for tests.
    bool Validate() const;

  private:
    ZORBasTreeNodeGeneric* Root() const { return m_header.parent; }
    bool KeyLess(const void* a, const void* b) const { return m_less(a, b, m_context); }
    ZORBasTreeNodeGeneric* MakeNode(const void* source);
    // Links a fresh node as the `left` or right child of `parent` and restores heap order.
    void Link(ZORBasTreeNodeGeneric* node, ZORBasTreeNodeGeneric* parent, bool left);
    void RotateUp(ZORBasTreeNodeGeneric* node);
    void FreeSubtree(ZORBasTreeNodeGeneric* node);
    void Replace(ZORBasTreeNodeGeneric* from, ZORBasTreeNodeGeneric* to);

    // The header: parent is the root, left the smallest node, right the largest.
    ZORBasTreeNodeGeneric m_header;
    ZORBasNodeOffsets m_offsets;
    ZORBasReplicatorGeneric m_replicator;
    Less m_less;
    const void* m_context;
    size_t m_size;
    uint64_t m_seed;
};

extern template class ZORBasTreeGeneric<ZORBasNodeAllocator>;

#include "companions/generics/ZORBasTreeGeneric.h"

#include <new>

#include "companions/alloc/mem_Malloc.h"

void* ZORBasNodeAllocator::Allocate(size_t bytes) { return mem_OperatorNewThrow(bytes); }
void ZORBasNodeAllocator::Deallocate(void* node) { mem_Free(node); }

template <class A>
ZORBasTreeGeneric<A>::ZORBasTreeGeneric(const ZORBasNodeOffsets& offsets,
                                        const ZORBasReplicatorGeneric& replicator,
                                        bool (*const& less)(const void*, const void*, const void*),
                                        const void* context)
    : m_offsets(offsets),
      m_replicator(replicator),
      m_less(less),
      m_context(context),
      m_size(0),
      m_seed(reinterpret_cast<uintptr_t>(this) ^ 0x9E3779B97F4A7C15ULL) {
    m_header.parent = nullptr;
    m_header.left = &m_header;
    m_header.right = nullptr;
    m_header.priority = 0;
}

template <class A>
ZORBasTreeGeneric<A>::~ZORBasTreeGeneric() {
    Clear();
}

template <class A>
ZORBasTreeNodeGeneric* ZORBasTreeGeneric<A>::MakeNode(const void* source) {
    auto* node = static_cast<ZORBasTreeNodeGeneric*>(A::Allocate(m_offsets.nodeSize));
    try {
        m_replicator.construct(Key(node), Value(node), source);
    } catch (...) {
        A::Deallocate(node);
        throw;
    }
    // xorshift64*: cheap, and plenty random for balance.
    m_seed ^= m_seed >> 12;
    m_seed ^= m_seed << 25;
    m_seed ^= m_seed >> 27;
    node->priority = static_cast<uint32_t>((m_seed * 0x2545F4914F6CDD1DULL) >> 32);
    node->left = node->right = node->parent = nullptr;
    return node;
}

template <class A>
void ZORBasTreeGeneric<A>::Replace(ZORBasTreeNodeGeneric* from, ZORBasTreeNodeGeneric* to) {
    ZORBasTreeNodeGeneric* p = from->parent;
    if (!p)
        m_header.parent = to;
    else if (p->left == from)
        p->left = to;
    else
        p->right = to;
    if (to) to->parent = p;
}

template <class A>
void ZORBasTreeGeneric<A>::RotateUp(ZORBasTreeNodeGeneric* x) {
    ZORBasTreeNodeGeneric* p = x->parent;
    Replace(p, x);
    if (x == p->left) {
        p->left = x->right;
        if (x->right) x->right->parent = p;
        x->right = p;
    } else {
        p->right = x->left;
        if (x->left) x->left->parent = p;
        x->left = p;
    }
    p->parent = x;
}

template <class A>
void ZORBasTreeGeneric<A>::Link(ZORBasTreeNodeGeneric* node, ZORBasTreeNodeGeneric* parent,
                                bool left) {
    node->parent = parent;
    if (!parent)
        m_header.parent = node;
    else if (left)
        parent->left = node;
    else
        parent->right = node;
    if (m_size == 0 || (left && parent == m_header.left)) m_header.left = node;
    ++m_size;
    while (node->parent && node->priority > node->parent->priority) RotateUp(node);
}

template <class A>
ZORBasPairIterBoolGeneric ZORBasTreeGeneric<A>::InsertUnique(const void* source) {
    const void* key = m_replicator.sourceKey(source);
    ZORBasTreeNodeGeneric* parent = nullptr;
    bool left = false;
    for (ZORBasTreeNodeGeneric* x = Root(); x;) {
        parent = x;
        if (KeyLess(key, Key(x))) {
            left = true;
            x = x->left;
        } else if (KeyLess(Key(x), key)) {
            left = false;
            x = x->right;
        } else {
            return {x, false};
        }
    }
    ZORBasTreeNodeGeneric* node = MakeNode(source);
    Link(node, parent, left);
    return {node, true};
}

template <class A>
ZORBasPairIterBoolGeneric ZORBasTreeGeneric<A>::InsertUniqueAtPosition(ZORBasTreeNodeGeneric* hint,
                                                                       const void* source) {
    const void* key = m_replicator.sourceKey(source);
    bool beforeHint = hint == End() || KeyLess(key, Key(hint));
    bool afterPrev = hint == Begin() || KeyLess(Key(Prev(hint)), key);
    if (!beforeHint || !afterPrev) return InsertUnique(source);
    ZORBasTreeNodeGeneric* node = MakeNode(source);
    if (m_size == 0)
        Link(node, nullptr, true);
    else if (hint != End() && !hint->left)
        Link(node, hint, true);
    else
        Link(node, Prev(hint), false);  // the predecessor has no right child
    return {node, true};
}

template <class A>
ZORBasTreeNodeGeneric* ZORBasTreeGeneric<A>::LowerBound(const void* key) const {
    ZORBasTreeNodeGeneric* found = End();
    for (ZORBasTreeNodeGeneric* x = Root(); x;) {
        if (KeyLess(Key(x), key)) {
            x = x->right;
        } else {
            found = x;
            x = x->left;
        }
    }
    return found;
}

template <class A>
ZORBasTreeNodeGeneric* ZORBasTreeGeneric<A>::Find(const void* key) const {
    ZORBasTreeNodeGeneric* n = LowerBound(key);
    return n != End() && !KeyLess(key, Key(n)) ? n : End();
}

template <class A>
ZORBasTreeNodeGeneric* ZORBasTreeGeneric<A>::Next(ZORBasTreeNodeGeneric* n) const {
    if (n->right) {
        n = n->right;
        while (n->left) n = n->left;
        return n;
    }
    ZORBasTreeNodeGeneric* p = n->parent;
    while (p && n == p->right) {
        n = p;
        p = p->parent;
    }
    return p ? p : End();
}

template <class A>
ZORBasTreeNodeGeneric* ZORBasTreeGeneric<A>::Prev(ZORBasTreeNodeGeneric* n) const {
    if (n == End()) {
        n = Root();
        while (n && n->right) n = n->right;
        return n ? n : End();
    }
    if (n->left) {
        n = n->left;
        while (n->right) n = n->right;
        return n;
    }
    ZORBasTreeNodeGeneric* p = n->parent;
    while (p && n == p->left) {
        n = p;
        p = p->parent;
    }
    return p ? p : End();
}

template <class A>
ZORBasTreeNodeGeneric* ZORBasTreeGeneric<A>::Erase(ZORBasTreeNodeGeneric* node) {
    ZORBasTreeNodeGeneric* next = Next(node);
    if (node == m_header.left) m_header.left = next;
    // Rotations keep the in-order sequence, so `next` stays the successor.
    while (node->left && node->right)
        RotateUp(node->left->priority > node->right->priority ? node->left : node->right);
    Replace(node, node->left ? node->left : node->right);
    m_replicator.destroy(Key(node), Value(node));
    A::Deallocate(node);
    --m_size;
    return next;
}

template <class A>
void ZORBasTreeGeneric<A>::FreeSubtree(ZORBasTreeNodeGeneric* node) {
    // Recursion depth is the tree's height, O(log n) expected.
    while (node) {
        FreeSubtree(node->left);
        ZORBasTreeNodeGeneric* right = node->right;
        m_replicator.destroy(Key(node), Value(node));
        A::Deallocate(node);
        node = right;
    }
}

template <class A>
void ZORBasTreeGeneric<A>::Clear() {
    FreeSubtree(Root());
    m_header.parent = nullptr;
    m_header.left = &m_header;
    m_size = 0;
}

template <class A>
bool ZORBasTreeGeneric<A>::Validate() const {
    size_t count = 0;
    ZORBasTreeNodeGeneric* prev = nullptr;
    if (Root() && Root()->parent) return false;
    for (ZORBasTreeNodeGeneric* n = Begin(); n != End(); n = Next(n)) {
        if (prev && !KeyLess(Key(prev), Key(n))) return false;
        if (n->left && (n->left->parent != n || n->left->priority > n->priority)) return false;
        if (n->right && (n->right->parent != n || n->right->priority > n->priority)) return false;
        prev = n;
        if (++count > m_size) return false;
    }
    ZORBasTreeNodeGeneric* first = Root();
    while (first && first->left) first = first->left;
    return count == m_size && (first ? first : End()) == Begin();
}

template class ZORBasTreeGeneric<ZORBasNodeAllocator>;

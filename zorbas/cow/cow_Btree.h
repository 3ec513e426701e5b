// An ordered unique-key map. In spite of its name it is a binary search tree, one key and value
// per node, kept roughly balanced by single rotations; every child link is a cow_COW handle, so a
// copy of a tree shares the root and a write copies only the nodes on its path (Find too: it
// unshares the path even for an absent key; ConstFind copies nothing).
// Two quirks are the behaviour and are kept: there is no double rotation, so a zig-zag stays
// unbalanced, and a missing child counts the same as a leaf (both have depth 0), so 1, 2, 3
// inserted in order stay a chain. Keys compare by BtreeCompare, whose sense is reversed: it gives
// the order of the second key against the first.
#pragma once

#include <type_traits>

#include "companions/alloc/mem_Malloc.h"
#include "companions/coreutils/atr_String.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/ZORBasCowAllocator.h"
#include "zorbas/cow/cow_COW.h"
#include "zorbas/cow/cow_List.h"
#include "zorbas/cow/cow_String.h"

// The order of `b` against `a` for numbers, in the reversed sense of the string forms.
template <class K>
requires std::is_arithmetic_v<K>
int BtreeCompare(const K& a, const K& b) { return (b > a) - (b < a); }

// What reads of an absent key give: zero for numbers, empty for strings and lists.
template <class V>
struct cow_BtreeValue {
    static V NullValue() { return V(); }
};

template <class K, class V>
class ZORBAS_API cow_Btree;
template <class K, class V>
class ZORBAS_API cow_BtreeIterator;

template <class K, class V>
class ZORBAS_API cow_BtreeNode : public mem_AllocationOperators {
  public:
    using Link = cow_COW<cow_BtreeNode, cow_Direct<cow_BtreeNode>>;

    cow_BtreeNode(const K& k, const V& v)
        : value(v), key(k), left(nullptr), right(nullptr), maxDepth(0) {}
    // Used by cow_Direct when a shared node is written: new handles that share both children.
    cow_BtreeNode(const cow_BtreeNode& other);
    cow_BtreeNode& operator=(const cow_BtreeNode&) = delete;
    ~cow_BtreeNode() {
        delete left;
        delete right;
    }

    // True when `k` was added below this node; an existing key keeps its value.
    bool InsertUnlessMember(const K& k, const V& v);
    bool Remove(const K& k, cow_BtreeNode& parent);
    cow_BtreeNode* Find(const K& k);
    const cow_BtreeNode* ConstFind(const K& k) const;
    // A single rotation when one side is two deeper; returns the handle of the new top, or null.
    Link* Balance(Link* self);
    int MaxDepth() const { return maxDepth; }

    const K& Key() const { return key; }
    const V& Value() const { return value; }
    // Children, null when there is none (for tests and diagnostics).
    const cow_BtreeNode* LeftNode() const { return left ? left->GetPtr() : nullptr; }
    const cow_BtreeNode* RightNode() const { return right ? right->GetPtr() : nullptr; }

    static int Compare(const K& nodeKey, const K& k) { return BtreeCompare(nodeKey, k); }
    static Link* MakeLink(const K& k, const V& v);

  private:
    static int DepthOf(const Link* l) { return l ? l->ConstGet().maxDepth : 0; }
    void SetMaxDepth() {
        if (!left && !right) {
            maxDepth = 0;
        } else {
            int l = DepthOf(left);
            int r = DepthOf(right);
            maxDepth = 1 + (l > r ? l : r);
        }
    }
    // Replaces the handle of `child` among this node's links by `replacement`.
    void RemoveNode(cow_BtreeNode* child, Link* replacement);

    V value;
    K key;
    Link* left;
    Link* right;
    int maxDepth;

    friend class cow_Btree<K, V>;
    friend class cow_BtreeIterator<K, V>;
};

template <class K, class V>
class ZORBAS_API cow_Btree : public ZORBasCowAllocator {
  public:
    using Node = cow_BtreeNode<K, V>;
    using Link = typename Node::Link;

    cow_Btree() : root(nullptr), count(0), nullValue(cow_BtreeValue<V>::NullValue()) {}
    // Each tree owns its top handle; the copy's shares the source's root node.
    cow_Btree(const cow_Btree& other)
        : root(other.root ? new Link(*other.root) : nullptr),
          count(other.count),
          nullValue(other.nullValue) {}
    cow_Btree& operator=(const cow_Btree& other);
    ~cow_Btree() { delete root; }

    // False when the key is there already (its value stays; the path is unshared all the same).
    bool InsertUnlessMember(const K& key, const V& value);
    bool Remove(const K& key);

    bool IsMember(const K& key) const { return ConstFind(key) != nullptr; }
    // The key's value, or the null value for an absent key. Copies nothing.
    const V& ConstGet(const K& key) const {
        const Node* n = ConstFind(key);
        return n ? n->value : nullValue;
    }
    // Unshares the path and gives the key's value to write. For members only: an absent key
    // gives the tree's null value itself.
    V& Get(const K& key) {
        Node* n = Find(key);
        return n ? n->value : nullValue;
    }
    int Count() const { return count; }
    bool IsEmpty() const { return count == 0; }
    const V& GetNullValue() const { return nullValue; }
    static int Compare(const K& nodeKey, const K& key) { return Node::Compare(nodeKey, key); }

    // The root node, null for an empty tree (for tests and diagnostics).
    const Node* RootNode() const { return root ? root->GetPtr() : nullptr; }

  private:
    Node* Find(const K& key) { return root ? root->Get().Find(key) : nullptr; }
    const Node* ConstFind(const K& key) const {
        return root ? root->ConstGet().ConstFind(key) : nullptr;
    }

    Link* root;
    int count;
    V nullValue;

    friend class cow_BtreeIterator<K, V>;
};

// One entry of an iterator's stack.
template <class K, class V>
struct cow_BtreeNodeLink : public mem_AllocationOperators {
    const typename cow_BtreeNode<K, V>::Link* handle;
    cow_BtreeNodeLink* next;
};

// An in-order walk, both ways, by a stack of handles. It holds no copy of the tree, so a write
// to the tree invalidates it; the walk itself copies nothing. Popped stack entries are kept for
// the next push, so a walk allocates only as deep as the tree.
template <class K, class V>
class ZORBAS_API cow_BtreeIterator {
    using Node = cow_BtreeNode<K, V>;
    using Link = typename Node::Link;
    using StackLink = cow_BtreeNodeLink<K, V>;

  public:
    explicit cow_BtreeIterator(const cow_Btree<K, V>& t) : tree(&t), top(nullptr), spare(nullptr) {}
    cow_BtreeIterator(const cow_BtreeIterator&) = delete;
    cow_BtreeIterator& operator=(const cow_BtreeIterator&) = delete;
    ~cow_BtreeIterator();

    void First();
    void Next();
    void Last();
    void Previous();
    bool IsDone() const { return top == nullptr; }
    const K& CurrentKey() const { return top->handle->ConstGet().key; }
    const V& CurrentValue() const { return top->handle->ConstGet().value; }

    void Push(const Link* handle);
    const Link* Pop();
    void ClearStack();

  private:
    const cow_Btree<K, V>* tree;
    StackLink* top;
    StackLink* spare;
};

template <class K, class V>
requires cow_ListEquality<K> && cow_ListEquality<V>
bool operator==(const cow_Btree<K, V>& a, const cow_Btree<K, V>& b) {
    if (a.Count() != b.Count()) return false;
    cow_BtreeIterator<K, V> i(a);
    cow_BtreeIterator<K, V> j(b);
    for (i.First(), j.First(); !i.IsDone(); i.Next(), j.Next())
        if (!(i.CurrentKey() == j.CurrentKey()) || !(i.CurrentValue() == j.CurrentValue()))
            return false;
    return true;
}

// Trees order by their entries in key order, like words by their letters: the first entry that
// differs decides, by key in the tree's own order (BtreeCompare), then by value; a tree that runs
// out first (a prefix of the other, the empty tree first of all) is the smaller. Consistent with
// operator==: two trees are equal exactly when neither is smaller. This is the order by which a
// list of trees sorts. A walk of both trees as far as they agree: linear, copying nothing.
template <class K, class V>
requires cow_ListOrder<V>
bool operator<(const cow_Btree<K, V>& a, const cow_Btree<K, V>& b) {
    cow_BtreeIterator<K, V> i(a);
    cow_BtreeIterator<K, V> j(b);
    for (i.First(), j.First(); !i.IsDone() && !j.IsDone(); i.Next(), j.Next()) {
        // Compare(x, y) is above 0 when y comes after x.
        int c = cow_Btree<K, V>::Compare(i.CurrentKey(), j.CurrentKey());
        if (c != 0) return c > 0;
        if (i.CurrentValue() < j.CurrentValue()) return true;
        if (j.CurrentValue() < i.CurrentValue()) return false;
    }
    return i.IsDone() && !j.IsDone();
}

// ---- implementation ----

template <class K, class V>
cow_BtreeNode<K, V>::cow_BtreeNode(const cow_BtreeNode& other)
    : value(other.value),
      key(other.key),
      left(other.left ? new Link(*other.left) : nullptr),
      right(nullptr),
      maxDepth(other.maxDepth) {
    try {
        if (other.right) right = new Link(*other.right);
    } catch (...) {
        delete left;
        throw;
    }
}

template <class K, class V>
typename cow_BtreeNode<K, V>::Link* cow_BtreeNode<K, V>::MakeLink(const K& k, const V& v) {
    cow_BtreeNode* n = cow_New<cow_BtreeNode>(k, v);
    try {
        return new Link(n);
    } catch (...) {
        cow_Delete(n);
        throw;
    }
}

template <class K, class V>
bool cow_BtreeNode<K, V>::InsertUnlessMember(const K& k, const V& v) {
    int c = Compare(key, k);
    if (c == 0) return false;
    Link*& link = c < 1 ? left : right;
    if (!link) {
        link = MakeLink(k, v);
        SetMaxDepth();
        return true;
    }
    bool added = link->Get().InsertUnlessMember(k, v);
    if (added) {
        if (Link* t = link->Get().Balance(link)) link = t;
        SetMaxDepth();
    }
    return added;
}

template <class K, class V>
typename cow_BtreeNode<K, V>::Link* cow_BtreeNode<K, V>::Balance(Link* self) {
    int diff = DepthOf(right) - DepthOf(left);
    if (diff >= 2) {
        Link* t = right;
        cow_BtreeNode& child = t->Get();
        right = child.left;
        child.left = self;
        SetMaxDepth();
        child.SetMaxDepth();
        return t;
    }
    if (diff < -1) {
        Link* t = left;
        cow_BtreeNode& child = t->Get();
        left = child.right;
        child.right = self;
        SetMaxDepth();
        child.SetMaxDepth();
        return t;
    }
    return nullptr;
}

template <class K, class V>
bool cow_BtreeNode<K, V>::Remove(const K& k, cow_BtreeNode& parent) {
    int c = Compare(key, k);
    if (c != 0) {
        Link*& link = c < 1 ? left : right;
        if (!link) return false;
        bool removed = link->Get().Remove(k, *this);
        if (removed) {
            // The child may have been replaced, or removed with nothing in its place.
            if (link)
                if (Link* t = link->Get().Balance(link)) link = t;
            SetMaxDepth();
        }
        return removed;
    }
    Link* replacement;
    if (!right) {
        replacement = left;
    } else if (!left) {
        replacement = right;
    } else {
        // The leftmost node of the right subtree takes this node's place. Nodes on the way down
        // are neither rebalanced nor re-measured, only the leftmost's own parent is.
        Link* cur = right;
        cow_BtreeNode* node = &cur->Get();
        cow_BtreeNode* above = nullptr;
        while (node->left) {
            above = node;
            cur = node->left;
            node = &cur->Get();
        }
        if (above) {
            above->left = node->right;
            node->right = right;
            above->SetMaxDepth();
        }
        node->left = left;
        node->SetMaxDepth();
        replacement = cur;
    }
    left = nullptr;
    right = nullptr;
    parent.RemoveNode(this, replacement);  // deletes this node
    return true;
}

template <class K, class V>
void cow_BtreeNode<K, V>::RemoveNode(cow_BtreeNode* child, Link* replacement) {
    if (right && right->GetPtr() == child) {
        delete right;
        right = replacement;
    } else {
        delete left;
        left = replacement;
    }
    SetMaxDepth();
}

template <class K, class V>
cow_BtreeNode<K, V>* cow_BtreeNode<K, V>::Find(const K& k) {
    cow_BtreeNode* n = this;
    for (;;) {
        int c = Compare(n->key, k);
        if (c == 0) return n;
        Link* l = c < 1 ? n->left : n->right;
        if (!l) return nullptr;
        n = &l->Get();
    }
}

template <class K, class V>
const cow_BtreeNode<K, V>* cow_BtreeNode<K, V>::ConstFind(const K& k) const {
    const cow_BtreeNode* n = this;
    for (;;) {
        int c = Compare(n->key, k);
        if (c == 0) return n;
        const Link* l = c < 1 ? n->left : n->right;
        if (!l) return nullptr;
        n = &l->ConstGet();
    }
}

template <class K, class V>
cow_Btree<K, V>& cow_Btree<K, V>::operator=(const cow_Btree& other) {
    if (this == &other) return *this;
    if (!other.root) {
        delete root;
        root = nullptr;
    } else if (root) {
        *root = *other.root;
    } else {
        root = new Link(*other.root);
    }
    count = other.count;
    nullValue = other.nullValue;
    return *this;
}

template <class K, class V>
bool cow_Btree<K, V>::InsertUnlessMember(const K& key, const V& value) {
    if (!root) {
        root = Node::MakeLink(key, value);
        count = 1;
        return true;
    }
    Node& n = root->Get();
    if (!n.InsertUnlessMember(key, value)) return false;
    ++count;
    if (Link* t = n.Balance(root)) root = t;
    return true;
}

template <class K, class V>
bool cow_Btree<K, V>::Remove(const K& key) {
    if (!root) return false;
    // A stand-in parent for the root, so that removing the root is the same as any other node.
    Node parent{K{}, V{}};
    parent.left = root;
    bool removed = root->Get().Remove(key, parent);
    root = parent.left;
    parent.left = nullptr;
    if (removed) {
        --count;
        if (root)
            if (Link* t = root->Get().Balance(root)) root = t;
    }
    return removed;
}

template <class K, class V>
cow_BtreeIterator<K, V>::~cow_BtreeIterator() {
    ClearStack();
    while (spare) {
        StackLink* s = spare;
        spare = s->next;
        delete s;
    }
}

template <class K, class V>
void cow_BtreeIterator<K, V>::Push(const Link* handle) {
    StackLink* s = spare;
    if (s)
        spare = s->next;
    else
        s = new StackLink;
    s->handle = handle;
    s->next = top;
    top = s;
}

template <class K, class V>
const typename cow_BtreeIterator<K, V>::Link* cow_BtreeIterator<K, V>::Pop() {
    StackLink* s = top;
    top = s->next;
    s->next = spare;
    spare = s;
    return s->handle;
}

template <class K, class V>
void cow_BtreeIterator<K, V>::ClearStack() {
    while (top) Pop();
}

template <class K, class V>
void cow_BtreeIterator<K, V>::First() {
    ClearStack();
    for (const Link* l = tree->root; l; l = l->ConstGet().left) Push(l);
}

template <class K, class V>
void cow_BtreeIterator<K, V>::Last() {
    ClearStack();
    for (const Link* l = tree->root; l; l = l->ConstGet().right) Push(l);
}

template <class K, class V>
void cow_BtreeIterator<K, V>::Next() {
    if (const Link* r = top->handle->ConstGet().right) {
        for (const Link* l = r; l; l = l->ConstGet().left) Push(l);
        return;
    }
    const Link* popped;
    do {
        popped = Pop();
    } while (top && top->handle->ConstGet().right == popped);
}

template <class K, class V>
void cow_BtreeIterator<K, V>::Previous() {
    if (const Link* l = top->handle->ConstGet().left) {
        for (const Link* r = l; r; r = r->ConstGet().right) Push(r);
        return;
    }
    const Link* popped;
    do {
        popped = Pop();
    } while (top && top->handle->ConstGet().left == popped);
}

// The instantiated key and value pairs, one list for these declarations and the definitions in
// cow_Btree.cc.
// clang-format off
#define ZORBAS_COW_BTREE_PAIRS(M) \
    M(int, int) \
    M(int, cow_String) \
    M(int, cow_List<int>) \
    M(int, cow_List<atr_String>) \
    M(cow_String, int) \
    M(cow_String, cow_String) \
    M(cow_String, cow_List<int>) \
    M(cow_String, cow_List<atr_String>) \
    M(atr_String, int) \
    M(atr_String, cow_String) \
    M(atr_String, cow_List<int>) \
    M(atr_String, cow_List<atr_String>)
// clang-format on
// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in the sources.
#define ZORBAS_COW_BTREE_CLASSES(P, A0, A1) \
    P template class cow_BtreeNode<A0, A1>; \
    P template class cow_Btree<A0, A1>;     \
    P template class cow_BtreeIterator<A0, A1>;
#define ZORBAS_COW_BTREE_EXTERN(A0, A1) ZORBAS_COW_BTREE_CLASSES(extern, A0, A1)
#define ZORBAS_COW_BTREE_DEFINE(A0, A1) ZORBAS_COW_BTREE_CLASSES(, A0, A1)
ZORBAS_COW_BTREE_PAIRS(ZORBAS_COW_BTREE_EXTERN)
// The lists of trees.
#define ZORBAS_COW_BTREE_LIST_TYPES(M) M(cow_Btree<int, int>)
ZORBAS_COW_BTREE_LIST_TYPES(ZORBAS_COW_LIST_EXTERN)

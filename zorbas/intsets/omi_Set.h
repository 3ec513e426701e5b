// A small ordered set of values (the nodes of an element, the parts of a contact) kept as a sorted
// array on the tracked heap: membership is a binary search, an insert or a removal moves the tail,
// a walk is by index in ascending order. Suited to sets of up to some thousands of members; for
// large or sparse id sets over a wide range use omi_SparseSet. Copies are deep.
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

template <class T>
class ZORBAS_API omi_Set : public mem_AllocationOperators {
  public:
    omi_Set() = default;
    omi_Set(const omi_Set& other);
    omi_Set& operator=(const omi_Set& other);
    ~omi_Set();

    // True when the value was not a member.
    bool Insert(const T& value);
    // True when the value was a member.
    bool Remove(const T& value);
    bool IsMember(const T& value) const { return Find(value) >= 0; }
    // The index of the value in ascending order, -1 when absent.
    int Find(const T& value) const;
    int Size() const { return size; }
    bool IsEmpty() const { return size == 0; }
    // The i-th smallest member, 0 <= i < Size().
    const T& operator[](int i) const { return items[i]; }
    void Clear() { size = 0; }
    // Room for n members without a further allocation.
    void Reserve(int n);

    // Merges in O(Size() + other.Size()).
    omi_Set& operator|=(const omi_Set& other);
    omi_Set& operator&=(const omi_Set& other);
    omi_Set& operator-=(const omi_Set& other);
    bool operator==(const omi_Set& other) const;
    bool operator!=(const omi_Set& other) const { return !(*this == other); }
    bool Contains(const omi_Set& other) const;

    // Bytes of this object and its array.
    size_t Footprint() const { return sizeof(*this) + sizeof(T) * static_cast<size_t>(capacity); }

  private:
    // The first index whose member is not below value.
    int LowerBound(const T& value) const;

    T* items = nullptr;
    int size = 0;
    int capacity = 0;
};

#define ZORBAS_OMI_SET_TYPES(M) M(int) M(unsigned)
// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in the source.
#define ZORBAS_OMI_SET_CLASSES(P, T) P template class omi_Set<T>;
#define ZORBAS_OMI_SET_EXTERN(T) ZORBAS_OMI_SET_CLASSES(extern, T)
#define ZORBAS_OMI_SET_DEFINE(T) ZORBAS_OMI_SET_CLASSES(, T)
ZORBAS_OMI_SET_TYPES(ZORBAS_OMI_SET_EXTERN)

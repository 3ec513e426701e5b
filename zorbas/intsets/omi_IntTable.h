// omi_IntTable<T, Allocator>: the signed face of omi_UintTable. Two unsigned tables, one for the
// keys below zero stored by magnitude (so small negative keys share the first block of their
// half) and one for zero and above; each call goes to one half. The negation is on 32 bits, so
// -2147483648 is stored under the magnitude 2147483648. A signed walk runs the negative half
// backwards, then the positive half forwards: ascending signed order, no sorting.
//
// Two asymmetries with the unsigned table are kept because callers are built on them: Get is a
// const operation that hands out a writable cell, and Footprint is not virtual here.
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "zorbas/intsets/omi_UintTable.h"

template <class T, class Allocator>
class ZORBAS_API omi_IntTableIterator;

template <class T, class Allocator>
class ZORBAS_API omi_IntTable : public mem_AllocationOperators {
  public:
    using Half = omi_UintTable<T, Allocator>;

    omi_IntTable() : negativeTable(new Half), positiveTable(new Half) {}
    omi_IntTable(unsigned topBits, unsigned pageBits, unsigned pageTableLength)
        : negativeTable(new Half(topBits, pageBits, pageTableLength)),
          positiveTable(new Half(topBits, pageBits, pageTableLength)) {}
    // The bulk form expects non-negative keys: only the positive half gets the presized layout.
    omi_IntTable(size_t n, const int* keys, const T* values);
    virtual ~omi_IntTable();

    bool Insert(int key, const T& value) {
        return key < 0 ? negativeTable->Insert(Magnitude(key), value)
                       : positiveTable->Insert(static_cast<unsigned>(key), value);
    }
    bool Remove(int key) {
        return key < 0 ? negativeTable->Remove(Magnitude(key))
                       : positiveTable->Remove(static_cast<unsigned>(key));
    }
    bool IsMember(int key) const {
        return key < 0 ? negativeTable->IsMember(Magnitude(key))
                       : positiveTable->IsMember(static_cast<unsigned>(key));
    }
    // The key must be present: no test is made.
    T& Get(int key) const {
        return key < 0 ? negativeTable->Get(Magnitude(key))
                       : positiveTable->Get(static_cast<unsigned>(key));
    }
    const T& ConstGet(int key) const {
        return key < 0 ? negativeTable->ConstGet(Magnitude(key))
                       : positiveTable->ConstGet(static_cast<unsigned>(key));
    }
    bool ConstGetValue(int key, T& out) const {
        return key < 0 ? negativeTable->ConstGetValue(Magnitude(key), out)
                       : positiveTable->ConstGetValue(static_cast<unsigned>(key), out);
    }
    int Size() const { return negativeTable->Size() + positiveTable->Size(); }
    bool IsEmpty() const { return negativeTable->IsEmpty() && positiveTable->IsEmpty(); }
    void Clear() {
        negativeTable->Clear();
        positiveTable->Clear();
    }
    // A new deep copy, on the tracked heap.
    omi_IntTable* Copy() const { return new omi_IntTable(*this); }
    // This object and the Footprint of each half.
    size_t Footprint() const;

  protected:
    friend class omi_IntTableIterator<T, Allocator>;

    omi_IntTable(const omi_IntTable& other)
        : negativeTable(other.negativeTable->Copy()), positiveTable(other.positiveTable->Copy()) {}
    omi_IntTable& operator=(const omi_IntTable&) = delete;
    typename Half::Block* FindTableBlock(int key) const {
        return key < 0 ? negativeTable->FindTableBlock(Magnitude(key))
                       : positiveTable->FindTableBlock(static_cast<unsigned>(key));
    }
    static unsigned Magnitude(int key) { return 0u - static_cast<unsigned>(key); }

    Half* negativeTable;
    Half* positiveTable;
};

// Ascending signed walk. The comparator form exists for callers that pass one; it accepts only
// tables without negative keys and then walks in key order all the same, never calling it.
template <class T, class Allocator>
class ZORBAS_API omi_IntTableIterator {
  public:
    using Table = omi_IntTable<T, Allocator>;
    using Compare = int (*)(const void*, const void*);

    explicit omi_IntTableIterator(const Table& table)
        : remainingNegative(0),
          totalNegative(static_cast<unsigned>(table.negativeTable->Size())),
          negativeIterator(*table.negativeTable),
          positiveIterator(*table.positiveTable),
          compare(nullptr) {}
    omi_IntTableIterator(const Table& table, Compare compare_);

    void First() {
        remainingNegative = totalNegative;
        negativeIterator.Last();
        positiveIterator.First();
    }
    void Last() {
        remainingNegative = 0;
        negativeIterator.First();
        positiveIterator.Last();
    }
    void Next() {
        if (remainingNegative != 0) {
            --remainingNegative;
            negativeIterator.Previous();
        } else {
            positiveIterator.Next();
        }
    }
    int CurrentKey() const {
        return remainingNegative != 0 ? static_cast<int>(0u - negativeIterator.CurrentKey())
                                      : static_cast<int>(positiveIterator.CurrentKey());
    }
    const T& CurrentValue() const {
        return remainingNegative != 0 ? negativeIterator.CurrentValue()
                                      : positiveIterator.CurrentValue();
    }
    bool IsDone() const { return remainingNegative == 0 && positiveIterator.IsDone(); }

  private:
    unsigned remainingNegative;
    unsigned totalNegative;
    omi_UintTableIterator<T, Allocator> negativeIterator;
    omi_UintTableIterator<T, Allocator> positiveIterator;
    Compare compare;
};

// ---------------------------------------------------------------------------------------------
// Implementation details, instantiated in the library for the pairs of omi_UintTable.h.

template <class T, class Allocator>
omi_IntTable<T, Allocator>::omi_IntTable(size_t n, const int* keys, const T* values)
    : negativeTable(new Half), positiveTable(new Half(n)) {
    for (size_t i = 0; i < n; ++i) Insert(keys[i], values[i]);
}

// The halves are made here as omi_UintTable itself, never as a class derived from it, so deleting
// them needs the virtual destructor that the table deliberately lacks no more than it is.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdelete-non-virtual-dtor"
template <class T, class Allocator>
omi_IntTable<T, Allocator>::~omi_IntTable() {
    delete negativeTable;
    delete positiveTable;
}
#pragma GCC diagnostic pop

template <class T, class Allocator>
size_t omi_IntTable<T, Allocator>::Footprint() const {
    size_t bytes = sizeof(*this);
    if (negativeTable) bytes += negativeTable->Footprint();
    if (positiveTable) bytes += positiveTable->Footprint();
    return bytes;
}

template <class T, class Allocator>
omi_IntTableIterator<T, Allocator>::omi_IntTableIterator(const Table& table, Compare compare_)
    : omi_IntTableIterator(table) {
    compare = compare_;
    if (totalNegative != 0) {
        zorbas_wassert(
            "totalNegative == 0 || \"Special sort integer table iterator unimplemented\" == 0",
            "ZORBase/ProtectedInterfaces/omi_IntTable", __LINE__);
    }
}

// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in the omi_Tables*.cc sources, which also define the unsigned
// tables' classes (ZORBAS_OMI_TABLE_DEFINE).
#define ZORBAS_OMI_INT_TABLE_CLASSES(P, T, A) \
    P template class omi_IntTable<T, A>;      \
    P template class omi_IntTableIterator<T, A>;
#define ZORBAS_OMI_INT_TABLE_EXTERN(T, A) ZORBAS_OMI_INT_TABLE_CLASSES(extern, T, A)
#define ZORBAS_OMI_TABLE_DEFINE(T, A)     \
    ZORBAS_OMI_UINT_TABLE_CLASSES(, T, A) \
    ZORBAS_OMI_INT_TABLE_CLASSES(, T, A)
ZORBAS_OMI_TABLE_PAIRS(ZORBAS_OMI_INT_TABLE_EXTERN)

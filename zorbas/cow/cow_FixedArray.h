// A fixed-length copy-on-write array. Copies share one element store; the first write through a
// copy that isn't alone copies the whole store (it is one block), reads never copy. The length
// is set at construction and changes only by assignment. An index outside the array is a
// contract fault and ends the program.
#pragma once

#include <cstring>
#include <new>
#include <type_traits>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/PLXFatalError.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_COW.h"

// The element store of the small arrays: `size` constructed elements in one tracked block.
template <class T>
class cow_ArrayStore : public mem_AllocationOperators {
  public:
    cow_ArrayStore(int n, const T* from, const T* fill) : size(n), items(Allocate(n)) {
        int k = 0;
        try {
            for (; k < n; ++k) {
                if (from)
                    ::new (items + k) T(from[k]);
                else if (fill)
                    ::new (items + k) T(*fill);
                else
                    ::new (items + k) T();
            }
        } catch (...) {
            Destroy(k);
            throw;
        }
    }
    cow_ArrayStore(const cow_ArrayStore& other)
        : cow_ArrayStore(other.size, other.items, nullptr) {}
    cow_ArrayStore& operator=(const cow_ArrayStore&) = delete;
    ~cow_ArrayStore() { Destroy(size); }

    const int size;
    T* const items;

  private:
    static T* Allocate(int n) {
        void* p = mem_Malloc(sizeof(T) * (n > 0 ? n : 1));
        if (!p) throw std::bad_alloc();
        return static_cast<T*>(p);
    }
    void Destroy(int n) {
        if constexpr (!std::is_trivially_destructible_v<T>)
            for (int k = n - 1; k >= 0; --k) items[k].~T();
        mem_Free(items);
    }
};

template <class T>
class ZORBAS_API cow_FixedArray : public ZORBasCowAllocator {
    using Store = cow_ArrayStore<T>;

  public:
    cow_FixedArray() = default;
    // `length` value-initialised elements (zero for numbers).
    explicit cow_FixedArray(int length) : store(MakeStore(length, nullptr, nullptr)) {}
    cow_FixedArray(int length, const T& fill) : store(MakeStore(length, nullptr, &fill)) {}
    cow_FixedArray(const T* array, int length) : store(MakeStore(length, array, nullptr)) {}

    int Length() const { return store.IsNull() ? 0 : store.ConstGet().size; }
    bool IsEmpty() const { return Length() == 0; }

    const T& ConstGet(int i) const {
        ZORBAS_ASSERT(0 <= i && i < Length(), "ZORBase/PublicInterfaces/cow_FixedArray", __LINE__);
        return store.ConstGet().items[i];
    }
    const T& operator[](int i) const { return ConstGet(i); }
    // Unshares the store when a copy shares it, then gives a writable element.
    T& Get(int i) {
        ZORBAS_ASSERT(0 <= i && i < Length(), "ZORBase/PublicInterfaces/cow_FixedArray", __LINE__);
        return store.Get().items[i];
    }
    cow_FixedArray& Set(int i, const T& value) {
        Get(i) = value;
        return *this;
    }
    cow_FixedArray& Fill(const T& value) {
        if (Length() == 0) return *this;
        Store& s = store.Get();
        for (int k = 0; k < s.size; ++k) s.items[k] = value;
        return *this;
    }
    // The elements in order, null for an empty array; valid until the next write.
    const T* ConstData() const { return store.IsNull() ? nullptr : store.ConstGet().items; }
    // Shares the store with other copies (for tests and diagnostics); 0 for an empty array.
    int References() const { return store.IsNull() ? 0 : store.References(); }

    bool IsEqual(const cow_FixedArray& other) const {
        if (Length() != other.Length()) return false;
        const T* a = ConstData();
        const T* b = other.ConstData();
        if (a == b) return true;
        for (int k = 0; k < Length(); ++k)
            if (!(a[k] == b[k])) return false;
        return true;
    }
    // Lexicographic, shorter first on a common prefix.
    bool IsLess(const cow_FixedArray& other) const {
        int n = Length() < other.Length() ? Length() : other.Length();
        for (int k = 0; k < n; ++k) {
            if (ConstData()[k] < other.ConstData()[k]) return true;
            if (other.ConstData()[k] < ConstData()[k]) return false;
        }
        return Length() < other.Length();
    }

  private:
    static Store* MakeStore(int length, const T* from, const T* fill) {
        ZORBAS_ASSERT(length >= 0, "ZORBase/PublicInterfaces/cow_FixedArray", __LINE__);
        return length ? cow_New<Store>(length, from, fill) : nullptr;
    }

    cow_COW<Store> store;
};

template <class T>
bool operator==(const cow_FixedArray<T>& a, const cow_FixedArray<T>& b) {
    return a.IsEqual(b);
}
template <class T>
bool operator<(const cow_FixedArray<T>& a, const cow_FixedArray<T>& b) {
    return a.IsLess(b);
}

#define ZORBAS_COW_FIXED_ARRAY_TYPES(M) M(int) M(float) M(double)
// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in cow_FixedArray.cc.
#define ZORBAS_COW_FIXED_ARRAY_CLASSES(P, T) P template class cow_FixedArray<T>;
#define ZORBAS_COW_FIXED_ARRAY_EXTERN(T) ZORBAS_COW_FIXED_ARRAY_CLASSES(extern, T)
#define ZORBAS_COW_FIXED_ARRAY_DEFINE(T) ZORBAS_COW_FIXED_ARRAY_CLASSES(, T)
ZORBAS_COW_FIXED_ARRAY_TYPES(ZORBAS_COW_FIXED_ARRAY_EXTERN)

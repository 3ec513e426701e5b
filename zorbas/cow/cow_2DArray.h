// A copy-on-write table of rows by columns, stored row after row in one element store. Copies
// share it; the first write through a copy that isn't alone copies the whole table, reads never
// copy. The shape is fixed at construction. An index outside the table ends the program.
#pragma once

#include "zorbas/cow/cow_FixedArray.h"

template <class T>
class ZORBAS_API cow_2DArray : public ZORBasCowAllocator {
    using Store = cow_ArrayStore<T>;

  public:
    cow_2DArray() : rows(0), columns(0) {}
    // Value-initialised elements (zero for numbers).
    cow_2DArray(int nRows, int nColumns)
        : rows(nRows), columns(nColumns), store(MakeStore(nullptr)) {}
    cow_2DArray(int nRows, int nColumns, const T& fill)
        : rows(nRows), columns(nColumns), store(MakeStore(&fill)) {}

    int Rows() const { return rows; }
    int Columns() const { return columns; }

    const T& ConstGet(int row, int column) const {
        return store.ConstGet().items[Index(row, column)];
    }
    // Unshares the table when a copy shares it, then gives a writable element.
    T& Get(int row, int column) { return store.Get().items[Index(row, column)]; }
    cow_2DArray& Set(int row, int column, const T& value) {
        Get(row, column) = value;
        return *this;
    }
    // The `Columns()` elements of a row, valid until the next write.
    const T* ConstRow(int row) const { return &ConstGet(row, 0); }
    // Shares the store with other copies (for tests and diagnostics); 0 for an empty table.
    int References() const { return store.IsNull() ? 0 : store.References(); }

    bool IsEqual(const cow_2DArray& other) const {
        if (rows != other.rows || columns != other.columns) return false;
        if (store.IsNull() || store.GetPtr() == other.store.GetPtr()) return true;
        const T* a = store.ConstGet().items;
        const T* b = other.store.ConstGet().items;
        for (int k = 0; k < rows * columns; ++k)
            if (!(a[k] == b[k])) return false;
        return true;
    }

  private:
    int Index(int row, int column) const {
        ZORBAS_ASSERT(0 <= row && row < rows && 0 <= column && column < columns,
                      "ZORBase/PublicInterfaces/cow_2DArray", __LINE__);
        return row * columns + column;
    }
    Store* MakeStore(const T* fill) const {
        ZORBAS_ASSERT(rows >= 0 && columns >= 0, "ZORBase/PublicInterfaces/cow_2DArray", __LINE__);
        return rows * columns != 0 ? cow_New<Store>(rows * columns, nullptr, fill) : nullptr;
    }

    int rows;
    int columns;
    cow_COW<Store> store;
};

template <class T>
bool operator==(const cow_2DArray<T>& a, const cow_2DArray<T>& b) {
    return a.IsEqual(b);
}

#define ZORBAS_COW_2D_ARRAY_TYPES(M) M(int) M(float) M(double)
// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in cow_FixedArray.cc.
#define ZORBAS_COW_2D_ARRAY_CLASSES(P, T) P template class cow_2DArray<T>;
#define ZORBAS_COW_2D_ARRAY_EXTERN(T) ZORBAS_COW_2D_ARRAY_CLASSES(extern, T)
#define ZORBAS_COW_2D_ARRAY_DEFINE(T) ZORBAS_COW_2D_ARRAY_CLASSES(, T)
ZORBAS_COW_2D_ARRAY_TYPES(ZORBAS_COW_2D_ARRAY_EXTERN)

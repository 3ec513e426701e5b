#include "zorbas/intsets/omi_Set.h"

#include <cstring>
#include <new>
#include <type_traits>

// Members are plain numbers: the array is moved with memmove and never constructed.

template <class T>
omi_Set<T>::omi_Set(const omi_Set& other) {
    Reserve(other.size);
    if (other.size) std::memcpy(items, other.items, sizeof(T) * other.size);
    size = other.size;
}

template <class T>
omi_Set<T>& omi_Set<T>::operator=(const omi_Set& other) {
    if (this == &other) return *this;
    size = 0;
    Reserve(other.size);
    if (other.size) std::memcpy(items, other.items, sizeof(T) * other.size);
    size = other.size;
    return *this;
}

template <class T>
omi_Set<T>::~omi_Set() {
    mem_Free(items);
}

template <class T>
void omi_Set<T>::Reserve(int n) {
    if (n <= capacity) return;
    int grown = capacity < 4 ? 4 : capacity + capacity / 2;
    if (grown < n) grown = n;
    void* fresh = mem_Realloc(items, sizeof(T) * static_cast<size_t>(grown));
    if (!fresh) throw std::bad_alloc();
    items = static_cast<T*>(fresh);
    capacity = grown;
}

template <class T>
int omi_Set<T>::LowerBound(const T& value) const {
    int lo = 0, hi = size;
    while (lo < hi) {
        int mid = lo + (hi - lo) / 2;
        if (items[mid] < value) {
            lo = mid + 1;
        } else {
            hi = mid;
        }
    }
    return lo;
}

template <class T>
int omi_Set<T>::Find(const T& value) const {
    int i = LowerBound(value);
    return i < size && items[i] == value ? i : -1;
}

template <class T>
bool omi_Set<T>::Insert(const T& value) {
    int i = LowerBound(value);
    if (i < size && items[i] == value) return false;
    Reserve(size + 1);
    std::memmove(items + i + 1, items + i, sizeof(T) * (size - i));
    items[i] = value;
    ++size;
    return true;
}

template <class T>
bool omi_Set<T>::Remove(const T& value) {
    int i = Find(value);
    if (i < 0) return false;
    std::memmove(items + i, items + i + 1, sizeof(T) * (size - i - 1));
    --size;
    return true;
}

template <class T>
omi_Set<T>& omi_Set<T>::operator|=(const omi_Set& other) {
    if (this == &other || other.size == 0) return *this;
    // Merge from the back, in place, into an array long enough for both.
    Reserve(size + other.size);
    int i = size - 1, j = other.size - 1, out = size + other.size - 1;
    while (j >= 0) {
        if (i >= 0 && other.items[j] < items[i]) {
            items[out--] = items[i--];
        } else if (i >= 0 && items[i] == other.items[j]) {
            items[out--] = items[i--];
            --j;
        } else {
            items[out--] = other.items[j--];
        }
    }
    // The merged tail starts one place above the untouched head for every duplicate: close it.
    int duplicates = out - i;
    if (duplicates > 0) {
        std::memmove(items + i + 1, items + out + 1, sizeof(T) * (size + other.size - out - 1));
    }
    size = size + other.size - duplicates;
    return *this;
}

template <class T>
omi_Set<T>& omi_Set<T>::operator&=(const omi_Set& other) {
    if (this == &other) return *this;
    int out = 0;
    for (int i = 0, j = 0; i < size && j < other.size;) {
        if (items[i] < other.items[j]) {
            ++i;
        } else if (other.items[j] < items[i]) {
            ++j;
        } else {
            items[out++] = items[i++];
            ++j;
        }
    }
    size = out;
    return *this;
}

template <class T>
omi_Set<T>& omi_Set<T>::operator-=(const omi_Set& other) {
    if (this == &other) {
        size = 0;
        return *this;
    }
    int out = 0, j = 0;
    for (int i = 0; i < size; ++i) {
        while (j < other.size && other.items[j] < items[i]) ++j;
        if (j < other.size && other.items[j] == items[i]) continue;
        items[out++] = items[i];
    }
    size = out;
    return *this;
}

template <class T>
bool omi_Set<T>::operator==(const omi_Set& other) const {
    return size == other.size &&
           (size == 0 || std::memcmp(items, other.items, sizeof(T) * size) == 0);
}

template <class T>
bool omi_Set<T>::Contains(const omi_Set& other) const {
    int i = 0;
    for (int j = 0; j < other.size; ++j) {
        while (i < size && items[i] < other.items[j]) ++i;
        if (i == size || other.items[j] < items[i]) return false;
    }
    return true;
}

ZORBAS_OMI_SET_TYPES(ZORBAS_OMI_SET_DEFINE)

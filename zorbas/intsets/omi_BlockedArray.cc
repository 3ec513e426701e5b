#include "zorbas/intsets/omi_BlockedArray.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <type_traits>

#include "companions/alloc/mem_Malloc.h"

namespace {
constexpr unsigned kDefaultGrowth = 128;
}

template <class T>
T** omi_BlockedArray<T>::NewTable(unsigned n) {
    if (n == 0) return nullptr;
    auto** table = static_cast<T**>(mem_OperatorNewThrowBuiltin(sizeof(T*) * n));
    std::memset(table, 0, sizeof(T*) * n);
    return table;
}

template <class T>
omi_BlockedArray<T>::omi_BlockedArray(unsigned growth_, unsigned shift)
    : growth(growth_),
      blockCount(0),
      cellsPerBlock(1u << shift),
      blockShift(shift),
      blockMask((1u << shift) - 1),
      blocks(nullptr) {
    if (growth != 0) {
        blockCount = growth;
        blocks = NewTable(blockCount);
    } else {
        growth = kDefaultGrowth;
    }
}

template <class T>
omi_BlockedArray<T>::omi_BlockedArray(const omi_BlockedArray& other)
    : growth(other.growth),
      blockCount(other.blockCount),
      cellsPerBlock(other.cellsPerBlock),
      blockShift(other.blockShift),
      blockMask(other.blockMask),
      blocks(NewTable(other.blockCount)) {
    CopyPages(other);
}

template <class T>
omi_BlockedArray<T>::~omi_BlockedArray() {
    Clear();
    mem_Free(blocks);
}

template <class T>
T* omi_BlockedArray<T>::BlockInitialize() const {
    T* page = static_cast<T*>(mem_OperatorNewThrowBuiltin(sizeof(T) * cellsPerBlock));
    if constexpr (std::is_trivially_default_constructible_v<T>) {
        std::memset(static_cast<void*>(page), 0, sizeof(T) * cellsPerBlock);
    } else {
        for (unsigned i = 0; i < cellsPerBlock; ++i) ::new (page + i) T();
    }
    return page;
}

template <class T>
T* omi_BlockedArray<T>::BlockCopy(const T* from) const {
    if constexpr (std::is_trivially_copyable_v<T>) {
        T* page = static_cast<T*>(mem_OperatorNewThrowBuiltin(sizeof(T) * cellsPerBlock));
        std::memcpy(static_cast<void*>(page), from, sizeof(T) * cellsPerBlock);
        return page;
    } else {
        T* page = BlockInitialize();
        for (unsigned i = 0; i < cellsPerBlock; ++i) page[i] = from[i];
        return page;
    }
}

template <class T>
void omi_BlockedArray<T>::FreeBlock(T* page) const {
    if (!page) return;
    if constexpr (!std::is_trivially_destructible_v<T>) {
        for (unsigned i = 0; i < cellsPerBlock; ++i) page[i].~T();
    }
    mem_Free(page);
}

template <class T>
void omi_BlockedArray<T>::CopyPages(const omi_BlockedArray& other) {
    for (unsigned p = 0; p < blockCount; ++p) {
        const T* src = other.blocks[p];
        if (!src) {
            FreeBlock(blocks[p]);
            blocks[p] = nullptr;
        } else if (!blocks[p]) {
            blocks[p] = BlockCopy(src);
        } else if constexpr (std::is_trivially_copyable_v<T>) {
            std::memcpy(static_cast<void*>(blocks[p]), src, sizeof(T) * cellsPerBlock);
        } else {
            for (unsigned i = 0; i < cellsPerBlock; ++i) blocks[p][i] = src[i];
        }
    }
}

template <class T>
omi_BlockedArray<T>& omi_BlockedArray<T>::operator=(const omi_BlockedArray& other) {
    if (this == &other) return *this;
    growth = other.growth;
    if (blockCount != other.blockCount) {
        Clear();
        mem_Free(blocks);
        blocks = nullptr;
        blockCount = other.blockCount;
        cellsPerBlock = other.cellsPerBlock;
        blockShift = other.blockShift;
        blockMask = other.blockMask;
        blocks = NewTable(blockCount);
    } else if (cellsPerBlock != other.cellsPerBlock) {
        Clear();
        cellsPerBlock = other.cellsPerBlock;
        blockShift = other.blockShift;
        blockMask = other.blockMask;
    }
    CopyPages(other);
    return *this;
}

template <class T>
void omi_BlockedArray<T>::SetCell(unsigned i, const T& value) {
    unsigned page = i >> blockShift;
    if (page >= blockCount) Realloc((page / growth + 1) * growth);
    if (!blocks[page]) blocks[page] = BlockInitialize();
    blocks[page][i & blockMask] = value;
}

template <class T>
void omi_BlockedArray<T>::Realloc(unsigned n) {
    if (n <= blockCount) return;
    T** table = NewTable(n);
    if (blockCount) std::memcpy(table, blocks, sizeof(T*) * blockCount);
    mem_Free(blocks);
    blocks = table;
    blockCount = n;
}

template <class T>
void omi_BlockedArray<T>::Clear() {
    for (unsigned p = 0; p < blockCount; ++p) {
        FreeBlock(blocks[p]);
        blocks[p] = nullptr;
    }
}

template <class T>
size_t omi_BlockedArray<T>::Footprint() const {
    size_t bytes = sizeof(omi_BlockedArray<T>) + size_t{8} * blockCount;
    for (unsigned p = 0; p < blockCount; ++p) {
        if (blocks[p]) bytes += sizeof(T) * cellsPerBlock;
    }
    return bytes;
}

template <class T>
void omi_BlockedArray<T>::DumpArray() {
    for (unsigned p = 0; p < blockCount; ++p) {
        if (!blocks[p]) continue;
        unsigned first = p << blockShift;
        std::printf("Block indices= %d - %d\n", static_cast<int>(first),
                    static_cast<int>(first + blockMask));
        for (unsigned i = 0; i < cellsPerBlock; ++i) {
            const auto* bytes = reinterpret_cast<const unsigned char*>(blocks[p] + i);
            for (size_t b = 0; b < sizeof(T); ++b) std::printf("%02x", bytes[b]);
            std::printf("|");
            if ((i + 1) % 8 == 0) std::printf("\n");
        }
        std::printf("\n");
    }
    std::fflush(stdout);
}

ZORBAS_OMI_BLOCKED_ARRAY_TYPES(ZORBAS_OMI_BLOCKED_ARRAY_DEFINE)

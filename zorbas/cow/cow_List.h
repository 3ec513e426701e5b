// An indexed copy-on-write sequence kept in blocks of 2^blockShift elements under a directory.
// Sharing has two levels: a copy shares the whole directory; once a write unshares the directory
// (a memcpy of block pointers) it still shares every block, and only the blocks a write touches
// are copied. Insert and remove move the shorter side, so both ends are cheap; the free room in
// front of element 0 is `offset`. Reading by index is two shifts and two loads; the block size is
// fixed when the list is made (from its presize) and only Resize(0) resets it.
#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "companions/alloc/mem_Malloc.h"
#include "companions/coreutils/atr_String.h"
#include "companions/framework/PLXFatalError.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/ZORBasCowAllocator.h"
#include "zorbas/cow/cow_Counter.h"
#include "zorbas/cow/cow_FixedArray.h"
#include "zorbas/cow/cow_String.h"

// Tag of the presizing constructor.
enum cow_ListConstruct { cow_ListPreSize = 0 };

// A block of raw element storage with its own reference count. The block doesn't know which of
// its elements live: the list constructs with placement new and destroys by position.
template <class T>
class cow_ListBlock : public cow_Counter {
  public:
    explicit cow_ListBlock(int shift) : items(static_cast<T*>(mem_Malloc(sizeof(T) << shift))) {
        if (!items) throw std::bad_alloc();
    }
    cow_ListBlock(const cow_ListBlock&) = delete;
    cow_ListBlock& operator=(const cow_ListBlock&) = delete;
    ~cow_ListBlock() { mem_Free(items); }

    T* items;
};

// Exported on every declaration: Clang gives an instantiation the visibility of the first
// declaration it meets, and the friend below meets this one first.
template <class T>
class ZORBAS_API cow_ListIter;

template <class T>
concept cow_ListEquality = requires(const T& a) {
    { a == a } -> std::convertible_to<bool>;
};
template <class T>
concept cow_ListOrder = cow_ListEquality<T> && requires(const T& a) {
    { a < a } -> std::convertible_to<bool>;
};

template <class T>
class ZORBAS_API cow_List : public ZORBasCowAllocator {
    using Block = cow_ListBlock<T>;
    static constexpr const char* kFile = "ZORBase/ProtectedInterfaces/cow_List";

  public:
    cow_List() { Initialize(0); }
    cow_List(const cow_List& other)
        : length(other.length),
          blockLimit(other.blockLimit),
          blockShift(other.blockShift),
          offset(other.offset),
          arrayCount(other.arrayCount),
          blocks(other.blocks) {
        arrayCount->Increment();
    }
    explicit cow_List(const T& a) {
        Initialize(0);
        Append(a);
    }
    cow_List(const T& a, const T& b) {
        Initialize(0);
        Append(a).Append(b);
    }
    cow_List(const T& a, const T& b, const T& c) {
        Initialize(0);
        Append(a).Append(b).Append(c);
    }
    cow_List(const T& a, const T& b, const T& c, const T& d) {
        Initialize(0);
        Append(a).Append(b).Append(c).Append(d);
    }
    cow_List(const T& a, const T& b, const T& c, const T& d, const T& e) {
        Initialize(0);
        Append(a).Append(b).Append(c).Append(d).Append(e);
    }
    // Presized for the larger of `count` and `reserve`, holding the `count` elements of `array`.
    // The elements go straight into the presized directory, not through Resize, which would fit
    // the directory to them: a list of 256 keeps its 8 blocks of 32 in 24 slots.
    cow_List(const T* array, int count, int reserve) {
        ZORBAS_ASSERT(count >= 0, kFile, 368);
        Initialize(count > reserve ? count : reserve);
        try {
            CopyIn(array, count);
        } catch (...) {
            Release();
            throw;
        }
    }
    // Empty, with the block size and directory of a list of `size` elements.
    cow_List(cow_ListConstruct, int size) { Initialize(size); }
    ~cow_List() { Release(); }

    cow_List& operator=(const cow_List& other) {
        if (this == &other) return *this;
        Release();
        length = other.length;
        blockLimit = other.blockLimit;
        blockShift = other.blockShift;
        offset = other.offset;
        arrayCount = other.arrayCount;
        blocks = other.blocks;
        arrayCount->Increment();
        return *this;
    }

    cow_List& Append(const T& x) {
        Resize(length + 1);
        Isolate(length);
        Put(length, x);
        ++length;
        return *this;
    }
    cow_List& Prepend(const T& x) {
        // The common case, with room in front of an exclusive first block.
        if (offset > 0 && arrayCount->References() == 1) {
            int position = offset - 1;
            Block* b = blocks[position >> blockShift];
            if (b && b->References() == 1) {
                ::new (static_cast<void*>(b->items + (position & ((1 << blockShift) - 1)))) T(x);
                --offset;
                ++length;
                return *this;
            }
        }
        Prefix();
        Isolate(-1);
        --offset;
        Put(0, x);
        ++length;
        return *this;
    }
    cow_List& AppendUnlessMember(const T& x) requires cow_ListEquality<T> {
        if (!IsMember(x)) Append(x);
        return *this;
    }
    cow_List& Concatenate(const cow_List& other) {
        // The iterator shares `other`, so concatenating a list to itself reads the old contents.
        for (cow_ListIter<T> it(other); it.NotDone(); it.Next()) Append(it.CurrentItem());
        return *this;
    }
    // Before index `i`; `Length()` appends and 0 prepends. Moves the shorter side, the tail on a
    // tie.
    cow_List& InsertIndex(int i, const T& x);
    // Extends up to `size` with copies of `x`; nothing when `size` is not above the length.
    cow_List& Fill(int size, const T& x);

    cow_List& RemoveIndex(int i);
    cow_List& RemoveLast() { return RemoveIndex(length - 1); }
    // Removes the first equal element; nothing when there is none.
    cow_List& RemoveMember(const T& x) requires cow_ListEquality<T> {
        int i = FindMember(x);
        if (i >= 0) RemoveIndex(i);
        return *this;
    }
    T Pop() {
        T last = Last();
        RemoveLast();
        return last;
    }

    // Cuts the list to `sz`, or makes room for `sz` elements without creating any: the caller
    // writes and then raises the length. The directory follows in steps of 16 slots, both ways and
    // at once: a list presized for 1000 (32 slots) has 16 after its first Append.
    cow_List& Resize(int sz);
    cow_List& SetFromArray(const T* array, int C_arrLen);

    // Unshares the directory and the element's block, then gives a writable element.
    T& Get(int i) {
        CheckIndex(i);
        CopyArray();
        Isolate(i);
        return UncheckedGet(i);
    }
    // The fields are read before the check on purpose: loads that come first in the body are
    // loop-invariant to the compiler, so a loop of ConstGet keeps directory, shift and mask in
    // registers; after the check's exit they would be reloaded on every call.
    const T& ConstGet(int i) const {
        Block* const* directory = blocks;
        unsigned shift = static_cast<unsigned>(blockShift);
        unsigned position = static_cast<unsigned>(offset) + static_cast<unsigned>(i);
        CheckIndex(i);
        return directory[position >> shift]->items[position & ((1u << shift) - 1)];
    }
    // Positions are never negative here, so unsigned arithmetic spares the sign extensions.
    const T& UncheckedConstGet(int i) const {
        unsigned shift = static_cast<unsigned>(blockShift);
        unsigned position = static_cast<unsigned>(offset) + static_cast<unsigned>(i);
        return blocks[position >> shift]->items[position & ((1u << shift) - 1)];
    }
    const T& Last() const { return ConstGet(length - 1); }

    int Length() const { return length; }
    bool IsEmpty() const { return length == 0; }
    // The index, or the end of the program (abort) when it is outside the list.
    int CheckIndex(int i) const {
        if (static_cast<unsigned>(i) >= static_cast<unsigned>(length)) RaiseOutOfRange(i);
        return i;
    }

    int FindMember(const T& x) const requires cow_ListEquality<T>;
    bool IsMember(const T& x) const requires cow_ListEquality<T> { return FindMember(x) >= 0; }
    bool IsEqual(const cow_List& other) const requires cow_ListEquality<T>;
    // The elements of this list that aren't members of `other`, in order.
    cow_List Difference(const cow_List& other) const requires cow_ListEquality<T>;
    // Elements [from, to), with the range clipped to the list: a bad range gives an empty list.
    cow_List Slice(int from, int to) const;

    // A new array of copies from mem_Malloc. The caller destroys the elements (for a T with a
    // destructor) and frees the array with mem_Free.
    T* GetCArray(int& count) const;
    // Ascending, by the runtime's qsort; strings in natural order when the process asks for it.
    cow_List& Sort() requires cow_ListOrder<T>;

    // Layout figures, for tests and diagnostics.
    int BlockShift() const { return blockShift; }
    int BlockLimit() const { return blockLimit; }
    int Offset() const { return offset; }
    int DirectoryReferences() const { return arrayCount->References(); }

  protected:
    int length;
    int blockLimit;
    int blockShift;
    int offset;
    cow_Counter* arrayCount;
    Block** blocks;

  private:
    void Initialize(int n);
    Block* InitializeBlock() { return new Block(blockShift); }
    void Release();
    void CopyArray() {
        if (arrayCount->References() > 1) UnshareDirectory();
    }
    void UnshareDirectory();
    void Isolate(int i) {
        int slot = (offset + i) >> blockShift;
        if (slot >= 0 && slot < blockLimit && blocks[slot] && blocks[slot]->References() == 1)
            return;
        IsolateRange(i, i);
    }
    void IsolateRange(int from, int thru);
    // Writes `array` over positions [0, n) of a list made room for n, the length at most n.
    void CopyIn(const T* array, int n);
    void Prefix();
    template <class U>
    void Put(int i, U&& x) {
        ::new (static_cast<void*>(&UncheckedGet(i))) T(std::forward<U>(x));
    }
    void Destroy(int i) { UncheckedGet(i).~T(); }
    T& UncheckedGet(int i) { return const_cast<T&>(UncheckedConstGet(i)); }
    // Destroys the live elements of a block, highest first, and deletes it.
    void DestroyBlock(int slot, Block* b);
    void DropEmptiedBlock(int slot) {
        if (blocks[slot]->Decrement()) delete blocks[slot];
        blocks[slot] = nullptr;
    }
    // A block copy of the live elements of `slot` in positions [lo, hi).
    Block* CopyBlock(int slot, const Block* from, int lo, int hi);
    [[noreturn]] static void RaiseOutOfRange(int) { std::abort(); }
    static int SortCmp(const void* a, const void* b) requires cow_ListOrder<T>;

    friend class cow_ListIter<T>;
};

template <class T>
requires cow_ListEquality<T>
bool operator==(const cow_List<T>& a, const cow_List<T>& b) { return a.IsEqual(b); }

// A sharing copy of a list with a cursor: later writes to the list don't disturb it.
template <class T>
class ZORBAS_API cow_ListIter : public cow_List<T> {
  public:
    explicit cow_ListIter(const cow_List<T>& list)
        : cow_List<T>(list),
          items(nullptr),
          end(this->offset + this->length),
          blockSize(1 << this->blockShift),
          position(0),
          inBlock(0) {
        First();
    }

    void First() {
        position = this->offset;
        inBlock = position & (blockSize - 1);
        items = position < end ? this->blocks[position >> this->blockShift]->items : nullptr;
    }
    void Next() {
        ++position;
        if (++inBlock == blockSize) {
            inBlock = 0;
            items = position < end ? this->blocks[position >> this->blockShift]->items : nullptr;
        }
    }
    bool IsDone() const { return position >= end; }
    bool NotDone() const { return position < end; }
    // Unchecked: only while NotDone().
    const T& CurrentItem() const { return items[inBlock]; }
    int ArrayIndex() const { return position - this->offset; }

  private:
    T* items;
    int end;
    int blockSize;
    int position;
    int inBlock;
};

// ---- implementation ----

template <class T>
void cow_List<T>::Initialize(int n) {
    length = 0;
    blockLimit = 0;
    blockShift = 4;
    offset = 0;
    blocks = nullptr;
    arrayCount = new cow_Counter;
    if (n == 0) return;
    // The float's exponent is floor(log2 n); its top mantissa bits say how many blocks of
    // 2^(p-3) elements n fills (8 to 16), so large lists get large blocks.
    uint32_t m = std::bit_cast<uint32_t>(static_cast<float>(n));
    int p = static_cast<int>((m >> 23) & 0xff) - 127;
    if (p - 3 > blockShift) {
        blockLimit = static_cast<int>(((m & 0x7fffff) + 0x8fffff) >> 20);
        blockShift = p - 3;
    }
    blockLimit += 16;
    blocks = static_cast<Block**>(mem_Malloc(8 * static_cast<size_t>(blockLimit)));
    if (!blocks) {
        delete arrayCount;
        throw std::bad_alloc();
    }
    std::memset(static_cast<void*>(blocks), 0, 8 * static_cast<size_t>(blockLimit));
}

template <class T>
void cow_List<T>::Release() {
    if (arrayCount->Decrement()) {
        Resize(0);
        delete arrayCount;
    } else {
        length = 0;
        blockLimit = 0;
        offset = 0;
        blockShift = 4;
        blocks = nullptr;
    }
    arrayCount = nullptr;
}

template <class T>
void cow_List<T>::UnshareDirectory() {
    cow_Counter* count = new cow_Counter;
    Block** copy = nullptr;
    if (blockLimit) {
        copy = static_cast<Block**>(mem_Malloc(sizeof(Block*) * blockLimit));
        if (!copy) {
            delete count;
            throw std::bad_alloc();
        }
        std::memcpy(static_cast<void*>(copy), blocks, sizeof(Block*) * blockLimit);
    }
    for (int s = 0; s < blockLimit; ++s)
        if (copy[s]) copy[s]->Increment();
    arrayCount->Decrement();
    arrayCount = count;
    blocks = copy;
}

template <class T>
typename cow_List<T>::Block* cow_List<T>::CopyBlock(int slot, const Block* from, int lo, int hi) {
    Block* b = InitializeBlock();
    int base = slot << blockShift;
    int p = lo;
    try {
        for (; p < hi; ++p)
            ::new (static_cast<void*>(b->items + (p - base))) T(from->items[p - base]);
    } catch (...) {
        while (p-- > lo) b->items[p - base].~T();
        delete b;
        throw;
    }
    return b;
}

template <class T>
void cow_List<T>::IsolateRange(int from, int thru) {
    ZORBAS_ASSERT(from <= thru, kFile, 321);
    int slot_0 = (offset + from) >> blockShift;
    ZORBAS_ASSERT(slot_0 >= 0, kFile, 324);
    int slot_1 = (offset + thru) >> blockShift;
    ZORBAS_ASSERT(slot_1 < blockLimit, kFile, 327);
    for (int s = slot_0; s <= slot_1; ++s) {
        Block* b = blocks[s];
        if (!b) {
            blocks[s] = InitializeBlock();
        } else if (b->References() > 1) {
            int lo = s << blockShift;
            int hi = lo + (1 << blockShift);
            if (lo < offset) lo = offset;
            if (hi > offset + length) hi = offset + length;
            blocks[s] = CopyBlock(s, b, lo, hi);
            b->Decrement();
        }
    }
}

template <class T>
void cow_List<T>::DestroyBlock(int slot, Block* b) {
    if constexpr (!std::is_trivially_destructible_v<T>) {
        int lo = slot << blockShift;
        int hi = lo + (1 << blockShift);
        if (lo < offset) lo = offset;
        if (hi > offset + length) hi = offset + length;
        for (int p = hi - 1; p >= lo; --p) b->items[p - (slot << blockShift)].~T();
    }
    delete b;
}

template <class T>
cow_List<T>& cow_List<T>::Resize(int sz) {
    ZORBAS_ASSERT(0 <= sz, kFile, 141);
    CopyArray();
    int blockSize = 1 << blockShift;
    int keep = ((sz ? offset + sz : 0) + blockSize - 1) >> blockShift;
    bool cut = sz < length || (sz == 0 && length == 0);
    if (cut) {
        for (int s = keep; s < blockLimit; ++s) {
            if (!blocks[s]) continue;
            if (blocks[s]->Decrement()) DestroyBlock(s, blocks[s]);
            blocks[s] = nullptr;
        }
        if (offset + sz < (keep << blockShift)) {
            // The last kept block holds elements at and beyond `sz`.
            int s = keep - 1;
            int base = s << blockShift;
            Block* b = blocks[s];
            int liveEnd = offset + length < base + blockSize ? offset + length : base + blockSize;
            if (b->References() <= 1) {
                if constexpr (!std::is_trivially_destructible_v<T>)
                    for (int p = liveEnd - 1; p >= offset + sz; --p) b->items[p - base].~T();
            } else {
                int lo = base < offset ? offset : base;
                blocks[s] = CopyBlock(s, b, lo, offset + sz);
                b->Decrement();
            }
        }
    }
    int slots = (keep + 15) & ~15;
    if (slots != blockLimit) {
        // Slots beyond `keep` hold no live element; a block there is room made for one that never
        // came (a copy that threw), and goes with its slot.
        for (int s = slots; s < blockLimit; ++s)
            if (blocks[s] && blocks[s]->Decrement()) delete blocks[s];
        if (slots == 0) {
            mem_Free(blocks);
            blocks = nullptr;
        } else {
            auto* d = static_cast<Block**>(mem_Realloc(blocks, sizeof(Block*) * slots));
            if (!d) throw std::bad_alloc();
            if (slots > blockLimit)
                std::memset(static_cast<void*>(d + blockLimit), 0,
                            sizeof(Block*) * (slots - blockLimit));
            blocks = d;
        }
        blockLimit = slots;
    }
    if (length > sz) length = sz;
    if (sz == 0) {
        offset = 0;
        blockShift = 4;
    }
    return *this;
}

template <class T>
void cow_List<T>::Prefix() {
    if (offset > 0) {
        CopyArray();
        return;
    }
    int used = (length + (1 << blockShift) - 1) >> blockShift;
    if (used == blockLimit)
        Resize((used << blockShift) + 1);
    else
        CopyArray();
    // All the free room goes to the front. The move is the whole used directory, so it is one
    // memmove: an element-wise loop here cost five times the rest of a prepend from empty.
    int shift = blockLimit - used;
    if (used > 0 && shift > 0)
        std::memmove(static_cast<void*>(blocks + shift), static_cast<const void*>(blocks),
                     sizeof(Block*) * static_cast<size_t>(used));
    for (int s = 0; s < (shift < used ? shift : used); ++s) blocks[s] = nullptr;
    offset = shift << blockShift;
}

template <class T>
cow_List<T>& cow_List<T>::InsertIndex(int i, const T& x) {
    if (i == length) return Append(x);
    if (i == 0) return Prepend(x);
    CheckIndex(i);
    T value(x);  // `x` may live in this list, in storage that the moves below reuse
    if (i >= length - i) {
        Resize(length + 1);
        IsolateRange(i, length);
        Put(length, std::move(UncheckedGet(length - 1)));
        for (int j = length - 1; j > i; --j) UncheckedGet(j) = std::move(UncheckedGet(j - 1));
    } else {
        Prefix();
        IsolateRange(-1, i);
        --offset;
        Put(0, std::move(UncheckedGet(1)));
        for (int j = 1; j < i; ++j) UncheckedGet(j) = std::move(UncheckedGet(j + 1));
    }
    UncheckedGet(i) = std::move(value);
    ++length;
    return *this;
}

template <class T>
cow_List<T>& cow_List<T>::Fill(int size, const T& x) {
    if (size <= length) return *this;
    T value(x);
    Resize(size);
    IsolateRange(length, size - 1);
    for (; length < size; ++length) Put(length, value);
    return *this;
}

template <class T>
cow_List<T>& cow_List<T>::RemoveIndex(int i) {
    CheckIndex(i);
    CopyArray();
    int mask = (1 << blockShift) - 1;
    if (i < length - i) {
        IsolateRange(0, i);
        --length;
        for (int j = i - 1; j >= 0; --j) UncheckedGet(j + 1) = std::move(UncheckedGet(j));
        Destroy(0);
        ++offset;
        if ((offset & mask) == 0) DropEmptiedBlock((offset - 1) >> blockShift);
    } else {
        IsolateRange(i, length - 1);
        --length;
        for (int j = i; j < length; ++j) UncheckedGet(j) = std::move(UncheckedGet(j + 1));
        Destroy(length);
        if (((offset + length) & mask) == 0) DropEmptiedBlock((offset + length) >> blockShift);
    }
    return *this;
}

template <class T>
cow_List<T>& cow_List<T>::SetFromArray(const T* array, int C_arrLen) {
    ZORBAS_ASSERT(C_arrLen >= 0, kFile, 368);
    Resize(C_arrLen);
    CopyIn(array, C_arrLen);
    return *this;
}

template <class T>
void cow_List<T>::CopyIn(const T* array, int n) {
    if (n > 0) {
        IsolateRange(0, n - 1);
        int blockSize = 1 << blockShift;
        for (int k = 0; k < n;) {
            int position = offset + k;
            int in = position & (blockSize - 1);
            int run = blockSize - in < n - k ? blockSize - in : n - k;
            T* to = blocks[position >> blockShift]->items + in;
            if constexpr (std::is_trivially_copyable_v<T>) {
                std::memcpy(static_cast<void*>(to), array + k, sizeof(T) * run);
            } else {
                // Elements below the length live already; the others count once constructed, so
                // a copy that throws leaves no element unaccounted for.
                for (int r = 0; r < run; ++r) {
                    if (k + r < length) {
                        to[r] = array[k + r];
                    } else {
                        ::new (static_cast<void*>(to + r)) T(array[k + r]);
                        length = k + r + 1;
                    }
                }
            }
            k += run;
        }
    }
    length = n;
}

template <class T>
int cow_List<T>::FindMember(const T& x) const requires cow_ListEquality<T> {
    for (cow_ListIter<T> it(*this); it.NotDone(); it.Next())
        if (it.CurrentItem() == x) return it.ArrayIndex();
    return -1;
}

template <class T>
bool cow_List<T>::IsEqual(const cow_List& other) const requires cow_ListEquality<T> {
    if (length != other.length) return false;
    for (int k = 0; k < length; ++k) {
        const T& a = UncheckedConstGet(k);
        const T& b = other.UncheckedConstGet(k);
        if (&a != &b && !(a == b)) return false;
    }
    return true;
}

template <class T>
cow_List<T> cow_List<T>::Difference(const cow_List& other) const requires cow_ListEquality<T> {
    cow_List result;
    for (cow_ListIter<T> it(*this); it.NotDone(); it.Next())
        if (!other.IsMember(it.CurrentItem())) result.Append(it.CurrentItem());
    return result;
}

template <class T>
cow_List<T> cow_List<T>::Slice(int from, int to) const {
    if (from < 0) from = 0;
    if (to < from) to = from;
    if (to > length) to = length;
    if (from > to) from = to;
    int n = to - from;
    cow_List result(cow_ListPreSize, n);
    if (n == 0) return result;
    result.Resize(n);
    result.IsolateRange(0, n - 1);
    for (int k = 0; k < n; ++k) result.Put(k, UncheckedConstGet(from + k));
    result.length = n;
    return result;
}

template <class T>
T* cow_List<T>::GetCArray(int& count) const {
    T* array = static_cast<T*>(mem_Malloc(sizeof(T) * (length ? length : 1)));
    if (!array) throw std::bad_alloc();
    int k = 0;
    try {
        for (cow_ListIter<T> it(*this); it.NotDone(); it.Next(), ++k)
            ::new (static_cast<void*>(array + k)) T(it.CurrentItem());
    } catch (...) {
        while (k-- > 0) array[k].~T();
        mem_Free(array);
        throw;
    }
    count = length;
    return array;
}

template <class T>
int cow_List<T>::SortCmp(const void* pa, const void* pb) requires cow_ListOrder<T> {
    const T& a = *static_cast<const T*>(pa);
    const T& b = *static_cast<const T*>(pb);
    if constexpr (std::is_base_of_v<atr_StringBase, T>) {
        // The reversed sense of BtreeCompare gives ascending order with the arguments swapped.
        if (atr_getNaturalOrder()) {
            int c = BtreeCompare(b, a);
            return c < 0 ? -1 : (c > 0 ? 1 : 0);
        }
    }
    // Clang 14 instantiates a constrained member with its class even when the constraint fails
    // (the explicit instantiation of a list of lists); the guards here and in Sort keep those
    // bodies compilable. Both are always true where the member can be called.
    if constexpr (cow_ListOrder<T>) {
        if (a < b) return -1;
        return a == b ? 0 : 1;
    }
    return 0;
}

template <class T>
cow_List<T>& cow_List<T>::Sort() requires cow_ListOrder<T> {
    if (length == 0) return *this;
    int n = 0;
    T* array = GetCArray(n);
    // qsort moves elements as bytes; every element type of this library is relocatable so.
    if constexpr (cow_ListOrder<T>)
        std::qsort(static_cast<void*>(array), static_cast<size_t>(n), sizeof(T), SortCmp);
    CopyArray();
    IsolateRange(0, n - 1);
    for (int k = 0; k < n; ++k) UncheckedGet(k) = std::move(array[k]);
    if constexpr (!std::is_trivially_destructible_v<T>)
        for (int k = 0; k < n; ++k) array[k].~T();
    mem_Free(array);
    return *this;
}

// The instantiated element types, one list each for these declarations and the definitions in
// cow_List.cc and cow_ListNested.cc.
// clang-format off
#define ZORBAS_COW_LIST_TYPES_NUMBERS(M) \
    M(int) \
    M(unsigned int) \
    M(long long) \
    M(bool) \
    M(float) \
    M(double)
// clang-format on
// clang-format off
#define ZORBAS_COW_LIST_TYPES_NESTED(M) \
    M(cow_String) \
    M(atr_String) \
    M(cow_List<int>) \
    M(cow_List<unsigned int>) \
    M(cow_List<float>) \
    M(cow_List<double>) \
    M(cow_List<cow_String>) \
    M(cow_FixedArray<int>) \
    M(cow_FixedArray<double>)
// clang-format on
// Every class of one instantiation, with the prefix "extern" for the declarations here or
// none for the definitions in the sources. The type is variadic, so that it may hold commas
// (a list of trees).
#define ZORBAS_COW_LIST_CLASSES(P, ...)     \
    P template class cow_List<__VA_ARGS__>; \
    P template class cow_ListIter<__VA_ARGS__>;
#define ZORBAS_COW_LIST_EXTERN(...) ZORBAS_COW_LIST_CLASSES(extern, __VA_ARGS__)
#define ZORBAS_COW_LIST_DEFINE(...) ZORBAS_COW_LIST_CLASSES(, __VA_ARGS__)
ZORBAS_COW_LIST_TYPES_NUMBERS(ZORBAS_COW_LIST_EXTERN)
ZORBAS_COW_LIST_TYPES_NESTED(ZORBAS_COW_LIST_EXTERN)

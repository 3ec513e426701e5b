// A growable array of type-erased elements, the engine under the typed ZORBasVector. The element
// traits give the size and the copy, move and destroy operations; elements lie contiguous in one
// block of the tracked heap (16-byte aligned). Growth doubles the capacity, so PushBack is
// amortised O(1); Erase shifts the tail, O(n). A failed copy leaves the vector as it was for
// Reserve and PushBack. Not thread-safe.
#pragma once

#include <cstddef>

#include "companions/framework/zorbas_export.h"

struct ZORBasElementTraitsGeneric {
    size_t size;  // bytes of an element, a multiple of its alignment (at most 16)
    void (*copy)(void* to, const void* from);  // copy-constructs into raw memory
    void (*move)(void* to, void* from);        // move-constructs into raw memory; must not throw
    void (*destroy)(void* element);
};

class ZORBAS_API ZORBasVectorGeneric {
  public:
    explicit ZORBasVectorGeneric(const ZORBasElementTraitsGeneric& traits);
    ~ZORBasVectorGeneric();
    ZORBasVectorGeneric(const ZORBasVectorGeneric&) = delete;
    ZORBasVectorGeneric& operator=(const ZORBasVectorGeneric&) = delete;

    // Replaces the contents with `count` copies of `fill`.
    void Init(size_t count, const void* fill);
    // Replaces the contents with copies of `other`'s elements (same traits).
    void Init(const ZORBasVectorGeneric& other);
    // Shrinks, or grows with copies of `fill`.
    void Resize(size_t count, const void* fill);
    void Reserve(size_t capacity);
    void PushBack(const void* element);
    // Removes the element at `position` and returns the element now there (End() when it was the
    // last).
    void* Erase(void* position);
    void Clear();
    void swap(ZORBasVectorGeneric& other);

    size_t Size() const { return m_size; }
    size_t Capacity() const { return m_capacity; }
    void* Begin() const { return m_data; }
    void* End() const { return At(m_size); }
    void* At(size_t i) const { return m_data + i * m_traits.size; }

  private:
    // A raw block for `capacity` elements; throws std::bad_alloc.
    char* NewBlock(size_t capacity) const;
    // Moves the elements into `fresh` (room for `capacity`) and frees the old block.
    void Adopt(char* fresh, size_t capacity);

    ZORBasElementTraitsGeneric m_traits;
    char* m_data;
    size_t m_size;
    size_t m_capacity;
};

#include "companions/generics/ZORBasVectorGeneric.h"

#include <new>
#include <utility>

#include "companions/alloc/mem_Malloc.h"

ZORBasVectorGeneric::ZORBasVectorGeneric(const ZORBasElementTraitsGeneric& traits)
    : m_traits(traits), m_data(nullptr), m_size(0), m_capacity(0) {}

ZORBasVectorGeneric::~ZORBasVectorGeneric() {
    Clear();
    mem_Free(m_data);
}

char* ZORBasVectorGeneric::NewBlock(size_t capacity) const {
    if (capacity > SIZE_MAX / (m_traits.size ? m_traits.size : 1)) throw std::bad_alloc();
    return static_cast<char*>(mem_OperatorNewThrow(capacity * m_traits.size));
}

void ZORBasVectorGeneric::Adopt(char* fresh, size_t capacity) {
    for (size_t i = 0; i < m_size; ++i) {
        m_traits.move(fresh + i * m_traits.size, At(i));
        m_traits.destroy(At(i));
    }
    mem_Free(m_data);
    m_data = fresh;
    m_capacity = capacity;
}

void ZORBasVectorGeneric::Reserve(size_t capacity) {
    if (capacity > m_capacity) Adopt(NewBlock(capacity), capacity);
}

void ZORBasVectorGeneric::PushBack(const void* element) {
    if (m_size == m_capacity) {
        // The element may lie in this vector: copy it before the block moves.
        size_t grown = m_capacity ? m_capacity * 2 : 4;
        char* fresh = NewBlock(grown);
        try {
            m_traits.copy(fresh + m_size * m_traits.size, element);
        } catch (...) {
            mem_Free(fresh);
            throw;
        }
        Adopt(fresh, grown);
    } else {
        m_traits.copy(At(m_size), element);
    }
    ++m_size;
}

void ZORBasVectorGeneric::Resize(size_t count, const void* fill) {
    while (m_size > count) m_traits.destroy(At(--m_size));
    if (m_size == count) return;
    if (count > m_capacity && fill >= Begin() && fill < End()) {
        // `fill` lies in the block about to move: grow from a copy of it.
        auto* copy = static_cast<char*>(mem_OperatorNewThrow(m_traits.size));
        try {
            m_traits.copy(copy, fill);
        } catch (...) {
            mem_Free(copy);
            throw;
        }
        try {
            Resize(count, copy);
        } catch (...) {
            m_traits.destroy(copy);
            mem_Free(copy);
            throw;
        }
        m_traits.destroy(copy);
        mem_Free(copy);
        return;
    }
    if (count > m_capacity) Reserve(m_capacity * 2 > count ? m_capacity * 2 : count);
    while (m_size < count) {
        m_traits.copy(At(m_size), fill);
        ++m_size;
    }
}

void ZORBasVectorGeneric::Init(size_t count, const void* fill) {
    ZORBasVectorGeneric fresh(m_traits);
    fresh.Resize(count, fill);
    swap(fresh);
}

void ZORBasVectorGeneric::Init(const ZORBasVectorGeneric& other) {
    if (&other == this) return;
    ZORBasVectorGeneric fresh(m_traits);
    fresh.Reserve(other.m_size);
    for (size_t i = 0; i < other.m_size; ++i) fresh.PushBack(other.At(i));
    swap(fresh);
}

void* ZORBasVectorGeneric::Erase(void* position) {
    char* p = static_cast<char*>(position);
    size_t index = static_cast<size_t>(p - m_data) / m_traits.size;
    for (size_t i = index; i + 1 < m_size; ++i) {
        m_traits.destroy(At(i));
        m_traits.move(At(i), At(i + 1));
    }
    m_traits.destroy(At(--m_size));
    return At(index);
}

void ZORBasVectorGeneric::Clear() {
    while (m_size > 0) m_traits.destroy(At(--m_size));
}

void ZORBasVectorGeneric::swap(ZORBasVectorGeneric& other) {
    std::swap(m_traits, other.m_traits);
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    std::swap(m_capacity, other.m_capacity);
}

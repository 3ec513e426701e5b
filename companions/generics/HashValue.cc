#include "companions/generics/HashValue.h"

#include <cstdint>

namespace {
// A 64-bit finaliser (from MurmurHash3's fmix64) mixes every input bit into the high bits; the
// multiply-shift range reduction then keeps the result below `size` without a division.
inline uint64_t Mix(uint64_t k) {
    k ^= k >> 33;
    k *= 0xff51afd7ed558ccdULL;
    k ^= k >> 33;
    k *= 0xc4ceb9fe1a85ec53ULL;
    k ^= k >> 33;
    return k;
}
inline unsigned int Reduce(uint64_t h, unsigned int size) {
    return static_cast<unsigned int>(((h & 0xffffffffULL) * size) >> 32);
}
}  // namespace

unsigned int HashValue(const unsigned int& key, unsigned int size) {
    return Reduce(Mix(key), size);
}

unsigned int HashValue(void* const& key, unsigned int size) {
    return Reduce(Mix(reinterpret_cast<uintptr_t>(key)), size);
}

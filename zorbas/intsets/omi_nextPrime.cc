#include "zorbas/intsets/omi_nextPrime.h"

#include <cstdint>
#include <initializer_list>

#include "companions/framework/PLXFatalError.h"

namespace {

constexpr const char* kFile = "ZORBase/ZORBasOmni.m/src/omi_nextPrime";
constexpr unsigned kLargestPrime = 4294967291u;

uint32_t PowMod(uint64_t base, uint32_t exp, uint32_t mod) {
    uint64_t result = 1;
    base %= mod;
    for (; exp; exp >>= 1) {
        if (exp & 1u) result = result * base % mod;
        base = base * base % mod;
    }
    return static_cast<uint32_t>(result);
}

// One Miller-Rabin round; n odd, above the witness.
bool PassesRound(uint32_t n, uint32_t witness) {
    uint32_t d = n - 1;
    int s = 0;
    while ((d & 1u) == 0) {
        d >>= 1;
        ++s;
    }
    uint64_t x = PowMod(witness, d, n);
    if (x == 1 || x == n - 1) return true;
    for (int i = 1; i < s; ++i) {
        x = x * x % n;
        if (x == n - 1) return true;
    }
    return false;
}

}  // namespace

bool omi_isPrime(unsigned n) {
    if (n < 2) return false;
    for (unsigned p : {2u, 3u, 5u, 7u, 11u, 13u, 61u}) {
        if (n == p) return true;
        if (n % p == 0) return false;
    }
    // The witnesses 2, 7 and 61 decide every n below 4,759,123,141.
    return PassesRound(n, 2) && PassesRound(n, 7) && PassesRound(n, 61);
}

unsigned omi_nextPrime(unsigned n) {
    ZORBAS_ASSERT(n <= kLargestPrime, kFile, __LINE__);
    if (n <= 2) return 2;
    unsigned candidate = n | 1u;
    while (!omi_isPrime(candidate)) candidate += 2;
    return candidate;
}

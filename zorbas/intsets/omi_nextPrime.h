// Prime sizes for hashed tables: the smallest prime not below a bound, found by stepping over odd
// candidates with a deterministic Miller-Rabin test (exact for every 32-bit number). Gaps between
// 32-bit primes stay below 336, so a call costs a few hundred modular multiplications at most.
#pragma once

#include "companions/framework/zorbas_export.h"

// The smallest prime >= n; 2 for n <= 2. n above 4294967291, the largest 32-bit prime, has no
// answer and is a contract violation.
ZORBAS_API unsigned omi_nextPrime(unsigned n);

// Exact primality of a 32-bit number.
ZORBAS_API bool omi_isPrime(unsigned n);

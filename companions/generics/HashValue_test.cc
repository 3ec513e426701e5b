#include "companions/generics/HashValue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

TEST(HashValue, StaysBelowTheSizeAndSpreadsRegularKeys) {
    for (unsigned size : {1u, 2u, 97u, 1024u, 4294967295u}) {
        for (unsigned k = 0; k < 2000; ++k) {
            ASSERT_LT(HashValue(k, size), size);
            void* p = reinterpret_cast<void*>(static_cast<uintptr_t>(k) << 20);
            ASSERT_LT(HashValue(p, size), size);
        }
    }
    // Keys that differ only in high bits (aligned pointers, strided ids) fill the buckets evenly.
    constexpr unsigned kBuckets = 64;
    constexpr unsigned kKeys = 64 * 200;
    std::vector<int> byId(kBuckets), byPtr(kBuckets);
    for (unsigned k = 0; k < kKeys; ++k) {
        ++byId[HashValue(k * 4096u, kBuckets)];
        void* p = reinterpret_cast<void*>(0x7f0000000000ULL + (static_cast<uintptr_t>(k) << 4));
        ++byPtr[HashValue(p, kBuckets)];
    }
    for (auto* counts : {&byId, &byPtr}) {
        EXPECT_GT(*std::min_element(counts->begin(), counts->end()), 200 / 2);
        EXPECT_LT(*std::max_element(counts->begin(), counts->end()), 200 * 2);
    }
}

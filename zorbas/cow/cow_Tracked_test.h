// An element type for the container tests that counts its constructions, copies, moves and
// destructions, so that a test can prove how many elements an operation copied and that nothing
// leaked (Live() back to 0).
#pragma once

#include <gtest/gtest.h>

#include "companions/alloc/mem_Malloc.h"

struct Tracked {
    static inline long constructed = 0;
    static inline long copied = 0;
    static inline long moved = 0;
    static inline long destroyed = 0;

    static void Reset() { constructed = copied = moved = destroyed = 0; }
    static long Live() { return constructed + copied + moved - destroyed; }

    Tracked() : value(0) { ++constructed; }
    Tracked(int v) : value(v) { ++constructed; }
    Tracked(const Tracked& other) : value(other.value) { ++copied; }
    Tracked(Tracked&& other) noexcept : value(other.value) { ++moved; }
    Tracked& operator=(const Tracked& other) = default;
    Tracked& operator=(Tracked&& other) noexcept = default;
    ~Tracked() { ++destroyed; }

    friend bool operator==(const Tracked& a, const Tracked& b) { return a.value == b.value; }
    friend bool operator<(const Tracked& a, const Tracked& b) { return a.value < b.value; }

    int value;
};

// A fixture that fails a test whose elements, or whose blocks on the tracked heap, outlive it.
class TrackedLeakTest : public ::testing::Test {
  protected:
    void SetUp() override {
        Tracked::Reset();
        blocksBefore = mem_LiveBlocks();
    }
    void TearDown() override {
        EXPECT_EQ(Tracked::Live(), 0) << "elements leaked or destroyed twice";
        EXPECT_EQ(mem_LiveBlocks(), blocksBefore) << "container storage leaked";
    }
    size_t blocksBefore = 0;
};

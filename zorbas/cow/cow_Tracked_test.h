// An element type for the container tests that counts its constructions, copies, moves and
// destructions, so that a test can prove how many elements an operation copied and that nothing
// leaked (Live() back to 0).
#pragma once

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

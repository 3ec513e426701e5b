// The loop every container fuzz target shares. The input is a program: each step picks one of
// four slots and an operation; some steps copy one slot into another (by construction or by
// assignment), so that containers share storage at random points. Each slot has a std:: twin
// that receives the same operations, and after every step every slot is compared with its twin,
// so a write that leaks into a copy, or a copy that misses a write, stops the run at that step.
// Running out of bytes reads zeros, so every input is a valid program. Costs: one full
// comparison of the four slots per step.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <type_traits>

// Ends the run with a message naming the container, the step and what differed.
[[noreturn]] inline void fuzz_Fail(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::fputs("fuzz mismatch: ", stderr);
    std::vfprintf(stderr, format, args);
    std::fputc('\n', stderr);
    va_end(args);
    std::abort();
}

#define FUZZ_CHECK(condition, ...)                \
    do {                                          \
        if (!(condition)) fuzz_Fail(__VA_ARGS__); \
    } while (0)

// Reads operands from the input bytes.
class fuzz_Ops {
  public:
    fuzz_Ops(const uint8_t* data, size_t size) : data(data), size(size) {}
    bool More() const { return at < size; }
    uint8_t Byte() { return at < size ? data[at++] : 0; }
    // Below n, for n up to 65,536.
    unsigned Below(unsigned n) {
        unsigned raw = Byte();
        if (n > 256) raw = raw << 8 | Byte();
        return raw % n;
    }
    uint32_t Word() {
        uint32_t w = 0;
        for (int i = 0; i < 4; ++i) w = w << 8 | Byte();
        return w;
    }
    // Mostly below `dense`, so that writes meet earlier keys; one time in eight any 32 bits.
    uint32_t Key(unsigned dense) { return (Byte() & 7) == 0 ? Word() : Below(dense); }

  private:
    const uint8_t* data;
    size_t size;
    size_t at = 0;
};

// Runs the program for container C with twin Twin. `step(ops, c, twin, other, otherTwin)` applies
// one operation to c and its twin (other is a second slot, possibly c itself) and returns its
// name; `copy(c)` gives a new copy of c; `check(c, twin, slot, name)` compares one slot.
template <class C, class Twin, class Step, class Copy, class Check>
int fuzz_Run(const uint8_t* data, size_t size, Step step, Copy copy, Check check) {
    constexpr unsigned kSlots = 4;
    fuzz_Ops ops(data, size);
    std::unique_ptr<C> box[kSlots];
    Twin twin[kSlots];
    for (auto& b : box) b = std::make_unique<C>();
    while (ops.More()) {
        unsigned a = ops.Below(kSlots);
        unsigned b = ops.Below(kSlots);
        unsigned kind = ops.Byte();
        const char* name;
        if (kind < 16 && a != b) {
            // Replaces slot b by a copy of slot a, built or assigned; the old b dies first or
            // after, so that both release orders run.
            if constexpr (std::is_copy_assignable_v<C>) {
                if (kind & 1) {
                    *box[b] = *box[a];
                    name = "assignment";
                } else {
                    box[b] = copy(*box[a]);
                    name = "copy";
                }
            } else {
                box[b] = copy(*box[a]);
                name = "copy";
            }
            twin[b] = twin[a];
        } else {
            name = step(ops, *box[a], twin[a], *box[b], twin[b]);
        }
        for (unsigned i = 0; i < kSlots; ++i) check(*box[i], twin[i], i, name);
    }
    return 0;
}

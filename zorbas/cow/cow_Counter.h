// The reference count of a shared referent: a plain int, never atomic, in a four-byte block of
// its own from the tiny allocator. Handles that share a referent must stay on one thread.
#pragma once

#include <cstdint>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

class ZORBAS_API cow_Counter : public mem_AllocationOperatorsTiny {
  public:
    cow_Counter() : m_count(1) {}
    void Increment() { ++m_count; }
    // True when the count fell below 1: the last holder then frees the referent.
    bool Decrement() { return --m_count < 1; }
    int References() const { return m_count; }

  private:
    int32_t m_count;
};

// A referent that knows its counter (for objects that hand out holders to themselves).
class ZORBAS_API cow_IntrusiveCountedBase {
  public:
    cow_IntrusiveCountedBase() : m_counter(nullptr) {}
    // Replacing a counter that is already set with a different one is reported on standard
    // error (it means two groups of holders now believe they own the object); the new one is
    // stored in every case.
    void SetCounter(cow_Counter* counter);
    cow_Counter* GetCounter() const { return m_counter; }

  private:
    cow_Counter* m_counter;
};

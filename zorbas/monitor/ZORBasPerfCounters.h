// Hardware counters of the calling thread: CPU cycles and retired instructions between Start and
// Stop, through perf_event_open. Where the kernel or the machine refuses them (a virtual machine
// without a PMU, perf_event_paranoid too high, a seccomp filter), Available() is false, the counts
// stay 0 and Reason() says why in words; nothing throws. Start and Stop are one ioctl each.
#pragma once

#include <cstdint>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasPerfCounters : public mem_AllocationOperators {
  public:
    ZORBasPerfCounters();
    ~ZORBasPerfCounters();
    ZORBasPerfCounters(const ZORBasPerfCounters&) = delete;
    ZORBasPerfCounters& operator=(const ZORBasPerfCounters&) = delete;

    bool Available() const { return m_cycles >= 0 && m_instructions >= 0; }
    // "available", or "not available: " and the system's reason.
    const char* Reason() const { return m_reason; }

    void Start();
    void Stop();
    uint64_t Cycles() const { return m_cycleCount; }
    uint64_t Instructions() const { return m_instructionCount; }
    // Instructions per cycle of the last interval; 0 when not available.
    double InstructionsPerCycle() const;

  private:
    int m_cycles = -1;
    int m_instructions = -1;
    uint64_t m_cycleCount = 0;
    uint64_t m_instructionCount = 0;
    char m_reason[128];
};

// A wall-clock stopwatch on the monotonic clock: Start, Stop, and the elapsed seconds, which go on
// growing while it runs and hold still once stopped. A Start after a Stop goes on from the time
// already gathered; Reset clears it. Each call reads the clock once (about 20 ns); not thread-safe.
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

class ZORBAS_API omi_Timer : public mem_AllocationOperators {
  public:
    void Reset();
    void Start();
    void Stop();
    bool IsRunning() const { return m_running; }
    // Seconds gathered so far, the running interval included.
    double Elapsed() const;

  private:
    double m_started = 0.0;
    double m_gathered = 0.0;
    bool m_running = false;
};

// The process's usage recorder. With VEL_RESOURCE_MONITOR set, Initialize opens the job's ".use"
// table and every Mark writes one row (wall and CPU time, memory, heap footprint, I/O) on the
// calling thread; 601 named timers gather CPU and wall time with their spread, and the library's
// end writes the last row and the timer summary. Without the switch a mark only reaches the phase
// tracker. One per process (omi_Singleton); nothing locks, so marks and timers belong to the
// controlling thread of each rank. A row costs a few /proc reads (tens of microseconds); a timer
// pair two getrusage and two clock readings.
//
// The table's layout is an external format read by the suite's scripts and kept as it is: the
// header runs "VirtBytesPeak" and "PID" together, rows are space-separated under a comma-headed
// header, and with VEL_RESOURCE_DLMALLINFO the header names two columns more than a row holds.
//
// On Linux the Windows counters read: WSPEAK VmHWM, WORKSPACE VmRSS, PeakPageFile VmPeak (KB, from
// /proc/self/status); PageFaults minor plus major faults (getrusage); Read and Write the syscr and
// syscw of /proc/self/io. QuotaPeakPagePool, QPagePool, QNPPP, QNPP, Handles, VirtBytes and
// VirtBytesPeak have no Linux meaning and stay 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/base/omi_Singleton.h"
#include "zorbas/cow/cow_String.h"
#include "zorbas/monitor/omi_Timer.h"

// One named timer's sums.
struct ZORBAS_API bcu_timer : mem_AllocationOperators {
    bcu_timer();
    ~bcu_timer();
    bcu_timer(const bcu_timer&) = delete;
    bcu_timer& operator=(const bcu_timer&) = delete;

    double* trace;  // 10000 wall deltas, one per call, only in trace mode
    double startUser, startSystem, startWall;
    double totalUser, totalSystem;
    double totalWall;
    double sumOfSquares;
    double totalWall2;  // a second sum of the wall deltas, for the sigma
    double minimum, maximum;
    int32_t calls;
    bool used;
    cow_String name;
};

// The process's usage counters as a row prints them; KB where a size.
struct a_nt_rusage {
    int32_t elapsed;
    double userCpu, systemCpu, totalCpu;
    int32_t peakWorkingSet, workingSet;
    int32_t quotaPeakPagedPool, quotaPagedPool, quotaPeakNonPagedPool, quotaNonPagedPool;
    int32_t pageFaults;
    int32_t peakPageFile;
    int32_t handles, virtualBytes, peakVirtualBytes;
    int32_t processId;
};

// The system's process I/O counters, in its order.
struct a_iodata {
    uint64_t readOperations, writeOperations, otherOperations;
    uint64_t readBytes, writeBytes, otherBytes;
};

class ZORBAS_API bcu_ResourceMonitor : public omi_Singleton<bcu_ResourceMonitor>,
                                       public mem_AllocationOperators {
  public:
    static constexpr int kTimers = 601;
    static constexpr int kTraceEntries = 10000;
    static constexpr size_t kMarkWidth = 40;

    using CommandLineCallback = void (*)(cow_String& job, cow_String& directory);
    using MemoryCallback = void (*)(size_t&, size_t&, size_t&);

    bcu_ResourceMonitor();
    // Writes the end mark, the header again and the timer summary when enabled.
    ~bcu_ResourceMonitor();
    bcu_ResourceMonitor(const bcu_ResourceMonitor&) = delete;
    bcu_ResourceMonitor& operator=(const bcu_ResourceMonitor&) = delete;

    void Initialize(const char* phase, int rank);
    void Mark(const char* mark);
    // Ids of 601 and more are ignored, as is every call while the monitor is off. The bound test
    // looks only at the upper limit: callers must not pass a negative id.
    void IniTimer(int id, const char* name);
    void StartTimer(int id);
    void StopTimer(int id);
    void ResetPhaseName(const char* phase);
    void RegisterCmdLine(CommandLineCallback callback);
    void RegisterMemoryStack(MemoryCallback callback);
    void SrmMemorySummary();

    // What a caller may inspect: the switch, the file names, one timer.
    bool Enabled() const { return m_enabled; }
    const cow_String& UsePath() const { return m_usePath; }
    const cow_String& IoUsePath() const { return m_ioPath; }
    const bcu_timer* Timer(int id) const;

    // The mark as a row prints it: cut to its first 19 characters, "_" and its last 20 when it is
    // longer than 40 and full mode is off.
    static cow_String ShortenedMark(const char* mark, bool full);

  private:
    void GetVmInfo() {}
    void OutputHeader();
    int nt_getrusage(int who, a_nt_rusage* usage);
    int nt_getiodata(a_iodata* data);
    void WriteLoadRow();
    void WriteSummary();
    void WriteTraces();
    bool UseTimer(int id);

    omi_Timer m_wall;
    cow_String m_job;
    cow_String m_phase;
    cow_String m_directory;
    CommandLineCallback m_commandLine;
    MemoryCallback m_memory;
    int32_t m_secondsOfDay;
    bool m_enabled;
    bool m_v6;
    bool m_full, m_trace;
    bool m_dlMallinfo;
    bool m_mallinfo, m_heapCheck;
    FILE* m_use;
    bcu_timer* m_timers;
    bool m_perfTracking;
    uint64_t m_readCalls;
    double m_readTime;
    uint64_t m_readBytesRequested, m_readBytes;
    uint64_t m_writeCalls;
    double m_writeTime;
    uint64_t m_writeBytesRequested, m_writeBytes;
    uint32_t m_processId;
    int m_process;  // no handle on Linux: the process reads its own /proc files
    char m_moduleName[260];
    uint64_t* m_ioCounters;  // the six words of the system's I/O counters
    cow_String m_usePath;
    cow_String m_ioPath;
};

// The default command line callback: the job name that the program gave the error context (empty
// until it sets one) and its output directory.
ZORBAS_API void bcu_CommandLineCallback(cow_String& job, cow_String& directory);

extern template class omi_Singleton<bcu_ResourceMonitor>;

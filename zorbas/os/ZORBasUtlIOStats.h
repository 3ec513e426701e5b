// Read and write counters of a job's files: per file (keyed by volume and index, the identity of
// an open file) and in total, the calls, the seconds spent, the bytes asked for and the bytes
// done. Files feed it from any thread (one uncontended mutex per call, next to a system call); the
// resource monitor reads the totals for its rows. Under IO_RESOURCE_MONITOR it also writes the
// ".io.use" table: a row of totals per mark and, at the end, a row per file.
//
// Counting is on once Initialize was called with the monitor enabled or IO_RESOURCE_MONITOR set;
// before that a record costs one relaxed load.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/base/omi_Singleton.h"

struct ZORBasUtlIOTotals {
    uint64_t readCalls = 0;
    double readTime = 0.0;
    uint64_t readBytesRequested = 0;
    uint64_t readBytes = 0;
    uint64_t writeCalls = 0;
    double writeTime = 0.0;
    uint64_t writeBytesRequested = 0;
    uint64_t writeBytes = 0;
};

class ZORBAS_API ZORBasUtlIOStats : public omi_Singleton<ZORBasUtlIOStats>,
                                    public mem_AllocationOperators {
  public:
    ZORBasUtlIOStats();
    ~ZORBasUtlIOStats();
    ZORBasUtlIOStats(const ZORBasUtlIOStats&) = delete;
    ZORBasUtlIOStats& operator=(const ZORBasUtlIOStats&) = delete;

    // Starts counting when `enabled` or IO_RESOURCE_MONITOR is set, clears the totals, and under
    // IO_RESOURCE_MONITOR opens `ioPath` (appending unless the phase starts a run) for the table.
    static void Initialize(const char* phase, bool enabled, const char* ioPath, int rank);
    // Writes a row of totals under the mark, when the table is open.
    static void Mark(const char* mark);
    // Names timer `id` in the table's notes; kept for the monitor's timers.
    static void IniTimer(int id, const char* name);
    static void GetIOInfo(ZORBasUtlIOTotals& totals);

    // One read or write of a file: `name` is kept the first time the file is seen.
    static void RecordRead(uint64_t volume, uint64_t index, const char* name, uint64_t requested,
                           uint64_t done, double seconds);
    static void RecordWrite(uint64_t volume, uint64_t index, const char* name, uint64_t requested,
                            uint64_t done, double seconds);
    static bool Counting() { return s_counting.load(std::memory_order_relaxed); }

    // The totals of one file, false when it was never seen.
    static bool FileTotals(uint64_t volume, uint64_t index, ZORBasUtlIOTotals& totals);

  private:
    struct Impl;
    void Record(bool write, uint64_t volume, uint64_t index, const char* name, uint64_t requested,
                uint64_t done, double seconds);
    void WriteFileRows();

    Impl* m_impl;
    static std::atomic<bool> s_counting;
};

extern template class omi_Singleton<ZORBasUtlIOStats>;

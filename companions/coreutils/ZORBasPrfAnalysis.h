// Named time marks of a run, for performance tracking: MarkTime records a name with the time
// since the analysis was made (steady clock) and the process's CPU time. Marks are kept in order,
// all of them (a run sets a few hundred at most); names are copied. Thread-safe under the
// analysis's own lock. Reached as ZORBasAtiGlobalSingleton<ZORBasPrfAnalysis>::Instance().
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasPrfAnalysis : public mem_AllocationOperators {
  public:
    ZORBasPrfAnalysis();
    ~ZORBasPrfAnalysis();
    ZORBasPrfAnalysis(const ZORBasPrfAnalysis&) = delete;
    ZORBasPrfAnalysis& operator=(const ZORBasPrfAnalysis&) = delete;

    void MarkTime(const char* name);

    int Count() const;
    // The i-th mark (0 the first): its name (valid while the analysis lives), its wall time and
    // CPU time in seconds since the analysis was made. Null and -1 outside [0, Count()).
    const char* NameAt(int i) const;
    double SecondsAt(int i) const;
    double CpuSecondsAt(int i) const;
    // The wall time of the latest mark of that name, -1 when there is none.
    double SecondsOf(const char* name) const;
    void Clear();

  private:
    struct Impl;
    Impl* m_impl;
};

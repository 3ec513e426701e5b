// Sizes of the process and the machine, in bytes, from /proc and the cgroup file system. Every
// query reads its file anew with open/read into a stack buffer: nothing is allocated, so crash
// paths may call it. A size the system does not report reads 0.
#pragma once

#include <cstddef>

#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasMemInfo {
  public:
    // Stands for "no limit" in CoreSize and in Accessible's view of a cgroup.
    static constexpr size_t UNLIMITED = ~size_t{0};

    ZORBasMemInfo();
    ~ZORBasMemInfo();

    // Virtual size (VmSize) and resident size (VmRSS) of this process now.
    size_t Current() const;
    size_t Resident() const;
    // Peak virtual and resident sizes (VmPeak, VmHWM).
    size_t PeakCurrent() const;
    size_t PeakResident() const;

    // The machine's memory (MemTotal of /proc/meminfo).
    static size_t Physical();
    // The memory this process may use: the smaller of Physical() and the memory limit of its
    // cgroup (v2 memory.max along the cgroup's path, else v1 memory.limit_in_bytes).
    static size_t Accessible();
    // The cgroup memory limit alone, UNLIMITED when there is none.
    static size_t CgroupLimit();
    // Sets the soft limit of core files to `bytes` (UNLIMITED for none, clipped to the hard
    // limit). Returns 0 on success, an errno value otherwise.
    static int CoreSize(size_t bytes);
};

// The value of the environment variable VEL_PARALLEL_DEBUG when the library was loaded, null when
// it was unset. The file layer reads it.
ZORBAS_API extern const char* VEL_PARALLEL_DEBUG;

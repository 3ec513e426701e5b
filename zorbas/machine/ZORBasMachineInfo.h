// What machine a job ran on, in the words a usage table or a report prints: host name, operating
// system, processor name, physical memory and processor count. Read once on first use from
// uname(2), /proc/cpuinfo and the memory information, then answered from fixed buffers, so that a
// crash path can print them without allocating.
#pragma once

#include <cstddef>

#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasMachineInfo {
  public:
    // Reads the facts; later calls do nothing. Not thread-safe on the first call.
    static void Load();
    static const char* HostName();  // at most 1024 bytes
    // The system's name, release and machine, e.g. "Linux 6.1.0-18-amd64 x86_64".
    static const char* OperatingSystem();
    // The processor's model name, e.g. "AMD EPYC"; empty when the kernel does not say.
    static const char* ProcessorName();
    // Physical memory in bytes.
    static size_t PhysicalMemory();
    // Processors online, and those this process may run on.
    static unsigned OnlineProcessors();
    static unsigned UsableProcessors();
};

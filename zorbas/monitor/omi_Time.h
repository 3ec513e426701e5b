// Readings of the clocks a usage table needs: the process's user and system CPU time, the local
// time of day, and the calendar time. Each reading is one system call (getrusage, clock_gettime,
// localtime_r); nothing is cached, so readings on any thread are independent.
#pragma once

#include <cstdint>

#include "companions/framework/zorbas_export.h"

class ZORBAS_API omi_Time {
  public:
    // User and system CPU time of the whole process, in seconds (microsecond resolution).
    static void ProcessTimes(double& user, double& system);
    // Local time of day: hours * 3600 + minutes * 60 + seconds, plus milliseconds / 1000.
    static double LocalSecondsOfDay();
    // The same, whole seconds only.
    static int32_t LocalWholeSecondsOfDay();
    // Seconds since the epoch.
    static int64_t CalendarSeconds();
    // A monotonic reading in seconds, for intervals.
    static double Monotonic();
};

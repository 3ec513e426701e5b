#include "zorbas/monitor/omi_Time.h"

#include <sys/resource.h>
#include <time.h>

void omi_Time::ProcessTimes(double& user, double& system) {
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    user = static_cast<double>(ru.ru_utime.tv_sec) + ru.ru_utime.tv_usec / 1e6;
    system = static_cast<double>(ru.ru_stime.tv_sec) + ru.ru_stime.tv_usec / 1e6;
}

namespace {

// The local time of day from the realtime clock and the zone's offset, which localtime_r finds
// (a stat of the zone file each call) once a minute: a timer reads the time of day twice per
// pair, and a zone changes its offset only on a minute boundary.
struct LocalClock {
    time_t validUntil = 0;
    long offset = 0;

    double SecondsOfDay(bool withMilliseconds) {
        timespec ts{};
        clock_gettime(CLOCK_REALTIME, &ts);
        if (ts.tv_sec >= validUntil) {
            tm local{};
            localtime_r(&ts.tv_sec, &local);
            offset = local.tm_gmtoff;
            validUntil = ts.tv_sec - ts.tv_sec % 60 + 60;
        }
        long day = static_cast<long>((ts.tv_sec + offset) % 86400);
        if (day < 0) day += 86400;
        return withMilliseconds ? day + (ts.tv_nsec / 1000000) / 1000.0 : static_cast<double>(day);
    }
};
thread_local LocalClock t_clock;

}  // namespace

double omi_Time::LocalSecondsOfDay() { return t_clock.SecondsOfDay(true); }

int32_t omi_Time::LocalWholeSecondsOfDay() {
    return static_cast<int32_t>(t_clock.SecondsOfDay(false));
}

int64_t omi_Time::CalendarSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return ts.tv_sec;
}

double omi_Time::Monotonic() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + ts.tv_nsec / 1e9;
}

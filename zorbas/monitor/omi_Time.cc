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
tm LocalNow(long* milliseconds) {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    tm local{};
    localtime_r(&ts.tv_sec, &local);
    if (milliseconds) *milliseconds = ts.tv_nsec / 1000000;
    return local;
}
}  // namespace

double omi_Time::LocalSecondsOfDay() {
    long ms = 0;
    tm t = LocalNow(&ms);
    return t.tm_hour * 3600.0 + t.tm_min * 60.0 + t.tm_sec + ms / 1000.0;
}

int32_t omi_Time::LocalWholeSecondsOfDay() {
    tm t = LocalNow(nullptr);
    return t.tm_hour * 3600 + t.tm_min * 60 + t.tm_sec;
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

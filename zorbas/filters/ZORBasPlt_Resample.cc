#include "zorbas/filters/ZORBasPlt_Resample.h"

#include <cmath>

#include "companions/framework/PLXFatalError.h"
#include "zorbas/intsets/omi_BlkBitVect.h"

namespace {
constexpr const char* kSource = "filters/ZORBasPlt_Resample";
}

int ZORBasPlt_resampleCount(const float* times, int count, double step) {
    ZORBAS_ASSERT(step > 0.0, kSource, __LINE__);
    if (count <= 0) return 0;
    const double t0 = times[0];
    const float last = times[count - 1];
    const double estimate = std::floor((static_cast<double>(last) - t0) / step);
    ZORBAS_ASSERT(estimate >= 0.0 && estimate < 2147483646.0, kSource, __LINE__);
    // The estimate is off by one at most where the last time's float rounding decides; the
    // grid point counts when its float time does not lie beyond the last time.
    int k = static_cast<int>(estimate);
    if (static_cast<float>(t0 + (k + 1) * step) <= last) ++k;
    if (k > 0 && static_cast<float>(t0 + k * step) > last) --k;
    return k + 1;
}

int ZORBasPlt_resampleUniform(const float* times, const float* values, int count, double step,
                              float* newTimes, float* newValues, int capacity,
                              omi_BlkBitVect* kept) {
    const int n = ZORBasPlt_resampleCount(times, count, step);
    ZORBAS_ASSERT(capacity >= n, kSource, __LINE__);
    if (n == 0) {
        if (kept) kept->Clear();
        return 0;
    }
    const double t0 = times[0];
    for (int k = 0; k < n; ++k) newTimes[k] = static_cast<float>(t0 + k * step);
    ZORBasPlt_resampleAt(times, values, count, newTimes, newValues, n, kept);
    return n;
}

void ZORBasPlt_resampleAt(const float* times, const float* values, int count, const float* newTimes,
                          float* newValues, int newCount, omi_BlkBitVect* kept) {
    if (kept) kept->Clear();
    if (newCount <= 0) return;
    ZORBAS_ASSERT(count > 0, kSource, __LINE__);
    // j is the last input sample at or before the current target time (0 before the curve).
    int j = 0;
    for (int k = 0; k < newCount; ++k) {
        const float t = newTimes[k];
        ZORBAS_ASSERT(k == 0 || newTimes[k - 1] <= t, kSource, __LINE__);
        while (j + 1 < count && times[j + 1] <= t) {
            ZORBAS_ASSERT(times[j] <= times[j + 1], kSource, __LINE__);
            ++j;
        }
        if (t == times[j]) {
            newValues[k] = values[j];
            if (kept) kept->SetBit(static_cast<unsigned>(k));
        } else if (t < times[j] || j + 1 == count) {
            newValues[k] = values[j];  // before the first or after the last sample: held
        } else {
            const double t1 = times[j], t2 = times[j + 1];
            const double v1 = values[j], v2 = values[j + 1];
            newValues[k] = static_cast<float>(v1 + (v2 - v1) * ((t - t1) / (t2 - t1)));
        }
    }
}

// Resampling of a result curve by linear interpolation: onto a uniform step, which the filters
// need, or onto any ascending set of times, for instance back onto the curve's own times after
// filtering. A bit vector records which output samples are input samples taken over unchanged
// ("kept") rather than interpolated ("inserted"). Arithmetic in double, storage in float; one
// merge walk over both time arrays, no allocation beyond the bit vector's pages.
//
// Input times must not decrease; where two samples share a time, the later one is the sample at
// that time. Outside the curve the end values are held (no extrapolation).
#pragma once

#include "companions/framework/zorbas_export.h"

class omi_BlkBitVect;

// Samples of the uniform grid times[0] + k * step, k = 0, 1, ..., whose time rounded to float
// does not lie beyond the last time, so that a grid meant to end on the last sample does. 0 when
// count is 0. `step` must be positive.
ZORBAS_API int ZORBasPlt_resampleCount(const float* times, int count, double step);

// Writes the grid's times (rounded to float) and the curve's values at those float times into
// newTimes and newValues, which have room for `capacity` samples, at least
// ZORBasPlt_resampleCount(times, count, step); returns the number written. When `kept` is not
// null it is cleared, then bit k is set where newTimes[k] equals an input time exactly.
ZORBAS_API int ZORBasPlt_resampleUniform(const float* times, const float* values, int count,
                                         double step, float* newTimes, float* newValues,
                                         int capacity, omi_BlkBitVect* kept);

// The curve's values at newTimes[0..newCount-1], which must be ascending (equal neighbours are
// allowed). `kept` as above.
ZORBAS_API void ZORBasPlt_resampleAt(const float* times, const float* values, int count,
                                     const float* newTimes, float* newValues, int newCount,
                                     omi_BlkBitVect* kept);

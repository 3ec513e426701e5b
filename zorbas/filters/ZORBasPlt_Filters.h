// Low-pass filters for sampled result curves, applied in place. Every filter is a cascade of
// recursive second-order stages; a second pass from the end removes the phase shift. Arithmetic is
// in double, samples are stored as float. Costs: one pass per stage and direction, allocation of
// `order` doubles at most (two arrays of order/2 for the sine-Butterworth form), no shared state.
//
// Array layout shared by every function: `times` and `values` hold `count` entries, of which `pad`
// at each end are room for an extension of the series; the real samples lie in between. A start
// condition fills the head padding (and the recursion's history), an end condition the tail.
// Callers keep `count >= 2 * pad + 2`, and at least `order + 2` entries where an end condition
// takes a history of `order` values from the array.
#pragma once

#include "companions/framework/zorbas_export.h"

// How a series is continued beyond an end. The numbers are part of the interface; any other
// value leaves the padding (and any history) as it was, though the times are still extended.
enum ZORBasPlt_EndConditionEnum : int {
    ZORBasPlt_EndZero = 0,        // zeros
    ZORBasPlt_EndHold = 1,        // the end value repeated
    ZORBasPlt_EndMirror = 2,      // mirrored about the end sample
    ZORBasPlt_EndAntiMirror = 3,  // reflected through the end point: 2 * end - mirrored
    ZORBasPlt_EndLinear = 4,      // straight line with the slope of the last two samples
};

// The designs ZORBasPlt_iirFilter chooses from; any other value leaves the data untouched.
enum ZORBasPlt_OperationEnum : int {
    ZORBasPlt_Butterworth = 0,
    ZORBasPlt_ChebyshevI = 1,
    ZORBasPlt_ChebyshevII = 2,
};

// Butterworth, Chebyshev I or Chebyshev II by bilinear transform, prewarped so that `cutoff`
// (a frequency, the reciprocal unit of `dt`) maps exactly: c = 1 / tan(pi * cutoff * dt).
// `order / 2` stages run, so an odd order loses its last (real) pole. `ripple` is the
// Chebyshev epsilon: passband ripple factor for type I, stopband amplitude for type II. Nothing is
// validated: a ripple of 0 or above 1 gives non-finite coefficients.
ZORBAS_API void ZORBasPlt_iirFilter(float*& times, float*& values, int count, int pad, float cutoff,
                                    double dt, int order, float ripple,
                                    ZORBasPlt_EndConditionEnum start,
                                    ZORBasPlt_EndConditionEnum end,
                                    ZORBasPlt_OperationEnum operation, bool backward);

// One two-pole Butterworth stage with the cut-off raised by 1.25, in the style of the crash-test
// channel classes. It primes its history from the series reflected through its first entry over a
// tenth of a cut-off period, instead of taking it from the start condition; the start condition
// only fills the head padding.
ZORBAS_API void ZORBasPlt_saeFilter(float*& times, float*& values, int count, int pad, float cutoff,
                                    double dt, ZORBasPlt_EndConditionEnum start,
                                    ZORBasPlt_EndConditionEnum end, bool backward);

// Sine-Butterworth design, gain-normalised to 1 at zero frequency. Returns false, with both arrays
// untouched, when sin(pi * dt * cutoff) is below 1e-12 in magnitude or a stage fails its stability
// test (which happens for cutoff * dt of about 1e-5 and below). Each stage starts from rest:
// only the padding primes it. Unlike the cascades, a stage runs on the stored floats: its
// previous outputs are read back from the array, so it keeps no double history.
ZORBAS_API bool ZORBasPlt_sbFilter(float*& times, float*& values, int count, int pad, float cutoff,
                                   double dt, int order, ZORBasPlt_EndConditionEnum start,
                                   ZORBasPlt_EndConditionEnum end, bool backward);

// The older sine-Butterworth entry: the same design on the whole of `values`, forward only, with
// no padding and no end conditions.
ZORBAS_API bool ZORBasPlt_sbFilter_dep(float*& values, int count, float cutoff, double dt,
                                       int order);

// The three cascades with the design constant `c` given directly (c = 1 / tan(pi * cutoff * dt)).
ZORBAS_API void ZORBasPlt_butterworth(float*& times, float*& values, int count, int pad, double c,
                                      int order, ZORBasPlt_EndConditionEnum start,
                                      ZORBasPlt_EndConditionEnum end, bool backward);
ZORBAS_API void ZORBasPlt_chebyshev1(float*& times, float*& values, int count, int pad, double c,
                                     int order, double ripple, ZORBasPlt_EndConditionEnum start,
                                     ZORBasPlt_EndConditionEnum end, bool backward);
ZORBAS_API void ZORBasPlt_chebyshev2(float*& times, float*& values, int count, int pad, double c,
                                     int order, double ripple, ZORBasPlt_EndConditionEnum start,
                                     ZORBasPlt_EndConditionEnum end, bool backward);

// One stage, y = b0*x + b1*x1 + b2*x2 - a1*y1 - a2*y2, over entries 0 to count - pad - 1 (the tail
// padding is left alone), starting from the given histories. Outputs are stored as float; the
// histories keep the double.
ZORBAS_API void ZORBasPlt_filter_forward(float*& values, int count, int pad, double b0, double b1,
                                         double b2, double a1, double a2, double x1, double x2,
                                         double y1, double y2);
// The same stage from entry count - 1 down to 0, over every entry.
ZORBAS_API void ZORBasPlt_filter_backward(float*& values, int count, double b0, double b1,
                                          double b2, double a1, double a2, double x1, double x2,
                                          double y1, double y2);

// Extends times[0..pad-1] backwards with the first real step and fills values[0..pad-1] by the
// condition. When `history` is not null, history[0..historyCount-1] receives the continuation of
// the series before entry 0 (history[0] next to it), computed from the filled array, so it is set
// even when pad is 0.
ZORBAS_API void ZORBasPlt_applyStartCondition(float*& times, float*& values, int pad,
                                              ZORBasPlt_EndConditionEnum start, double* history,
                                              int historyCount);
// The same at the far end: times continue with the FIRST step of the series (kept as it always
// was, so that curves with an irregular last step stay comparable with older results), values of
// the tail padding by the condition, history[k] beyond entry count - 1.
ZORBAS_API void ZORBasPlt_applyEndCondition(float*& times, float*& values, int count, int pad,
                                            ZORBasPlt_EndConditionEnum end, double* history,
                                            int historyCount);

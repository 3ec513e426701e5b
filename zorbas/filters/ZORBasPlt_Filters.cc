#include "zorbas/filters/ZORBasPlt_Filters.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "companions/alloc/mem_Malloc.h"

namespace {

constexpr double kPi = 3.141592653589793;

// Coefficients of one stage: y = b0*x + b1*x1 + b2*x2 - a1*y1 - a2*y2.
struct Stage {
    double b0, b1, b2, a1, a2;
};

// The two past inputs and outputs of one stage.
struct StageState {
    double x1, x2, y1, y2;
};

// The recursion, evaluated strictly left to right. Every path (the exported single stage, the
// fused cascade) goes through here, so that they agree to the last bit.
inline double StepStage(const Stage& c, StageState& s, double x) {
    const double y = c.b0 * x + c.b1 * s.x1 + c.b2 * s.x2 - c.a1 * s.y1 - c.a2 * s.y2;
    s.x2 = s.x1;
    s.x1 = x;
    s.y2 = s.y1;
    s.y1 = y;
    return y;
}

// Runs G consecutive stages in one sweep. Each stage's output is rounded to float before the
// next stage sees it, exactly as if the stages ran one after the other through the array, so
// the result is the same; but the stages' recursions are independent chains that the processor
// overlaps, which is what makes a cascade cost about as much as a single stage.
template <int G, bool Backward>
void SweepStages(float* values, int from, int to, const Stage* coefficients, StageState* states) {
    Stage c[G];
    StageState s[G];
    for (int g = 0; g < G; ++g) {
        c[g] = coefficients[g];
        s[g] = states[g];
    }
    if constexpr (Backward) {
        for (int i = from; i >= to; --i) {
            double x = values[i];
#pragma GCC unroll 4
            for (int g = 0; g < G; ++g) x = static_cast<float>(StepStage(c[g], s[g], x));
            values[i] = static_cast<float>(x);
        }
    } else {
        for (int i = from; i < to; ++i) {
            double x = values[i];
#pragma GCC unroll 4
            for (int g = 0; g < G; ++g) x = static_cast<float>(StepStage(c[g], s[g], x));
            values[i] = static_cast<float>(x);
        }
    }
}

template <bool Backward>
void SweepGroup(int group, float* values, int from, int to, const Stage* c, StageState* s) {
    switch (group) {
        case 1:
            SweepStages<1, Backward>(values, from, to, c, s);
            break;
        case 2:
            SweepStages<2, Backward>(values, from, to, c, s);
            break;
        case 3:
            SweepStages<3, Backward>(values, from, to, c, s);
            break;
        default:
            SweepStages<4, Backward>(values, from, to, c, s);
            break;
    }
}

// The stage design of each cascade: the coefficients of stage k (1-based) of order N.
struct ButterworthDesign {
    double c;
    int N;
    Stage operator()(int k) const {
        const double c2 = c * c;
        const double s = -2.0 * c * std::cos((2 * k + N - 1) * kPi / (2 * N));
        const double g = 1.0 / (c2 + s + 1.0);
        return Stage{g, 2.0 * g, g, 2.0 * (1.0 - c2) * g, (c2 - s + 1.0) * g};
    }
};

struct ChebyshevIDesign {
    double c;
    int N;
    double sh, ch, gain;
    ChebyshevIDesign(double c_, int N_, double e) : c(c_), N(N_) {
        const double r = std::exp(std::log((1.0 + std::sqrt(1.0 + e * e)) / e) / N);
        sh = (1.0 / r - r) / 2.0;
        ch = (1.0 / r + r) / 2.0;
        gain = 1.0 / std::sqrt(1.0 + e * e);
    }
    Stage operator()(int k) const {
        const double c2 = c * c;
        const double th = (2 * k - 1) * kPi / (2 * N);
        const double u = sh * std::sin(th);
        const double v = ch * std::cos(th);
        const double m = u * u + v * v;
        const double s = -2.0 * c * u;
        const double g = 1.0 / (c2 + s + m);
        Stage st{m * g, 2.0 * (m * g), m * g, 2.0 * (m - c2) * g, (c2 - s + m) * g};
        if (k == 1) {
            st.b0 *= gain;
            st.b1 *= gain;
            st.b2 *= gain;
        }
        return st;
    }
};

struct ChebyshevIIDesign {
    double c;
    int N;
    double p, sh, ch;
    ChebyshevIIDesign(double c_, int N_, double e) : c(c_), N(N_) {
        const double q = 1.0 / e;
        p = std::exp(std::log(q * q - 1.0) / (2 * N));
        const double r = std::exp(std::log(q + std::sqrt(q * q - 1.0)) / N);
        sh = (1.0 / r - r) / 2.0;
        ch = (1.0 / r + r) / 2.0;
    }
    Stage operator()(int k) const {
        const double c2 = c * c;
        const double p2 = p * p;
        const double th = (2 * k - 1) * kPi / (2 * N);
        const double cth = std::cos(th);
        const double w = cth * cth * c2;
        const double u = sh * std::sin(th);
        const double v = ch * cth;
        const double D = (u * u + v * v) * c2;
        const double s = -2.0 * u * p * c;
        const double g = 1.0 / (D + s + p2);
        const double b0 = (w + p2) * g;
        return Stage{b0, 2.0 * (p2 - w) * g, b0, 2.0 * (p2 - D) * g, (D - s + p2) * g};
    }
};

// The histories of stage k (1-based) from the condition's continuation: the input history is
// what the previous stage starts from as output history, the first stage takes the series itself.
StageState InitialState(const double* history, int k) {
    const int xAt = k == 1 ? 0 : 2 * k - 4;
    return StageState{history[xAt], history[xAt + 1], history[2 * k - 2], history[2 * k - 1]};
}

template <bool Backward, class Design>
void SweepCascade(const Design& design, int stages, const double* history, float* values, int from,
                  int to) {
    for (int first = 1; first <= stages; first += 4) {
        const int group = std::min(4, stages - first + 1);
        Stage c[4];
        StageState s[4];
        for (int g = 0; g < group; ++g) {
            c[g] = design(first + g);
            s[g] = InitialState(history, first + g);
        }
        SweepGroup<Backward>(group, values, from, to, c, s);
    }
}

// The cascade shared by the three designs: start condition and its history, the stages forward
// over the real samples and the head padding, then, when asked, the end condition and the same
// stages backward over everything.
template <class Design>
void RunCascade(const Design& design, float*& times, float*& values, int count, int pad, int order,
                ZORBasPlt_EndConditionEnum start, ZORBasPlt_EndConditionEnum end, bool backward) {
    const int historyCount = std::max(order, 0);
    // Zeroed, so that an unknown condition starts the stages from rest instead of from garbage.
    double* history = static_cast<double*>(mem_OperatorNewThrow(sizeof(double) * historyCount));
    std::fill(history, history + historyCount, 0.0);
    const int stages = order / 2;
    ZORBasPlt_applyStartCondition(times, values, pad, start, history, historyCount);
    if (stages > 0) SweepCascade<false>(design, stages, history, values, 0, count - pad);
    if (backward) {
        ZORBasPlt_applyEndCondition(times, values, count, pad, end, history, historyCount);
        if (stages > 0) SweepCascade<true>(design, stages, history, values, count - 1, 0);
    }
    mem_Free(history);
}

// The sine-Butterworth stages: p[k], q[k] and the common input scale. False when the design is
// refused; nothing has been touched then.
struct SineButterworth {
    double* p = nullptr;
    double* q = nullptr;
    double scale = 1.0;
    int stages = 0;

    ~SineButterworth() {
        mem_Free(p);
        mem_Free(q);
    }

    bool Design(float cutoff, double dt, int order) {
        const double x = std::sin(kPi * dt * cutoff);
        if (std::fabs(x) < 1e-12) return false;
        stages = std::max(order / 2, 0);
        p = static_cast<double*>(mem_OperatorNewThrow(sizeof(double) * stages));
        q = static_cast<double*>(mem_OperatorNewThrow(sizeof(double) * stages));
        const double dtheta = stages > 0 ? kPi / order : 0.0;
        const double w = 1.0 - x * x;
        double product = 1.0;
        for (int k = 0; k < stages; ++k) {
            const double s = x * std::sin(k * dtheta + 0.5 * dtheta);
            const double z = 0.5 * (std::sqrt(w * w + 4.0 * s * s) - w);
            // z rounds to 0 only when x is tiny; p is then -infinity and the test below refuses
            // the stage, so refuse it without dividing by zero (traps may be armed).
            if (z == 0.0) return false;
            const double t = std::sqrt(z + 1.0) + std::sqrt(z);
            const double t2 = t * t;
            p[k] = -2.0 * (2.0 * s * s / z - 1.0) / t2;
            q[k] = 1.0 / (t2 * t2);
            if (q[k] > 1.0 || std::fabs(p[k]) - 1.0 > q[k]) return false;
            product = product * (1.0 + p[k] + q[k]);
        }
        scale = stages > 0 ? std::pow(product, 2.0 / order) : 1.0;
        return true;
    }

    // Each stage over values[0..count-1] in place, forward or from the far end. The recursion
    // reads its two previous outputs back from the array, rounded to float as stored, and its
    // first two outputs have no earlier ones: y[0] = scale * x[0], y[1] = scale * x[1] - p * y[0].
    void Run(float* values, int count, bool backward) const {
        if (count <= 0) return;
        const std::ptrdiff_t d = backward ? -1 : 1;
        float* const y = backward ? values + count - 1 : values;
        for (int k = 0; k < stages; ++k) {
            const double pk = p[k], qk = q[k];
            y[0] = static_cast<float>(scale * y[0]);
            if (count > 1) y[d] = static_cast<float>(scale * y[d] - pk * y[0]);
            for (int n = 2; n < count; ++n) {
                float* const yn = y + n * d;
                *yn = static_cast<float>(scale * yn[0] - pk * yn[-d] - qk * yn[-2 * d]);
            }
        }
    }
};

}  // namespace

void ZORBasPlt_filter_forward(float*& values, int count, int pad, double b0, double b1, double b2,
                              double a1, double a2, double x1, double x2, double y1, double y2) {
    const Stage c{b0, b1, b2, a1, a2};
    StageState s{x1, x2, y1, y2};
    SweepStages<1, false>(values, 0, count - pad, &c, &s);
}

void ZORBasPlt_filter_backward(float*& values, int count, double b0, double b1, double b2,
                               double a1, double a2, double x1, double x2, double y1, double y2) {
    const Stage c{b0, b1, b2, a1, a2};
    StageState s{x1, x2, y1, y2};
    SweepStages<1, true>(values, count - 1, 0, &c, &s);
}

void ZORBasPlt_applyStartCondition(float*& times, float*& values, int pad,
                                   ZORBasPlt_EndConditionEnum start, double* history,
                                   int historyCount) {
    const double step = static_cast<double>(times[pad + 1]) - times[pad];
    for (int i = pad; i >= 1; --i) times[i - 1] = static_cast<float>(times[i] - step);

    switch (start) {
        case ZORBasPlt_EndZero:
            std::fill(values, values + pad, 0.0f);
            if (history) std::fill(history, history + historyCount, 0.0);
            break;
        case ZORBasPlt_EndHold:
            std::fill(values, values + pad, values[pad]);
            if (history) std::fill(history, history + historyCount, double(values[0]));
            break;
        case ZORBasPlt_EndMirror:
            for (int i = pad; i >= 1; --i) values[pad - i] = values[pad + i];
            if (history)
                for (int k = 0; k < historyCount; ++k) history[k] = values[k + 1];
            break;
        case ZORBasPlt_EndAntiMirror:
            for (int i = pad; i >= 1; --i)
                values[pad - i] = static_cast<float>(2.0 * values[pad] - values[pad + i]);
            if (history)
                for (int k = 0; k < historyCount; ++k) history[k] = 2.0 * values[0] - values[k + 1];
            break;
        case ZORBasPlt_EndLinear: {
            const double slope = static_cast<double>(values[pad + 1]) - values[pad];
            for (int i = pad; i >= 1; --i) values[i - 1] = static_cast<float>(values[i] - slope);
            if (history && historyCount > 0) {
                const double h = static_cast<double>(values[1]) - values[0];
                history[0] = values[0] - h;
                for (int k = 1; k < historyCount; ++k) history[k] = history[k - 1] - h;
            }
            break;
        }
        default:
            break;
    }
}

void ZORBasPlt_applyEndCondition(float*& times, float*& values, int count, int pad,
                                 ZORBasPlt_EndConditionEnum end, double* history,
                                 int historyCount) {
    const double step = static_cast<double>(times[1]) - times[0];
    for (int i = pad; i >= 1; --i)
        times[count - i] = static_cast<float>(times[count - i - 1] + step);

    const int L = count - pad - 1;
    switch (end) {
        case ZORBasPlt_EndZero:
            std::fill(values + L + 1, values + count, 0.0f);
            if (history) std::fill(history, history + historyCount, 0.0);
            break;
        case ZORBasPlt_EndHold:
            std::fill(values + L + 1, values + count, values[L]);
            if (history) std::fill(history, history + historyCount, double(values[count - 1]));
            break;
        case ZORBasPlt_EndMirror:
            for (int i = 1; i <= pad; ++i) values[L + i] = values[L - i];
            if (history)
                for (int k = 0; k < historyCount; ++k) history[k] = values[count - 2 - k];
            break;
        case ZORBasPlt_EndAntiMirror:
            for (int i = 1; i <= pad; ++i)
                values[L + i] = static_cast<float>(2.0 * values[L] - values[L - i]);
            if (history)
                for (int k = 0; k < historyCount; ++k)
                    history[k] = 2.0 * values[count - 1] - values[count - 2 - k];
            break;
        case ZORBasPlt_EndLinear: {
            const double slope = static_cast<double>(values[L]) - values[L - 1];
            for (int i = 0; i < pad; ++i)
                values[L + 1 + i] = static_cast<float>(values[L + i] + slope);
            if (history && historyCount > 0) {
                const double h = static_cast<double>(values[count - 1]) - values[count - 2];
                history[0] = values[count - 1] + h;
                for (int k = 1; k < historyCount; ++k) history[k] = history[k - 1] + h;
            }
            break;
        }
        default:
            break;
    }
}

void ZORBasPlt_butterworth(float*& times, float*& values, int count, int pad, double c, int order,
                           ZORBasPlt_EndConditionEnum start, ZORBasPlt_EndConditionEnum end,
                           bool backward) {
    RunCascade(ButterworthDesign{c, order}, times, values, count, pad, order, start, end, backward);
}

void ZORBasPlt_chebyshev1(float*& times, float*& values, int count, int pad, double c, int order,
                          double ripple, ZORBasPlt_EndConditionEnum start,
                          ZORBasPlt_EndConditionEnum end, bool backward) {
    RunCascade(ChebyshevIDesign(c, order, ripple), times, values, count, pad, order, start, end,
               backward);
}

void ZORBasPlt_chebyshev2(float*& times, float*& values, int count, int pad, double c, int order,
                          double ripple, ZORBasPlt_EndConditionEnum start,
                          ZORBasPlt_EndConditionEnum end, bool backward) {
    RunCascade(ChebyshevIIDesign(c, order, ripple), times, values, count, pad, order, start, end,
               backward);
}

void ZORBasPlt_iirFilter(float*& times, float*& values, int count, int pad, float cutoff, double dt,
                         int order, float ripple, ZORBasPlt_EndConditionEnum start,
                         ZORBasPlt_EndConditionEnum end, ZORBasPlt_OperationEnum operation,
                         bool backward) {
    const double c = 1.0 / std::tan(kPi * cutoff * dt);
    switch (operation) {
        case ZORBasPlt_Butterworth:
            ZORBasPlt_butterworth(times, values, count, pad, c, order, start, end, backward);
            break;
        case ZORBasPlt_ChebyshevI:
            ZORBasPlt_chebyshev1(times, values, count, pad, c, order, ripple, start, end, backward);
            break;
        case ZORBasPlt_ChebyshevII:
            ZORBasPlt_chebyshev2(times, values, count, pad, c, order, ripple, start, end, backward);
            break;
        default:
            break;
    }
}

void ZORBasPlt_saeFilter(float*& times, float*& values, int count, int pad, float cutoff, double dt,
                         ZORBasPlt_EndConditionEnum start, ZORBasPlt_EndConditionEnum end,
                         bool backward) {
    const double c = std::tan(kPi * (cutoff * 1.25) * dt);
    const double d = std::sqrt(2.0) * c;
    const double e = c * c;
    const double g = 1.0 / (1.0 + d + e);
    const double f1 = 2.0 * (1.0 - e) * g;
    const double f2 = (d - e - 1.0) * g;
    const double a0 = e * g;
    double x1, x2, y1, y2;
    auto step = [&](double x) {
        const double y = a0 * x + 2.0 * a0 * x1 + a0 * x2 + f1 * y1 + f2 * y2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    };

    ZORBasPlt_applyStartCondition(times, values, pad, start, nullptr, 2);

    // The priming stretch: a tenth of a cut-off period, at least one sample, at most the real
    // series, and never past the last entry of the array (with no padding, the series' own end).
    const int n = count - pad;
    const double periods = 0.1 / (cutoff * dt);
    int w = periods >= n ? n : (periods >= 1.0 ? static_cast<int>(periods) : 1);
    w = std::min(w, count - 1);
    const int h = w / 2 + 1;

    const double base = 2.0 * values[0];
    x2 = base - values[w];
    x1 = base - values[w - 1];
    double sum = 0.0;
    for (int i = h; i <= w; ++i) sum += values[i];
    y1 = y2 = base - sum / (w - h + 1);
    for (int j = w - 2; j >= 1; --j) step(base - values[j]);
    for (int i = 0; i < n; ++i) values[i] = static_cast<float>(step(values[i]));

    if (backward) {
        ZORBasPlt_applyEndCondition(times, values, count, pad, end, nullptr, 2);
        const int L = count - 1;
        x2 = y2 = 2.0 * values[L] - values[L - 2];
        x1 = y1 = 2.0 * values[L] - values[L - 1];
        for (int i = L; i >= 0; --i) values[i] = static_cast<float>(step(values[i]));
    }
}

bool ZORBasPlt_sbFilter(float*& times, float*& values, int count, int pad, float cutoff, double dt,
                        int order, ZORBasPlt_EndConditionEnum start, ZORBasPlt_EndConditionEnum end,
                        bool backward) {
    SineButterworth design;
    if (!design.Design(cutoff, dt, order)) return false;
    ZORBasPlt_applyStartCondition(times, values, pad, start, nullptr, order);
    design.Run(values, count, false);
    if (backward) {
        ZORBasPlt_applyEndCondition(times, values, count, pad, end, nullptr, order);
        design.Run(values, count, true);
    }
    return true;
}

bool ZORBasPlt_sbFilter_dep(float*& values, int count, float cutoff, double dt, int order) {
    SineButterworth design;
    if (!design.Design(cutoff, dt, order)) return false;
    design.Run(values, count, false);
    return true;
}

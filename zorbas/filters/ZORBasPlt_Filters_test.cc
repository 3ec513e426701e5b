// The filters against reference outputs that testdata/make_reference.py computed with scipy:
// the recursions run by scipy.signal.lfilter from states built by lfiltic, over four curves (a
// step, a half-sine pulse, white noise, a chirp), for every design, order (1 to 10, odd ones
// included), start and end condition, padding of 0, 3 and 8, and direction.
//
// What agrees, and how closely:
// - the stage coefficients with scipy's own butter, cheby1 and cheby2 (even orders 2 to 8, as
//   poles, zeros and gain): 14.8 digits or better, checked by the script (scipy_design.txt says
//   it in its header);
// - the outputs with the reference: every float equal today. lfilter rounds in double at other
//   points than the direct recursion, by about 1e-16, which the float storage absorbs; the
//   tolerance allows one float step of the curve's magnitude for a regeneration that tips a last
//   bit. A history kept as float instead of double is off by 4e-7 or more, an index or a
//   coefficient by 1e-3. The sine-Butterworth forms run the same plain loop on both sides and
//   must agree to the last bit. The conditions alone: exactly (arrays) and to 1e-13 (histories);
// - the outputs with scipy's own sections run from rest: within 1.2e-7, 6.9 digits, against a
//   tolerance of 1e-6 (other design arithmetic, 8 written digits).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cfenv>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "zorbas/filters/ZORBasPlt_Filters.h"
#include "zorbas/filters/ZORBasPlt_Reference_test.h"

namespace {

using zorbas_filters_test::Numbers;
using zorbas_filters_test::ReadLines;

constexpr double kDt = 1e-3;

struct Curves {
    std::vector<float> times;
    std::map<std::string, std::vector<float>> values;
};

const Curves& TheCurves() {
    static const Curves curves = [] {
        Curves c;
        for (const std::string& line : ReadLines("curves.txt")) {
            const std::string name = line.substr(0, line.find(' '));
            std::vector<float> v = Numbers<float>(line.substr(name.size()));
            if (name == "times")
                c.times = v;
            else
                c.values[name] = v;
        }
        return c;
    }();
    return curves;
}

// The caller's arrays: the curve between `pad` entries of room at each end.
struct Padded {
    std::vector<float> times, values;
    float* t;
    float* v;
    int count;
    Padded(const std::vector<float>& curve, int pad, float room = 0.0f)
        : times(curve.size() + 2 * pad, 0.0f), values(curve.size() + 2 * pad, room) {
        const std::vector<float>& t0 = TheCurves().times;
        EXPECT_LE(curve.size(), t0.size());
        std::copy(t0.begin(), t0.begin() + std::min(t0.size(), curve.size()), times.begin() + pad);
        std::copy(curve.begin(), curve.end(), values.begin() + pad);
        t = times.data();
        v = values.data();
        count = static_cast<int>(values.size());
    }
};

double MaxAbs(const std::vector<float>& v) {
    double m = 0;
    for (float x : v) m = std::max(m, std::fabs(double(x)));
    return m;
}

// Largest difference relative to the reference's magnitude (at least 1).
double Deviation(const std::vector<float>& got, const std::vector<float>& want) {
    EXPECT_EQ(got.size(), want.size());
    double worst = 0;
    for (size_t i = 0; i < std::min(got.size(), want.size()); ++i)
        worst = std::max(worst, std::fabs(double(got[i]) - want[i]));
    return worst / std::max(1.0, MaxAbs(want));
}

// One float step at the curve's magnitude, against the reference's own recursions.
constexpr double kTolerance = 0x1p-23;
// Against scipy's own designs, whose coefficients differ in the last digits.
constexpr double kScipyTolerance = 1e-6;

TEST(FilterReference, EveryDesignOrderConditionAndDirection) {
    const std::vector<std::string> lines = ReadLines("cases.txt");
    ASSERT_GT(lines.size(), 500u);
    std::map<std::string, double> worst;
    std::map<std::string, int> seen;
    for (size_t n = 0; n + 1 < lines.size(); n += 2) {
        std::istringstream head(lines[n]);
        std::string design, curve;
        int order, start, end, backward, pad;
        float cutoff, ripple;
        head >> design >> order >> start >> end >> backward >> curve >> pad >> cutoff >> ripple;
        ASSERT_FALSE(head.fail()) << lines[n];
        const std::vector<float> want = Numbers<float>(lines[n + 1]);
        Padded a(TheCurves().values.at(curve), pad);
        const auto s = static_cast<ZORBasPlt_EndConditionEnum>(start);
        const auto e = static_cast<ZORBasPlt_EndConditionEnum>(end);
        if (design.rfind("iir", 0) == 0) {
            const auto op = static_cast<ZORBasPlt_OperationEnum>(design[3] - '0');
            ZORBasPlt_iirFilter(a.t, a.v, a.count, pad, cutoff, kDt, order, ripple, s, e, op,
                                backward);
        } else if (design == "sae") {
            ZORBasPlt_saeFilter(a.t, a.v, a.count, pad, cutoff, kDt, s, e, backward);
        } else if (design == "sb") {
            EXPECT_TRUE(
                ZORBasPlt_sbFilter(a.t, a.v, a.count, pad, cutoff, kDt, order, s, e, backward));
        } else {
            ASSERT_EQ(design, "sbdep");
            EXPECT_TRUE(ZORBasPlt_sbFilter_dep(a.v, a.count, cutoff, kDt, order));
        }
        const double dev = Deviation(a.values, want);
        EXPECT_LT(dev, kTolerance) << lines[n];
        if (design.rfind("sb", 0) == 0) {
            EXPECT_EQ(a.values, want) << lines[n];
        }
        worst[design] = std::max(worst[design], dev);
        ++seen[design];
    }
    // Every family is present, so that a truncated data file cannot pass.
    EXPECT_EQ(seen["iir0"], 70);
    EXPECT_EQ(seen["iir1"], 70);
    EXPECT_EQ(seen["iir2"], 70);
    EXPECT_EQ(seen["sae"], 30);
    EXPECT_EQ(seen["sb"], 40);
    EXPECT_EQ(seen["sbdep"], 4);
    for (const auto& [design, dev] : worst)
        std::printf("  %-6s %3d cases, worst relative deviation %.2e\n", design.c_str(),
                    seen[design], dev);
}

// The conditions alone, at pad 5 and pad 0 (no fill, history still taken from the array), plus
// an unknown condition that extends the times and leaves padding and history alone.
TEST(FilterReference, StartAndEndConditions) {
    const std::vector<std::string> lines = ReadLines("conditions.txt");
    ASSERT_EQ(lines.size(), 6u * 2 * 2 * 4);
    for (size_t n = 0; n + 3 < lines.size(); n += 4) {
        std::istringstream head(lines[n]);
        std::string which;
        int cond, pad;
        head >> which >> cond >> pad;
        Padded a(TheCurves().values.at("chirp"), pad, 0.75f);
        double history[6] = {0, 0, 0, 0, 0, 0};
        const auto c = static_cast<ZORBasPlt_EndConditionEnum>(cond);
        if (which == "start")
            ZORBasPlt_applyStartCondition(a.t, a.v, pad, c, history, 6);
        else
            ZORBasPlt_applyEndCondition(a.t, a.v, a.count, pad, c, history, 6);
        // Both sides round the same double to float: the arrays agree exactly.
        EXPECT_EQ(a.times, Numbers<float>(lines[n + 1])) << lines[n];
        EXPECT_EQ(a.values, Numbers<float>(lines[n + 2])) << lines[n];
        const std::vector<double> h = Numbers<double>(lines[n + 3]);
        ASSERT_EQ(h.size(), 6u);
        for (int k = 0; k < 6; ++k) EXPECT_NEAR(history[k], h[k], 1e-13) << lines[n] << " " << k;
    }
}

// scipy's own butter/cheby1/cheby2 sections run from rest, against the library started from rest
// (zero condition, no padding), forward and forward-backward, for even orders 2 to 8.
TEST(FilterReference, ScipyOwnDesigns) {
    const std::vector<std::string> lines = ReadLines("scipy_design.txt");
    ASSERT_EQ(lines.size(), 3u * 4 * 4 * 3);
    const std::map<std::string, std::pair<ZORBasPlt_OperationEnum, float>> designs = {
        {"butter", {ZORBasPlt_Butterworth, 0.0f}},
        {"cheby1", {ZORBasPlt_ChebyshevI, 0.5f}},
        {"cheby2", {ZORBasPlt_ChebyshevII, 0.1f}}};
    double worst = 0;
    for (size_t n = 0; n + 2 < lines.size(); n += 3) {
        std::istringstream head(lines[n]);
        std::string name, curve;
        int order;
        head >> name >> order >> curve;
        const auto [op, ripple] = designs.at(name);
        for (bool backward : {false, true}) {
            Padded a(TheCurves().values.at(curve), 0);
            ZORBasPlt_iirFilter(a.t, a.v, a.count, 0, 60.0f, kDt, order, ripple, ZORBasPlt_EndZero,
                                ZORBasPlt_EndZero, op, backward);
            const double dev = Deviation(a.values, Numbers<float>(lines[n + 1 + backward]));
            EXPECT_LT(dev, kScipyTolerance) << lines[n] << (backward ? " backward" : " forward");
            worst = std::max(worst, dev);
        }
    }
    std::printf("  scipy's own sections: worst relative deviation %.2e\n", worst);
}

TEST(FilterStage, ForwardStopsAtTailPaddingBackwardCoversAll) {
    // b = (0.5, 0.25, 0.125), a1 = -0.5, a2 = 0.25, from x1 = 1, x2 = 2, y1 = 3, y2 = 4.
    std::vector<float> buf = {2, 4, 0, 9, 9};
    float* v = buf.data();
    ZORBasPlt_filter_forward(v, 5, 2, 0.5, 0.25, 0.125, -0.5, 0.25, 1, 2, 3, 4);
    // y0 = 1 + 0.25 + 0.25 + 1.5 - 1; y1 = 2 + 0.5 + 0.125 + 1 - 0.75; y2 = 0 + 1 + 0.25 +
    // 1.4375 - 0.5
    EXPECT_EQ(buf, (std::vector<float>{2.0f, 2.875f, 2.1875f, 9, 9}));

    // A running sum from the far end, starting from y1 = 10.
    std::vector<float> sum = {1, 2, 3, 4};
    float* s = sum.data();
    ZORBasPlt_filter_backward(s, 4, 1, 0, 0, -1, 0, 0, 0, 10, 0);
    EXPECT_EQ(sum, (std::vector<float>{20, 19, 17, 14}));
}

// The three designs' stages, b0 b1 b2 a1 a2, written from their formulas.
std::vector<std::array<double, 5>> DesignStages(int op, double c, int N, double e) {
    constexpr double pi = 3.141592653589793;
    const double c2 = c * c;
    std::vector<std::array<double, 5>> out;
    for (int k = 1; k <= N / 2; ++k) {
        if (op == ZORBasPlt_Butterworth) {
            const double s = -2.0 * c * std::cos((2 * k + N - 1) * pi / (2 * N));
            const double g = 1.0 / (c2 + s + 1.0);
            out.push_back({g, 2.0 * g, g, 2.0 * (1.0 - c2) * g, (c2 - s + 1.0) * g});
        } else if (op == ZORBasPlt_ChebyshevI) {
            const double r = std::exp(std::log((1.0 + std::sqrt(1.0 + e * e)) / e) / N);
            const double sh = (1.0 / r - r) / 2.0, ch = (1.0 / r + r) / 2.0;
            const double gain = k == 1 ? 1.0 / std::sqrt(1.0 + e * e) : 1.0;
            const double th = (2 * k - 1) * pi / (2 * N);
            const double u = sh * std::sin(th), v = ch * std::cos(th);
            const double m = u * u + v * v, s = -2.0 * c * u;
            const double g = 1.0 / (c2 + s + m);
            const double b0 = m * g * gain;
            out.push_back({b0, 2.0 * b0, b0, 2.0 * (m - c2) * g, (c2 - s + m) * g});
        } else {
            const double q = 1.0 / e;
            const double p = std::exp(std::log(q * q - 1.0) / (2 * N)), p2 = p * p;
            const double r = std::exp(std::log(q + std::sqrt(q * q - 1.0)) / N);
            const double sh = (1.0 / r - r) / 2.0, ch = (1.0 / r + r) / 2.0;
            const double th = (2 * k - 1) * pi / (2 * N);
            const double w = std::cos(th) * std::cos(th) * c2;
            const double u = sh * std::sin(th), v = ch * std::cos(th);
            const double D = (u * u + v * v) * c2, s = -2.0 * u * p * c;
            const double g = 1.0 / (D + s + p2);
            const double b0 = (w + p2) * g;
            out.push_back({b0, 2.0 * (p2 - w) * g, b0, 2.0 * (p2 - D) * g, (D - s + p2) * g});
        }
    }
    return out;
}

// The cascades sweep up to four stages together for speed. That must not change a bit: here
// the same filtering runs stage after stage through the exported single-stage functions, with
// one history array shared by both passes, for 1 to 9 stages (every group size, and groups
// after the first), every start and end condition and an unknown one.
TEST(FilterCascade, FusedStagesEqualStageAfterStageExactly) {
    const std::vector<float>& noise = TheCurves().values.at("noise");
    const int pad = 6;
    const float cutoff = 60.0f;
    const double c = 1.0 / std::tan(3.141592653589793 * cutoff * kDt);
    const float ripple[] = {0.0f, 0.5f, 0.1f};
    for (int op = 0; op < 3; ++op) {
        for (int order = 2; order <= 19; ++order) {
            const int start = order % 6, end = (order / 2 + op) % 6;
            const auto s = static_cast<ZORBasPlt_EndConditionEnum>(start == 5 ? 7 : start);
            const auto e = static_cast<ZORBasPlt_EndConditionEnum>(end == 5 ? 7 : end);
            for (bool backward : {false, true}) {
                Padded fused(noise, pad, 0.75f);
                ZORBasPlt_iirFilter(fused.t, fused.v, fused.count, pad, cutoff, kDt, order,
                                    ripple[op], s, e, static_cast<ZORBasPlt_OperationEnum>(op),
                                    backward);

                Padded one(noise, pad, 0.75f);
                const auto stages = DesignStages(op, c, order, ripple[op]);
                std::vector<double> history(order, 0.0);
                auto sweep = [&](bool fromEnd) {
                    double x1 = history[0], x2 = history[1];
                    for (int k = 1; k <= order / 2; ++k) {
                        const auto& [b0, b1, b2, a1, a2] = stages[k - 1];
                        const double y1 = history[2 * k - 2], y2 = history[2 * k - 1];
                        if (fromEnd)
                            ZORBasPlt_filter_backward(one.v, one.count, b0, b1, b2, a1, a2, x1, x2,
                                                      y1, y2);
                        else
                            ZORBasPlt_filter_forward(one.v, one.count, pad, b0, b1, b2, a1, a2, x1,
                                                     x2, y1, y2);
                        x1 = y1;
                        x2 = y2;
                    }
                };
                ZORBasPlt_applyStartCondition(one.t, one.v, pad, s, history.data(), order);
                sweep(false);
                if (backward) {
                    ZORBasPlt_applyEndCondition(one.t, one.v, one.count, pad, e, history.data(),
                                                order);
                    sweep(true);
                }
                ASSERT_EQ(fused.values, one.values)
                    << "design " << op << " order " << order << " start " << s << " end " << e
                    << (backward ? " backward" : " forward");
                ASSERT_EQ(fused.times, one.times);
            }
        }
    }
}

TEST(FilterEdges, OrderOneRunsNoStage) {
    // One pole pair is needed for a stage; order 1 has none, so only the padding changes.
    const std::vector<float>& noise = TheCurves().values.at("noise");
    Padded a(noise, 4);
    ZORBasPlt_iirFilter(a.t, a.v, a.count, 4, 60.0f, kDt, 1, 0.0f, ZORBasPlt_EndHold,
                        ZORBasPlt_EndHold, ZORBasPlt_Butterworth, false);
    EXPECT_TRUE(std::equal(noise.begin(), noise.end(), a.values.begin() + 4));
    EXPECT_EQ(a.values[0], noise[0]);
    EXPECT_EQ(a.values[3], noise[0]);
    EXPECT_EQ(a.values[a.count - 1], 0.0f);  // no backward pass: the tail is not extended
}

TEST(FilterEdges, UnknownOperationLeavesEverythingUntouched) {
    Padded a(TheCurves().values.at("chirp"), 6, 0.75f);
    const Padded before = a;
    ZORBasPlt_iirFilter(a.t, a.v, a.count, 6, 60.0f, kDt, 4, 0.0f, ZORBasPlt_EndMirror,
                        ZORBasPlt_EndMirror, static_cast<ZORBasPlt_OperationEnum>(3), true);
    EXPECT_EQ(a.values, before.values);
    EXPECT_EQ(a.times, before.times);
}

// The sine-Butterworth design refuses before it touches anything: a sine below 1e-12, and a
// stage that fails the stability test (cutoff * dt = 1e-6 here).
TEST(FilterEdges, SineButterworthRefusalLeavesDataUntouched) {
    struct Refused {
        float cutoff;
        double dt;
        int order;
    };
    for (const Refused& r : {Refused{1.0f, 1e-13, 4}, Refused{1.0f, 1e-6, 2},
                             Refused{1.0f, 1e-6, 6}, Refused{2.0f, 1.0, 4}}) {
        Padded a(TheCurves().values.at("pulse"), 5, 0.75f);
        const Padded before = a;
        EXPECT_FALSE(ZORBasPlt_sbFilter(a.t, a.v, a.count, 5, r.cutoff, r.dt, r.order,
                                        ZORBasPlt_EndLinear, ZORBasPlt_EndLinear, true))
            << r.cutoff << " " << r.dt << " " << r.order;
        EXPECT_EQ(a.values, before.values);
        EXPECT_EQ(a.times, before.times);
        EXPECT_FALSE(ZORBasPlt_sbFilter_dep(a.v, a.count, r.cutoff, r.dt, r.order));
        EXPECT_EQ(a.values, before.values);
    }
}

// Where the sine is above 1e-12 but its square vanishes beside 1 (cutoff * dt of about 1e-9),
// the design's z rounds to 0 and its p would be an infinite quotient that the stability test
// refuses. The refusal comes without that division, so a program that traps division by zero
// gets false rather than a floating-point signal.
TEST(FilterEdges, SineButterworthRefusesVanishingStageWithoutDividingByZero) {
    Padded a(TheCurves().values.at("pulse"), 5, 0.75f);
    const Padded before = a;
    feclearexcept(FE_ALL_EXCEPT);
    ASSERT_NE(feenableexcept(FE_DIVBYZERO), -1);
    const bool padded = ZORBasPlt_sbFilter(a.t, a.v, a.count, 5, 1.0f, 1e-9, 4, ZORBasPlt_EndMirror,
                                           ZORBasPlt_EndMirror, true);
    const bool plain = ZORBasPlt_sbFilter_dep(a.v, a.count, 1.0f, 1e-9, 4);
    fedisableexcept(FE_DIVBYZERO);
    EXPECT_FALSE(padded);
    EXPECT_FALSE(plain);
    EXPECT_EQ(a.values, before.values);
    EXPECT_EQ(a.times, before.times);
}

// A constant series held at both ends is a steady state of the designs with unit gain at zero
// frequency: every stage's history is the level itself, so nothing moves.
TEST(FilterEdges, ConstantSeriesKeepsItsLevel) {
    const std::vector<float> flat(40, 3.0f);
    for (int op : {0, 2}) {
        for (int order : {2, 4, 6}) {
            Padded a(flat, 4);
            ZORBasPlt_iirFilter(a.t, a.v, a.count, 4, 60.0f, kDt, order, 0.5f, ZORBasPlt_EndHold,
                                ZORBasPlt_EndHold, static_cast<ZORBasPlt_OperationEnum>(op), true);
            for (float x : a.values) ASSERT_NEAR(x, 3.0, 1e-5) << op << " " << order;
        }
    }
    Padded a(flat, 4);
    ZORBasPlt_saeFilter(a.t, a.v, a.count, 4, 60.0f, kDt, ZORBasPlt_EndHold, ZORBasPlt_EndHold,
                        true);
    for (float x : a.values) EXPECT_NEAR(x, 3.0, 1e-5);
}

}  // namespace

// Resampling against numpy.interp on a curve with irregular times (testdata/resample.txt, made by
// make_reference.py), the kept/inserted marks, the held ends, and the contract checks.
#include "zorbas/filters/ZORBasPlt_Resample.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zorbas/filters/ZORBasPlt_Filters.h"
#include "zorbas/filters/ZORBasPlt_Reference_test.h"
#include "zorbas/intsets/omi_BlkBitVect.h"

namespace {

using zorbas_filters_test::Numbers;

std::vector<unsigned> SetBits(const omi_BlkBitVect& v) {
    std::vector<unsigned> bits;
    omi_BlkBitVectTrav t(&v);
    unsigned b;
    for (bool ok = t.First(b); ok; ok = t.Next(b)) bits.push_back(b);
    return bits;
}

TEST(Resample, IrregularCurveOntoUniformStepAgreesWithNumpyInterp) {
    const std::vector<std::string> lines = zorbas_filters_test::ReadLines("resample.txt");
    ASSERT_EQ(lines.size(), 6u);
    const std::vector<float> times = Numbers<float>(lines[0]), values = Numbers<float>(lines[1]);
    const double step = std::stod(lines[2]);
    const std::vector<float> wantTimes = Numbers<float>(lines[3]);
    const std::vector<float> wantValues = Numbers<float>(lines[4]);
    const std::vector<unsigned> wantKept = Numbers<unsigned>(lines[5]);
    const int count = static_cast<int>(times.size());

    const int n = ZORBasPlt_resampleCount(times.data(), count, step);
    ASSERT_EQ(n, static_cast<int>(wantTimes.size()));
    std::vector<float> t(n), v(n);
    omi_BlkBitVect kept;
    kept.SetBit(100000);  // cleared first: the marks describe this call only
    EXPECT_EQ(ZORBasPlt_resampleUniform(times.data(), values.data(), count, step, t.data(),
                                        v.data(), n, &kept),
              n);
    EXPECT_EQ(t, wantTimes);
    for (int k = 0; k < n; ++k) EXPECT_NEAR(v[k], wantValues[k], 1e-6) << k;
    EXPECT_EQ(SetBits(kept), wantKept);
    EXPECT_EQ(kept.BitCount(), wantKept.size());
}

TEST(Resample, GivenTimesHoldEndsTakeLaterDuplicateAndMarkKept) {
    const std::vector<float> times = {1.0f, 2.0f, 2.0f, 4.0f};
    const std::vector<float> values = {10.0f, 20.0f, 30.0f, 50.0f};
    const std::vector<float> at = {0.0f, 1.0f, 1.5f, 2.0f, 3.0f, 3.0f, 4.0f, 9.0f};
    std::vector<float> out(at.size());
    omi_BlkBitVect kept;
    ZORBasPlt_resampleAt(times.data(), values.data(), 4, at.data(), out.data(),
                         static_cast<int>(at.size()), &kept);
    // Before the curve and after it the end values are held; at the shared time 2 the later
    // sample counts, so 1.5 interpolates towards 20 and 3 from 30 towards 50.
    EXPECT_EQ(out, (std::vector<float>{10, 10, 15, 30, 40, 40, 50, 50}));
    EXPECT_EQ(SetBits(kept), (std::vector<unsigned>{1, 3, 6}));

    // Without a bit vector, the same values.
    std::vector<float> again(at.size());
    ZORBasPlt_resampleAt(times.data(), values.data(), 4, at.data(), again.data(),
                         static_cast<int>(at.size()), nullptr);
    EXPECT_EQ(again, out);
}

// The use the resampling is for: an irregular curve onto a uniform step, filtered there, and
// read back at its own times. A ramp passes a zero-phase Butterworth unchanged once the start-up
// has died out, so the round trip must return it there.
TEST(Resample, UniformFilterAndBackOntoTheOriginalTimes) {
    std::vector<float> times, values;
    for (int i = 0; i < 400; ++i) {
        times.push_back(static_cast<float>(i * 1e-3 + (i % 4 == 2 ? 4e-4 : 0.0)));
        values.push_back(static_cast<float>(2.0 + 5.0 * times.back()));
    }
    const double step = 2.5e-4;
    const int n = ZORBasPlt_resampleCount(times.data(), 400, step);
    const int pad = 20;
    std::vector<float> t(n + 2 * pad), v(n + 2 * pad);
    omi_BlkBitVect kept;
    ASSERT_EQ(ZORBasPlt_resampleUniform(times.data(), values.data(), 400, step, t.data() + pad,
                                        v.data() + pad, n, &kept),
              n);
    EXPECT_EQ(kept.BitCount(), 300u);  // every sample but the displaced ones lies on the grid
    float* tp = t.data();
    float* vp = v.data();
    ZORBasPlt_iirFilter(tp, vp, n + 2 * pad, pad, 50.0f, step, 4, 0.0f, ZORBasPlt_EndLinear,
                        ZORBasPlt_EndLinear, ZORBasPlt_Butterworth, true);
    std::vector<float> back(400);
    ZORBasPlt_resampleAt(t.data() + pad, v.data() + pad, n, times.data(), back.data(), 400,
                         nullptr);
    // The conditions only approximate the steady state of a ramp: the first and last 50 samples
    // carry start-up errors of up to 2.5e-2 (the tail, where the forward lag meets the end).
    for (int i = 0; i < 400; ++i)
        EXPECT_NEAR(back[i], values[i], i < 50 || i >= 350 ? 5e-2 : 1e-4) << i;
}

TEST(ResampleDeathTest, ContractViolations) {
    const float times[] = {0.0f, 1.0f, 2.0f};
    const float values[] = {0.0f, 1.0f, 2.0f};
    float out[8];
    EXPECT_DEATH(ZORBasPlt_resampleCount(times, 3, 0.0),
                 "Assertion failed: step > 0.0, file filters/ZORBasPlt_Resample, line");
    EXPECT_DEATH(ZORBasPlt_resampleUniform(times, values, 3, 0.5, out, out + 4, 4, nullptr),
                 "Assertion failed: capacity >= n");
    const float descending[] = {1.0f, 0.5f};
    EXPECT_DEATH(ZORBasPlt_resampleAt(times, values, 3, descending, out, 2, nullptr),
                 "Assertion failed: k == 0 \\|\\| newTimes\\[k - 1\\] <= t");
    const float unordered[] = {0.0f, 2.0f, 1.0f};
    const float late[] = {2.5f};
    EXPECT_DEATH(ZORBasPlt_resampleAt(unordered, values, 3, late, out, 1, nullptr),
                 "Assertion failed: times\\[j\\] <= times\\[j \\+ 1\\]");
}

}  // namespace

#include "companions/coreutils/ZORBasPrfAnalysis.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

TEST(PrfAnalysis, MarksKeepTheirOrderNamesAndGrowingTimes) {
    ZORBasPrfAnalysis prf;
    prf.MarkTime("read");
    volatile double sink = 0;
    for (int i = 0; i < 2000000; ++i) sink = sink + i;
    prf.MarkTime("solve");
    prf.MarkTime("read");
    ASSERT_EQ(prf.Count(), 3);
    EXPECT_STREQ(prf.NameAt(0), "read");
    EXPECT_STREQ(prf.NameAt(1), "solve");
    EXPECT_GE(prf.SecondsAt(0), 0.0);
    EXPECT_GT(prf.SecondsAt(1), prf.SecondsAt(0));
    EXPECT_GE(prf.SecondsAt(2), prf.SecondsAt(1));
    EXPECT_GT(prf.CpuSecondsAt(1), prf.CpuSecondsAt(0));
    EXPECT_EQ(prf.SecondsOf("read"), prf.SecondsAt(2));  // the latest of that name
    EXPECT_EQ(prf.SecondsOf("write"), -1.0);
    EXPECT_EQ(prf.NameAt(3), nullptr);
    EXPECT_EQ(prf.SecondsAt(-1), -1.0);
    prf.Clear();
    EXPECT_EQ(prf.Count(), 0);
}

TEST(PrfAnalysis, ThreadsMarkConcurrently) {
    ZORBasPrfAnalysis prf;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&prf, t] {
            for (int i = 0; i < 500; ++i) prf.MarkTime(("t" + std::to_string(t)).c_str());
        });
    for (auto& th : threads) th.join();
    ASSERT_EQ(prf.Count(), 2000);
    std::set<std::string> names;
    for (int i = 0; i < prf.Count(); ++i) names.insert(prf.NameAt(i));
    EXPECT_EQ(names, (std::set<std::string>{"t0", "t1", "t2", "t3"}));
}

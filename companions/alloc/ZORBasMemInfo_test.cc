#include "companions/alloc/ZORBasMemInfo.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "companions/alloc/mem_Malloc.h"

TEST(MemInfo, ProcessSizesAreConsistentAndFollowTouchedMemory) {
    ZORBasMemInfo info;
    size_t rss = info.Resident();
    ASSERT_GT(rss, 0u);
    EXPECT_GE(info.Current(), rss);
    EXPECT_GE(info.PeakCurrent(), info.Current());
    EXPECT_GE(info.PeakResident(), rss);

    constexpr size_t kBytes = 64u << 20;
    auto* block = static_cast<char*>(mem_Malloc(kBytes));
    ASSERT_NE(block, nullptr);
    std::memset(block, 1, kBytes);
    EXPECT_GE(info.Resident(), rss + kBytes / 2);
    mem_Free(block);
}

TEST(MemInfo, AccessibleIsPhysicalCappedByTheCgroup) {
    size_t phys = ZORBasMemInfo::Physical();
    ASSERT_GT(phys, 64u << 20);
    size_t cg = ZORBasMemInfo::CgroupLimit();
    EXPECT_EQ(ZORBasMemInfo::Accessible(), cg < phys ? cg : phys);
    EXPECT_GT(ZORBasMemInfo::Accessible(), 0u);
}

TEST(MemInfo, CoreSizeSetsTheSoftLimit) {
    rlimit saved;
    ASSERT_EQ(getrlimit(RLIMIT_CORE, &saved), 0);
    ASSERT_EQ(ZORBasMemInfo::CoreSize(0), 0);
    rlimit now;
    getrlimit(RLIMIT_CORE, &now);
    EXPECT_EQ(now.rlim_cur, 0u);
    ASSERT_EQ(ZORBasMemInfo::CoreSize(ZORBasMemInfo::UNLIMITED), 0);
    getrlimit(RLIMIT_CORE, &now);
    EXPECT_EQ(now.rlim_cur, now.rlim_max);  // as far as the hard limit allows
    setrlimit(RLIMIT_CORE, &saved);
}

// Run twice: as the test, it starts this binary again with the variable set and reads what the
// child saw at load; as the child, it prints the value.
TEST(MemInfo, ParallelDebugIsTheEnvironmentAtLoad) {
    if (std::getenv("ZORBAS_PRINT_PARALLEL_DEBUG")) {
        std::printf("VALUE=[%s]\n", VEL_PARALLEL_DEBUG ? VEL_PARALLEL_DEBUG : "(null)");
        return;
    }
    auto run = [](const char* env) {
        std::string cmd = std::string(env) + " ZORBAS_PRINT_PARALLEL_DEBUG=1 /proc/" +
                          std::to_string(getpid()) +
                          "/exe --gtest_filter=MemInfo.ParallelDebugIsTheEnvironmentAtLoad";
        FILE* p = popen(cmd.c_str(), "r");
        std::string out;
        char buf[512];
        while (p && std::fgets(buf, sizeof buf, p)) out += buf;
        if (p) pclose(p);
        return out;
    };
    EXPECT_NE(run("VEL_PARALLEL_DEBUG=rank3").find("VALUE=[rank3]"), std::string::npos);
    EXPECT_NE(run("env -u VEL_PARALLEL_DEBUG").find("VALUE=[(null)]"), std::string::npos);
}
